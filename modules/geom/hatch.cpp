// Hatching: parallel lines, or the points of a lattice, over an area.
//
// Both are computed in a frame that is turned so that the lines run along its x axis.
// Line number k is the one with y = k times the spacing.
#include <algorithm>
#include <cmath>
#include <vector>

#include "inside.hpp"
#include "overlay.hpp"
#include "vector.hpp"

using namespace geom;

namespace {

constexpr double MAX_COUNT = 1000000;

// The segments of an area in the turned frame. Ends that are one place stay so.
class Turned_area {
  public:
    Turned_area(const Geometry *area, double angle) : cos_(tidy(std::cos(angle))), sin_(tidy(std::sin(angle))) {
        const auto *composite = static_cast<const Composite *>(area);
        for (Node *node = composite->first; node; node = node->next) {
            for_each_border_segment(part_of(node), [&](const Segment &segment) {
                const GEOM_XY from = to_frame(segment.start), to = to_frame(segment.end);
                segments_.push_back(segment.is_arc ? make_segment(from, to_frame(segment.over), to)
                                                   : make_segment(from, to));
            });
        }
    }
    const std::vector<Segment> &segments() const { return segments_; }
    GEOM_XY to_frame(GEOM_XY place) const { return {place.x * cos_ + place.y * sin_, place.y * cos_ - place.x * sin_}; }
    GEOM_XY from_frame(GEOM_XY place) const {
        return {place.x * cos_ - place.y * sin_, place.x * sin_ + place.y * cos_};
    }

  private:
    // No number is quite a right angle, but some mean one.
    static double tidy(double value) { return std::abs(value) < 1e-15 ? 0 : value; }

    double cos_, sin_;
    std::vector<Segment> segments_;
};

// --- lines -------------------------------------------------------------------------

struct Crossing {
    double line; // number
    double x;
};

struct Stroke {
    GEOM_XY from, to;
};

// Where a piece, which goes only up and only to one side, has a height between those of
// its ends.
double x_at(const Piece &piece, const Bow &bow, double y) {
    const double left = std::min(piece.low.x, piece.high.x), right = std::max(piece.low.x, piece.high.x);
    if (piece.bow < 0) {
        const double part = (y - piece.low.y) / (piece.high.y - piece.low.y);
        return std::clamp(piece.low.x + (piece.high.x - piece.low.x) * part, left, right);
    }
    // From the start of the arc, the two places x of a height y have the sum twice.x and
    // the product y (y - twice.y). The one with the greater size is safe to compute.
    const double rise = y - bow.start.y, middle = bow.twice.x / 2, product = rise * (rise - bow.twice.y);
    const double half = std::sqrt(std::max(0.0, middle * middle - product));
    const double far = middle < 0 ? middle - half : middle + half;
    const bool is_far_wanted = (middle < 0) != piece.is_right;
    const double x = is_far_wanted || far == 0 ? far : product / far;
    return std::clamp(bow.start.x + x, left, right);
}

// Numbers of lines are computed once for each end of a segment, so that a ring is crossed
// by each line an even number of times.
class Hatching {
  public:
    Hatching(const Geometry *area, double angle, double spacing) : area_(area, angle), spacing_(spacing) {
        for_each_crossed([&](const Piece &, const Bow &, double, double count) { crossing_count_ += count; });
    }
    double line_count() const { return crossing_count_ / 2; }
    void append_to(std::vector<Stroke> *strokes) const {
        std::vector<Crossing> crossings;
        crossings.reserve(static_cast<size_t>(crossing_count_));
        for_each_crossed([&](const Piece &piece, const Bow &bow, double first, double count) {
            for (int64_t i = 0; i < static_cast<int64_t>(count); ++i) {
                const double line = first + static_cast<double>(i);
                crossings.push_back({line, x_at(piece, bow, line * spacing_)});
            }
        });
        std::sort(crossings.begin(), crossings.end(), [](const Crossing &a, const Crossing &b) {
            return a.line < b.line || (a.line == b.line && a.x < b.x);
        });
        const auto are_on_one_line = [&](size_t i) {
            return i + 1 < crossings.size() && crossings[i].line == crossings[i + 1].line;
        };
        for (size_t i = 0; i + 1 < crossings.size();) {
            if (!are_on_one_line(i)) { // so far away that numbers of lines get rounded
                ++i;
                continue;
            }
            const double y = crossings[i].line * spacing_, from = crossings[i].x;
            double to = crossings[++i].x;
            // Parts of the area that touch each other here are hatched in one stroke.
            while (are_on_one_line(i) && are_on_one_line(i + 1) && crossings[i + 1].x == to) to = crossings[i += 2].x;
            ++i;
            if (to > from) strokes->push_back({area_.from_frame({from, y}), area_.from_frame({to, y})});
        }
    }

  private:
    template <typename Visit> void for_each_crossed(Visit visit) const {
        for (const Segment &segment : area_.segments()) {
            const Cut pieces = cut(segment, 0);
            for (int i = 0; i < pieces.count; ++i) {
                const Piece &piece = pieces.pieces[i];
                const double below = std::floor(piece.low.y / spacing_), last = std::floor(piece.high.y / spacing_);
                if (last > below) visit(piece, pieces.bow, below + 1, last - below);
            }
        }
    }

    Turned_area area_;
    double spacing_;
    double crossing_count_ = 0;
};

void deliver(const std::vector<Stroke> &strokes, GEOM_TAKE take, void *context, int32_t *count) {
    if (count) *count = static_cast<int32_t>(strokes.size());
    for (const Stroke &stroke : strokes) {
        Owner line, from(new_point(stroke.from.x, stroke.from.y, GEOM_NO_HEIGHT));
        const Owner to(new_point(stroke.to.x, stroke.to.y, GEOM_NO_HEIGHT));
        GEOM_CREATE_LINE(line.address(), from.get(), 0, 0, 0, GEOM_NO_HEIGHT, to.get());
        take(context, line.address());
    }
}

struct Direction {
    double angle, spacing;
};

int32_t hatch(QOR_GEOMETRY word, std::initializer_list<Direction> directions, GEOM_TAKE take, void *context,
              int32_t *count, const char *operation) {
    const Geometry *area = geometry_of(area_in(word, operation));
    for (const Direction &direction : directions) {
        if (!std::isfinite(direction.angle)) return refuse(operation, "the angle is not a number");
        if (!(direction.spacing > 0) || std::isinf(direction.spacing))
            return refuse(operation, "the spacing must be a number above 0");
    }
    if (!area) return 0;
    if (const char *fault = coordinate_fault(area)) return refuse(operation, fault);
    std::vector<Hatching> hatchings;
    double line_count = 0;
    for (const Direction &direction : directions) {
        hatchings.emplace_back(area, direction.angle, direction.spacing);
        line_count += hatchings.back().line_count();
    }
    if (!(line_count <= MAX_COUNT)) return refuse(operation, "there would be more than 1,000,000 lines");
    std::vector<Stroke> strokes;
    for (const Hatching &hatching : hatchings) hatching.append_to(&strokes);
    deliver(strokes, take, context, count);
    return 1;
}

// --- lattice -----------------------------------------------------------------------

struct Range {
    double first, last;
    double count() const { return std::max(0.0, last - first + 1); }
};

// The numbers of the lattice between two bounds, with a margin for rounding.
Range numbers_between(double from, double to, double spacing) {
    static constexpr double MARGIN = 1e-6;
    return {std::ceil(from / spacing - MARGIN), std::floor(to / spacing + MARGIN)};
}

// Every place of the lattice in the box around the turned area is tested, so a narrow area
// askew to the lattice may need many more tests than there are points.
constexpr double MAX_TESTS = 10 * MAX_COUNT;

class Lattice {
  public:
    Lattice(const Geometry *area, double angle, double along, double across, double shift)
        : area_(area, angle), along_(along), across_(across), shift_(shift) {
        for (const Segment &segment : area_.segments()) box_.add(segment);
    }
    void set_origin(GEOM_XY place) { origin_ = area_.to_frame(place); }
    double test_count() const {
        const double width = numbers_between(0, box_.xmax - box_.xmin, along_).count() + 1;
        return width * rows().count();
    }
    // False when there are too many.
    bool find(QOR_GEOMETRY area, std::vector<GEOM_XY> *places) const {
        const Range range = rows();
        for (int64_t i = 0; i < static_cast<int64_t>(range.count()); ++i) {
            const double row = range.first + static_cast<double>(i);
            const double start = origin_.x + (std::fmod(row, 2) != 0 ? shift_ : 0);
            const Range columns = numbers_between(box_.xmin - start, box_.xmax - start, along_);
            for (int64_t j = 0; j < static_cast<int64_t>(columns.count()); ++j) {
                const double column = columns.first + static_cast<double>(j);
                const GEOM_XY place = area_.from_frame({start + column * along_, origin_.y + row * across_});
                if (GEOM_IS_INSIDEAREA(place, area) != 0) places->push_back(place);
            }
            if (static_cast<double>(places->size()) > MAX_COUNT) return false;
        }
        return true;
    }

  private:
    Range rows() const { return numbers_between(box_.ymin - origin_.y, box_.ymax - origin_.y, across_); }

    Turned_area area_;
    double along_, across_, shift_;
    Box box_;
    GEOM_XY origin_{0, 0};
};

} // namespace

int32_t GEOM2_HATCH_AREA(QOR_GEOMETRY area, GEOM_TAKE take, void *context, double angle, double spacing,
                         int32_t *count) {
    return hatch(area, {{angle, spacing}}, take, context, count, "GEOM2_HATCH_AREA");
}

int32_t GEOM2_CROSSHATCH_AREA(QOR_GEOMETRY area, GEOM_TAKE take, void *context, double angle1, double spacing1,
                              double angle2, double spacing2, int32_t *count) {
    return hatch(area, {{angle1, spacing1}, {angle2, spacing2}}, take, context, count, "GEOM2_CROSSHATCH_AREA");
}

int32_t GEOM2_PATTERN_AREA(QOR_GEOMETRY area, GEOM_TAKE take, void *context, double spacing_along,
                           double spacing_across, double angle, double shift, int32_t at_box, int32_t *count) {
    static constexpr char OPERATION[] = "GEOM2_PATTERN_AREA";
    const Geometry *g = geometry_of(area_in(area, OPERATION));
    if (!(spacing_along > 0) || !(spacing_across > 0) || std::isinf(spacing_along) || std::isinf(spacing_across))
        return refuse(OPERATION, "the spacings must be numbers above 0");
    if (!std::isfinite(angle) || !std::isfinite(shift))
        return refuse(OPERATION, "the angle or the shift is not a number");
    if (!g) return 0;
    if (const char *fault = coordinate_fault(g)) return refuse(OPERATION, fault);
    Lattice lattice(g, angle, spacing_along, spacing_across, shift);
    double xmin, ymin, xmax, ymax;
    if (at_box && GEOM2_CALC_BOUNDING_BOX(area, &xmin, &ymin, &xmax, &ymax) != 0) lattice.set_origin({xmin, ymin});
    if (!(lattice.test_count() <= MAX_TESTS)) return refuse(OPERATION, "the lattice is too narrow for the area");
    std::vector<GEOM_XY> places;
    if (!lattice.find(area, &places)) return refuse(OPERATION, "there would be more than 1,000,000 points");
    if (count) *count = static_cast<int32_t>(places.size());
    for (const GEOM_XY place : places) {
        Owner point(new_point(place.x, place.y, GEOM_NO_HEIGHT));
        take(context, point.address());
    }
    return 1;
}
