// Overlay of areas and their validity, by means of GEOS.
#include "overlay.hpp"

#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>
#include <utility>

#include "qor/msg.h"
#include "qor/strng.h"
#include "vector.hpp"

namespace geom {

int32_t refuse(const char *operation, const std::string &reason) {
    const std::string text = std::string("*** ERROR *** GEOM(") + operation + ") " + reason + '\n';
    MESSAGE_DISPLAY_ERROR1_C(text.c_str());
    return 0;
}

QOR_GEOMETRY area_in(QOR_GEOMETRY word, const char *operation) {
    return word && composite_in(word, GEOM_AREA, operation) ? word : 0;
}

const char *coordinate_fault(const Geometry *geometry, GEOM_XY *place) {
    const char *fault = nullptr;
    const auto check = [&](double x, double y) {
        if (fault) return;
        const double size = std::max(std::abs(x), std::abs(y));
        if (std::isnan(x) || std::isnan(y) || std::isinf(size)) {
            fault = "a coordinate is not a finite number";
        } else if (size > geos::MAX_COORDINATE) {
            fault = "a coordinate is too large";
        }
        if (fault && place) *place = {x, y};
    };
    if (geometry && geometry->kind == GEOM_POINT) {
        const Point *point = static_cast<const Point *>(geometry);
        check(point->x, point->y);
    }
    for_each_line(geometry, [&](const Composite *line) {
        for (Node *node = line->first; node; node = node->next) {
            const Line_node *n = line_node(node);
            if (n->arc != 0) check(n->arc_x, n->arc_y);
            check(n->x, n->y);
        }
    });
    return fault;
}

geos::Geometry valid_polygons(QOR_GEOMETRY area) {
    if (!area) return geos::Geometry(GEOSGeom_createEmptyPolygon_r(geos::context()));
    return geos::made_valid(geos::to_geos(area, 0));
}

geos::Geometry polygon_of(const std::vector<Point> &corners) {
    std::vector<double> coordinates;
    const auto add = [&](const Point &corner) {
        const double z = corner.z == GEOM_NO_HEIGHT ? std::numeric_limits<double>::quiet_NaN() : corner.z;
        coordinates.insert(coordinates.end(), {corner.x, corner.y, z});
    };
    std::for_each(corners.begin(), corners.end(), add);
    add(corners.front());
    const auto count = static_cast<unsigned>(corners.size() + 1);
    GEOSCoordSequence *sequence = GEOSCoordSeq_copyFromBuffer_r(geos::context(), coordinates.data(), count, 1, 0);
    GEOSGeometry *ring = GEOSGeom_createLinearRing_r(geos::context(), sequence);
    return geos::Geometry(GEOSGeom_createPolygon_r(geos::context(), ring, nullptr, 0));
}

Point_attributes::Point_attributes(QOR_GEOMETRY source) {
    for_each_point(geometry_of(source), [&](const Point &point) {
        if (point.attribute != 0) attributes_.emplace(place_of(point), point.attribute);
    });
}

void Point_attributes::give_to(QOR_GEOMETRY copy) const {
    if (attributes_.empty()) return;
    for_each_point(geometry_of(copy), [&](Point &point) {
        const auto found = attributes_.find(place_of(point));
        if (found != attributes_.end()) point.attribute = found->second;
    });
}

Gathered::~Gathered() {
    for (QOR_GEOMETRY &word : words_) GEOM_REMOVE(&word);
}

QOR_GEOMETRY Gathered::remove_front() {
    const QOR_GEOMETRY front = words_.front();
    words_.erase(words_.begin());
    return front;
}

void Gathered::deliver(GEOM_TAKE take, void *context, int32_t *count) {
    if (count) *count = static_cast<int32_t>(words_.size());
    for (QOR_GEOMETRY &word : words_) {
        take(context, &word);
        GEOM_REMOVE(&word);
    }
}

namespace {

// --- validity ------------------------------------------------------------------

struct Fault {
    std::string reason;
    GEOM_XY place;
};

// Where a rand is open.
std::optional<GEOM_XY> gap_of(const Composite *rand) {
    for (Node *node = rand->first; node; node = node->next) {
        const Composite *next = part_of(node->next ? node->next : rand->first);
        const GEOM_XY end = place_of(last_point(part_of(node)));
        if (!is_same(end, place_of(first_point(next)))) return end;
    }
    return std::nullopt;
}

// Whether a rand may have content at all: two places make none without an arc.
bool goes_round(const Composite *rand) {
    const GEOM_XY first = place_of(first_point(part_of(rand->first)));
    std::optional<GEOM_XY> second;
    bool is_found = false;
    for_each_line(rand, [&](const Composite *line) {
        for_each_segment(line, [&](const Line_node &, const Line_node &to, const Segment &segment) {
            const GEOM_XY place = place_of(to);
            is_found = is_found || segment.is_arc;
            if (is_same(place, first)) return;
            if (!second) second = place;
            is_found = is_found || !is_same(place, *second);
        });
    });
    return is_found;
}

std::optional<Fault> fault_of_rands(const Composite *area) {
    for (Node *node = area->first; node; node = node->next) {
        const Composite *rand = part_of(node);
        if (const auto gap = gap_of(rand)) return Fault{"a rand is not closed", *gap};
        if (!goes_round(rand)) return Fault{"a rand has no content", place_of(first_point(part_of(rand->first)))};
    }
    return std::nullopt;
}

// Rands may touch themselves and each other in points, and lie in each other. Of polygons
// with holes GEOS would not look further when two rings touch twice; of polygons without,
// it looks for crossings first, all of them, and for the rest, which is no fault, after that.
std::optional<Fault> fault_of_polygons(const GEOSGeometry *polygons) {
    const geos::Geometry rings = geos::split_into_rings(polygons);
    char *text = nullptr;
    GEOSGeometry *location = nullptr;
    const char valid = GEOSisValidDetail_r(geos::context(), rings.get(), GEOSVALID_ALLOW_SELFTOUCHING_RING_FORMING_HOLE,
                                           &text, &location);
    const geos::Geometry owner(location);
    const std::string reason = text ? text : geos::take_error();
    GEOSFree_r(geos::context(), text);
    if (valid == 1 || reason == "Nested shells" || reason == "Interior is disconnected") return std::nullopt;
    Fault fault{reason, {0, 0}};
    if (location) {
        GEOSGeomGetX_r(geos::context(), location, &fault.place.x);
        GEOSGeomGetY_r(geos::context(), location, &fault.place.y);
    }
    return fault;
}

std::optional<Fault> fault_of(QOR_GEOMETRY word) {
    const Composite *area = static_cast<const Composite *>(geometry_of(word));
    GEOM_XY place;
    if (const char *reason = coordinate_fault(area, &place)) return Fault{reason, place};
    if (auto fault = fault_of_rands(area)) return fault;
    const geos::Geometry polygons = geos::to_geos(word, 0);
    if (!polygons) return Fault{geos::take_error(), place_of(first_point(part_of(part_of(area->first)->first)))};
    return fault_of_polygons(polygons.get());
}

// Puts polygons into the place of the area that they were made from.
void replace_by(const GEOSGeometry *polygons, QOR_GEOMETRY *area, const char *operation) {
    Owner made(geometry_of(geos::area_from_geos(polygons, GEOM_GET_GATTR(*area))));
    Point_attributes(*area).give_to(made.get());
    replace(area, made.give(), operation);
}

// --- overlay ---------------------------------------------------------------------

using Overlay = GEOSGeometry *(*)(GEOSContextHandle_t, const GEOSGeometry *, const GEOSGeometry *);

int32_t overlay(Overlay compute, QOR_GEOMETRY a, QOR_GEOMETRY b, QOR_GEOMETRY *result, const char *operation) {
    const geos::Geometry first = valid_polygons(a), second = valid_polygons(b);
    if (!first || !second) return refuse(operation, geos::take_error());
    const geos::Geometry both(compute(geos::context(), first.get(), second.get()));
    if (!both) return refuse(operation, geos::take_error());
    replace(result, geometry_of(geos::area_from_geos(both.get(), GEOM_GET_GATTR(a))), operation);
    return 1;
}

// Where the other area is empty, arcs can stay.
int32_t copy_cleaned(QOR_GEOMETRY area, QOR_GEOMETRY *result, const char *operation) {
    Owner copy;
    GEOM_COPY(area, copy.address());
    if (clean_area(copy.address(), operation) == 0) return 0;
    replace(result, copy.give(), operation);
    return 1;
}

} // namespace

int32_t clean_area(QOR_GEOMETRY *area, const char *operation) {
    if (!*area || !fault_of(*area)) return 1;
    const geos::Geometry polygons = valid_polygons(*area);
    if (!polygons) return refuse(operation, geos::take_error());
    replace_by(polygons.get(), area, operation);
    return 1;
}

} // namespace geom

using namespace geom;

int32_t GEOM2_CHECK_AREA(QOR_GEOMETRY area, STRNG *reason, double *x, double *y) {
    if (!area_in(area, "GEOM2_CHECK_AREA")) return 1;
    const std::optional<Fault> fault = fault_of(area);
    if (!fault) return 1;
    if (reason) STRNG_FILL_C(fault->reason.c_str(), reason);
    if (x) *x = fault->place.x;
    if (y) *y = fault->place.y;
    return 0;
}

int32_t GEOM2_CLEAN_AREA(QOR_GEOMETRY *area) {
    area_in(*area, "GEOM2_CLEAN_AREA");
    return clean_area(area, "GEOM2_CLEAN_AREA");
}

int32_t GEOM2_CLEAN_AREA2(QOR_GEOMETRY *area, double width) {
    static constexpr char OPERATION[] = "GEOM2_CLEAN_AREA2";
    // A finer grid than this has a point for every number that a coordinate can be.
    static constexpr double MAX_MULTIPLE = 9e15;
    if (!(width >= 0) || std::isinf(width)) return refuse(OPERATION, "the grid width must be a number from 0");
    if (!area_in(*area, OPERATION)) return 1;
    Box box;
    for_each_point(geometry_of(*area), [&](const Point &point) { box.add(place_of(point)); });
    const double size = std::max({-box.xmin, -box.ymin, box.xmax, box.ymax});
    if (!(size / width < MAX_MULTIPLE)) return clean_area(area, OPERATION);
    geos::Geometry polygons = valid_polygons(*area);
    if (polygons) polygons.reset(GEOSGeom_setPrecision_r(geos::context(), polygons.get(), width, 0));
    if (!polygons) return refuse(OPERATION, geos::take_error());
    replace_by(polygons.get(), area, OPERATION);
    return 1;
}

int32_t GEOM2_AREA_INTERSECTION(QOR_GEOMETRY a, QOR_GEOMETRY b, QOR_GEOMETRY *result) {
    static constexpr char OPERATION[] = "GEOM2_AREA_INTERSECTION";
    a = area_in(a, OPERATION);
    b = area_in(b, OPERATION);
    return overlay(GEOSIntersection_r, a, b, result, OPERATION);
}

int32_t GEOM2_AREA_UNION(QOR_GEOMETRY a, QOR_GEOMETRY b, QOR_GEOMETRY *result) {
    static constexpr char OPERATION[] = "GEOM2_AREA_UNION";
    a = area_in(a, OPERATION);
    b = area_in(b, OPERATION);
    if (!a || !b) return copy_cleaned(a ? a : b, result, OPERATION);
    return overlay(GEOSUnion_r, a, b, result, OPERATION);
}

int32_t GEOM2_AREA_DIFFERENCE(QOR_GEOMETRY a, QOR_GEOMETRY b, QOR_GEOMETRY *result) {
    static constexpr char OPERATION[] = "GEOM2_AREA_DIFFERENCE";
    a = area_in(a, OPERATION);
    b = area_in(b, OPERATION);
    if (!a || !b) return copy_cleaned(a, result, OPERATION);
    return overlay(GEOSDifference_r, a, b, result, OPERATION);
}
