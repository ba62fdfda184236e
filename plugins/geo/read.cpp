// What geometries are made of, and how they measure.
#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>

#include "geometries.hpp"

namespace geo {

namespace {

// --- coordinates ---------------------------------------------------------------------------

void get_x() {
    run("GET_X", "p", "r", [](const Arguments &values) { QORCPU_PUSHR(position_of(values.geometry(0)).x); });
}

void get_y() {
    run("GET_Y", "p", "r", [](const Arguments &values) { QORCPU_PUSHR(position_of(values.geometry(0)).y); });
}

void get_z() {
    run("GET_Z", "p", "r", [](const Arguments &values) {
        const double z = position_of(values.geometry(0)).z;
        if (z == GEOM_NO_HEIGHT) throw No_result{};
        QORCPU_PUSHR(z);
    });
}

void get_box() {
    run("GET_BOX", "g", "rrrr", [](const Arguments &values) {
        Box box;
        expect(find_box(values.geometry(0), &box));
        for (const double side : {box.xmin, box.ymin, box.xmax, box.ymax}) QORCPU_PUSHR(side);
    });
}

// --- parts -----------------------------------------------------------------------------------

// Arc points are none of them.
void get_points() {
    run("GET_POINTS", "g", "L", [](const Arguments &values) {
        Object points;
        create_list(&points);
        const auto add = [&points](QOR_GEOMETRY point) { append(points, copy_of(point)); };
        if (kind_of(values.geometry(0)) == GEOM_POINT) add(values.geometry(0));
        for_each_line(values.geometry(0), [&add](QOR_GEOMETRY line) { for_each_part(line, add); });
        push(points);
    });
}

void get_parts() {
    run("GET_PARTS", "g", "L", [](const Arguments &values) {
        Object parts;
        create_list(&parts);
        for_each_part(values.geometry(0), [&parts](QOR_GEOMETRY part) { append(parts, copy_of(part)); });
        push(parts);
    });
}

void get_polygons() {
    run("GET_POLYGONS", "a", "L", [](const Arguments &values) {
        const QOR_GEOMETRY area = values.geometry(0);
        Object polygons;
        create_list(&polygons);
        geos::parts_from_geos(to_valid_geos(area).get(), GEOM_GET_GATTR(area), take_into_list, &polygons);
        push(polygons);
    });
}

void get_start() {
    run("GET_START", "l", "g", [](const Arguments &values) {
        QOR_GEOMETRY start;
        expect(GEOM_READ_FIRST_SUBOBJ(values.geometry(0), &start));
        push(copy_of(start));
    });
}

void get_end() {
    run("GET_END", "l", "g", [](const Arguments &values) {
        QOR_GEOMETRY end;
        expect(GEOM_READ_LAST_SUBOBJ(values.geometry(0), &end));
        push(copy_of(end));
    });
}

void get_inside_point() {
    run("GET_INSIDE_POINT", "a", "g", [](const Arguments &values) {
        Position inside;
        expect(GEOM_GET_INSIDEAREA(values.geometry(0), &inside.x, &inside.y));
        push(inside);
    });
}

void get_centroid() {
    run("GET_CENTROID", "g", "g", [](const Arguments &values) {
        const geos::Geometry chords = to_geos(values.geometry(0));
        push(first_part(result_of(GEOSGetCentroid_r(geos::context(), chords.get())), 0));
    });
}

// --- measures --------------------------------------------------------------------------------

void get_length() {
    run("GET_LENGTH", "g", "r", [](const Arguments &values) { QORCPU_PUSHR(GEOM_GET_LENGTH(values.geometry(0), 0)); });
}

void get_length_3d() {
    run("GET_LENGTH_3D", "g", "r",
        [](const Arguments &values) { QORCPU_PUSHR(GEOM_GET_LENGTH(values.geometry(0), 1)); });
}

void get_area() {
    run("GET_AREA", "g", "r", [](const Arguments &values) { QORCPU_PUSHR(GEOM_GET_AREA(values.geometry(0))); });
}

// Exact, also to arcs.
double distance_from(QOR_GEOMETRY point, QOR_GEOMETRY other) {
    const GEOM_XY place = place_of(point);
    const int32_t kind = kind_of(other);
    if (kind == GEOM_POINT) {
        const GEOM_XY to = place_of(other);
        return std::hypot(to.x - place.x, to.y - place.y);
    }
    if (kind == GEOM_AREA && GEOM_IS_INSIDEAREA(place, other)) return 0;
    double nearest = std::numeric_limits<double>::infinity();
    for_each_line(other, [&nearest, place](QOR_GEOMETRY line) {
        double x, y, z, position, distance;
        expect(GEOM2_PROJECT_POINT2(line, place.x, place.y, &x, &y, &z, &position, &distance));
        nearest = std::min(nearest, std::abs(distance));
    });
    return nearest;
}

double distance_between(QOR_GEOMETRY a, QOR_GEOMETRY b) {
    if (kind_of(a) == GEOM_POINT) return distance_from(a, b);
    if (kind_of(b) == GEOM_POINT) return distance_from(b, a);
    const geos::Geometry chords_of_a = to_geos(a), chords_of_b = to_geos(b);
    const geos::Prepared_geometry prepared(GEOSPrepare_r(geos::context(), chords_of_a.get()));
    double distance;
    if (!prepared || !GEOSPreparedDistance_r(geos::context(), prepared.get(), chords_of_b.get(), &distance))
        refuse_geos();
    return distance;
}

void get_distance() {
    run("GET_DISTANCE", "gg", "r", [](const Arguments &values) {
        const QOR_GEOMETRY a = values.geometry(0), b = values.geometry(1);
        if (GEOM_ISEMPTY(a) || GEOM_ISEMPTY(b)) throw No_result{};
        QORCPU_PUSHR(distance_between(a, b));
    });
}

void get_azimuth() {
    run("GET_AZIMUTH", "pp", "r", [](const Arguments &values) {
        QORCPU_PUSHR(C2_GETAZI(place_of(values.geometry(0)), place_of(values.geometry(1))));
    });
}

// --- properties ------------------------------------------------------------------------------

void has_arcs() {
    run("HAS_ARCS", "g", "b", [](const Arguments &values) { QORCPU_PUSHB(GEOM2_HAS_ARCS(values.geometry(0))); });
}

void has_holes() {
    run("HAS_HOLES", "a", "b", [](const Arguments &values) { QORCPU_PUSHB(GEOM2_HAS_HOLES(values.geometry(0))); });
}

void is_3d() {
    run("IS_3D", "g", "b", [](const Arguments &values) { QORCPU_PUSHB(GEOM_IS3D(values.geometry(0))); });
}

// NULL is what methods without a result leave, and so is empty, too.
void is_empty() {
    run("IS_EMPTY", "o", "b", [](const Arguments &values) {
        QOR_OBJECT *object = values.object(0);
        if (!object || !OBJ_object_value_is_defined(object)) return QORCPU_PUSHB(1);
        if (OBJ_get_type(object) != BTYP_geometry_tidf())
            throw Fault{std::string("geometry expected, not ") + OBJ_get_type_name_C(object)};
        QORCPU_PUSHB(GEOM_ISEMPTY(values.geometry(0)));
    });
}

std::string text_of(double number) {
    char digits[32];
    return std::string(digits, std::to_chars(digits, std::end(digits), number).ptr);
}

std::string fault_of_area(QOR_GEOMETRY area) {
    Text reason;
    double x = 0, y = 0;
    if (GEOM2_CHECK_AREA(area, &reason.value, &x, &y)) return "";
    return std::string(view(reason.value)) + " at " + text_of(x) + "/" + text_of(y);
}

std::string fault_of_chords(QOR_GEOMETRY geometry) {
    const geos::Geometry chords = geos::to_geos(geometry, 0);
    if (!chords) return geos::take_error();
    const std::string reason = text_of_result(GEOSisValidReason_r(geos::context(), chords.get()));
    return reason == "Valid Geometry" ? "" : reason;
}

// Empty when a geometry is valid. A rand is as valid as the area in it.
std::string fault_of(QOR_GEOMETRY geometry) {
    const int32_t kind = kind_of(geometry);
    if (kind == GEOM_AREA) return fault_of_area(geometry);
    if (kind != GEOM_RAND) return fault_of_chords(geometry);
    Geometry area;
    GEOM_CREATE_AREA(area.address(), geometry);
    return fault_of_area(area.get());
}

void is_valid() {
    run("IS_VALID", "g", "b", [](const Arguments &values) { QORCPU_PUSHB(fault_of(values.geometry(0)).empty()); });
}

void get_fault() {
    run("GET_FAULT", "g", "s", [](const Arguments &values) {
        const std::string fault = fault_of(values.geometry(0));
        if (fault.empty()) throw No_result{};
        push(fault);
    });
}

constexpr Row METHODS[] = {
    {"GEO", "GET_X", get_x, 1, 1, "[g point][r x]"},
    {"GEO", "GET_Y", get_y, 1, 1, "[g point][r y]"},
    {"GEO", "GET_Z", get_z, 1, 1, "[g point][r z]"},
    {"GEO", "GET_BOX", get_box, 1, 4, "[g geometry][r xmin,r ymin,r xmax,r ymax]"},
    {"GEO", "GET_POINTS", get_points, 1, 1, "[g geometry][l points]"},
    {"GEO", "GET_PARTS", get_parts, 1, 1, "[g geometry][l parts]"},
    {"GEO", "GET_POLYGONS", get_polygons, 1, 1, "[g area][l areas]"},
    {"GEO", "GET_START", get_start, 1, 1, "[g line][g point]"},
    {"GEO", "GET_END", get_end, 1, 1, "[g line][g point]"},
    {"GEO", "GET_INSIDE_POINT", get_inside_point, 1, 1, "[g area][g point]"},
    {"GEO", "GET_CENTROID", get_centroid, 1, 1, "[g geometry][g point]"},
    {"GEO", "GET_LENGTH", get_length, 1, 1, "[g geometry][r length]"},
    {"GEO", "GET_LENGTH_3D", get_length_3d, 1, 1, "[g geometry][r length]"},
    {"GEO", "GET_AREA", get_area, 1, 1, "[g geometry][r content]"},
    {"GEO", "GET_DISTANCE", get_distance, 2, 1, "[g geometry,g geometry][r distance]"},
    {"GEO", "GET_AZIMUTH", get_azimuth, 2, 1, "[g from,g to][r azimuth]"},
    {"GEO", "HAS_ARCS", has_arcs, 1, 1, "[g geometry][b status]"},
    {"GEO", "HAS_HOLES", has_holes, 1, 1, "[g area][b status]"},
    {"GEO", "IS_3D", is_3d, 1, 1, "[g geometry][b status]"},
    {"GEO", "IS_EMPTY", is_empty, 1, 1, "[g geometry][b status]"},
    {"GEO", "IS_VALID", is_valid, 1, 1, "[g geometry][b status]"},
    {"GEO", "GET_FAULT", get_fault, 1, 1, "[g geometry][s reason]"},
};

} // namespace

std::span<const Row> read_methods() { return METHODS; }

} // namespace geo
