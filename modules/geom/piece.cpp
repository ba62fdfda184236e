#include "piece.hpp"

#include "vector.hpp"

namespace geom {

namespace {

// The places inside of an arc where it is parallel to an axis, in its order.
struct Extremes {
    GEOM_XY places[4];
    int count = 0;
    // That of the direction at the start, for a clockwise arc as seen in a mirror: 0 is up and
    // to the right, 1 up and to the left. Each extreme ends a quadrant.
    int quadrant;
};

Extremes extremes_of(const Segment &arc) {
    static constexpr GEOM_XY OUTWARD[] = {{1, 0}, {0, 1}, {-1, 0}, {0, -1}};
    const GEOM_CIRCLE &circle = arc.circle;
    const double mirror = circle.sweep < 0 ? -1 : 1, full = std::abs(circle.sweep);
    const GEOM_XY direction = direction_at(arc, 0);
    const double angle = std::atan2(direction.y * mirror, direction.x);
    const int first = static_cast<int>(std::floor(angle / (PI / 2)));
    Extremes extremes;
    extremes.quadrant = first & 3;
    for (int i = 0; i < 4; ++i) {
        const double turn = (first + i + 1) * (PI / 2) - angle;
        if (!(turn < full)) break;
        const GEOM_XY outward = OUTWARD[(first + i) & 3];
        // From the centre nice numbers stay what they are, but that of a flat arc is too far away.
        extremes.places[extremes.count++] =
            full > 1 ? GEOM_XY{circle.x + circle.radius * outward.x, circle.y + circle.radius * outward.y * mirror}
                     : place_after(arc, turn);
    }
    return extremes;
}

bool is_finite(GEOM_XY place) { return std::isfinite(place.x) && std::isfinite(place.y); }

Piece piece_between(GEOM_XY a, GEOM_XY b, int32_t bow, bool is_right) {
    return a.y <= b.y ? Piece{a, b, bow, is_right} : Piece{b, a, bow, is_right};
}

} // namespace

double rounding_of(const Box &box) {
    return ROUNDING * std::max({std::abs(box.xmin), std::abs(box.xmax), std::abs(box.ymin), std::abs(box.ymax)});
}

Meeting Piece::meet_bow(GEOM_XY place, const Bow &of, double left, double right, bool is_beside) const {
    const double slack = of.rounding;
    if (place.y < low.y - slack || place.y > high.y + slack || !(place.x <= right + slack)) return Meeting::NONE;
    if (place.x >= left - slack) {
        const double bulge = of.bulge(place);
        if (std::abs(bulge) <= of.slack) return Meeting::ON;
        const bool is_left_of_it = place.x < left || (place.x <= right && (bulge < 0) == is_right);
        if (!is_left_of_it) return Meeting::NONE;
    }
    return is_beside ? Meeting::CROSSED : Meeting::NONE;
}

Cut cut(const Segment &segment, int32_t bow) {
    Cut result;
    result.count = 0;
    if (!is_finite(segment.start) || !is_finite(segment.end)) return result;
    result.count = 1;
    result.pieces[0] = piece_between(segment.start, segment.end, -1, false);
    if (!segment.is_arc) return result;
    Box box;
    box.add(segment);
    result.bow.start = segment.start;
    result.bow.twice = (GEOM_XY{segment.circle.x, segment.circle.y} - segment.start) * 2;
    result.bow.rounding = rounding_of(box);
    result.bow.slack = 2 * segment.circle.radius * result.bow.rounding;
    const Extremes extremes = extremes_of(segment);
    result.count = extremes.count + 1;
    for (int i = 0; i < result.count; ++i) {
        const GEOM_XY from = i == 0 ? segment.start : extremes.places[i - 1];
        const GEOM_XY to = i == extremes.count ? segment.end : extremes.places[i];
        // Counter-clockwise, what goes up is on the right; clockwise, what goes down.
        result.pieces[i] = piece_between(from, to, bow, ((extremes.quadrant + i) & 3) < 2);
    }
    return result;
}

bool is_on(const Segment &segment, GEOM_XY point) {
    const Cut c = cut(segment, 0);
    return std::any_of(c.pieces, c.pieces + c.count,
                       [&](const Piece &piece) { return piece.meet(point, &c.bow) == Meeting::ON; });
}

Box::Box() : xmin(std::numeric_limits<double>::infinity()), ymin(xmin), xmax(-xmin), ymax(-xmin) {}

void Box::add(GEOM_XY place) {
    xmin = std::min(xmin, place.x);
    ymin = std::min(ymin, place.y);
    xmax = std::max(xmax, place.x);
    ymax = std::max(ymax, place.y);
}

void Box::add(const Segment &segment) {
    add(segment.start);
    add(segment.end);
    if (!segment.is_arc) return;
    add(segment.over);
    const Extremes extremes = extremes_of(segment);
    for (int i = 0; i < extremes.count; ++i) add(extremes.places[i]);
}

bool Box::contains(GEOM_XY place) const {
    return place.x >= xmin && place.x <= xmax && place.y >= ymin && place.y <= ymax;
}

} // namespace geom
