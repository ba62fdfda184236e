// Plane vectors, and the entries over the numbers of single segments and boxes.
#include "vector.hpp"

#include "segment.hpp"

using namespace geom;

namespace {

void write_box(const Box &box, double *xmin, double *ymin, double *xmax, double *ymax) {
    *xmin = box.xmin;
    *ymin = box.ymin;
    *xmax = box.xmax;
    *ymax = box.ymax;
}

Segment segment_of(const GEOM_SEGMENT &s) {
    return s.arc != 0 ? make_segment({s.x1, s.y1}, {s.ax, s.ay}, {s.x2, s.y2})
                      : make_segment({s.x1, s.y1}, {s.x2, s.y2});
}

} // namespace

GEOM_XY C2_VEC(double x, double y) { return {x, y}; }

GEOM_XY C2_ADDV(GEOM_XY a, GEOM_XY b) { return a + b; }

double C2_AZI(GEOM_XY vector) {
    const double azimuth = std::atan2(vector.x, vector.y);
    // Adding a whole turn to the smallest of negative angles gives that turn, which is north.
    const double positive = azimuth < 0 ? azimuth + 2 * PI : azimuth;
    return vector.x == 0 && vector.y == 0 ? 0 : positive < 2 * PI ? std::abs(positive) : 0;
}

double C2_GETAZI(GEOM_XY from, GEOM_XY to) { return C2_AZI(to - from); }

GEOM_XY C2_AZITOVEC(double azimuth, double length) { return {length * std::sin(azimuth), length * std::cos(azimuth)}; }

double C2R_EDIST(GEOM_XY a, GEOM_XY b) { return distance(a, b); }

int32_t C2R_CALC_ARCPOINT(double x1, double y1, double x2, double y2, double x, double y, double *ax, double *ay) {
    const GEOM_XY centre{x, y}, from{x1, y1}, to{x2, y2};
    if (is_same(centre, from) || is_same(centre, to)) return 0;
    const GEOM_XY first = from - centre, second = to - centre;
    double sweep = std::atan2(cross(first, second), dot(first, second));
    if (sweep < 0 || is_same(from, to)) sweep += 2 * PI;
    const GEOM_XY over = centre + turned(first, sweep / 2);
    *ax = over.x;
    *ay = over.y;
    return 1;
}

int32_t C2R_CALC_CENTER(double x1, double y1, double x2, double y2, double radius, double *x, double *y,
                        double *sweep) {
    const GEOM_XY from{x1, y1}, chord = GEOM_XY{x2, y2} - from;
    const double half = norm(chord) / 2, size = std::abs(radius);
    if (!(half > 0 && half <= size && std::isfinite(size))) return 0;
    const double height = std::sqrt((size - half) * (size + half)), side = radius < 0 ? -1 : 1;
    const GEOM_XY centre = from + chord * 0.5 + unit(left_of(chord)) * (side * height);
    *x = centre.x;
    *y = centre.y;
    *sweep = side * 2 * std::asin(half / size);
    return 1;
}

int32_t C2R_CALC_CENTER2(double x1, double y1, double ax, double ay, double x2, double y2, double *x, double *y,
                         double *radius, double *sweep) {
    GEOM_CIRCLE circle;
    if (!circle_of({x1, y1}, {ax, ay}, {x2, y2}, &circle)) return 0;
    *x = circle.x;
    *y = circle.y;
    *radius = circle.radius;
    *sweep = circle.sweep;
    return 1;
}

int32_t GEOM2_GET_ARC_RADIUS(double x1, double y1, double ax, double ay, double x2, double y2, double *radius) {
    double x, y, sweep;
    return C2R_CALC_CENTER2(x1, y1, ax, ay, x2, y2, &x, &y, radius, &sweep);
}

int32_t GEOM2_GET_ARC_CENTER(double x1, double y1, double ax, double ay, double x2, double y2, double *x, double *y) {
    double radius, sweep;
    return C2R_CALC_CENTER2(x1, y1, ax, ay, x2, y2, x, y, &radius, &sweep);
}

int32_t GEOM2_ARC_CIRCLE_PREPARE(double x1, double y1, double ax, double ay, double x2, double y2,
                                 GEOM_CIRCLE *circle) {
    return circle_of({x1, y1}, {ax, ay}, {x2, y2}, circle) ? 1 : 0;
}

double GEOM_GET_ARC_AREA(double x1, double y1, double ax, double ay, double x2, double y2) {
    return bow_area(make_segment({x1, y1}, {ax, ay}, {x2, y2}));
}

void GEOM2_LINESEGMENT_INTERSECTION(const GEOM_SEGMENT *a, const GEOM_SEGMENT *b, GEOM_XY *first, GEOM_XY *second,
                                    int32_t *count) {
    GEOM_XY places[2];
    *count = intersect(segment_of(*a), segment_of(*b), places);
    if (*count > 0) *first = places[0];
    if (*count > 1) *second = places[1];
}

int32_t GEOM2_BOX_OVERLAP(double xmin1, double ymin1, double xmax1, double ymax1, double xmin2, double ymin2,
                          double xmax2, double ymax2) {
    return xmin1 <= xmax2 && xmin2 <= xmax1 && ymin1 <= ymax2 && ymin2 <= ymax1;
}

void GEOM2_CALC_BOUNDINGBOX_LINE(double x1, double y1, double x2, double y2, double *xmin, double *ymin, double *xmax,
                                 double *ymax) {
    Box box;
    box.add(make_segment({x1, y1}, {x2, y2}));
    write_box(box, xmin, ymin, xmax, ymax);
}

void GEOM2_CALC_BOUNDINGBOX_ARC(double x1, double y1, double ax, double ay, double x2, double y2, double *xmin,
                                double *ymin, double *xmax, double *ymax) {
    Box box;
    box.add(make_segment({x1, y1}, {ax, ay}, {x2, y2}));
    write_box(box, xmin, ymin, xmax, ymax);
}
