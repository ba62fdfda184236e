// Chords and curves that stand for arcs, and circles.
#include <algorithm>
#include <array>

#include "qor/msg.h"
#include "segment.hpp"
#include "vector.hpp"

namespace geom {

namespace {

constexpr double MIN_CHORDS = 2, MAX_CHORDS = 10000;

double resolution = 0;

// Neighbours pass a common arc in different directions. So that they get the same chords, the
// places are always computed from the same end.
bool is_from_far_end(const Segment &arc) {
    return arc.end.x < arc.start.x || (arc.end.x == arc.start.x && arc.end.y < arc.start.y);
}

} // namespace

double stroke_tolerance() { return resolution; }

// A chord that turns by t is r (1 - cos(t/2)) = 2 r sin^2(t/4) away from the arc.
int chord_count(const GEOM_CIRCLE &circle, double tolerance) {
    if (!(tolerance > 0)) tolerance = resolution > 0 ? resolution : circle.radius / 10000;
    const double turn = 4 * std::asin(std::min(1.0, std::sqrt(tolerance / circle.radius / 2)));
    const double count = std::ceil(std::abs(circle.sweep) / turn);
    return static_cast<int>(std::clamp(count, MIN_CHORDS, MAX_CHORDS));
}

void append_chords(const Segment &segment, double tolerance, std::vector<GEOM_XY> *places) {
    const bool is_backward = segment.is_arc && is_from_far_end(segment);
    const Segment arc = is_backward ? make_segment(segment.end, segment.over, segment.start) : segment;
    if (arc.is_arc) {
        const int count = chord_count(arc.circle, tolerance);
        const double whole = length(arc);
        const size_t first = places->size();
        for (int i = 1; i < count; ++i) places->push_back(point_at(arc, whole * i / count));
        if (is_backward) std::reverse(places->begin() + static_cast<ptrdiff_t>(first), places->end());
    }
    places->push_back(segment.end);
}

namespace {

// The chords' ends come between the two points of the arc. A line of their own holds them
// until then.
void insert_chords(Composite *line, Node *from, const Segment &arc, double tolerance) {
    std::vector<GEOM_XY> places;
    append_chords(arc, tolerance, &places);
    const size_t count = places.size();
    Owner owner(new_composite(GEOM_LINE));
    Composite *chords = static_cast<Composite *>(geometry_of(owner.get()));
    for (size_t i = 0; i + 1 < count; ++i) {
        Point point{};
        point.kind = GEOM_POINT;
        point.x = places[i].x;
        point.y = places[i].y;
        point.z = height_at(arc, length(arc) * static_cast<double>(i + 1) / static_cast<double>(count));
        append_point(chords, 0, 0, 0, GEOM_NO_HEIGHT, &point);
    }
    if (!chords->first) return;
    for (Node *node = chords->first; node; node = node->next) node->owner = line;
    chords->last->next = from->next;
    from->next = chords->first;
    chords->first = chords->last = nullptr;
}

void stroke_line(Composite *line, double tolerance) {
    for (Node *node = line->first; node->next;) {
        Line_node *from = line_node(node), *to = line_node(node->next);
        const Segment segment = make_segment(*from, to->arc, {to->arc_x, to->arc_y}, *to);
        to->arc = 0;
        if (segment.is_arc) insert_chords(line, from, segment, tolerance);
        node = to;
    }
}

} // namespace

void stroke(Geometry *geometry, double tolerance) {
    if (geometry->kind == GEOM_POINT) return;
    Composite *composite = static_cast<Composite *>(geometry);
    if (composite->kind == GEOM_LINE) return stroke_line(composite, tolerance);
    for (Node *node = composite->first; node; node = node->next) stroke(part_of(node), tolerance);
}

} // namespace geom

using namespace geom;

int32_t GEOM2_STROKE(QOR_GEOMETRY geometry, QOR_GEOMETRY *stroked, double tolerance) {
    const Geometry *source = geometry_of(geometry);
    if (!source) return 0;
    Owner result(copy(source));
    stroke(geometry_of(result.get()), tolerance);
    replace(stroked, result.give(), "GEOM2_STROKE");
    return 1;
}

double GEOM2_RESOLUTION_SET(double tolerance) {
    const double former = resolution;
    if (tolerance >= 0 && std::isfinite(tolerance)) resolution = tolerance;
    return former;
}

int32_t GEOM2_CREATE_CIRCLE(QOR_GEOMETRY *area, double x, double y, double radius) {
    if (!std::isfinite(x) || !std::isfinite(y) || !std::isfinite(radius)) {
        MESSAGE_DISPLAY_ERROR1_C("*** ERROR *** GEOM(GEOM2_CREATE_CIRCLE) coordinate is not a number\n");
        return 0;
    }
    if (radius <= 0) return 0;
    const auto create_point = [&](Owner *point, double dx) {
        GEOM_CREATE_POINT(point->address(), x + dx, y, GEOM_NO_HEIGHT);
    };
    Owner right, left, shape;
    create_point(&right, radius);
    create_point(&left, -radius);
    GEOM_CREATE_LINE(shape.address(), right.get(), 1, x, y + radius, GEOM_NO_HEIGHT, left.get());
    GEOM_APPEND_LINE_POINT(shape.address(), 1, x, y - radius, GEOM_NO_HEIGHT, right.get());
    GEOM_CREATE_RAND(shape.address(), shape.get());
    GEOM_CREATE_AREA(shape.address(), shape.get());
    replace(area, shape.give(), "GEOM2_CREATE_CIRCLE");
    return 1;
}

// A curve touches the arc in its ends and in its middle when its handles are 4/3 tan(turn/4) of
// the radius long.
int32_t GEOM2_LINEARCS_TO_BEZIER(QOR_GEOMETRY line, void (*take)(void *context, const GEOM_XY control[4]),
                                 void *context) {
    if (!line) return 0;
    const Composite *source = composite_in(line, GEOM_LINE, "GEOM2_LINEARCS_TO_BEZIER");
    if (!source) return 0;
    std::vector<std::array<GEOM_XY, 4>> curves;
    for_each_segment(source, [&](const Line_node &, const Line_node &, const Segment &segment) {
        const double whole = length(segment), sweep = segment.is_arc ? std::abs(segment.circle.sweep) : 0;
        // A quarter that rounding has made longer is still one quarter.
        const int count = std::max(1, static_cast<int>(std::ceil(sweep / (PI / 2) - 1e-9)));
        const double handle = sweep > 0 ? segment.circle.radius * 4 / 3 * std::tan(sweep / count / 4) : whole / 3;
        for (int i = 0; i < count; ++i) {
            const double from = whole * i / count, to = whole * (i + 1) / count;
            const GEOM_XY first = point_at(segment, from), last = point_at(segment, to);
            curves.push_back(
                {first, first + direction_at(segment, from) * handle, last - direction_at(segment, to) * handle, last});
        }
    });
    for (const auto &curve : curves) take(context, curve.data());
    return curves.empty() ? 0 : 1;
}
