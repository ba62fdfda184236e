// What the operations on lines share.
#pragma once

#include "overlay.hpp"
#include "piece.hpp"
#include "segment.hpp"

namespace geom {

// The line of a word; null when that is the empty geometry. Another kind aborts.
Composite *line_in(QOR_GEOMETRY word, const char *operation);
// Null as well, with an error message, when the coordinates can not be computed with.
Composite *usable_line(QOR_GEOMETRY word, const char *operation);
// Whether numbers can be computed with; if not, an error message tells what they are.
bool are_usable(std::initializer_list<double> numbers, const char *what, const char *operation);

// A segment that has a length, and where it is on its line.
struct Span {
    const Line_node *from, *to;
    Segment segment;
    double start, length;
    double end() const { return start + length; }
};

// A line to be computed with: its segments without those that have no length.
struct Path {
    explicit Path(const Composite *line);
    bool is_closed() const { return is_same(spans.front().segment.start, spans.back().segment.end); }

    std::vector<Span> spans;
    double length = 0;
    double rounding; // how far computed places may be off,
    double slack;    // and positions, which are sums
};

// Distances between what boxes contain are not below these.
double distance(const Box &box, GEOM_XY place);
double distance(const Box &a, const Box &b);
Box box_of(const Segment &segment);
std::vector<Box> boxes_of(const Path &path); // of its spans

inline double middle_height(double a, double b) {
    return a == GEOM_NO_HEIGHT || b == GEOM_NO_HEIGHT ? GEOM_NO_HEIGHT : a + (b - a) / 2;
}
Point make_point(GEOM_XY place, double z);
// Appends the end of a segment, and what lies before it of an arc. The point is that end.
void append_segment(Composite *line, const Segment &segment, const Point &point);

// The part of a path between two positions, 0 <= from <= to <= length; null when it has no
// length. hint: a span that does not begin behind from; it is moved on for the next part.
Composite *extract(const Path &path, double from, double to, int32_t attribute, size_t *hint);

} // namespace geom
