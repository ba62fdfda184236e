// Where two segments meet. Places that are known are never computed: an end that lies on
// the other segment comes out as it is stored, and a computed place that can not be told
// from such an end, with regard to rounding, is that end.
#include "piece.hpp"
#include "vector.hpp"

namespace geom {

namespace {

// What is found, in the order of the first segment.
class Places {
  public:
    Places(const Segment &a, double rounding) : a_(a), rounding_(rounding) {}

    // slack: within what distance of another place it is that one.
    void add(GEOM_XY place, double slack) {
        for (int i = 0; i < count_; ++i)
            if (is_same(found_[i].place, place) || distance(found_[i].place, place) <= slack) return;
        const double position = nearest(a_, place).position;
        int i = count_ < MAX ? count_++ : MAX - 1;
        for (; i > 0 && position < found_[i - 1].position; --i) found_[i] = found_[i - 1];
        found_[i] = {place, position};
    }
    void add_ends(const Segment &of, const Segment &on) {
        for (GEOM_XY end : {of.start, of.end})
            if (is_on(on, end)) add(end, rounding_);
    }
    int count() const { return count_; }
    int give(GEOM_XY places[2]) const {
        const int given = std::min(count_, 2);
        for (int i = 0; i < given; ++i) places[i] = found_[i].place;
        return given;
    }

  private:
    struct Found {
        GEOM_XY place;
        double position;
    };
    static constexpr int MAX = 6; // four ends and two computed places

    const Segment &a_;
    double rounding_;
    Found found_[MAX];
    int count_ = 0;
};

double rounding_with(const Segment &a, const Segment &b) {
    Box box;
    box.add(a);
    box.add(b);
    return rounding_of(box);
}

bool is_full_circle(const Segment &segment) { return segment.is_arc && is_same(segment.start, segment.end); }

// The twofold content of the triangle that a place makes with a straight segment.
double offset(const Segment &line, GEOM_XY place) { return cross(line.end - line.start, place - line.start); }

// Two straight segments of which no end lies on the other one.
void cross_lines(const Segment &a, const Segment &b, Places *places) {
    const double from = offset(b, a.start), to = offset(b, a.end);
    const bool are_apart = (from < 0) == (to < 0) || (offset(a, b.start) < 0) == (offset(a, b.end) < 0);
    const double part = from / (from - to);
    if (!are_apart && part >= 0 && part <= 1) places->add(a.start + (a.end - a.start) * part, 0);
}

// The places of an endless straight line on the circle of an arc; origin is relative to the
// start of the arc, and so is all that is computed. rounding is that of the distance between
// the line and the centre. A line that touches the circle, as far as can be told, gets one.
struct Candidates {
    GEOM_XY places[2];
    int count = 0;
    double slack = 0; // how far they may be off
};

Candidates meet_circle(GEOM_XY origin, GEOM_XY direction, const Segment &arc, double rounding) {
    const GEOM_XY to_centre = GEOM_XY{arc.circle.x, arc.circle.y} - arc.start;
    const double middle = dot(direction, to_centre - origin), power = dot(origin, origin - to_centre * 2);
    const double square = middle * middle - power, touching = 2 * arc.circle.radius * rounding;
    Candidates found;
    if (!(square >= -touching)) return found;
    const double half = std::sqrt(std::max(square, touching));
    found.slack = rounding + touching / half;
    const auto add = [&](double along) { found.places[found.count++] = arc.start + (origin + direction * along); };
    if (square <= touching) {
        add(middle);
    } else {
        // Of the two solutions the greater one is safe; their product is the power.
        const double far = middle < 0 ? middle - half : middle + half;
        add(far);
        add(power / far);
    }
    return found;
}

bool is_within(const Segment &segment, GEOM_XY place, double slack) {
    return nearest(segment, place).distance <= slack;
}

void cross_line_arc(const Segment &line, const Segment &arc, double rounding, Places *places) {
    const GEOM_XY direction = direction_at(line, 0);
    const Candidates found = meet_circle(line.start - arc.start, direction, arc, rounding);
    for (int i = 0; i < found.count; ++i)
        if (is_within(line, found.places[i], found.slack) && is_within(arc, found.places[i], found.slack))
            places->add(found.places[i], found.slack);
}

bool is_on_circle(GEOM_XY place, const Segment &arc, double rounding) {
    return std::abs(cut(arc, 0).bow.bulge(place)) <= 2 * arc.circle.radius * rounding;
}

// Three places of an arc tell; a full circle has only two of its own.
bool lies_on_circle(const Segment &a, const Segment &b, double rounding) {
    const GEOM_XY third = is_full_circle(a) ? point_at(a, length(a) / 4) : a.end;
    return is_on_circle(a.start, b, rounding) && is_on_circle(a.over, b, rounding) && is_on_circle(third, b, rounding);
}

// All places with the same power to both circles make a straight line; where it meets one of
// the circles, that meets the other one. The line of nearly concentric circles is uncertain, so
// what comes of it must be on both.
void cross_arcs(const Segment &a, const Segment &b, double rounding, Places *places) {
    const GEOM_XY to_centre_a = GEOM_XY{a.circle.x, a.circle.y} - a.start;
    const GEOM_XY to_centre_b = GEOM_XY{b.circle.x, b.circle.y} - b.start, apart = a.start - b.start;
    const GEOM_XY between = to_centre_b - to_centre_a - apart, towards = unit(between);
    const double space = norm(between), power = dot(apart, apart - to_centre_b * 2);
    if (!(space > 0)) return;
    const double line_rounding = rounding * (1 + b.circle.radius / space);
    const Candidates found = meet_circle(towards * (power / (2 * space)), left_of(towards), a, line_rounding);
    for (int i = 0; i < found.count; ++i) {
        if (!is_within(a, found.places[i], found.slack) || !is_within(b, found.places[i], found.slack)) continue;
        const GEOM_XY place = found.count == 1 ? nearest(a, found.places[i]).place : found.places[i];
        if (is_on_circle(place, b, 4 * rounding)) places->add(place, found.slack);
    }
}

} // namespace

int intersect(const Segment &a, const Segment &b, GEOM_XY places[2]) {
    const double rounding = a.is_arc || b.is_arc ? rounding_with(a, b) : 0;
    Places found(a, rounding);
    const bool share_circle =
        a.is_arc && b.is_arc && (lies_on_circle(a, b, rounding) || lies_on_circle(b, a, rounding));
    // On its own circle the end of a full circle is a place like any other.
    if (!(share_circle && is_full_circle(a))) found.add_ends(a, b);
    if (!(share_circle && is_full_circle(b))) found.add_ends(b, a);
    if (share_circle) return found.give(places);
    if (a.is_arc && b.is_arc) {
        const bool is_a_smaller = a.circle.radius <= b.circle.radius;
        cross_arcs(is_a_smaller ? a : b, is_a_smaller ? b : a, rounding, &found);
    } else if (a.is_arc) {
        cross_line_arc(b, a, rounding, &found);
    } else if (b.is_arc) {
        cross_line_arc(a, b, rounding, &found);
    } else if (found.count() == 0) {
        cross_lines(a, b, &found);
    }
    return found.give(places);
}

} // namespace geom
