// A segment of a line in the plane, straight or an arc, and what can be computed
// of one exactly. All positions are plane lengths from its start.
#pragma once

#include <vector>

#include "geometry.hpp"

namespace geom {

struct Segment {
    GEOM_XY start, end;
    double start_z, end_z;
    bool is_arc;        // three points on one straight line are none
    GEOM_XY over;       // of an arc: a point on it
    GEOM_CIRCLE circle; // of an arc
};

// arc as in a line: 0 for a straight segment.
Segment make_segment(const Point &from, double arc, GEOM_XY over, const Point &to);
Segment make_segment(GEOM_XY from, GEOM_XY to);
Segment make_segment(GEOM_XY from, GEOM_XY over, GEOM_XY to);

// The circle through three points; false when they are on one straight line or
// not finite. Start and end in one place: a full circle, counter-clockwise, with
// the point over opposite to them.
bool circle_of(GEOM_XY from, GEOM_XY over, GEOM_XY to, GEOM_CIRCLE *circle);

inline bool is_same(GEOM_XY a, GEOM_XY b) { return a.x == b.x && a.y == b.y; }
inline GEOM_XY place_of(const Point &point) { return {point.x, point.y}; }
double distance(GEOM_XY a, GEOM_XY b);

double length(const Segment &segment);
// Counts the difference of heights, if both ends have one.
double length_in_space(const Segment &segment);
GEOM_XY point_at(const Segment &segment, double position);
double height_at(const Segment &segment, double position);
// The unit vector of the direction at a position; (0, 0) without length.
GEOM_XY direction_at(const Segment &segment, double position);
// Half the integral of x dy - y dx.
double line_area(const Segment &segment);
// Between an arc and its chord, positive counter-clockwise; 0 for a straight segment.
double bow_area(const Segment &segment);
Segment reversed(const Segment &segment);
// The stretch between two positions in range; with from > to reversed.
Segment stretch(const Segment &segment, double from, double to);
// At a distance, left when positive. False for an arc that would turn inside
// out or vanish, and for a segment without length.
bool parallel(const Segment &segment, double distance, Segment *copy);

struct Foot {
    GEOM_XY place;
    double position;
    double distance;       // not signed
    bool is_perpendicular; // not merely an end
};
// The place on the segment that is nearest to a point.
Foot nearest(const Segment &segment, GEOM_XY point);
// Feet of perpendiculars, none to two (an arc may have a far one too).
int perpendiculars(const Segment &segment, GEOM_XY point, Foot feet[2]);
// Which side of the segment, at a foot, the point lies on: 1 left, -1 right, 0 on it.
int side_of(const Segment &segment, const Foot &foot, GEOM_XY point);

// Common points of two segments, 0 to 2; see GEOM2_LINESEGMENT_INTERSECTION.
int intersect(const Segment &a, const Segment &b, GEOM_XY places[2]);
// Whether a point lies on the segment: exactly for a straight one, within the rounding
// of coordinates for an arc.
bool is_on(const Segment &segment, GEOM_XY point);

// Appends the ends of the chords that stand for the segment: not its start, but
// its end. tolerance as in GEOM2_STROKE.
void append_chords(const Segment &segment, double tolerance, std::vector<GEOM_XY> *places);
// How many chords stand for an arc.
int chord_count(const GEOM_CIRCLE &circle, double tolerance);
// Puts chords in the place of all arcs of a geometry. Its points stay where they are.
void stroke(Geometry *geometry, double tolerance);
// What GEOM2_RESOLUTION_SET has set.
double stroke_tolerance();

struct Box {
    double xmin, ymin, xmax, ymax;
    Box(); // contains nothing
    void add(GEOM_XY place);
    void add(const Segment &segment);
    bool is_empty() const { return !(xmin <= xmax); }
    bool contains(GEOM_XY place) const;
};

// Calls visit(const Line_node &from, const Line_node &to, const Segment &) for each
// segment of a line.
template <typename Visit> void for_each_segment(const Composite *line, Visit visit) {
    for (Node *node = line->first; node->next; node = node->next) {
        const Line_node *from = line_node(node), *to = line_node(node->next);
        visit(*from, *to, make_segment(*from, to->arc, {to->arc_x, to->arc_y}, *to));
    }
}

// Calls visit(const Composite *) for each line of a geometry: itself, or those of its rands.
template <typename Visit> void for_each_line(const Geometry *geometry, Visit visit) {
    if (!geometry || geometry->kind == GEOM_POINT) return;
    const Composite *composite = static_cast<const Composite *>(geometry);
    if (composite->kind == GEOM_LINE) return visit(composite);
    for (Node *node = composite->first; node; node = node->next) for_each_line(part_of(node), visit);
}

// Calls visit(Point &) for each point of a geometry.
template <typename Visit> void for_each_point(Geometry *geometry, Visit visit) {
    if (!geometry) return;
    if (geometry->kind == GEOM_POINT) return visit(*static_cast<Point *>(geometry));
    for (Node *node = static_cast<Composite *>(geometry)->first; node; node = node->next) {
        if (geometry->kind == GEOM_LINE) {
            visit(*line_node(node));
        } else {
            for_each_point(part_of(node), visit);
        }
    }
}

} // namespace geom
