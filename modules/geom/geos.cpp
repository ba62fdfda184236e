#include "geos.hpp"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>
#include <utility>
#include <vector>

namespace geos {

namespace {

GEOSContextHandle_t handle;
std::string last_error;

void keep_error(const char *text, void *) {
    last_error = text;
    while (!last_error.empty() && last_error.back() == '\n') last_error.pop_back();
}

// A geometry in the making, which goes if the way out is an exception.
struct Word {
    QOR_GEOMETRY word = 0;
    Word() = default;
    Word(const Word &) = delete;
    Word &operator=(const Word &) = delete;
    ~Word() { GEOM_REMOVE(&word); }
};

// --- to GEOS -----------------------------------------------------------------

// Why a geometry can not be converted.
struct Refusal {
    const char *reason;
};

void demand_usable(double x, double y, double z) {
    if (!std::isfinite(x) || !std::isfinite(y) || !std::isfinite(z))
        throw Refusal{"a coordinate is not a finite number"};
    if (std::abs(x) > MAX_COORDINATE || std::abs(y) > MAX_COORDINATE || std::abs(z) > MAX_COORDINATE)
        throw Refusal{"a coordinate is too large"};
}

// The points of a point, a line or a ring.
class Places {
  public:
    void add_point(QOR_GEOMETRY point) {
        double x, y, z;
        GEOM_READ_POINT(point, &x, &y, &z);
        demand_usable(x, y, z);
        append(x, y, z == GEOM_NO_HEIGHT ? std::numeric_limits<double>::quiet_NaN() : z);
        has_heights_ = has_heights_ || z != GEOM_NO_HEIGHT;
    }
    void add_line(QOR_GEOMETRY line) {
        const size_t count = x_.size();
        GEOM_RESET_READ(&line);
        for (;;) {
            double arc, ax, ay, az;
            QOR_GEOMETRY point;
            int32_t found;
            GEOM_READ_LINE_POINT(&line, &arc, &ax, &ay, &az, &point, &found);
            if (!found) return;
            if (arc != 0) {
                has_arcs_ = true;
                demand_usable(ax, ay, GEOM_NO_HEIGHT);
            }
            add_point(point);
            // Most lines of a rand start where the one before them ends.
            if (count != 0 && x_.size() == count + 1 && is_same(count, count - 1)) remove_last();
        }
    }
    void add_rand(QOR_GEOMETRY rand) {
        GEOM_RESET_READ(&rand);
        for (;;) {
            QOR_GEOMETRY line;
            int32_t found;
            GEOM_READ_RAND_LINE(&rand, &line, &found);
            if (!found) break;
            add_line(line);
        }
        const size_t last = x_.size() - 1;
        if (!is_same(last, 0)) append(x_[0], y_[0], z_[0]);
        // GEOS wants rings of four points.
        while (x_.size() < 4) append(x_[0], y_[0], z_[0]);
    }
    bool has_arcs() const { return has_arcs_; }
    bool has_three_places() const {
        size_t second = 1;
        while (second < x_.size() && is_same(second, 0)) ++second;
        for (size_t i = second + 1; i < x_.size(); ++i) {
            if (!is_same(i, 0) && !is_same(i, second)) return true;
        }
        return false;
    }
    GEOSCoordSequence *sequence() const {
        return GEOSCoordSeq_copyFromArrays_r(context(), x_.data(), y_.data(), has_heights_ ? z_.data() : nullptr,
                                             nullptr, static_cast<unsigned>(x_.size()));
    }

  private:
    void append(double x, double y, double z) {
        x_.push_back(x);
        y_.push_back(y);
        z_.push_back(z);
    }
    void remove_last() {
        x_.pop_back();
        y_.pop_back();
        z_.pop_back();
    }
    bool is_same(size_t i, size_t j) const { return x_[i] == x_[j] && y_[i] == y_[j]; }

    std::vector<double> x_, y_, z_;
    bool has_heights_ = false;
    bool has_arcs_ = false;
};

Geometry polygon(const GEOSGeometry *shell, const std::vector<const GEOSGeometry *> &holes = {}) {
    std::vector<GEOSGeometry *> rings;
    rings.reserve(holes.size());
    for (const GEOSGeometry *hole : holes) rings.push_back(GEOSGeom_clone_r(context(), hole));
    return Geometry(GEOSGeom_createPolygon_r(context(), GEOSGeom_clone_r(context(), shell), rings.data(),
                                             static_cast<unsigned>(rings.size())));
}

Geometry collection(int type, std::vector<Geometry> &&parts) {
    std::vector<GEOSGeometry *> adopted;
    adopted.reserve(parts.size());
    for (Geometry &part : parts) adopted.push_back(part.release());
    return Geometry(
        GEOSGeom_createCollection_r(context(), type, adopted.data(), static_cast<unsigned>(adopted.size())));
}

const GEOSGeometry *shell(const Geometry &polygon) { return GEOSGetExteriorRing_r(context(), polygon.get()); }

// Finds out how rings that do not cross each other lie within each other: a ring lies
// directly in the smallest one of those that contain it.
class Nesting {
  public:
    explicit Nesting(const std::vector<Geometry> &polygons) : rings_(polygons.size()) {
        for (size_t i = 0; i < rings_.size(); ++i) {
            rings_[i].polygon = polygons[i].get();
            rings_[i].index = i;
            GEOSArea_r(context(), rings_[i].polygon, &rings_[i].content);
        }
        std::stable_sort(rings_.begin(), rings_.end(),
                         [](const Ring &a, const Ring &b) { return a.content > b.content; });
        tree_.reset(GEOSSTRtree_create_r(context(), 10));
        for (Ring &ring : rings_) GEOSSTRtree_insert_r(context(), tree_.get(), ring.polygon, &ring);
    }
    std::vector<std::vector<size_t>> polygons() {
        find_containers();
        std::vector<std::vector<size_t>> polygons;
        std::vector<const Ring *> outer(outermost_.rbegin(), outermost_.rend());
        while (!outer.empty()) {
            const Ring *ring = outer.back();
            outer.pop_back();
            polygons.push_back({ring->index});
            for (const Ring *hole : ring->inner) polygons.back().push_back(hole->index);
            for (size_t i = ring->inner.size(); i-- > 0;)
                outer.insert(outer.end(), ring->inner[i]->inner.rbegin(), ring->inner[i]->inner.rend());
        }
        return polygons;
    }

  private:
    struct Ring {
        const GEOSGeometry *polygon = nullptr;
        size_t index = 0;
        double content = 0;
        Prepared_geometry prepared; // made when something is to be looked up in it
        std::vector<const Ring *> inner;
    };
    struct Tree_deleter {
        void operator()(GEOSSTRtree *tree) const { GEOSSTRtree_destroy_r(context(), tree); }
    };

    void find_containers() {
        std::vector<Ring *> by_index(rings_.size());
        for (Ring &ring : rings_) by_index[ring.index] = &ring;
        for (const Ring *ring : by_index) {
            Ring *outer = container(*ring);
            (outer ? outer->inner : outermost_).push_back(ring);
        }
    }
    Ring *container(const Ring &ring) {
        std::vector<Ring *> candidates;
        const auto take = [](void *item, void *list) {
            static_cast<std::vector<Ring *> *>(list)->push_back(static_cast<Ring *>(item));
        };
        GEOSSTRtree_query_r(context(), tree_.get(), ring.polygon, take, &candidates);
        std::erase_if(candidates, [&](const Ring *candidate) { return candidate >= &ring; });
        if (candidates.empty()) return nullptr;
        // A ring that only touches a larger one, or is equal to it, still has a point of
        // which it is clear where it lies: one of its inside.
        const Geometry inside(GEOSPointOnSurface_r(context(), ring.polygon));
        if (!inside) return nullptr;
        std::make_heap(candidates.begin(), candidates.end());
        while (!candidates.empty()) {
            std::pop_heap(candidates.begin(), candidates.end());
            Ring *candidate = candidates.back();
            candidates.pop_back();
            if (!candidate->prepared) candidate->prepared.reset(GEOSPrepare_r(context(), candidate->polygon));
            if (GEOSPreparedContains_r(context(), candidate->prepared.get(), inside.get()) == 1) return candidate;
        }
        return nullptr;
    }

    std::vector<Ring> rings_; // the largest first
    std::vector<const Ring *> outermost_;
    std::unique_ptr<GEOSSTRtree, Tree_deleter> tree_;
};

Geometry assemble(const std::vector<Geometry> &rings) {
    std::vector<Geometry> polygons;
    for (const auto &indices : nest(rings)) {
        std::vector<const GEOSGeometry *> holes;
        for (size_t i = 1; i < indices.size(); ++i) holes.push_back(shell(rings[indices[i]]));
        polygons.push_back(polygon(shell(rings[indices[0]]), holes));
    }
    if (polygons.size() == 1) return std::move(polygons[0]);
    return collection(GEOS_MULTIPOLYGON, std::move(polygons));
}

// Null for an area with arcs, of which only the coordinates are checked.
Geometry area_to_geos(QOR_GEOMETRY area, bool *has_arcs) {
    std::vector<Geometry> polygons;
    GEOM_RESET_READ(&area);
    for (;;) {
        QOR_GEOMETRY rand;
        int32_t found;
        GEOM_READ_AREA_RAND(&area, &rand, &found);
        if (!found) break;
        Places places;
        places.add_rand(rand);
        *has_arcs = *has_arcs || places.has_arcs();
        if (*has_arcs || !places.has_three_places()) continue;
        const Geometry ring(GEOSGeom_createLinearRing_r(context(), places.sequence()));
        polygons.push_back(polygon(ring.get()));
    }
    if (*has_arcs) return nullptr;
    if (polygons.empty()) return Geometry(GEOSGeom_createEmptyPolygon_r(context()));
    if (polygons.size() == 1) return std::move(polygons[0]);
    return assemble(polygons);
}

Geometry convert(QOR_GEOMETRY geometry, bool *has_arcs) {
    int32_t kind;
    GEOM_READ_TYPE(geometry, &kind);
    if (kind < 0) return Geometry(GEOSGeom_createEmptyCollection_r(context(), GEOS_GEOMETRYCOLLECTION));
    if (kind == GEOM_AREA) return area_to_geos(geometry, has_arcs);
    Places places;
    if (kind == GEOM_POINT) {
        places.add_point(geometry);
        return Geometry(GEOSGeom_createPoint_r(context(), places.sequence()));
    }
    if (kind == GEOM_LINE) {
        places.add_line(geometry);
    } else {
        places.add_rand(geometry);
    }
    *has_arcs = places.has_arcs();
    if (*has_arcs) return nullptr;
    return Geometry(GEOSGeom_createLineString_r(context(), places.sequence()));
}

// --- even-odd ------------------------------------------------------------------

std::vector<const GEOSGeometry *> parts_of(const GEOSGeometry *geometry) {
    std::vector<const GEOSGeometry *> parts;
    const int count = GEOSGetNumGeometries_r(context(), geometry);
    parts.reserve(static_cast<size_t>(std::max(count, 0)));
    for (int i = 0; i < count; ++i) parts.push_back(GEOSGetGeometryN_r(context(), geometry, i));
    return parts;
}

double content_of(const GEOSGeometry *geometry) {
    double content = 0;
    GEOSArea_r(context(), geometry, &content);
    return content;
}

Geometry united_on_grid(const GEOSGeometry *polygons) {
    double size = 0;
    for (auto *bound : {GEOSGeom_getXMin_r, GEOSGeom_getYMin_r, GEOSGeom_getXMax_r, GEOSGeom_getYMax_r}) {
        double value = 0;
        bound(context(), polygons, &value);
        size = std::max(size, std::abs(value));
    }
    const double width = size > 1e-290 ? std::exp2(std::ilogb(size) - 47) : 0;
    return Geometry(GEOSUnaryUnionPrec_r(context(), polygons, width));
}

// Joins faces that do not overlap, with their points as they are, unless some get lost by that.
Geometry joined(std::vector<Geometry> faces) {
    const Geometry all = collection(GEOS_MULTIPOLYGON, std::move(faces));
    const double content = content_of(all.get());
    Geometry whole(GEOSUnaryUnion_r(context(), all.get()));
    if (!whole || std::abs(content_of(whole.get()) - content) <= 1e-9 * content) return whole;
    return united_on_grid(all.get());
}

// A ring that goes into a face and back the same way is no border of that, but its inner place
// may lie on it: then one beside it tells.
bool lies_inside(const GEOSGeometry *face, const GEOSPreparedGeometry *rings) {
    Geometry place(GEOSPointOnSurface_r(context(), face));
    if (!place || GEOSPreparedIntersects_r(context(), rings, place.get()) != 1) return false;
    double x, y, clearance;
    GEOSGeomGetX_r(context(), place.get(), &x);
    GEOSGeomGetY_r(context(), place.get(), &y);
    for (int angle = 1; angle < 10; ++angle) {
        if (GEOSPreparedContainsProperly_r(context(), rings, place.get()) == 1) return true;
        const Geometry border(GEOSBoundary_r(context(), face)), middle(GEOSGeom_createPointFromXY_r(context(), x, y));
        GEOSDistance_r(context(), border.get(), middle.get(), &clearance);
        place.reset(GEOSGeom_createPointFromXY_r(context(), x + clearance / 2 * std::cos(angle),
                                                 y + clearance / 2 * std::sin(angle)));
        if (GEOSPreparedIntersects_r(context(), rings, place.get()) != 1) return false;
    }
    return true;
}

// Cuts the plane along all rings of a polygonal geometry and joins those faces of which an
// inner point is crossed over an odd number of times on the way out. A prepared geometry
// finds points by just this rule, however its rings cross, unless they are out of the box
// of a polygon: so each ring is one.
Geometry even_odd(const GEOSGeometry *area) {
    const Geometry rings = split_into_rings(area), border(GEOSBoundary_r(context(), rings.get()));
    if (!border) return nullptr;
    const Geometry lines(GEOSUnaryUnion_r(context(), border.get()));
    if (!lines) return nullptr;
    const GEOSGeometry *const input[] = {lines.get()};
    const Geometry faces(GEOSPolygonize_r(context(), input, 1));
    const Prepared_geometry locator(GEOSPrepare_r(context(), rings.get()));
    if (!faces || !locator) return nullptr;
    std::vector<Geometry> inside;
    for (const GEOSGeometry *face : parts_of(faces.get()))
        if (lies_inside(face, locator.get())) inside.emplace_back(GEOSGeom_clone_r(context(), face));
    return joined(std::move(inside));
}

// --- from GEOS -------------------------------------------------------------------

// The parts of a geometry, those of collections in collections too.
std::vector<const GEOSGeometry *> leaves_of(const GEOSGeometry *geometry) {
    std::vector<const GEOSGeometry *> leaves, pending{geometry};
    while (!pending.empty()) {
        const GEOSGeometry *next = pending.back();
        pending.pop_back();
        if (GEOSGeomTypeId_r(context(), next) < GEOS_MULTIPOINT) {
            if (GEOSisEmpty_r(context(), next) == 0) leaves.push_back(next);
        } else {
            const std::vector<const GEOSGeometry *> parts = parts_of(next);
            pending.insert(pending.end(), parts.rbegin(), parts.rend());
        }
    }
    return leaves;
}

// The points of a point, a line or a ring of GEOS.
class Points {
  public:
    explicit Points(const GEOSGeometry *geometry) {
        const GEOSCoordSequence *sequence = GEOSGeom_getCoordSeq_r(context(), geometry);
        unsigned count = 0;
        GEOSCoordSeq_getSize_r(context(), sequence, &count);
        x_.resize(count);
        y_.resize(count);
        z_.resize(count);
        GEOSCoordSeq_copyToArrays_r(context(), sequence, x_.data(), y_.data(), z_.data(), nullptr);
        if (count > 3) GEOSCoordSeq_isCCW_r(context(), sequence, &is_ccw_);
    }
    void reverse_unless(bool counter_clockwise) {
        if ((is_ccw_ != 0) == counter_clockwise) return;
        std::reverse(x_.begin(), x_.end());
        std::reverse(y_.begin(), y_.end());
        std::reverse(z_.begin(), z_.end());
    }
    void create_point(size_t i, QOR_GEOMETRY *point) const {
        GEOM_CREATE_POINT(point, x_[i], y_[i], std::isnan(z_[i]) ? GEOM_NO_HEIGHT : z_[i]);
    }
    void create_line(QOR_GEOMETRY *line) const {
        Word from, to;
        create_point(0, &from.word);
        create_point(1, &to.word);
        GEOM_CREATE_LINE(line, from.word, 0, 0, 0, GEOM_NO_HEIGHT, to.word);
        for (size_t i = 2; i < x_.size(); ++i) {
            create_point(i, &to.word);
            GEOM_APPEND_LINE_POINT(line, 0, 0, 0, GEOM_NO_HEIGHT, to.word);
        }
    }

  private:
    std::vector<double> x_, y_, z_;
    char is_ccw_ = 0;
};

void add_ring(const GEOSGeometry *ring, bool counter_clockwise, QOR_GEOMETRY *area) {
    Points points(ring);
    points.reverse_unless(counter_clockwise);
    Word line, rand;
    points.create_line(&line.word);
    GEOM_CREATE_RAND(&rand.word, line.word);
    if (*area) {
        GEOM_APPEND_AREA_RAND(area, rand.word);
    } else {
        GEOM_CREATE_AREA(area, rand.word);
    }
}

void add_polygon(const GEOSGeometry *polygon, QOR_GEOMETRY *area) {
    add_ring(GEOSGetExteriorRing_r(context(), polygon), true, area);
    const int count = GEOSGetNumInteriorRings_r(context(), polygon);
    for (int i = 0; i < count; ++i) add_ring(GEOSGetInteriorRingN_r(context(), polygon, i), false, area);
}

} // namespace

GEOSContextHandle_t context() {
    if (!handle) {
        handle = GEOS_init_r();
        GEOSContext_setErrorMessageHandler_r(handle, keep_error, nullptr);
    }
    return handle;
}

void finish() {
    if (handle) GEOS_finish_r(std::exchange(handle, nullptr));
    last_error.clear();
    last_error.shrink_to_fit();
}

std::string take_error() { return std::exchange(last_error, {}); }

std::vector<std::vector<size_t>> nest(const std::vector<Geometry> &rings) { return Nesting(rings).polygons(); }

Geometry to_geos(QOR_GEOMETRY geometry, double tolerance) {
    try {
        bool has_arcs = false;
        Geometry converted = convert(geometry, &has_arcs);
        if (!has_arcs) return converted;
        Word stroked;
        if (GEOM2_STROKE(geometry, &stroked.word, tolerance) == 0)
            throw Refusal{"its arcs can not be replaced by chords"};
        has_arcs = false;
        return convert(stroked.word, &has_arcs);
    } catch (const Refusal &refusal) {
        last_error = refusal.reason;
        return nullptr;
    }
}

Geometry split_into_rings(const GEOSGeometry *area) {
    std::vector<Geometry> polygons;
    for (const GEOSGeometry *part : parts_of(area)) {
        polygons.push_back(polygon(GEOSGetExteriorRing_r(context(), part)));
        const int count = GEOSGetNumInteriorRings_r(context(), part);
        for (int i = 0; i < count; ++i) polygons.push_back(polygon(GEOSGetInteriorRingN_r(context(), part, i)));
    }
    return collection(GEOS_MULTIPOLYGON, std::move(polygons));
}

Geometry united(std::vector<Geometry> polygons) {
    const Geometry all = collection(GEOS_MULTIPOLYGON, std::move(polygons));
    return united_on_grid(all.get());
}

Geometry made_valid(Geometry geometry) {
    if (!geometry) return geometry;
    const int type = GEOSGeomTypeId_r(context(), geometry.get());
    if ((type != GEOS_POLYGON && type != GEOS_MULTIPOLYGON) || GEOSisValid_r(context(), geometry.get()) == 1)
        return geometry;
    return even_odd(geometry.get());
}

QOR_GEOMETRY area_from_geos(const GEOSGeometry *geometry, int32_t attribute) {
    Word area;
    for (const GEOSGeometry *leaf : leaves_of(geometry)) {
        if (GEOSGeomTypeId_r(context(), leaf) == GEOS_POLYGON) add_polygon(leaf, &area.word);
    }
    if (area.word) GEOM_SET_GATTR(area.word, attribute);
    return std::exchange(area.word, 0);
}

void parts_from_geos(const GEOSGeometry *geometry, int32_t attribute, GEOM_TAKE take, void *context) {
    for (const GEOSGeometry *leaf : leaves_of(geometry)) {
        Word part;
        switch (GEOSGeomTypeId_r(geos::context(), leaf)) {
        case GEOS_POINT: Points(leaf).create_point(0, &part.word); break;
        case GEOS_POLYGON: add_polygon(leaf, &part.word); break;
        default: Points(leaf).create_line(&part.word);
        }
        GEOM_SET_GATTR(part.word, attribute);
        take(context, &part.word);
    }
}

} // namespace geos
