// Runs of segments at a distance from a line.
//
// They are put together from raw pieces: the parallels of the segments and, outside of each
// corner, an arc about it. Inside of a corner both parallels end where they meet. Every place
// of a raw piece has the distance from what it belongs to; it stays if no other segment of the
// line is nearer. What a segment reaches, all that is nearer to it than the distance, is
// bounded by its parallels on both sides and circles about its ends: so the ranges of a raw
// piece that go begin and end where it meets these, and the ranges left end where they meet
// each other.
//
// Where a line crosses itself, or its end comes too near to another part of it, there is
// nothing at the distance that could link two of them. The gap is bridged by a straight
// segment.
//
// Corners get the shape that is asked for when all else is done.
#include "offset.hpp"

#include <algorithm>
#include <cmath>

#include "box_tree.hpp"
#include "place_index.hpp"
#include "vector.hpp"

namespace geom {

namespace {

constexpr size_t NONE = SIZE_MAX;

struct Range {
    double from, to;
};

struct Raw {
    Segment segment;
    size_t source; // the span that it is parallel to, or NONE for the arc of a corner
    Range range;   // what has not been cut off at the corners
};

enum class Shape { PARALLEL, CORNER, CUT_CORNER };

struct Kept {
    Segment segment;
    Shape shape;
};

Segment full_circle(GEOM_XY centre, double radius) {
    Segment circle = make_segment({centre.x + radius, centre.y}, {centre.x + radius, centre.y});
    circle.is_arc = true;
    circle.over = {centre.x - radius, centre.y};
    circle.circle = {centre.x, centre.y, radius, 0, 2 * PI};
    return circle;
}

double square_distance(GEOM_XY place, GEOM_XY from, GEOM_XY to) {
    const GEOM_XY whole = to - from, there = place - from;
    const double square = dot(whole, whole);
    const GEOM_XY beside = there - whole * (square > 0 ? std::clamp(dot(there, whole) / square, 0.0, 1.0) : 0);
    return dot(beside, beside);
}

bool are_on_two_sides(GEOM_XY a, GEOM_XY b, GEOM_XY from, GEOM_XY to) {
    return (cross(to - from, a - from) < 0) != (cross(to - from, b - from) < 0);
}

// How far an arc goes away from its chord.
double bulge_of(const Segment &segment) {
    return segment.is_arc ? segment.circle.radius * (1 - std::cos(segment.circle.sweep / 2)) : 0;
}

// A distance that two segments are apart at least, by their chords.
double least_distance(const Segment &a, const Segment &b) {
    if (are_on_two_sides(a.start, a.end, b.start, b.end) && are_on_two_sides(b.start, b.end, a.start, a.end)) return 0;
    const double square = std::min({square_distance(a.start, b.start, b.end), square_distance(a.end, b.start, b.end),
                                    square_distance(b.start, a.start, a.end), square_distance(b.end, a.start, a.end)});
    return std::sqrt(square) - bulge_of(a) - bulge_of(b);
}

// --- raw pieces ----------------------------------------------------------------

class Raw_maker {
  public:
    Raw_maker(const Path &path, double distance)
        : path_(path), distance_(distance), side_(distance < 0 ? -1 : 1), width_(std::abs(distance)) {}

    std::vector<Raw> make() {
        const size_t count = path_.spans.size();
        for (size_t i = 0; i < count; ++i) {
            if (i > 0) add_corner(i - 1, i);
            add_parallel(i);
        }
        if (path_.is_closed()) add_corner(count - 1, 0);
        for (const auto &[one, next] : inside_) cut_inside(parallels_[one], parallels_[next]);
        return std::move(raws_);
    }

  private:
    void add_parallel(size_t span) {
        Segment copy;
        const bool is_there = parallel(path_.spans[span].segment, distance_, &copy);
        parallels_.push_back(is_there ? raws_.size() : NONE);
        if (is_there) raws_.push_back({copy, span, {0, geom::length(copy)}});
    }
    void add_corner(size_t one, size_t next) {
        const Span &span = path_.spans[one];
        const GEOM_XY before = direction_at(span.segment, span.length);
        const GEOM_XY after = direction_at(path_.spans[next].segment, 0);
        const double turn = std::atan2(cross(before, after), dot(before, after));
        // A line that turns back has its corner on either side.
        const bool is_turned_back = std::abs(turn) > PI - 1e-9, is_outside = turn * side_ < 0;
        if (!is_outside && !is_turned_back) return inside_.push_back({one, next});
        add_arc(span, after, is_outside ? turn : -side_ * (2 * PI - std::abs(turn)));
    }
    void add_arc(const Span &span, GEOM_XY after, double sweep) {
        const GEOM_XY corner = span.segment.end;
        const GEOM_XY first = left_of(direction_at(span.segment, span.length)) * side_;
        Segment arc = make_segment(corner + first * width_, corner + left_of(after) * distance_);
        if (geom::distance(arc.start, arc.end) <= 4 * path_.rounding) return;
        arc.start_z = arc.end_z = span.to->z;
        arc.is_arc = width_ * (1 - std::cos(sweep / 2)) > path_.rounding;
        if (arc.is_arc) arc.over = corner + turned(first, sweep / 2) * width_;
        if (arc.is_arc) arc.circle = {corner.x, corner.y, width_, std::atan2(first.y, first.x), sweep};
        raws_.push_back({arc, NONE, {0, geom::length(arc)}});
    }
    void cut_inside(size_t one, size_t next) {
        if (one == NONE || next == NONE || one == next) return;
        Raw &before = raws_[one], &after = raws_[next];
        GEOM_XY places[2];
        const int count = intersect(before.segment, after.segment, places);
        if (count == 0) return;
        // The last one of two places is nearer to the corner.
        const GEOM_XY place = places[count - 1];
        before.range.to = std::min(before.range.to, nearest(before.segment, place).position);
        after.range.from = std::max(after.range.from, nearest(after.segment, place).position);
    }

    const Path &path_;
    double distance_, side_, width_;
    std::vector<Raw> raws_;
    std::vector<size_t> parallels_; // the raw piece of each span
    std::vector<std::pair<size_t, size_t>> inside_;
};

// --- what stays ------------------------------------------------------------------

class Cleaner {
  public:
    Cleaner(const Path &path, double width, double tolerance)
        : path_(path), tree_(boxes_of(path)), width_(width), reach_(width - 1e-9 * width - 4 * path.rounding),
          tolerance_(tolerance) {}

    std::vector<Kept> clean(const std::vector<Raw> &raws) {
        for (const Raw &raw : raws) keep(raw);
        return std::move(kept_);
    }

  private:
    bool is_reached(size_t span, GEOM_XY place) const {
        return nearest(path_.spans[span].segment, place).distance < reach_;
    }
    // A segment that reaches a place of a raw piece; a near one will do.
    size_t find_reaching(const Raw &raw, double position) const {
        const GEOM_XY place = point_at(raw.segment, position);
        size_t found = NONE;
        double limit = reach_;
        tree_.visit_near([&](const Box &box) { return distance(box, place); }, limit,
                         [&](size_t span) {
                             const double apart = nearest(path_.spans[span].segment, place).distance;
                             if (span == raw.source || !(apart < limit)) return;
                             found = span;
                             limit = apart < reach_ / 2 ? -1 : apart;
                         });
        return found;
    }
    void add_meetings(const Segment &segment, const Segment &border, std::vector<double> *positions) const {
        GEOM_XY places[2];
        const int count = intersect(segment, border, places);
        for (int i = 0; i < count; ++i) positions->push_back(nearest(segment, places[i]).position);
    }
    // Appends the ranges that a segment reaches.
    void add_reached(const Raw &raw, Range within, size_t span, std::vector<Range> *ranges) const {
        const Segment &segment = path_.spans[span].segment;
        positions_.clear();
        for (double side : {width_, -width_}) {
            Segment border;
            if (parallel(segment, side, &border)) add_meetings(raw.segment, border, &positions_);
        }
        for (GEOM_XY end : {segment.start, segment.end})
            add_meetings(raw.segment, full_circle(end, width_), &positions_);
        std::erase_if(positions_, [&](double p) { return !(p > within.from && p < within.to); });
        positions_.push_back(within.to);
        std::sort(positions_.begin(), positions_.end());
        double from = within.from;
        for (double to : positions_) {
            if (to > from && is_reached(span, point_at(raw.segment, from + (to - from) / 2))) {
                ranges->push_back({from, to});
            }
            from = to;
        }
    }
    // Takes off both ends of a range what is reached there; false when nothing is left. Most raw
    // pieces that go are found out in this way, by a look at one or two segments.
    bool shorten(const Raw &raw, Range *range) const {
        std::vector<Range> reached;
        for (bool is_at_end : {false, true}) {
            for (;;) {
                const size_t span = find_reaching(raw, is_at_end ? range->to : range->from);
                if (span == NONE) break;
                reached.clear();
                add_reached(raw, *range, span, &reached);
                const bool is_there = !reached.empty() && (is_at_end ? reached.back().to == range->to
                                                                     : reached.front().from == range->from);
                if (!is_there) break;
                (is_at_end ? range->to : range->from) = is_at_end ? reached.back().from : reached.front().to;
                if (!(range->from < range->to)) return false;
            }
        }
        return true;
    }
    void keep(const Raw &raw) {
        Range range = raw.range;
        if (!(range.from < range.to) || !shorten(raw, &range)) return;
        const Segment rest = stretch(raw.segment, range.from, range.to);
        const Box box = box_of(rest);
        std::vector<Range> reached;
        tree_.visit_near([&](const Box &of) { return distance(of, box); }, reach_,
                         [&](size_t span) {
                             if (span == raw.source || least_distance(rest, path_.spans[span].segment) >= reach_)
                                 return;
                             add_reached(raw, range, span, &reached);
                         });
        std::sort(reached.begin(), reached.end(), [](const Range &a, const Range &b) { return a.from < b.from; });
        double from = range.from;
        for (const Range &gone : reached) {
            if (gone.from > from) add(raw, {from, gone.from});
            from = std::max(from, gone.to);
        }
        if (range.to > from) add(raw, {from, range.to});
    }
    void add(const Raw &raw, Range range) {
        const bool is_whole = range.from <= 0 && range.to >= length(raw.segment);
        if (!is_whole && range.to - range.from <= tolerance_) return;
        const Shape shape = raw.source != NONE ? Shape::PARALLEL : is_whole ? Shape::CORNER : Shape::CUT_CORNER;
        kept_.push_back({stretch(raw.segment, range.from, range.to), shape});
    }

    const Path &path_;
    Box_tree tree_;
    double width_, reach_, tolerance_;
    mutable std::vector<double> positions_;
    std::vector<Kept> kept_;
};

// --- linking -----------------------------------------------------------------------

struct Run {
    std::vector<Kept> parts;
    bool is_closed;
};

// Links what was kept in the order of the line. What begins where a part ends follows that
// even if other parts come between, provided that these make rings of their own: there the
// line goes into a pocket with an entrance too narrow for its copy.
class Linker {
  public:
    Linker(std::vector<Kept> kept, double tolerance) : kept_(std::move(kept)) {
        Place_index places(tolerance);
        for (const Kept &part : kept_) ends_.push_back({places.add(part.segment.start), places.add(part.segment.end)});
        starting_.resize(places.count());
        ending_.resize(places.count());
        for (size_t i = 0; i < kept_.size(); ++i) {
            starting_[ends_[i].start].push_back(i);
            ending_[ends_[i].end].push_back(i);
        }
    }

    // The run along the line, which is closed if that is, and then the rings.
    std::vector<Run> link(bool is_closed) {
        std::vector<Run> runs;
        if (kept_.empty()) return runs;
        rings_.push_back({0, kept_.size()});
        for (size_t i = 0; i < rings_.size(); ++i) runs.push_back(link(rings_[i], i > 0 || is_closed));
        return runs;
    }

  private:
    struct Ends {
        size_t start, end; // numbers of places
    };
    struct Section {
        size_t begin, end;
    };

    Run link(Section section, bool is_closed) {
        Run run{{}, is_closed};
        for (size_t part = section.begin; part < section.end; part = find_next(part, section, is_closed))
            run.parts.push_back(kept_[part]);
        return run;
    }
    size_t find_next(size_t part, Section section, bool is_closed) {
        const size_t place = ends_[part].end;
        if (part + 1 == section.end || ends_[part + 1].start == place) return part + 1;
        const std::vector<size_t> &next = starting_[place];
        for (auto i = std::upper_bound(next.begin(), next.end(), part); i != next.end() && *i < section.end; ++i)
            if (take_rings({part + 1, *i})) return *i;
        const bool is_back = is_closed && place == ends_[section.begin].start;
        return is_back && take_rings({part + 1, section.end}) ? section.end : part + 1;
    }
    // Notes the rings that a section consists of; false when it is something else.
    bool take_rings(Section section) {
        const size_t known = rings_.size();
        while (section.begin < section.end) {
            const std::vector<size_t> &ends = ending_[ends_[section.begin].start];
            const auto last = std::lower_bound(ends.begin(), ends.end(), section.end);
            if (last == ends.begin() || *(last - 1) < section.begin) {
                rings_.resize(known);
                return false;
            }
            rings_.push_back({section.begin, *(last - 1) + 1});
            section.begin = rings_.back().end;
        }
        return true;
    }

    std::vector<Kept> kept_;
    std::vector<Ends> ends_;
    std::vector<std::vector<size_t>> starting_, ending_; // the parts at each place
    std::vector<Section> rings_;
};

// --- corners -----------------------------------------------------------------------

// Replaces the arcs of corners.
class Corner_shaper {
  public:
    Corner_shaper(int32_t corner, double limit, double tolerance)
        : corner_(corner), limit_(limit > 0 ? limit : DEFAULT_LIMIT), tolerance_(tolerance) {}

    Chain shape(Run run) const {
        std::vector<Kept> &parts = run.parts;
        Chain chain;
        chain.is_closed = run.is_closed;
        std::vector<std::vector<Segment>> shaped(parts.size());
        for (size_t i = 0; i < parts.size(); ++i) {
            if (parts[i].shape == Shape::PARALLEL) continue;
            const size_t last = parts.size() - 1;
            Kept *before = i > 0 ? &parts[i - 1] : run.is_closed ? &parts[last] : nullptr;
            Kept *after = i < last ? &parts[i + 1] : run.is_closed ? &parts[0] : nullptr;
            shaped[i] = shape_corner(parts[i], before, after);
        }
        for (size_t i = 0; i < parts.size(); ++i) {
            if (parts[i].shape == Shape::PARALLEL) shaped[i].push_back(parts[i].segment);
            chain.segments.insert(chain.segments.end(), shaped[i].begin(), shaped[i].end());
        }
        return chain;
    }

  private:
    static Segment straight(GEOM_XY from, GEOM_XY to, double z) {
        Segment segment = make_segment(from, to);
        segment.start_z = segment.end_z = z;
        return segment;
    }
    bool can_reach_out(const Kept *part, GEOM_XY end, GEOM_XY place) const {
        return part && part->shape == Shape::PARALLEL && !part->segment.is_arc && distance(end, place) <= tolerance_;
    }
    std::vector<Segment> shape_corner(const Kept &part, Kept *before, Kept *after) const {
        const Segment &arc = part.segment;
        if (corner_ == GEOM_CORNER_ROUND) return {arc};
        // Where both sides meet, and how much further than the arc that is from the corner.
        const GEOM_XY centre{arc.circle.x, arc.circle.y}, first = arc.start - centre, second = arc.end - centre;
        const double further = arc.is_arc ? 1 / std::cos(arc.circle.sweep / 2) : 1;
        const GEOM_XY tip = centre + (first + second) * (dot(first, first) / (dot(first, first) + dot(first, second)));
        const bool has_tip = corner_ == GEOM_CORNER_MITRE && part.shape == Shape::CORNER && arc.is_arc &&
                             std::abs(arc.circle.sweep) < PI && further <= limit_;
        if (!has_tip) return {straight(arc.start, arc.end, arc.start_z)};
        std::vector<Segment> sides;
        if (can_reach_out(before, before ? before->segment.end : tip, arc.start)) {
            before->segment.end = tip;
        } else {
            sides.push_back(straight(arc.start, tip, arc.start_z));
        }
        if (can_reach_out(after, after ? after->segment.start : tip, arc.end)) {
            after->segment.start = tip;
        } else {
            sides.push_back(straight(tip, arc.end, arc.start_z));
        }
        return sides;
    }

    int32_t corner_;
    double limit_, tolerance_;
};

// An arc of which the ends fall together would be taken for a full circle.
bool has_vanished(const Segment &segment) {
    return is_same(segment.start, segment.end) && !(segment.is_arc && std::abs(segment.circle.sweep) > PI);
}

} // namespace

double Chain::length() const {
    double sum = 0;
    for (const Segment &segment : segments) sum += geom::length(segment);
    return sum;
}

void connect(Chain *chain, double tolerance) {
    std::vector<Segment> connected;
    const auto add = [&](Segment segment) {
        if (!connected.empty()) {
            const Segment &last = connected.back();
            if (distance(last.end, segment.start) > tolerance) {
                Segment bridge = make_segment(last.end, segment.start);
                bridge.start_z = last.end_z;
                bridge.end_z = segment.start_z;
                connected.push_back(bridge);
                chain->has_gap = true;
            } else {
                segment.start = last.end;
                segment.start_z = last.end_z;
            }
        }
        if (!has_vanished(segment)) connected.push_back(segment);
    };
    for (const Segment &segment : chain->segments) add(segment);
    if (chain->is_closed && !connected.empty()) {
        const Segment first = connected.front();
        if (distance(connected.back().end, first.start) > tolerance) {
            chain->has_gap = true;
            add(make_segment(connected.back().end, first.start));
        }
        connected.back().end = first.start;
        connected.back().end_z = first.start_z;
    }
    chain->segments = std::move(connected);
}

std::vector<Chain> offset(const Path &path, double distance, int32_t corner, double limit) {
    if (path.spans.empty()) return {};
    const double width = std::abs(distance), tolerance = 1e-7 * width + 8 * path.rounding;
    std::vector<Kept> kept = Cleaner(path, width, tolerance).clean(Raw_maker(path, distance).make());
    std::vector<Run> runs = Linker(std::move(kept), tolerance).link(path.is_closed());
    const Corner_shaper shaper(corner, limit, tolerance);
    std::vector<Chain> chains;
    for (Run &run : runs) {
        chains.push_back(shaper.shape(std::move(run)));
        connect(&chains.back(), tolerance);
    }
    std::erase_if(chains, [](const Chain &chain) { return chain.segments.empty(); });
    if (path.is_closed() && !chains.empty()) {
        const auto shorter = [](const Chain &a, const Chain &b) { return a.length() < b.length(); };
        std::iter_swap(chains.begin(), std::max_element(chains.begin(), chains.end(), shorter));
    }
    return chains;
}

} // namespace geom
