#include "shapes.hpp"

#include <algorithm>
#include <charconv>
#include <cmath>

namespace geo {

namespace {

constexpr size_t MAX_LEVELS = 100;

constexpr uint32_t bits() { return 0; }
template <typename... Kinds> constexpr uint32_t bits(Kind kind, Kinds... others) {
    return 1u << static_cast<int>(kind) | bits(others...);
}

using enum Kind;
constexpr uint32_t CURVES = bits(LINESTRING, CIRCULARSTRING, COMPOUNDCURVE);
constexpr uint32_t ALL = ~bits(NONE);

constexpr Kind_row ROWS[] = {
    {"", "", NONE, ALL, false},
    {"POINT", "Point", NONE, 0, true},
    {"LINESTRING", "LineString", NONE, 0, true},
    {"POLYGON", "Polygon", LINESTRING, bits(LINESTRING), true},
    {"MULTIPOINT", "MultiPoint", POINT, bits(POINT), true},
    {"MULTILINESTRING", "MultiLineString", LINESTRING, bits(LINESTRING), true},
    {"MULTIPOLYGON", "MultiPolygon", POLYGON, bits(POLYGON), true},
    {"GEOMETRYCOLLECTION", "GeometryCollection", NONE, ALL, true},
    {"CIRCULARSTRING", "", NONE, 0, true},
    {"COMPOUNDCURVE", "", LINESTRING, bits(LINESTRING, CIRCULARSTRING), true},
    {"CURVEPOLYGON", "", LINESTRING, CURVES, true},
    {"MULTICURVE", "", LINESTRING, CURVES, true},
    {"MULTISURFACE", "", POLYGON, bits(POLYGON, CURVEPOLYGON), true},
    {"CURVE", "", NONE, 0, false},
    {"SURFACE", "", NONE, 0, false},
    {"POLYHEDRALSURFACE", "", NONE, 0, false},
    {"TIN", "", NONE, 0, false},
    {"TRIANGLE", "", LINESTRING, bits(LINESTRING), true},
    {"LINEARRING", "", NONE, 0, true},
};
static_assert(std::size(ROWS) == static_cast<size_t>(COUNT));

bool is_polygon(Kind kind) { return kind == POLYGON || kind == CURVEPOLYGON || kind == TRIANGLE; }
bool is_multi_polygon(Kind kind) { return kind == MULTIPOLYGON || kind == MULTISURFACE; }
bool is_curve(Kind kind) { return (CURVES & bits(kind)) != 0 || kind == LINEARRING; }
bool is_list(Kind kind) {
    return (bits(MULTIPOINT, MULTILINESTRING, MULTICURVE, GEOMETRYCOLLECTION) & bits(kind)) != 0;
}

double height(double z) { return std::isnan(z) ? GEOM_NO_HEIGHT : z; }

} // namespace

const Kind_row &row_of(Kind kind) { return ROWS[static_cast<size_t>(kind)]; }

// --- Builder -------------------------------------------------------------------------------

void Builder::open(Kind kind) {
    const Kind outer = levels_.empty() ? NONE : levels_.back().kind;
    if (!row_of(kind).can_be_read) throw No_result{std::string("a ") + row_of(kind).name + " can not be read"};
    if ((row_of(outer).members & bits(kind)) == 0)
        throw No_result{std::string("a ") + row_of(kind).name + " can not be in a " + row_of(outer).name};
    if (levels_.size() == MAX_LEVELS) throw No_result{"more than 100 levels"};
    if (levels_.empty()) {
        reading_.is_list = is_list(kind);
    } else {
        ++levels_.back().count;
    }
    levels_.push_back({kind});
    if (!is_curve(kind) || outer == COMPOUNDCURVE) return;
    begin_curve(kind == LINEARRING ? Role::RAND : is_polygon(outer) ? Role::RING : Role::LINE);
}

void Builder::begin_curve(Role role) {
    role_ = role;
    ring_ = role == Role::RING ? levels_[levels_.size() - 2].count : 0;
    points_ = 0;
    has_arcs_ = false;
}

void Builder::add(double x, double y, double z) {
    if (!std::isfinite(x) || !std::isfinite(y) || std::isinf(z)) throw No_result{"a coordinate is not finite"};
    Level &level = levels_.back();
    const size_t index = level.count++;
    if (level.kind == POINT) {
        if (index > 0) throw No_result{"a POINT has one place"};
        GEOM_CREATE_POINT(reading_.geometries.emplace_back().address(), x, y, height(z));
    } else if (index == 0 && points_ > 0) {
        if (x != last_.x || y != last_.y) refuse_curve("has a part that does not begin where the one before it ends");
    } else if (level.kind == CIRCULARSTRING && index % 2 == 1) {
        arc_is_pending_ = has_arcs_ = true;
        arc_x_ = x;
        arc_y_ = y;
        arc_z_ = height(z);
    } else {
        append(x, y, height(z));
    }
}

void Builder::append(double x, double y, double z) {
    const double arc = std::exchange(arc_is_pending_, false) ? 1 : 0;
    const double ax = arc != 0 ? arc_x_ : 0, ay = arc != 0 ? arc_y_ : 0, az = arc != 0 ? arc_z_ : GEOM_NO_HEIGHT;
    last_ = {x, y};
    if (points_ == 0) {
        first_ = last_;
        GEOM_CREATE_POINT(first_point_.address(), x, y, z);
    } else {
        GEOM_CREATE_POINT(point_.address(), x, y, z);
        if (points_ == 1) {
            GEOM_CREATE_LINE(whole_.address(), first_point_.get(), arc, ax, ay, az, point_.get());
            place_curve();
        } else {
            GEOM_APPEND_LINE_POINT(&line_, arc, ax, ay, az, point_.get());
        }
    }
    ++points_;
}

// Puts the first segment where the whole curve is to be, so that no point is copied again.
void Builder::place_curve() {
    if (role_ != Role::LINE) GEOM_CREATE_RAND(whole_.address(), whole_.get());
    line_ = whole_.get();
    if (role_ == Role::RING) {
        if (area_.get()) {
            GEOM_APPEND_AREA_RAND(area_.address(), whole_.get());
        } else {
            GEOM_CREATE_AREA(area_.address(), whole_.get());
        }
        GEOM_READ_LAST_SUBOBJ(area_.get(), &line_);
    }
    if (role_ != Role::LINE) GEOM_READ_LAST_SUBOBJ(line_, &line_);
}

void Builder::close() {
    const Level level = levels_.back();
    if (is_curve(level.kind)) {
        if (level.kind != COMPOUNDCURVE) close_part();
        if (!is_in_compound()) close_curve();
    } else if (is_multi_polygon(level.kind) || (is_polygon(level.kind) && !is_multi_polygon(parent()))) {
        close_area();
    }
    levels_.pop_back();
}

void Builder::close_part() {
    const Level &level = levels_.back();
    if (level.count == 1) refuse_curve("needs two points");
    if (level.kind == CIRCULARSTRING && level.count > 0 && level.count % 2 == 0)
        refuse_curve("needs an odd count of points for its arcs");
}

void Builder::close_curve() {
    if (points_ == 0 && role_ == Role::RING) refuse_curve("is empty");
    if (points_ == 0) return;
    if (role_ != Role::LINE) {
        if (first_.x != last_.x || first_.y != last_.y) refuse_curve("is not closed");
        if (points_ < 4 && !has_arcs_) refuse_curve("needs four points");
    }
    if (role_ != Role::RING) reading_.geometries.push_back(std::exchange(whole_, {}));
}

void Builder::close_area() {
    if (area_.get()) reading_.geometries.push_back(std::exchange(area_, {}));
}

void Builder::refuse_curve(const char *reason) const {
    const std::string curve = role_ == Role::RING   ? "ring " + std::to_string(ring_)
                              : role_ == Role::RAND ? "the ring"
                                                    : "the line";
    throw No_result{curve + ' ' + reason};
}

Reading Builder::finish() { return std::move(reading_); }

void make_object(Reading &&reading, Object *object) {
    if (!reading.is_list) {
        BTYP_create_undef_geometry(&object->value);
        if (!reading.geometries.empty()) BTYP_create_geometry_ref(&object->value, reading.geometries[0].give());
        return;
    }
    BTYP_create_list(&object->value);
    for (Geometry &geometry : reading.geometries) {
        Object element;
        BTYP_create_geometry_ref(&element.value, geometry.give());
        BTYP_append_to_list(object->value, element.value);
    }
}

// --- from geometries -------------------------------------------------------------------------

namespace {

// Calls visit(arc, ax, ay, az, point) for each point of a line.
template <typename Visit> void for_each_point(QOR_GEOMETRY line, Visit visit) {
    GEOM_RESET_READ(&line);
    for (;;) {
        double arc, x, y, z;
        QOR_GEOMETRY point;
        int32_t found;
        GEOM_READ_LINE_POINT(&line, &arc, &x, &y, &z, &point, &found);
        if (!found) return;
        visit(arc != 0, x, y, z, point);
    }
}

Vertex make_vertex(double x, double y, double z, bool is_arc_point) {
    if (!std::isfinite(x) || !std::isfinite(y)) throw No_result{"a coordinate is not finite"};
    return {x, y, z == GEOM_NO_HEIGHT || !std::isfinite(z) ? NO_Z : z, is_arc_point};
}

bool is_same(const Vertex &a, const Vertex &b) { return a.x == b.x && a.y == b.y; }

} // namespace

Vertex vertex_of(QOR_GEOMETRY point) {
    double x, y, z;
    GEOM_READ_POINT(point, &x, &y, &z);
    return make_vertex(x, y, z, false);
}

Curve curve_of(QOR_GEOMETRY line_or_rand) {
    Curve curve;
    for_each_line(line_or_rand, [&curve](QOR_GEOMETRY line) {
        bool is_first = true;
        for_each_point(line, [&](bool arc, double ax, double ay, double az, QOR_GEOMETRY point) {
            const Vertex vertex = vertex_of(point);
            // Most lines of a rand begin where the one before them ends.
            const bool is_repeated = std::exchange(is_first, false) && !curve.empty() && is_same(curve.back(), vertex);
            if (is_repeated) return;
            if (arc) curve.push_back(make_vertex(ax, ay, az, true));
            curve.push_back(vertex);
        });
    });
    const bool is_open = kind_of(line_or_rand) == GEOM_RAND && !is_same(curve.front(), curve.back());
    if (is_open) curve.push_back(Vertex(curve.front()));
    return curve;
}

namespace {

std::vector<Curve> rings_of(QOR_GEOMETRY area) {
    std::vector<Curve> rings;
    for_each_part(area, [&rings](QOR_GEOMETRY rand) {
        Curve &ring = rings.emplace_back(curve_of(rand));
        // Readers want four points in a ring without arcs.
        while (ring.size() < 4 && !has_arcs(ring)) ring.push_back(Vertex(ring.back()));
    });
    return rings;
}

geos::Geometry to_geos(const Curve &ring) {
    std::vector<double> x, y;
    x.reserve(ring.size());
    y.reserve(ring.size());
    for (const Vertex &vertex : ring) {
        if (std::max(std::abs(vertex.x), std::abs(vertex.y)) > geos::MAX_COORDINATE)
            throw No_result{"a coordinate is too large"};
        x.push_back(vertex.x);
        y.push_back(vertex.y);
    }
    GEOSContextHandle_t context = geos::context();
    GEOSCoordSequence *places = GEOSCoordSeq_copyFromArrays_r(context, x.data(), y.data(), nullptr, nullptr,
                                                              static_cast<unsigned>(ring.size()));
    return geos::Geometry(GEOSGeom_createPolygon_r(context, GEOSGeom_createLinearRing_r(context, places), nullptr, 0));
}

} // namespace

Polygons polygons_of(QOR_GEOMETRY area) {
    Polygons result{rings_of(area), {{0}}};
    if (result.rings.size() == 1) return result;
    const bool is_curved = std::any_of(result.rings.begin(), result.rings.end(), has_arcs);
    std::vector<Curve> chords;
    if (is_curved) {
        Geometry straight;
        GEOM2_STROKE(area, straight.address(), 0);
        chords = rings_of(straight.get());
    }
    std::vector<geos::Geometry> polygons;
    for (const Curve &ring : is_curved ? chords : result.rings) polygons.push_back(to_geos(ring));
    result.polygons = geos::nest(polygons);
    return result;
}

bool has_arcs(const Curve &curve) {
    for (const Vertex &vertex : curve)
        if (vertex.is_arc_point) return true;
    return false;
}

std::vector<Piece> pieces_of(const Curve &curve) {
    std::vector<Piece> pieces;
    for (size_t i = 0; i + 1 < curve.size();) {
        const bool is_arc = curve[i + 1].is_arc_point;
        const size_t end = i + (is_arc ? 2 : 1);
        if (pieces.empty() || pieces.back().is_arc != is_arc) {
            pieces.push_back({i, end, is_arc});
        } else {
            pieces.back().last = end;
        }
        i = end;
    }
    return pieces;
}

Survey survey(const Source &source) {
    bool are_points = true, are_curves = true, has_arcs = false, has_heights = false;
    size_t places = 0;
    for (const QOR_GEOMETRY geometry : source.geometries) {
        const int32_t kind = kind_of(geometry);
        are_points = are_points && kind == GEOM_POINT;
        are_curves = are_curves && (kind == GEOM_LINE || kind == GEOM_RAND);
        if (kind == GEOM_POINT) {
            ++places;
            has_heights = has_heights || !std::isnan(vertex_of(geometry).z);
            continue;
        }
        for_each_line(geometry, [&](QOR_GEOMETRY line) {
            for_each_point(line, [&](bool arc, double, double, double az, QOR_GEOMETRY point) {
                places += arc ? 2 : 1;
                has_arcs = has_arcs || arc;
                has_heights = has_heights || !std::isnan(vertex_of(point).z) || (arc && az != GEOM_NO_HEIGHT);
            });
        });
    }
    const Kind list_kind = source.geometries.empty() ? GEOMETRYCOLLECTION
                           : are_points              ? MULTIPOINT
                           : !are_curves             ? GEOMETRYCOLLECTION
                           : has_arcs                ? MULTICURVE
                                                     : MULTILINESTRING;
    return {list_kind, has_heights, has_arcs, places};
}

namespace {

// A number of at most eight decimals, as many coordinates are: much faster than the general
// way. Below the limit no two of them are the same double, so these are its shortest digits.
// Null when the number is not one.
char *write_decimal(double size, char *buffer) {
    constexpr double LIMIT = 1 << 25, SCALE = 1e8;
    constexpr int DECIMALS = 8;
    if (size >= LIMIT) return nullptr;
    const auto scaled = static_cast<uint64_t>(std::llround(size * SCALE));
    if (static_cast<double>(scaled) / SCALE != size) return nullptr;
    char *end = std::to_chars(buffer, buffer + 32, scaled / static_cast<uint64_t>(SCALE)).ptr;
    uint64_t rest = scaled % static_cast<uint64_t>(SCALE);
    if (rest == 0) return end;
    *end = '.';
    for (int i = DECIMALS; i > 0; --i, rest /= 10) end[i] = static_cast<char>('0' + rest % 10);
    end += DECIMALS;
    while (*end == '0') --end;
    return end + 1;
}

} // namespace

// Fixed digits where they are not many: 100000 rather than 1e+05.
char *write_number(double value, char *buffer) {
    if (std::isnan(value)) return std::copy_n("NaN", 3, buffer);
    if (value < 0) *buffer++ = '-';
    const double size = std::abs(value);
    if (char *end = write_decimal(size, buffer)) return end;
    const bool is_fixed = size >= 1e-6 && size < 1e15;
    return std::to_chars(buffer, buffer + 32, size, is_fixed ? std::chars_format::fixed : std::chars_format::scientific)
        .ptr;
}

} // namespace geo
