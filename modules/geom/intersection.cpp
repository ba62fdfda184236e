// The common points of two lines.
#include <algorithm>
#include <cmath>

#include "box_tree.hpp"
#include "line.hpp"
#include "place_index.hpp"

using namespace geom;

namespace {

struct Place_on_line {
    double position;
    GEOM_XY place;
    double z;
};

// What two segments have in common: a stretch, or a point, of which both ends are the same.
struct Common {
    Place_on_line from, to;
};

Place_on_line place_on(const Span &span, GEOM_XY place) {
    const double position = nearest(span.segment, place).position;
    return {span.start + position, place, height_at(span.segment, position)};
}

// Two common points of two segments are the ends of a stretch when the segments are in one
// place half way as well.
bool are_together_between(const Span &span, const Segment &other, double from, double to, double rounding) {
    const GEOM_XY half_way = point_at(span.segment, (from + to) / 2 - span.start);
    return span.segment.is_arc == other.is_arc && nearest(other, half_way).distance <= rounding;
}

std::vector<Common> find_common(const Path &path, const Path &other, double rounding) {
    const Box_tree tree(boxes_of(other));
    std::vector<Common> found;
    for (const Span &span : path.spans) {
        const Box box = box_of(span.segment);
        tree.visit_near([&](const Box &of) { return distance(of, box); }, rounding,
                        [&](size_t index) {
                            const Segment &segment = other.spans[index].segment;
                            GEOM_XY places[2];
                            const int count = intersect(span.segment, segment, places);
                            if (count == 0) return;
                            const Place_on_line first = place_on(span, places[0]);
                            const Place_on_line second = count == 2 ? place_on(span, places[1]) : first;
                            const bool is_one = count == 1 || are_together_between(span, segment, first.position,
                                                                                   second.position, rounding);
                            found.push_back({first, is_one ? second : first});
                            if (!is_one) found.push_back({second, second});
                        });
    }
    return found;
}

// Stretches that continue each other become one, and points of stretches go.
std::vector<Place_on_line> ends_of(std::vector<Common> found, double slack) {
    std::sort(found.begin(), found.end(), [](const Common &a, const Common &b) {
        return a.from.position != b.from.position ? a.from.position < b.from.position : a.to.position > b.to.position;
    });
    std::vector<Place_on_line> ends;
    for (size_t i = 0; i < found.size();) {
        const Common &first = found[i];
        const bool is_stretch = first.to.position > first.from.position;
        Place_on_line end = first.to;
        for (++i; is_stretch && i < found.size() && found[i].from.position <= end.position + slack; ++i)
            if (found[i].to.position > end.position) end = found[i].to;
        ends.push_back(first.from);
        if (is_stretch) ends.push_back(end);
    }
    return ends;
}

} // namespace

// Each segment looks for those of the other line in a tree of their boxes.
void GEOM2_LINE_INTERSECTION(QOR_GEOMETRY line, QOR_GEOMETRY other, GEOM_TAKE take, void *context, int32_t *count) {
    static constexpr char OPERATION[] = "GEOM2_LINE_INTERSECTION";
    if (count) *count = 0;
    const Composite *first = usable_line(line, OPERATION), *second = usable_line(other, OPERATION);
    if (!first || !second) return;
    Gathered points;
    {
        const Path path(first), other_path(second);
        const double rounding = std::max(path.rounding, other_path.rounding);
        Place_index known(4 * rounding);
        for (const Place_on_line &end : ends_of(find_common(path, other_path, rounding), path.slack)) {
            if (known.find(end.place) != Place_index::NONE) continue;
            known.add(end.place);
            points.add(word_of(new_point(end.place.x, end.place.y, end.z)));
        }
    }
    points.deliver(take, context, count);
}
