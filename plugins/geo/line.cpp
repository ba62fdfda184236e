// Along lines and beside them.
#include <algorithm>
#include <cmath>

#include "geometries.hpp"

namespace geo {

namespace {

void get_point_at() {
    run("GET_POINT_AT", "lr", "g", [](const Arguments &values) {
        Position point;
        expect(GEOM2_CALC_POINT_AT(values.geometry(0), values.real(1), &point.x, &point.y, &point.z));
        push(point);
    });
}

void get_point_beside() {
    run("GET_POINT_BESIDE", "lrr", "g", [](const Arguments &values) {
        Position point;
        expect(GEOM2_CALC_POINT_AT2(values.geometry(0), values.real(1), values.real(2), &point.x, &point.y, &point.z));
        push(point);
    });
}

void project_point() {
    run("PROJECT_POINT", "lp", "grr", [](const Arguments &values) {
        const GEOM_XY place = place_of(values.geometry(1));
        Position foot;
        double position, distance;
        expect(GEOM2_PROJECT_POINT2(values.geometry(0), place.x, place.y, &foot.x, &foot.y, &foot.z, &position,
                                    &distance));
        push(foot);
        QORCPU_PUSHR(position);
        QORCPU_PUSHR(distance);
    });
}

void extract_line() {
    run("EXTRACT_LINE", "lrr", "g", [](const Arguments &values) {
        Geometry part;
        expect(GEOM2_EXTRACT_LINE_SEGMENT(values.geometry(0), values.real(1), values.real(2), part.address()));
        push(std::move(part));
    });
}

void reverse_line() {
    run("REVERSE_LINE", "l", "g", [](const Arguments &values) {
        Geometry copy = copy_of(values.geometry(0));
        GEOM_REVERSE_LINE(copy.get());
        push(std::move(copy));
    });
}

void create_area_beside() {
    run("CREATE_AREA_BESIDE", "lrr", "g", [](const Arguments &values) {
        Geometry area;
        expect(GEOM2_CREATE_AREA_FROM_LINE(values.geometry(0), values.real(1), GEOM_CORNER_ROUND, values.real(2),
                                           GEOM_END_FLAT, area.address()));
        push(std::move(area));
    });
}

void get_crossings() {
    run("GET_CROSSINGS", "ll", "L", [](const Arguments &values) {
        check_places({values.geometry(0), values.geometry(1)});
        Object points;
        create_list(&points);
        GEOM2_LINE_INTERSECTION(values.geometry(0), values.geometry(1), take_into_list, &points, nullptr);
        push(points);
    });
}

void get_tangents() {
    run("GET_TANGENTS", "l", "rr", [](const Arguments &values) {
        double start, end;
        expect(GEOM2_GET_LINE_START_END_TANGENT_ANGLE(values.geometry(0), &start, &end));
        QORCPU_PUSHR(start);
        QORCPU_PUSHR(end);
    });
}

// Dashes and gaps by turns, of which not all are nothing.
void check_pattern(const std::vector<double> &lengths) {
    const bool is_usable =
        std::all_of(lengths.begin(), lengths.end(), [](double n) { return n >= 0 && std::isfinite(n); });
    const bool has_length = std::any_of(lengths.begin(), lengths.end(), [](double n) { return n > 0; });
    if (lengths.size() % 2 != 0 || !is_usable || !has_length)
        throw No_result{"the lengths are not those of dashes and gaps"};
}

void dash_line() {
    run("DASH_LINE", "lL", "L", [](const Arguments &values) {
        const std::vector<double> lengths = reals_of(values.object(1));
        check_pattern(lengths);
        check_places({values.geometry(0)});
        Object dashes;
        create_list(&dashes);
        const int32_t count = GEOM2_EXTRACT_LINE_PATTERN_SEGMENTS(
            values.geometry(0), lengths.data(), static_cast<int32_t>(lengths.size()), 0, take_into_list, &dashes);
        if (count < 0) throw No_result{"there would be more than 1,000,000 dashes"};
        push(dashes);
    });
}

// --- simpler forms of any geometry ---------------------------------------------------------

Geometry simplified(QOR_GEOMETRY geometry, double tolerance) {
    const int32_t kind = kind_of(geometry), attribute = GEOM_GET_GATTR(geometry);
    if (kind <= GEOM_POINT) return copy_of(geometry);
    const geos::Geometry chords = to_valid_geos(geometry);
    const geos::Geometry simpler = result_of(GEOSTopologyPreserveSimplify_r(geos::context(), chords.get(), tolerance));
    if (kind == GEOM_AREA) return Geometry(geos::area_from_geos(simpler.get(), attribute));
    Geometry line = first_part(simpler, attribute);
    if (kind == GEOM_LINE || GEOM_ISEMPTY(line.get())) return line;
    Geometry rand;
    GEOM_CREATE_RAND(rand.address(), line.get());
    GEOM_SET_GATTR(rand.get(), attribute);
    return rand;
}

void simplify() {
    run("SIMPLIFY", "gr", "g", [](const Arguments &values) {
        check_tolerance(values.real(1));
        push(simplified(values.geometry(0), values.real(1)));
    });
}

void stroke() {
    run("STROKE", "gr", "g", [](const Arguments &values) {
        check_tolerance(values.real(1));
        Geometry chords;
        expect(GEOM2_STROKE(values.geometry(0), chords.address(), values.real(1)));
        push(std::move(chords));
    });
}

constexpr Row METHODS[] = {
    {"GEO", "GET_POINT_AT", get_point_at, 2, 1, "[g line,r position][g point]"},
    {"GEO", "GET_POINT_BESIDE", get_point_beside, 3, 1, "[g line,r position,r distance][g point]"},
    {"GEO", "PROJECT_POINT", project_point, 2, 3, "[g line,g point][g foot,r position,r distance]"},
    {"GEO", "EXTRACT_LINE", extract_line, 3, 1, "[g line,r from,r to][g line]"},
    {"GEO", "REVERSE_LINE", reverse_line, 1, 1, "[g line][g line]"},
    {"GEO", "CREATE_AREA_BESIDE", create_area_beside, 3, 1, "[g line,r left,r right][g area]"},
    {"GEO", "GET_CROSSINGS", get_crossings, 2, 1, "[g line,g line][l points]"},
    {"GEO", "GET_TANGENTS", get_tangents, 1, 2, "[g line][r start,r end]"},
    {"GEO", "DASH_LINE", dash_line, 2, 1, "[g line,l lengths][l lines]"},
    {"GEO", "SIMPLIFY", simplify, 2, 1, "[g geometry,r tolerance][g geometry]"},
    {"GEO", "STROKE", stroke, 2, 1, "[g geometry,r tolerance][g geometry]"},
};

} // namespace

std::span<const Row> line_methods() { return METHODS; }

} // namespace geo
