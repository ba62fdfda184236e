// Looking into geometries, and the way to GEOS: what several sources of methods need.
#pragma once

#include "geo.hpp"
#include "geos.hpp"

namespace geo {

// -1 for the empty geometry.
inline int32_t kind_of(QOR_GEOMETRY geometry) {
    int32_t kind;
    GEOM_READ_TYPE(geometry, &kind);
    return kind;
}
const char *kind_name(int32_t kind);
Geometry copy_of(QOR_GEOMETRY geometry);

struct Position {
    double x = 0, y = 0, z = GEOM_NO_HEIGHT;
};
// Of a point. The empty geometry is a No_result without a reason.
Position position_of(QOR_GEOMETRY point);
// A place that can be computed with; any other is a No_result.
void check_place(GEOM_XY place);
GEOM_XY place_of(QOR_GEOMETRY point);
void check_places(const std::vector<QOR_GEOMETRY> &lines);
Geometry point_at(const Position &position);
void push(const Position &position);

struct Box {
    double xmin = 0, ymin = 0, xmax = 0, ymax = 0;
};
// False for the empty geometry.
bool find_box(QOR_GEOMETRY geometry, Box *box);

// Calls visit(QOR_GEOMETRY) for each point of a line, line of a rand or rand of an area; for a
// point with itself.
template <typename Visit> void for_each_part(QOR_GEOMETRY geometry, const Visit &visit);
// The same for each line of a geometry.
template <typename Visit> void for_each_line(QOR_GEOMETRY geometry, const Visit &visit);

// The answer of an operation of the module, which is 0 when there is no result. The module has
// shown the reason if there is one.
inline void expect(int32_t answer) {
    if (!answer) throw No_result{};
}
// Throws a No_result with the reason when a number is not finite.
void check_coordinates(std::initializer_list<double> numbers);
void check_tolerance(double tolerance);

// What GEOS says is wrong.
[[noreturn]] void refuse_geos();
// Adopts a result of GEOS; null is a No_result.
geos::Geometry result_of(GEOSGeometry *geometry);
std::string text_of_result(char *text);
geos::Geometry to_geos(QOR_GEOMETRY geometry);
// An area that is not valid is made so by the even-odd rule.
geos::Geometry to_valid_geos(QOR_GEOMETRY geometry);
// The first part of a geometry of GEOS, the empty geometry when there is none.
Geometry first_part(const geos::Geometry &geometry, int32_t attribute);

// --- walks -----------------------------------------------------------------------------

template <typename Visit> void for_each_part(QOR_GEOMETRY geometry, const Visit &visit) {
    const int32_t kind = kind_of(geometry);
    if (kind == GEOM_POINT) visit(geometry);
    if (kind < GEOM_LINE) return;
    QOR_GEOMETRY word = geometry;
    GEOM_RESET_READ(&word);
    for (;;) {
        double arc, x, y, z;
        QOR_GEOMETRY part;
        int32_t found;
        if (kind == GEOM_LINE)
            GEOM_READ_LINE_POINT(&word, &arc, &x, &y, &z, &part, &found);
        else if (kind == GEOM_RAND)
            GEOM_READ_RAND_LINE(&word, &part, &found);
        else
            GEOM_READ_AREA_RAND(&word, &part, &found);
        if (!found) return;
        visit(part);
    }
}

template <typename Visit> void for_each_line(QOR_GEOMETRY geometry, const Visit &visit) {
    const int32_t kind = kind_of(geometry);
    if (kind == GEOM_LINE) visit(geometry);
    if (kind <= GEOM_LINE) return;
    for_each_part(geometry, [&visit](QOR_GEOMETRY part) { for_each_line(part, visit); });
}

} // namespace geo
