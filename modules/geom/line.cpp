// Positions on lines: places projected to them, and places found by their position.
#include "line.hpp"

#include <algorithm>
#include <cmath>
#include <limits>

#include "box_tree.hpp"
#include "vector.hpp"

namespace geom {

Composite *line_in(QOR_GEOMETRY word, const char *operation) {
    return word ? composite_in(word, GEOM_LINE, operation) : nullptr;
}

Composite *usable_line(QOR_GEOMETRY word, const char *operation) {
    Composite *line = line_in(word, operation);
    const char *fault = coordinate_fault(line);
    if (!fault) return line;
    refuse(operation, fault);
    return nullptr;
}

bool are_usable(std::initializer_list<double> numbers, const char *what, const char *operation) {
    for (double number : numbers) {
        if (std::abs(number) <= geos::MAX_COORDINATE) continue;
        refuse(operation, std::string(what) + " is not a usable number");
        return false;
    }
    return true;
}

Path::Path(const Composite *line) {
    Box box;
    for_each_segment(line, [&](const Line_node &from, const Line_node &to, const Segment &segment) {
        const double whole = geom::length(segment);
        if (!(whole > 0)) return;
        box.add(segment);
        spans.push_back({&from, &to, segment, length, whole});
        length += whole;
    });
    rounding = box.is_empty() ? 0 : rounding_of(box);
    slack = rounding + ROUNDING * length;
}

double distance(const Box &box, GEOM_XY place) {
    const double x = std::max({box.xmin - place.x, 0.0, place.x - box.xmax});
    const double y = std::max({box.ymin - place.y, 0.0, place.y - box.ymax});
    return std::sqrt(x * x + y * y);
}

double distance(const Box &a, const Box &b) {
    const double x = std::max({a.xmin - b.xmax, 0.0, b.xmin - a.xmax});
    const double y = std::max({a.ymin - b.ymax, 0.0, b.ymin - a.ymax});
    return std::sqrt(x * x + y * y);
}

Box box_of(const Segment &segment) {
    Box box;
    box.add(segment);
    return box;
}

std::vector<Box> boxes_of(const Path &path) {
    std::vector<Box> boxes;
    for (const Span &span : path.spans) boxes.push_back(box_of(span.segment));
    return boxes;
}

Point make_point(GEOM_XY place, double z) {
    Point point{};
    point.kind = GEOM_POINT;
    point.x = place.x;
    point.y = place.y;
    point.z = z;
    return point;
}

void append_segment(Composite *line, const Segment &segment, const Point &point) {
    append_point(line, segment.is_arc ? 1 : 0, segment.over.x, segment.over.y,
                 middle_height(segment.start_z, segment.end_z), &point);
}

} // namespace geom

using namespace geom;

namespace {

// --- projection --------------------------------------------------------------

// A foot on a line.
struct Projection {
    Foot foot{};
    Segment segment{};
    const Line_node *from = nullptr, *to = nullptr;
    double position = 0; // on the line
    double height() const { return height_at(segment, foot.position); }
};

int nearest_foot(const Segment &segment, GEOM_XY point, Foot feet[2]) {
    feet[0] = nearest(segment, point);
    return 1;
}

// The nearest of the feet on all segments; false when there are none.
template <typename Feet> bool project(const Composite *line, GEOM_XY point, Feet feet_of, Projection *projection) {
    double start = 0, best = std::numeric_limits<double>::infinity();
    for_each_segment(line, [&](const Line_node &from, const Line_node &to, const Segment &segment) {
        Foot feet[2];
        const int count = feet_of(segment, point, feet);
        for (int i = 0; i < count; ++i) {
            if (!(feet[i].distance < best)) continue;
            best = feet[i].distance;
            *projection = {feet[i], segment, &from, &to, start + feet[i].position};
        }
        start += length(segment);
    });
    return best < std::numeric_limits<double>::infinity();
}

// The sum of the directions in which a line comes to one of its points and leaves it, the
// direction between them; (0, 0) at an end of an open line, and where the line turns back.
GEOM_XY direction_through(const Composite *line, const Line_node *point) {
    const auto is_set = [](GEOM_XY v) { return v.x != 0 || v.y != 0; };
    GEOM_XY before{}, after{}, first{}, last{};
    bool is_behind = false;
    for_each_segment(line, [&](const Line_node &from, const Line_node &, const Segment &segment) {
        is_behind = is_behind || &from == point;
        const double whole = length(segment);
        if (!(whole > 0)) return;
        if (!is_set(first)) first = direction_at(segment, 0);
        last = direction_at(segment, whole);
        if (!is_behind) {
            before = last;
        } else if (!is_set(after)) {
            after = direction_at(segment, 0);
        }
    });
    if (is_same(place_of(first_point(line)), place_of(last_point(line)))) {
        if (!is_set(before)) before = last;
        if (!is_set(after)) after = first;
    }
    return is_set(before) && is_set(after) ? before + after : GEOM_XY{0, 0};
}

// Outside of a corner the side is that of the direction in the middle: a point there may
// well be on different sides of the two segments.
double signed_distance(const Composite *line, const Projection &projection, GEOM_XY point) {
    const Foot &foot = projection.foot;
    double side = side_of(projection.segment, foot, point);
    if (!foot.is_perpendicular) {
        const Line_node *corner = is_same(foot.place, place_of(*projection.to)) ? projection.to : projection.from;
        const double left = cross(direction_through(line, corner), point - foot.place);
        if (left != 0) side = left;
    }
    return side < 0 ? -foot.distance : foot.distance;
}

struct Result {
    double *x, *y, *z, *position, *distance; // the last two may be nil
};

template <typename Feet>
int32_t project_point(QOR_GEOMETRY word, GEOM_XY point, Feet feet_of, const Result &result, const char *operation) {
    const Composite *line = usable_line(word, operation);
    if (!line || !are_usable({point.x, point.y}, "a coordinate", operation)) return 0;
    Projection projection;
    if (!project(line, point, feet_of, &projection)) return 0;
    *result.x = projection.foot.place.x;
    *result.y = projection.foot.place.y;
    *result.z = projection.height();
    if (result.position) *result.position = projection.position;
    if (result.distance) *result.distance = signed_distance(line, projection, point);
    return 1;
}

// Calls visit(place) for all points and arc points.
template <typename Visit> void for_each_place(Geometry *geometry, Visit visit) {
    for_each_point(geometry, [&](const Point &point) { visit(place_of(point)); });
    for_each_line(geometry, [&](const Composite *line) {
        for (Node *node = line->first; node; node = node->next)
            if (line_node(node)->arc != 0) visit(GEOM_XY{line_node(node)->arc_x, line_node(node)->arc_y});
    });
}

// Many places are projected to the same line.
class Projector {
  public:
    explicit Projector(const Composite *line) : path_(line), tree_(boxes_of(path_)), start_(first_point(line)) {}

    void add(GEOM_XY place) {
        double position = 0, apart = distance(place_of(start_), place);
        tree_.visit_near([&](const Box &box) { return distance(box, place); }, apart,
                         [&](size_t index) {
                             const Foot foot = nearest(path_.spans[index].segment, place);
                             if (!(foot.distance < apart)) return;
                             apart = foot.distance;
                             position = path_.spans[index].start + foot.position;
                         });
        from = std::min(from, position);
        to = std::max(to, position);
        furthest = std::max(furthest, apart);
    }

    double from = std::numeric_limits<double>::infinity(), to = 0, furthest = 0;

  private:
    Path path_;
    Box_tree tree_;
    const Point &start_;
};

// --- positions ---------------------------------------------------------------

// The segment in which a position lies, at a corner the one that ends there. A position
// that is beyond the end by no more than rounding is the end.
bool locate(const Composite *line, double position, Segment *segment, double *in_segment) {
    double start = 0;
    bool is_found = false;
    for_each_segment(line, [&](const Line_node &, const Line_node &, const Segment &candidate) {
        const double whole = length(candidate);
        if (is_found || (start > 0 && !(whole > 0))) return;
        *segment = candidate;
        *in_segment = std::min(position - start, whole);
        start += whole;
        is_found = whole > 0 && position <= start;
    });
    return position >= 0 && (is_found || position <= start * (1 + ROUNDING));
}

} // namespace

int32_t GEOM2_PROJECT_POINT(QOR_GEOMETRY line, double px, double py, double *x, double *y, double *z) {
    return project_point(line, {px, py}, nearest_foot, {x, y, z, nullptr, nullptr}, "GEOM2_PROJECT_POINT");
}

int32_t GEOM2_PROJECT_POINT2(QOR_GEOMETRY line, double px, double py, double *x, double *y, double *z, double *position,
                             double *distance) {
    return project_point(line, {px, py}, nearest_foot, {x, y, z, position, distance}, "GEOM2_PROJECT_POINT2");
}

int32_t GEOM2_PROJECT_POINT_PERPENDICULAR(QOR_GEOMETRY line, double px, double py, double *x, double *y, double *z) {
    return project_point(line, {px, py}, perpendiculars, {x, y, z, nullptr, nullptr},
                         "GEOM2_PROJECT_POINT_PERPENDICULAR");
}

int32_t GEOM2_PROJECT_POINT_PERPENDICULAR2(QOR_GEOMETRY line, double px, double py, double *x, double *y, double *z,
                                           double *position, double *distance) {
    return project_point(line, {px, py}, perpendiculars, {x, y, z, position, distance},
                         "GEOM2_PROJECT_POINT_PERPENDICULAR2");
}

int32_t GEOM2_PROJECT_GEOM(QOR_GEOMETRY line, QOR_GEOMETRY geometry, double *from, double *to, double *distance) {
    static constexpr char OPERATION[] = "GEOM2_PROJECT_GEOM";
    const Composite *target = usable_line(line, OPERATION);
    Geometry *source = geometry_of(geometry);
    if (!target || !source) return 0;
    if (const char *fault = coordinate_fault(source)) return refuse(OPERATION, fault);
    Projector projector(target);
    for_each_place(source, [&](GEOM_XY place) { projector.add(place); });
    *from = projector.from;
    *to = projector.to;
    *distance = projector.furthest;
    return 1;
}

int32_t GEOM2_CALC_POINT_AT(QOR_GEOMETRY line, double position, double *x, double *y, double *z) {
    static constexpr char OPERATION[] = "GEOM2_CALC_POINT_AT";
    const Composite *source = usable_line(line, OPERATION);
    Segment segment;
    double in_segment;
    if (!source || !are_usable({position}, "the position", OPERATION)) return 0;
    if (!locate(source, position, &segment, &in_segment)) return 0;
    const GEOM_XY place = point_at(segment, in_segment);
    *x = place.x;
    *y = place.y;
    *z = height_at(segment, in_segment);
    return 1;
}

int32_t GEOM2_CALC_POINT_AT2(QOR_GEOMETRY line, double position, double distance, double *x, double *y, double *z) {
    static constexpr char OPERATION[] = "GEOM2_CALC_POINT_AT2";
    const Composite *source = usable_line(line, OPERATION);
    Segment segment;
    double in_segment;
    if (!source || !are_usable({position, distance}, "the position or the distance", OPERATION)) return 0;
    if (!locate(source, position, &segment, &in_segment) || !(length(segment) > 0)) return 0;
    const GEOM_XY place = point_at(segment, in_segment) + left_of(direction_at(segment, in_segment)) * distance;
    *x = place.x;
    *y = place.y;
    *z = height_at(segment, in_segment);
    return 1;
}

int32_t GEOM2_GET_LINE_START_END_POINT(QOR_GEOMETRY line, QOR_GEOMETRY *start, QOR_GEOMETRY *end) {
    static constexpr char OPERATION[] = "GEOM2_GET_LINE_START_END_POINT";
    const Composite *source = line_in(line, OPERATION);
    if (!source) return 0;
    Owner first(copy(&first_point(source))), last(copy(&last_point(source)));
    replace(start, first.give(), OPERATION);
    replace(end, last.give(), OPERATION);
    return 1;
}

int32_t GEOM2_GET_LINE_START_END_TANGENT_ANGLE(QOR_GEOMETRY line, double *start, double *end) {
    const Composite *source = usable_line(line, "GEOM2_GET_LINE_START_END_TANGENT_ANGLE");
    if (!source) return 0;
    const Path path(source);
    if (path.spans.empty()) return 0;
    // Adding 0 makes -0 a 0, for which the angle is pi, not -pi.
    const auto angle = [](GEOM_XY direction) { return std::atan2(direction.y + 0.0, direction.x); };
    *start = angle(direction_at(path.spans.front().segment, 0));
    *end = angle(direction_at(path.spans.back().segment, path.spans.back().length));
    return 1;
}
