// Arithmetic of plane vectors, for the sources that compute with segments.
#pragma once

#include <cmath>

#include "qor/geom.h"

namespace geom {

constexpr double PI = 3.14159265358979323846;

inline GEOM_XY operator+(GEOM_XY a, GEOM_XY b) { return {a.x + b.x, a.y + b.y}; }
inline GEOM_XY operator-(GEOM_XY a, GEOM_XY b) { return {a.x - b.x, a.y - b.y}; }
inline GEOM_XY operator*(GEOM_XY a, double factor) { return {a.x * factor, a.y * factor}; }
inline double dot(GEOM_XY a, GEOM_XY b) { return a.x * b.x + a.y * b.y; }
inline double cross(GEOM_XY a, GEOM_XY b) { return a.x * b.y - a.y * b.x; }
inline double norm(GEOM_XY a) { return std::hypot(a.x, a.y); }
// The vector turned to the left by a right angle, and by an angle.
inline GEOM_XY left_of(GEOM_XY a) { return {-a.y, a.x}; }
inline GEOM_XY turned(GEOM_XY a, double angle) {
    const double c = std::cos(angle), s = std::sin(angle);
    return {a.x * c - a.y * s, a.x * s + a.y * c};
}
inline GEOM_XY unit(GEOM_XY a) {
    const double length = norm(a);
    return length > 0 ? GEOM_XY{a.x / length, a.y / length} : GEOM_XY{0, 0};
}

} // namespace geom
