#include "segment.hpp"

#include <algorithm>
#include <limits>

#include "piece.hpp"
#include "vector.hpp"

namespace geom {

namespace {

double sense(const Segment &arc) { return arc.circle.sweep < 0 ? -1 : 1; }
double turn_at(const Segment &arc, double position) { return position / arc.circle.radius; }
GEOM_XY centre_of(const Segment &arc) { return {arc.circle.x, arc.circle.y}; }
double full_turn(const Segment &arc) { return std::abs(arc.circle.sweep); }

double angle_in_range(double angle) { return std::remainder(angle, 2 * PI); }

GEOM_XY direction_after(const Segment &arc, double turn) {
    const GEOM_XY at_start = unit(left_of(arc.start - centre_of(arc)) * sense(arc));
    return turned(at_start, turn * sense(arc));
}

Segment straight(GEOM_XY from, GEOM_XY to) {
    return {from, to, GEOM_NO_HEIGHT, GEOM_NO_HEIGHT, false, {0, 0}, {0, 0, 0, 0, 0}};
}

bool is_finite(const GEOM_CIRCLE &c) {
    return std::isfinite(c.x) && std::isfinite(c.y) && std::isfinite(c.radius) && std::isfinite(c.sweep);
}

Foot foot_at(GEOM_XY place, double position, GEOM_XY point, bool is_perpendicular) {
    return {place, position, distance(place, point), is_perpendicular};
}

Foot foot_after(const Segment &arc, double turn, GEOM_XY point) {
    const double position = turn * arc.circle.radius;
    return foot_at(point_at(arc, position), position, point, true);
}

Foot nearer_end(const Segment &segment, GEOM_XY point) {
    const Foot start = foot_at(segment.start, 0, point, false);
    const Foot end = foot_at(segment.end, length(segment), point, false);
    return end.distance < start.distance ? end : start;
}

} // namespace

Segment make_segment(const Point &from, double arc, GEOM_XY over, const Point &to) {
    Segment segment =
        arc != 0 ? make_segment(place_of(from), over, place_of(to)) : make_segment(place_of(from), place_of(to));
    segment.start_z = from.z;
    segment.end_z = to.z;
    return segment;
}

Segment make_segment(GEOM_XY from, GEOM_XY to) { return straight(from, to); }

Segment make_segment(GEOM_XY from, GEOM_XY over, GEOM_XY to) {
    Segment segment = straight(from, to);
    segment.is_arc = circle_of(from, over, to, &segment.circle);
    if (segment.is_arc) segment.over = over;
    return segment;
}

// All comes from the two chords a and b and the whole one: a turn from a to b is half the
// sweep, and the cotangent of that tells how far the centre is off the whole chord. The cross
// product of any two of the three is the same; that of the two shortest loses least.
bool circle_of(GEOM_XY from, GEOM_XY over, GEOM_XY to, GEOM_CIRCLE *circle) {
    const GEOM_XY a = over - from, b = to - over, whole = to - from;
    GEOM_CIRCLE found;
    if (is_same(from, to)) {
        found = {from.x + a.x / 2, from.y + a.y / 2, norm(a) / 2, std::atan2(-a.y, -a.x), 2 * PI};
    } else {
        const double size_a = norm(a), size_b = norm(b), size = norm(whole);
        const bool is_b_longest = size_b > size && size_b > size_a, is_a_longest = !is_b_longest && size_a > size;
        const GEOM_XY first = is_a_longest ? whole : a, second = is_b_longest ? whole : b;
        const double product = cross(first, second);
        const double rounding =
            4 * std::numeric_limits<double>::epsilon() * (std::abs(first.x * second.y) + std::abs(first.y * second.x));
        if (!(std::abs(product) > rounding)) return false;
        const double along = dot(a, b);
        const GEOM_XY to_centre = whole * 0.5 + left_of(whole) * (along / (2 * product));
        found = {from.x + to_centre.x, from.y + to_centre.y, norm(to_centre), std::atan2(-to_centre.y, -to_centre.x),
                 2 * std::atan2(product, along)};
    }
    if (!is_finite(found) || !(found.radius > 0)) return false;
    *circle = found;
    return true;
}

double distance(GEOM_XY a, GEOM_XY b) { return norm(b - a); }

// By the chord to it, since the centre of a flat arc is too far away to come from there.
GEOM_XY place_after(const Segment &arc, double turn) {
    return arc.start + direction_after(arc, turn / 2) * (2 * arc.circle.radius * std::sin(turn / 2));
}

double turn_towards(const Segment &arc, GEOM_XY point) {
    const GEOM_XY from_centre = arc.start - centre_of(arc);
    const double turn = sense(arc) * std::atan2(cross(from_centre, point - arc.start),
                                                dot(from_centre, from_centre) + dot(from_centre, point - arc.start));
    const double size = std::abs(arc.start.x) + std::abs(arc.start.y) + std::abs(point.x) + std::abs(point.y);
    const double slack = ROUNDING * size / arc.circle.radius;
    if (turn < 0) return turn >= -slack ? 0 : turn + 2 * PI;
    return turn > full_turn(arc) && turn <= full_turn(arc) + slack ? full_turn(arc) : turn;
}

double length(const Segment &segment) {
    return segment.is_arc ? segment.circle.radius * full_turn(segment) : distance(segment.start, segment.end);
}

double length_in_space(const Segment &segment) {
    if (segment.start_z == GEOM_NO_HEIGHT || segment.end_z == GEOM_NO_HEIGHT) return length(segment);
    return std::hypot(length(segment), segment.end_z - segment.start_z);
}

GEOM_XY point_at(const Segment &segment, double position) {
    const double whole = length(segment);
    if (!(position > 0)) return segment.start;
    if (position >= whole) return segment.end;
    if (segment.is_arc) return place_after(segment, turn_at(segment, position));
    return segment.start + (segment.end - segment.start) * (position / whole);
}

double height_at(const Segment &segment, double position) {
    const double whole = length(segment);
    if (!(position > 0)) return segment.start_z;
    if (position >= whole) return segment.end_z;
    if (segment.start_z == GEOM_NO_HEIGHT || segment.end_z == GEOM_NO_HEIGHT) return GEOM_NO_HEIGHT;
    return segment.start_z + (segment.end_z - segment.start_z) * (position / whole);
}

GEOM_XY direction_at(const Segment &segment, double position) {
    return segment.is_arc ? direction_after(segment, turn_at(segment, position)) : unit(segment.end - segment.start);
}

double line_area(const Segment &segment) { return cross(segment.start, segment.end) / 2 + bow_area(segment); }

// r r (s - sin s) / 2, where for a small sweep the series of the difference is summed.
double bow_area(const Segment &segment) {
    if (!segment.is_arc) return 0;
    const double radius = segment.circle.radius, sweep = segment.circle.sweep;
    if (std::abs(sweep) > 1) return radius * radius * (sweep - std::sin(sweep)) / 2;
    double term = sweep / 6, sum = term;
    for (int n = 4; std::abs(term) > std::abs(sum) * 1e-17; n += 2) {
        term *= -sweep * sweep / (n * (n + 1));
        sum += term;
    }
    return radius * sweep * (radius * sweep) * sum / 2;
}

// A full circle stays as it is, since its direction is not that of a geometry's own.
Segment reversed(const Segment &segment) {
    Segment result = segment;
    std::swap(result.start, result.end);
    std::swap(result.start_z, result.end_z);
    if (segment.is_arc && !is_same(segment.start, segment.end)) {
        result.circle.start = angle_in_range(segment.circle.start + segment.circle.sweep);
        result.circle.sweep = -segment.circle.sweep;
    }
    return result;
}

Segment stretch(const Segment &segment, double from, double to) {
    if (from > to) return reversed(stretch(segment, to, from));
    const double whole = length(segment);
    if (from <= 0 && to >= whole) return segment;
    Segment result = straight(point_at(segment, from), point_at(segment, to));
    result.start_z = height_at(segment, from);
    result.end_z = height_at(segment, to);
    // Ends that fall together would make a full circle of it.
    if (!segment.is_arc || is_same(result.start, result.end)) return result;
    from = std::max(from, 0.0);
    to = std::min(to, whole);
    result.is_arc = true;
    result.over = point_at(segment, from + (to - from) / 2);
    result.circle = segment.circle;
    result.circle.start = angle_in_range(segment.circle.start + sense(segment) * turn_at(segment, from));
    result.circle.sweep = sense(segment) * turn_at(segment, to - from);
    return result;
}

bool parallel(const Segment &segment, double distance, Segment *copy) {
    const double whole = length(segment);
    if (!(whole > 0)) return false;
    const auto aside = [&](double position) {
        return point_at(segment, position) + left_of(direction_at(segment, position)) * distance;
    };
    Segment result = segment;
    if (segment.is_arc) {
        result.circle.radius -= sense(segment) * distance;
        if (!(result.circle.radius > 0 && std::isfinite(result.circle.radius))) return false;
        result.over = aside(whole / 2);
    }
    result.start = aside(0);
    result.end = is_same(segment.start, segment.end) ? result.start : aside(whole);
    *copy = result;
    return true;
}

Foot nearest(const Segment &segment, GEOM_XY point) {
    Foot feet[2];
    const int count = perpendiculars(segment, point, feet);
    if (count == 0) return nearer_end(segment, point);
    if (!segment.is_arc) return feet[0];
    // The far foot of an arc is no nearer than an end.
    const Foot end = nearer_end(segment, point);
    return feet[0].distance <= end.distance ? feet[0] : end;
}

int perpendiculars(const Segment &segment, GEOM_XY point, Foot feet[2]) {
    int count = 0;
    if (segment.is_arc) {
        const double turn = turn_towards(segment, point), opposite = turn < PI ? turn + PI : turn - PI;
        for (double foot : {turn, opposite})
            if (foot <= full_turn(segment)) feet[count++] = foot_after(segment, foot, point);
        return count;
    }
    const GEOM_XY whole = segment.end - segment.start;
    const double part = dot(point - segment.start, whole) / dot(whole, whole);
    if (!(part >= 0 && part <= 1)) return 0;
    const double position = part * norm(whole);
    feet[0] = foot_at(point_at(segment, position), position, point, true);
    return 1;
}

int side_of(const Segment &segment, const Foot &foot, GEOM_XY point) {
    if (foot.distance == 0) return 0;
    GEOM_XY along = segment.end - segment.start, aside = point - segment.start;
    if (segment.is_arc) {
        Box box;
        box.add(segment);
        if (foot.is_perpendicular && foot.distance <= rounding_of(box)) return 0;
        along = direction_at(segment, foot.position);
        aside = point - foot.place;
    }
    const double left = along.x * aside.y, right = along.y * aside.x;
    return left > right ? 1 : left < right ? -1 : 0;
}

} // namespace geom
