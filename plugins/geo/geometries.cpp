#include "geometries.hpp"

#include <cmath>
#include <memory>

namespace geo {

const char *kind_name(int32_t kind) {
    switch (kind) {
    case GEOM_POINT: return "point";
    case GEOM_LINE: return "line";
    case GEOM_RAND: return "rand";
    case GEOM_AREA: return "area";
    default: return "geometry";
    }
}

Geometry copy_of(QOR_GEOMETRY geometry) {
    Geometry copy;
    GEOM_COPY(geometry, copy.address());
    return copy;
}

Position position_of(QOR_GEOMETRY point) {
    if (GEOM_ISEMPTY(point)) throw No_result{};
    Position position;
    GEOM_READ_POINT(point, &position.x, &position.y, &position.z);
    return position;
}

void check_place(GEOM_XY place) {
    check_coordinates({place.x, place.y});
    if (std::fmax(std::abs(place.x), std::abs(place.y)) > geos::MAX_COORDINATE)
        throw No_result{"a coordinate is too large"};
}

GEOM_XY place_of(QOR_GEOMETRY point) {
    const Position position = position_of(point);
    check_place({position.x, position.y});
    return {position.x, position.y};
}

void check_places(const std::vector<QOR_GEOMETRY> &lines) {
    for (QOR_GEOMETRY word : lines) {
        double arc, x, y, z;
        QOR_GEOMETRY point;
        int32_t found;
        GEOM_RESET_READ(&word);
        for (;;) {
            GEOM_READ_LINE_POINT(&word, &arc, &x, &y, &z, &point, &found);
            if (!found) break;
            if (arc != 0) check_place({x, y});
            place_of(point);
        }
    }
}

Geometry point_at(const Position &position) {
    Geometry point;
    GEOM_CREATE_POINT(point.address(), position.x, position.y, position.z);
    return point;
}

void push(const Position &position) { QORCPU_PUSHP(position.x, position.y, position.z); }

bool find_box(QOR_GEOMETRY geometry, Box *box) {
    return GEOM2_CALC_BOUNDING_BOX(geometry, &box->xmin, &box->ymin, &box->xmax, &box->ymax) != 0;
}

void check_coordinates(std::initializer_list<double> numbers) {
    for (const double number : numbers)
        if (!std::isfinite(number)) throw No_result{"a coordinate is not a finite number"};
}

void check_tolerance(double tolerance) {
    if (!(tolerance >= 0 && tolerance <= geos::MAX_COORDINATE)) throw No_result{"the tolerance is not a usable number"};
}

void refuse_geos() {
    std::string error = geos::take_error();
    throw No_result{error.empty() ? "GEOS has no result" : std::move(error)};
}

geos::Geometry result_of(GEOSGeometry *geometry) {
    if (!geometry) refuse_geos();
    return geos::Geometry(geometry);
}

std::string text_of_result(char *text) {
    const auto release = [](char *adopted) { GEOSFree_r(geos::context(), adopted); };
    const std::unique_ptr<char, decltype(release)> owner(text);
    if (!text) refuse_geos();
    return text;
}

geos::Geometry to_geos(QOR_GEOMETRY geometry) { return result_of(geos::to_geos(geometry, 0).release()); }

geos::Geometry to_valid_geos(QOR_GEOMETRY geometry) { return result_of(geos::made_valid(to_geos(geometry)).release()); }

Geometry first_part(const geos::Geometry &geometry, int32_t attribute) {
    Geometry part;
    const auto take = [](void *first, QOR_GEOMETRY *taken) {
        Geometry &kept = *static_cast<Geometry *>(first);
        if (GEOM_ISEMPTY(kept.get())) kept = Geometry(std::exchange(*taken, 0));
    };
    geos::parts_from_geos(geometry.get(), attribute, take, &part);
    return part;
}

} // namespace geo
