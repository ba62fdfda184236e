// How geometries lie to each other, and areas put together, cut and grown.
#include <cmath>
#include <numbers>

#include "geometries.hpp"

namespace geo {

namespace {

// --- relations -----------------------------------------------------------------------------

bool is_inside(QOR_GEOMETRY geometry, QOR_GEOMETRY area) {
    if (kind_of(geometry) == GEOM_POINT) return GEOM_IS_INSIDEAREA(place_of(geometry), area) != 0;
    return GEOM2_IS_INSIDE_FENCE_AND_BORDER(geometry, area) != 0;
}

bool do_boxes_meet(QOR_GEOMETRY a, QOR_GEOMETRY b) {
    Box p, q;
    return find_box(a, &p) && find_box(b, &q) &&
           GEOM2_BOX_OVERLAP(p.xmin, p.ymin, p.xmax, p.ymax, q.xmin, q.ymin, q.xmax, q.ymax);
}

using Relation = char (*)(GEOSContextHandle_t, const GEOSGeometry *, const GEOSGeometry *);

// Of relations that nothing has with what is elsewhere.
bool holds(Relation relation, QOR_GEOMETRY a, QOR_GEOMETRY b) {
    if (!do_boxes_meet(a, b)) return false;
    const char answer = relation(geos::context(), to_valid_geos(a).get(), to_valid_geos(b).get());
    if (answer == 2) refuse_geos();
    return answer == 1;
}

void method_is_inside() {
    run("IS_INSIDE", "ga", "b",
        [](const Arguments &values) { QORCPU_PUSHB(is_inside(values.geometry(0), values.geometry(1))); });
}

void intersects() {
    run("INTERSECTS", "gg", "b", [](const Arguments &values) {
        const QOR_GEOMETRY a = values.geometry(0), b = values.geometry(1);
        const int32_t kind = kind_of(a), other = kind_of(b);
        if (kind == GEOM_POINT && other == GEOM_AREA) return QORCPU_PUSHB(is_inside(a, b));
        if (kind == GEOM_AREA && other == GEOM_POINT) return QORCPU_PUSHB(is_inside(b, a));
        QORCPU_PUSHB(holds(GEOSIntersects_r, a, b));
    });
}

template <Relation relation> void ask(const char *method) {
    run(method, "gg", "b",
        [](const Arguments &values) { QORCPU_PUSHB(holds(relation, values.geometry(0), values.geometry(1))); });
}

void touches() { ask<GEOSTouches_r>("TOUCHES"); }
void crosses() { ask<GEOSCrosses_r>("CROSSES"); }
void equals() { ask<GEOSEquals_r>("EQUALS"); }

void relate() {
    run("RELATE", "gg", "s", [](const Arguments &values) {
        const geos::Geometry a = to_valid_geos(values.geometry(0)), b = to_valid_geos(values.geometry(1));
        push(text_of_result(GEOSRelate_r(geos::context(), a.get(), b.get())));
    });
}

// --- overlay ---------------------------------------------------------------------------------

using Overlay = int32_t (*)(QOR_GEOMETRY, QOR_GEOMETRY, QOR_GEOMETRY *);

Geometry overlay(Overlay operation, QOR_GEOMETRY a, QOR_GEOMETRY b) {
    Geometry result;
    expect(operation(a, b, result.address()));
    return result;
}

template <Overlay operation> void combine(const char *method) {
    run(method, "aa", "g",
        [](const Arguments &values) { push(overlay(operation, values.geometry(0), values.geometry(1))); });
}

void intersection() { combine<GEOM2_AREA_INTERSECTION>("INTERSECTION"); }
void unite() { combine<GEOM2_AREA_UNION>("UNION"); }
void difference() { combine<GEOM2_AREA_DIFFERENCE>("DIFFERENCE"); }

void sym_difference() {
    run("SYM_DIFFERENCE", "aa", "g", [](const Arguments &values) {
        const QOR_GEOMETRY a = values.geometry(0), b = values.geometry(1);
        const int32_t attribute = GEOM_GET_GATTR(a);
        const geos::Geometry first = to_valid_geos(a), second = to_valid_geos(b);
        const geos::Geometry result = result_of(GEOSSymDifference_r(geos::context(), first.get(), second.get()));
        push(Geometry(geos::area_from_geos(result.get(), attribute)));
    });
}

void union_all() {
    run("UNION_ALL", "L", "g", [](const Arguments &values) {
        const std::vector<QOR_GEOMETRY> areas = geometries_of(values.object(0), "a");
        if (areas.empty()) throw No_result{};
        std::vector<geos::Geometry> parts;
        parts.reserve(areas.size());
        for (const QOR_GEOMETRY area : areas) parts.push_back(to_valid_geos(area));
        std::vector<GEOSGeometry *> adopted;
        adopted.reserve(parts.size());
        for (geos::Geometry &part : parts) adopted.push_back(part.release());
        const geos::Geometry all = result_of(GEOSGeom_createCollection_r(
            geos::context(), GEOS_GEOMETRYCOLLECTION, adopted.data(), static_cast<unsigned>(adopted.size())));
        const geos::Geometry result = result_of(GEOSUnaryUnion_r(geos::context(), all.get()));
        push(Geometry(geos::area_from_geos(result.get(), GEOM_GET_GATTR(areas[0]))));
    });
}

// --- growing ---------------------------------------------------------------------------------

// So many chords for a quarter of a circle that they keep to the tolerance. Without one
// they may be off by a ten-thousandth of the radius, as the module's are.
int chords_of_quadrant(double radius) {
    constexpr double RATIO = 1e-4, FEWEST = 2, MOST = 2500;
    const double ratio = tolerance() > 0 ? std::fmin(tolerance() / radius, 1) : RATIO;
    const double angle = 2 * std::acos(1 - ratio);
    return static_cast<int>(std::fmin(std::fmax(std::ceil(std::numbers::pi / 2 / angle), FEWEST), MOST));
}

Geometry grown(QOR_GEOMETRY geometry, double distance) {
    if (!(std::abs(distance) <= geos::MAX_COORDINATE)) throw No_result{"the distance is not a usable number"};
    const geos::Geometry chords = to_valid_geos(geometry);
    const geos::Geometry area =
        result_of(GEOSBuffer_r(geos::context(), chords.get(), distance, chords_of_quadrant(std::abs(distance))));
    return Geometry(geos::area_from_geos(area.get(), GEOM_GET_GATTR(geometry)));
}

void buffer() {
    run("BUFFER", "gr", "g", [](const Arguments &values) { push(grown(values.geometry(0), values.real(1))); });
}

// Of a rand its area grows.
void copy_parallel() {
    run("COPY_PARALLEL", "gr", "g", [](const Arguments &values) {
        const QOR_GEOMETRY geometry = values.geometry(0);
        const int32_t kind = kind_of(geometry);
        if (kind == GEOM_POINT) throw Fault{"line, rand or area expected, not point"};
        if (kind == GEOM_AREA) return push(grown(geometry, values.real(1)));
        Geometry copy;
        if (kind == GEOM_RAND) {
            GEOM_CREATE_AREA(copy.address(), geometry);
            GEOM_SET_GATTR(copy.get(), GEOM_GET_GATTR(geometry));
            return push(grown(copy.get(), values.real(1)));
        }
        expect(GEOM2_COPY_LINE_PARALLEL(geometry, values.real(1), GEOM_CORNER_ROUND, 0, copy.address()));
        push(std::move(copy));
    });
}

void cut(const char *method, decltype(GEOM2_FENCE_CUT) *operation) {
    run(method, "ga", "L", [operation](const Arguments &values) {
        if (GEOM_ISEMPTY(values.geometry(0))) throw No_result{};
        Object pieces;
        create_list(&pieces);
        expect(operation(values.geometry(0), values.geometry(1), take_into_list, &pieces, nullptr));
        push(pieces);
    });
}

void cut_inside() { cut("CUT", GEOM2_FENCE_CUT); }
void cut_outside() { cut("CUT_OUTSIDE", GEOM2_FENCE_CUT_OUTSIDE); }

void convex_hull() {
    run("CONVEX_HULL", "g", "g", [](const Arguments &values) {
        const int32_t attribute = GEOM_GET_GATTR(values.geometry(0));
        const geos::Geometry chords = to_geos(values.geometry(0));
        push(first_part(result_of(GEOSConvexHull_r(geos::context(), chords.get())), attribute));
    });
}

void clean() {
    run("CLEAN", "g", "g", [](const Arguments &values) {
        Geometry copy = copy_of(values.geometry(0));
        int32_t status;
        expect(GEOM3_GEOM_CLEAN(copy.address(), &status));
        push(std::move(copy));
    });
}

// --- filling -----------------------------------------------------------------------------------

void hatch() {
    run("HATCH", "arr", "L", [](const Arguments &values) {
        Object lines;
        create_list(&lines);
        expect(GEOM2_HATCH_AREA(values.geometry(0), take_into_list, &lines, values.real(1), values.real(2), nullptr));
        push(lines);
    });
}

void fill_points() {
    run("FILL_POINTS", "ar", "L", [](const Arguments &values) {
        const double spacing = values.real(1);
        Object points;
        create_list(&points);
        expect(GEOM2_PATTERN_AREA(values.geometry(0), take_into_list, &points, spacing, spacing, 0, 0, 0, nullptr));
        push(points);
    });
}

constexpr Row METHODS[] = {
    {"GEO", "IS_INSIDE", method_is_inside, 2, 1, "[g geometry,g area][b status]"},
    {"GEO", "INTERSECTS", intersects, 2, 1, "[g geometry,g geometry][b status]"},
    {"GEO", "TOUCHES", touches, 2, 1, "[g geometry,g geometry][b status]"},
    {"GEO", "CROSSES", crosses, 2, 1, "[g geometry,g geometry][b status]"},
    {"GEO", "EQUALS", equals, 2, 1, "[g geometry,g geometry][b status]"},
    {"GEO", "RELATE", relate, 2, 1, "[g geometry,g geometry][s matrix]"},
    {"GEO", "INTERSECTION", intersection, 2, 1, "[g area,g area][g area]"},
    {"GEO", "UNION", unite, 2, 1, "[g area,g area][g area]"},
    {"GEO", "DIFFERENCE", difference, 2, 1, "[g area,g area][g area]"},
    {"GEO", "SYM_DIFFERENCE", sym_difference, 2, 1, "[g area,g area][g area]"},
    {"GEO", "UNION_ALL", union_all, 1, 1, "[l areas][g area]"},
    {"GEO", "CUT", cut_inside, 2, 1, "[g geometry,g area][l pieces]"},
    {"GEO", "CUT_OUTSIDE", cut_outside, 2, 1, "[g geometry,g area][l pieces]"},
    {"GEO", "BUFFER", buffer, 2, 1, "[g geometry,r distance][g area]"},
    {"GEO", "COPY_PARALLEL", copy_parallel, 2, 1, "[g geometry,r distance][g geometry]"},
    {"GEO", "CONVEX_HULL", convex_hull, 1, 1, "[g geometry][g hull]"},
    {"GEO", "CLEAN", clean, 1, 1, "[g geometry][g geometry]"},
    {"GEO", "HATCH", hatch, 3, 1, "[g area,r angle,r spacing][l lines]"},
    {"GEO", "FILL_POINTS", fill_points, 2, 1, "[g area,r spacing][l points]"},
};

} // namespace

std::span<const Row> overlay_methods() { return METHODS; }

} // namespace geo
