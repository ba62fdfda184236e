// Parallel copies of lines, and areas beside lines.
#include <algorithm>
#include <cmath>

#include "offset.hpp"
#include "vector.hpp"

using namespace geom;

namespace {

bool is_usable(const Chain &chain) {
    return std::all_of(chain.segments.begin(), chain.segments.end(), [](const Segment &segment) {
        for (GEOM_XY place : {segment.start, segment.over, segment.end})
            if (!(std::abs(place.x) <= geos::MAX_COORDINATE && std::abs(place.y) <= geos::MAX_COORDINATE)) return false;
        return true;
    });
}

Composite *make_line(const Chain &chain) {
    Composite *line = new_composite(GEOM_LINE);
    const Point start = make_point(chain.segments.front().start, chain.segments.front().start_z);
    append_point(line, 0, 0, 0, GEOM_NO_HEIGHT, &start);
    for (const Segment &segment : chain.segments) append_segment(line, segment, make_point(segment.end, segment.end_z));
    return line;
}

bool is_corner(int32_t corner) { return corner >= GEOM_CORNER_ROUND && corner <= GEOM_CORNER_BEVEL; }

// --- areas -------------------------------------------------------------------

// An area beside a path. Its sides are the parallels of the path, unless these have gaps or cross:
// where the path crosses itself, or its end lies beside another part of it. Then the area is put
// together from what lies beside each segment.
class Area_maker {
  public:
    Area_maker(const Composite *line, double left, double right, int32_t corner, int32_t end)
        : path_(line), left_(left), right_(right), corner_(corner), end_(end),
          tolerance_(1e-7 * std::max(left, right) + 8 * path_.rounding) {}

    // Null when the sides make none.
    Geometry *make_from_sides() {
        std::vector<Chain> left = side(left_), right = side(-right_);
        if (!path_.is_closed()) add_rand(outline(take_first(&left), take_first(&right)));
        for (const std::vector<Chain> *chains : {&left, &right})
            for (const Chain &chain : *chains) add_rand(chain);
        if (has_gap_ || !area_.get() || !GEOM2_CHECK_AREA(area_.get(), nullptr, nullptr, nullptr)) return nullptr;
        return area_.give();
    }
    // Of a path without arcs. Null when it can not be computed.
    geos::Geometry make_from_pieces() {
        const std::vector<Span> &spans = path_.spans;
        for (size_t i = 0; i < spans.size(); ++i) {
            add_strip(spans[i].segment);
            if (i > 0 || path_.is_closed()) add_corner(i > 0 ? spans[i - 1] : spans.back(), spans[i]);
        }
        if (!path_.is_closed() && end_ != GEOM_END_FLAT) {
            add_end_piece(*spans.back().to, direction_at(spans.back().segment, 0), left_, right_);
            add_end_piece(*spans.front().from, direction_at(spans.front().segment, 0) * -1, right_, left_);
        }
        return geos::united(std::move(pieces_));
    }

  private:
    // A side without a width is the line itself.
    std::vector<Chain> side(double distance) const {
        if (distance != 0) return offset(path_, distance, corner_, 0);
        Chain chain;
        for (const Span &span : path_.spans) chain.segments.push_back(span.segment);
        chain.is_closed = path_.is_closed();
        return {chain};
    }
    static Chain take_first(std::vector<Chain> *chains) {
        if (chains->empty()) return {};
        Chain first = std::move(chains->front());
        chains->erase(chains->begin());
        return first;
    }
    // The left side, the end, the right side backwards, and the start.
    Chain outline(Chain left, const Chain &right) const {
        const Span &first = path_.spans.front(), &last = path_.spans.back();
        Chain chain = std::move(left);
        add_end(&chain, *last.to, direction_at(last.segment, last.length), left_, right_);
        for (auto segment = right.segments.rbegin(); segment != right.segments.rend(); ++segment)
            chain.segments.push_back(reversed(*segment));
        add_end(&chain, *first.from, direction_at(first.segment, 0) * -1, right_, left_);
        chain.has_gap = chain.has_gap || right.has_gap;
        chain.is_closed = true;
        connect(&chain, tolerance_);
        return chain;
    }
    void add_end(Chain *chain, const Point &point, GEOM_XY outward, double left, double right) const {
        const GEOM_XY from = place_of(point) + left_of(outward) * left, to = place_of(point) - left_of(outward) * right;
        const auto add = [&](Segment segment) {
            segment.start_z = segment.end_z = point.z;
            chain->segments.push_back(segment);
        };
        if (end_ == GEOM_END_ROUND) {
            add(make_segment(from, from + (to - from) * 0.5 + outward * ((left + right) / 2), to));
        } else if (end_ == GEOM_END_SQUARE) {
            const GEOM_XY further = outward * std::max(left, right);
            add(make_segment(from, from + further));
            add(make_segment(from + further, to + further));
            add(make_segment(to + further, to));
        } else {
            add(make_segment(from, to));
        }
    }
    void add_rand(const Chain &chain) {
        has_gap_ = has_gap_ || chain.has_gap;
        if (chain.segments.empty()) return;
        if (!area_.get()) *area_.address() = word_of(new_composite(GEOM_AREA));
        const Owner line(make_line(chain)), rand(new_composite(GEOM_RAND));
        append_part(composite_of(rand), composite_of(line));
        append_part(composite_of(area_), composite_of(rand));
    }
    static Composite *composite_of(const Owner &owner) { return static_cast<Composite *>(geometry_of(owner.get())); }

    // Pieces have the same points where they meet, so that nothing stays open between them.
    void add_strip(const Segment &segment) {
        const GEOM_XY aside = left_of(direction_at(segment, 0)), left = aside * left_, right = aside * -right_;
        pieces_.push_back(polygon_of(
            {make_point(segment.start + left, segment.start_z), make_point(segment.start + right, segment.start_z),
             make_point(segment.end + right, segment.end_z), make_point(segment.end + left, segment.end_z)}));
    }
    void add_corner(const Span &one, const Span &next) {
        const GEOM_XY before = direction_at(one.segment, 0), after = direction_at(next.segment, 0);
        const double turn = std::atan2(cross(before, after), dot(before, after));
        for (const auto &[side, width] : {std::pair{1.0, left_}, {-1.0, right_}}) {
            // A line that turns back has its corner on either side.
            const bool is_inside = turn * side > 0, is_turned_back = std::abs(turn) > PI - 1e-9;
            if (width == 0 || (is_inside && !is_turned_back)) continue;
            const double sweep = is_inside ? -side * (2 * PI - turn * side) : turn;
            add_corner_piece(*one.to, left_of(before) * (side * width), left_of(after) * (side * width), sweep);
        }
    }
    void add_corner_piece(const Point &corner, GEOM_XY first, GEOM_XY second, double sweep) {
        if (is_same(first, second)) return;
        std::vector<GEOM_XY> places{{0, 0}, first};
        const double shortening = std::cos(sweep / 2);
        if (corner_ == GEOM_CORNER_ROUND && norm(first) * (1 - shortening) > path_.rounding) {
            append_chords(make_segment(first, turned(first, sweep / 2), second), 0, &places);
        } else {
            if (corner_ == GEOM_CORNER_MITRE && shortening * DEFAULT_LIMIT >= 1)
                places.push_back((first + second) * (0.5 / (shortening * shortening)));
            places.push_back(second);
        }
        add_piece(places, corner);
    }
    void add_end_piece(const Point &point, GEOM_XY outward, double left, double right) {
        Chain chain;
        add_end(&chain, point, outward, left, right);
        std::vector<GEOM_XY> places;
        for (const Segment &segment : chain.segments) append_chords(segment, 0, &places);
        places.push_back(chain.segments.front().start);
        for (GEOM_XY &place : places) place = place - place_of(point);
        add_piece(places, point);
    }
    // Places are relative to a point of the line.
    void add_piece(const std::vector<GEOM_XY> &places, const Point &origin) {
        std::vector<Point> corners;
        corners.reserve(places.size());
        for (GEOM_XY place : places) corners.push_back(make_point(place_of(origin) + place, origin.z));
        pieces_.push_back(polygon_of(corners));
    }

    Path path_;
    double left_, right_;
    int32_t corner_, end_;
    double tolerance_;
    Owner area_;
    bool has_gap_ = false;
    std::vector<geos::Geometry> pieces_;
};

} // namespace

int32_t GEOM2_COPY_LINE_PARALLEL(QOR_GEOMETRY line, double distance, int32_t corner, double limit, QOR_GEOMETRY *copy) {
    static constexpr char OPERATION[] = "GEOM2_COPY_LINE_PARALLEL";
    const Composite *source = usable_line(line, OPERATION);
    if (!source || !are_usable({distance, limit}, "the distance or the limit", OPERATION)) return 0;
    if (!is_corner(corner)) return refuse(OPERATION, "there is no such corner");
    const Path path(source);
    if (path.spans.empty()) return 0;
    Owner result;
    if (distance == 0) {
        *result.address() = word_of(geom::copy(source));
    } else {
        const std::vector<Chain> chains = offset(path, distance, corner, limit);
        if (chains.empty()) return 0;
        if (!is_usable(chains.front())) return refuse(OPERATION, "a coordinate of the copy is too large");
        *result.address() = word_of(make_line(chains.front()));
        geometry_of(result.get())->attribute = source->attribute;
    }
    replace(copy, result.give(), OPERATION);
    return 1;
}

int32_t GEOM2_CREATE_AREA_FROM_LINE(QOR_GEOMETRY line, double left, int32_t corner, double right, int32_t end,
                                    QOR_GEOMETRY *area) {
    static constexpr char OPERATION[] = "GEOM2_CREATE_AREA_FROM_LINE";
    const Composite *source = usable_line(line, OPERATION);
    if (!source || !are_usable({left, right}, "a width", OPERATION)) return 0;
    if (left < 0 || right < 0 || left + right == 0) return refuse(OPERATION, "a width is negative, or both are 0");
    if (!is_corner(corner)) return refuse(OPERATION, "there is no such corner");
    if (end < GEOM_END_FLAT || end > GEOM_END_SQUARE) return refuse(OPERATION, "there is no such end");
    if (Path(source).spans.empty()) return 0;
    Owner result(Area_maker(source, left, right, corner, end).make_from_sides());
    if (!result.get()) {
        Owner chords(geom::copy(source));
        stroke(geometry_of(chords.get()), 0);
        const auto *straight = static_cast<Composite *>(geometry_of(chords.get()));
        const geos::Geometry united = Area_maker(straight, left, right, corner, end).make_from_pieces();
        if (!united) return refuse(OPERATION, geos::take_error());
        *result.address() = geos::area_from_geos(united.get(), 0);
    }
    if (!result.get()) return 0;
    if (const char *fault = coordinate_fault(geometry_of(result.get()))) return refuse(OPERATION, fault);
    replace(area, result.give(), OPERATION);
    return 1;
}
