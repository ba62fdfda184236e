// Parts of lines: pieces, dashes and rows of points; and lines made longer or shorter.
#include <algorithm>
#include <cmath>

#include "line.hpp"
#include "vector.hpp"

namespace geom {

namespace {

// Appends a stretch of a span. Of a point that is repeated in the line all stay, since their
// heights may differ; last is the one that the part ends with.
const Line_node *append_stretch(Composite *part, const Span &span, double from, double to, const Line_node *last) {
    const Segment segment = stretch(span.segment, from, to);
    const bool is_whole = from <= 0 && to >= span.length;
    if (!part->first) {
        const Point start = make_point(segment.start, segment.start_z);
        append_point(part, 0, 0, 0, GEOM_NO_HEIGHT, from <= 0 ? span.from : &start);
    }
    for (; last && last != span.from; last = line_node(last->next))
        append_point(part, 0, 0, 0, GEOM_NO_HEIGHT, line_node(last->next));
    if (is_whole) {
        append_point(part, span.to->arc, span.to->arc_x, span.to->arc_y, span.to->arc_z, span.to);
    } else {
        const Point end = make_point(segment.end, segment.end_z);
        append_segment(part, segment, to >= span.length ? *span.to : end);
    }
    return span.to;
}

} // namespace

Composite *extract(const Path &path, double from, double to, int32_t attribute, size_t *hint) {
    const std::vector<Span> &spans = path.spans;
    while (*hint < spans.size() && spans[*hint].end() <= from + path.slack) ++*hint;
    Owner part(new_composite(GEOM_LINE));
    Composite *line = static_cast<Composite *>(geometry_of(part.get()));
    line->attribute = attribute;
    const Line_node *last = nullptr;
    for (size_t i = *hint; i < spans.size() && spans[i].start < to - path.slack; ++i) {
        const double begin = from - spans[i].start, end = to - spans[i].start;
        // A position that misses an end by rounding is that end.
        const double first = begin <= path.slack ? 0 : begin;
        const double second = spans[i].length - end <= path.slack ? spans[i].length : end;
        const bool is_part = first > 0 || second < spans[i].length;
        if (is_part && is_same(point_at(spans[i].segment, first), point_at(spans[i].segment, second))) continue;
        last = append_stretch(line, spans[i], first, second, last);
    }
    return last ? static_cast<Composite *>(part.give()) : nullptr;
}

} // namespace geom

using namespace geom;

namespace {

constexpr double MAX_COUNT = 1000000;
constexpr int32_t TOO_MANY = -1;

// The dashes of a pattern that have a length, and the length of the pattern.
struct Pattern {
    struct Dash {
        double start, length;
    };
    std::vector<Dash> dashes;
    double length = 0;

    // False when it is none.
    bool read(const double *lengths, int32_t count) {
        if (count <= 0 || count % 2 != 0) return false;
        for (int32_t i = 0; i < count; ++i) {
            if (!(lengths[i] >= 0)) return false;
            if (i % 2 == 0 && lengths[i] > 0) dashes.push_back({length, lengths[i]});
            length += lengths[i];
        }
        return length > 0 && length <= geos::MAX_COORDINATE;
    }
};

// Positions are multiples of the pattern's length, so that no error sums up. False when
// there are too many.
bool find_dashes(const Pattern &pattern, double phase, const Path &path, std::vector<Pattern::Dash> *found) {
    double shift = std::fmod(phase, pattern.length);
    if (shift < 0) shift += pattern.length;
    if (pattern.dashes.empty()) return true;
    if ((path.length / pattern.length - 2) * static_cast<double>(pattern.dashes.size()) > MAX_COUNT) return false;
    for (double round = 0;; ++round) {
        for (const Pattern::Dash &dash : pattern.dashes) {
            const double start = round * pattern.length + dash.start - shift, end = start + dash.length;
            if (start >= path.length - path.slack) return true;
            if (end <= path.slack) continue;
            if (found->size() == MAX_COUNT) return false;
            found->push_back({std::max(start, 0.0), std::min(end, path.length) - std::max(start, 0.0)});
        }
    }
}

// Makes a line's end, at its straight end segment or behind its arc, further away.
void lengthen(Composite *line, double length) {
    if (!(length > 0)) return;
    const Path path(line);
    const Span &span = path.spans.back();
    Line_node *last = line_node(line->last);
    const GEOM_XY place = place_of(*last) + direction_at(span.segment, span.length) * length;
    if (span.segment.is_arc) {
        const Point end = make_point(place, last->z);
        append_point(line, 0, 0, 0, GEOM_NO_HEIGHT, &end);
    } else {
        last->arc = 0;
        last->x = place.x;
        last->y = place.y;
    }
}

void swap_points(Composite *a, Composite *b) {
    std::swap(a->first, b->first);
    std::swap(a->last, b->last);
    for (Composite *line : {a, b})
        for (Node *node = line->first; node; node = node->next) node->owner = line;
}

} // namespace

int32_t GEOM2_EXTRACT_LINE_SEGMENT(QOR_GEOMETRY line, double from, double to, QOR_GEOMETRY *part) {
    static constexpr char OPERATION[] = "GEOM2_EXTRACT_LINE_SEGMENT";
    const Composite *source = usable_line(line, OPERATION);
    if (!source) return 0;
    if (std::isnan(from) || std::isnan(to)) return refuse(OPERATION, "the position is not a number");
    const Path path(source);
    const double first = std::clamp(from, 0.0, path.length), second = std::clamp(to, 0.0, path.length);
    size_t hint = 0;
    Owner result(extract(path, std::min(first, second), std::max(first, second), source->attribute, &hint));
    if (!result.get()) return 0;
    if (first > second) GEOM_REVERSE_LINE(result.get());
    replace(part, result.give(), OPERATION);
    return 1;
}

int32_t GEOM2_EXTRACT_LINE_PATTERN_SEGMENTS(QOR_GEOMETRY line, const double *pattern, int32_t pattern_count,
                                            double phase, GEOM_TAKE take, void *context) {
    static constexpr char OPERATION[] = "GEOM2_EXTRACT_LINE_PATTERN_SEGMENTS";
    const Composite *source = usable_line(line, OPERATION);
    Pattern lengths;
    if (!source || !are_usable({phase}, "the phase", OPERATION) || !lengths.read(pattern, pattern_count)) return 0;
    const Path path(source);
    std::vector<Pattern::Dash> dashes;
    if (!find_dashes(lengths, phase, path, &dashes)) return TOO_MANY;
    Gathered parts;
    size_t hint = 0;
    for (const Pattern::Dash &dash : dashes)
        if (Composite *part = extract(path, dash.start, dash.start + dash.length, source->attribute, &hint))
            parts.add(word_of(part));
    int32_t count;
    parts.deliver(take, context, &count);
    return count;
}

int32_t GEOM2_EXTRACT_LINE_PATTERN_POINTS(QOR_GEOMETRY line, double first, double spacing, GEOM_TAKE take,
                                          void *context) {
    static constexpr char OPERATION[] = "GEOM2_EXTRACT_LINE_PATTERN_POINTS";
    const Composite *source = usable_line(line, OPERATION);
    if (!source || !are_usable({first, spacing}, "the position or the spacing", OPERATION) || !(spacing > 0)) return 0;
    const Path path(source);
    if (path.spans.empty()) return 0;
    double begin = first;
    if (first < 0) {
        begin = std::fmod(first, spacing);
        if (begin < 0) begin += spacing;
    }
    // A point that is beyond the end by no more than rounding is there.
    const double end = path.length + path.slack;
    if (begin > end) return 0;
    const double last = std::floor((end - begin) / spacing);
    if (last >= MAX_COUNT) return TOO_MANY;
    Gathered points;
    auto span = path.spans.begin();
    for (int64_t index = 0; index <= static_cast<int64_t>(last); ++index) {
        const double position = begin + static_cast<double>(index) * spacing;
        while (span + 1 != path.spans.end() && span->end() < position) ++span;
        const GEOM_XY place = point_at(span->segment, position - span->start);
        points.add(word_of(new_point(place.x, place.y, height_at(span->segment, position - span->start))));
    }
    int32_t count;
    points.deliver(take, context, &count);
    return count;
}

int32_t GEOM2_EXTEND_LINE(QOR_GEOMETRY line, double at_start, double at_end) {
    static constexpr char OPERATION[] = "GEOM2_EXTEND_LINE";
    Composite *target = usable_line(line, OPERATION);
    if (!target || !are_usable({at_start, at_end}, "the length", OPERATION)) return 0;
    const Path path(target);
    const double from = std::max(-at_start, 0.0), to = path.length - std::max(-at_end, 0.0);
    if (!(from < to)) return 0;
    Owner part;
    if (from > 0 || to < path.length) {
        size_t hint = 0;
        *part.address() = word_of(extract(path, from, to, 0, &hint));
        if (!part.get()) return 0;
        swap_points(target, static_cast<Composite *>(geometry_of(part.get())));
    }
    note_change(target);
    lengthen(target, at_end);
    if (at_start > 0) {
        GEOM_REVERSE_LINE(line);
        lengthen(target, at_start);
        GEOM_REVERSE_LINE(line);
    }
    return 1;
}
