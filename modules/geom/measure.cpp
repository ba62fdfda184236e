// The entries that read: parts, heights, lengths, boxes.
#include <deque>

#include "segment.hpp"

using namespace geom;

namespace {

Box box_of(Geometry *geometry) {
    Box box;
    for_each_point(geometry, [&](const Point &point) { box.add(place_of(point)); });
    for_each_line(geometry, [&](const Composite *line) {
        for_each_segment(line, [&](const Line_node &, const Line_node &, const Segment &segment) { box.add(segment); });
    });
    return box;
}

// A part of a composite as a word; 0 for null.
QOR_GEOMETRY word_of_part(const Composite *composite, Node *node) {
    return composite->kind == GEOM_LINE ? word_of(static_cast<Point *>(line_node(node))) : word_of(part_of(node));
}

int32_t read_part(QOR_GEOMETRY word, Node *Composite::*node, QOR_GEOMETRY *part) {
    Geometry *geometry = geometry_of(word);
    if (!geometry || geometry->kind == GEOM_POINT) return 0;
    const Composite *composite = static_cast<const Composite *>(geometry);
    *part = word_of_part(composite, composite->*node);
    return 1;
}

} // namespace

int32_t GEOM_READ_FIRST_SUBOBJ(QOR_GEOMETRY geometry, QOR_GEOMETRY *part) {
    return read_part(geometry, &Composite::first, part);
}

int32_t GEOM_READ_LAST_SUBOBJ(QOR_GEOMETRY geometry, QOR_GEOMETRY *part) {
    return read_part(geometry, &Composite::last, part);
}

void GEOM_READ_LINE_POINT2(QOR_GEOMETRY *word, double *arc, double *ax, double *ay, double *az, double *x, double *y,
                           double *z, int32_t *found) {
    QOR_GEOMETRY point;
    GEOM_READ_LINE_POINT(word, arc, ax, ay, az, &point, found);
    if (*found) GEOM_READ_POINT(point, x, y, z);
}

int32_t GEOM_IS2D(QOR_GEOMETRY geometry) {
    int32_t is_2d = 1;
    for_each_point(geometry_of(geometry), [&](const Point &point) {
        if (point.z != GEOM_NO_HEIGHT) is_2d = 0;
    });
    return is_2d;
}

int32_t GEOM_IS3D(QOR_GEOMETRY geometry) {
    int32_t is_3d = geometry ? 1 : 0;
    for_each_point(geometry_of(geometry), [&](const Point &point) {
        if (point.z == GEOM_NO_HEIGHT) is_3d = 0;
    });
    return is_3d;
}

double GEOM_GET_LENGTH(QOR_GEOMETRY geometry, int32_t in_space) {
    double sum = 0;
    for_each_line(geometry_of(geometry), [&](const Composite *line) {
        for_each_segment(line, [&](const Line_node &, const Line_node &, const Segment &segment) {
            sum += in_space ? length_in_space(segment) : length(segment);
        });
    });
    return sum;
}

double GEOM_GET_LINE_AREA(QOR_GEOMETRY line) {
    if (!line) return 0;
    const Composite *source = composite_in(line, GEOM_LINE, "GEOM_GET_LINE_AREA");
    if (!source) return 0;
    double sum = 0;
    for_each_segment(source,
                     [&](const Line_node &, const Line_node &, const Segment &segment) { sum += line_area(segment); });
    return sum;
}

int32_t GEOM2_CALC_BOUNDING_BOX(QOR_GEOMETRY geometry, double *xmin, double *ymin, double *xmax, double *ymax) {
    const Box box = box_of(geometry_of(geometry));
    if (box.is_empty()) return 0;
    *xmin = box.xmin;
    *ymin = box.ymin;
    *xmax = box.xmax;
    *ymax = box.ymax;
    return 1;
}

int32_t GEOM2_CALC_BOUNDING_BOX3D(QOR_GEOMETRY geometry, double *xmin, double *ymin, double *zmin, double *xmax,
                                  double *ymax, double *zmax) {
    if (!GEOM2_CALC_BOUNDING_BOX(geometry, xmin, ymin, xmax, ymax)) return 0;
    Box heights;
    for_each_point(geometry_of(geometry), [&](const Point &point) {
        if (point.z != GEOM_NO_HEIGHT) heights.add(GEOM_XY{point.z, 0});
    });
    *zmin = heights.is_empty() ? GEOM_NO_HEIGHT : heights.xmin;
    *zmax = heights.is_empty() ? GEOM_NO_HEIGHT : heights.xmax;
    return 1;
}

int32_t GEOM2_HAS_ARCS(QOR_GEOMETRY geometry) {
    int32_t has_arcs = 0;
    for_each_line(geometry_of(geometry), [&](const Composite *line) {
        for_each_segment(line, [&](const Line_node &, const Line_node &, const Segment &segment) {
            if (segment.is_arc) has_arcs = 1;
        });
    });
    return has_arcs;
}

// The taker may change or release the area, so all lines are copied before it gets one.
void GEOM2_GET_AREA_LINE_LIST(QOR_GEOMETRY area, GEOM_TAKE take, void *context, int32_t *count) {
    if (count) *count = 0;
    if (!area) return;
    const Composite *source = composite_in(area, GEOM_AREA, "GEOM2_GET_AREA_LINE_LIST");
    if (!source) return;
    std::deque<Owner> lines;
    for_each_line(source, [&](const Composite *line) { lines.emplace_back(copy(line)); });
    if (count) *count = static_cast<int32_t>(lines.size());
    for (Owner &line : lines) take(context, line.address());
}
