// The entries about what lies in an area.
#include <algorithm>

#include "inside.hpp"
#include "vector.hpp"

using namespace geom;

namespace {

// Looks for a place well inside of an area: along horizontal lines half way between neighbouring
// heights of its border's pieces, in the middle of the widest stretch that lies inside. Of some
// such places, that which is furthest from the border wins.
class Search {
  public:
    explicit Search(Area *area) : area_(area) {
        const Composite *largest = part_of(area->first);
        double most = 0;
        for (Node *node = area->first; node; node = node->next) {
            const Composite *rand = part_of(node);
            for_each_border_segment(rand, [&](const Segment &segment) { segments_.push_back(segment); });
            const double content = std::abs(signed_content(rand));
            if (content > most) largest = rand;
            most = std::max(most, content);
        }
        for (const Segment &segment : segments_) {
            const Cut found = cut(segment, 0);
            for (int i = 0; i < found.count; ++i) {
                const Piece &piece = found.pieces[i];
                heights_.push_back(piece.low.y);
                heights_.push_back(piece.high.y);
                if (piece.low.y < piece.high.y) spans_.push_back({piece, segment.circle});
            }
        }
        std::sort(heights_.begin(), heights_.end());
        heights_.erase(std::unique(heights_.begin(), heights_.end()), heights_.end());
        for_each_border_segment(largest, [&](const Segment &segment) { range_.add(segment); });
    }

    bool run(GEOM_XY *place) {
        if (heights_.size() < 2) return false;
        constexpr int TRIES = 15;
        for (int i = 1; i <= TRIES; ++i) {
            // From the middle outwards.
            const int steps = i % 2 ? -(i / 2) : i / 2;
            const double part = 0.5 + steps / (TRIES + 1.0);
            try_height(range_.ymin + (range_.ymax - range_.ymin) * part);
        }
        if (clearance_ > 0) *place = best_;
        return clearance_ > 0;
    }

  private:
    struct Span {
        Piece piece;
        GEOM_CIRCLE circle;

        double x_at(double y) const {
            const double left = std::min(piece.low.x, piece.high.x), right = std::max(piece.low.x, piece.high.x);
            const double up = y - piece.low.y;
            double x = piece.low.x + (piece.high.x - piece.low.x) * (up / (piece.high.y - piece.low.y));
            if (piece.bow >= 0) {
                const double half =
                    std::sqrt(std::max(0.0, circle.radius * circle.radius - (y - circle.y) * (y - circle.y)));
                x = circle.x + (piece.is_right ? half : -half);
            }
            return x > left ? std::min(x, right) : left;
        }
    };

    void try_height(double wanted) {
        const auto above = std::upper_bound(heights_.begin() + 1, heights_.end() - 1, wanted);
        const double y = above[-1] + (above[0] - above[-1]) / 2;
        std::vector<double> crossings;
        for (const Span &span : spans_)
            if (span.piece.low.y <= y && y < span.piece.high.y) crossings.push_back(span.x_at(y));
        std::sort(crossings.begin(), crossings.end());
        GEOM_XY place{0, y};
        double widest = 0;
        for (size_t i = 0; i + 1 < crossings.size(); i += 2) {
            const double width = crossings[i + 1] - crossings[i];
            if (!(width > widest)) continue;
            widest = width;
            place.x = crossings[i] + width / 2;
        }
        if (widest > 0 && locate(area_, place) == Location::INSIDE) consider(place);
    }

    void consider(GEOM_XY place) {
        double clearance = std::numeric_limits<double>::infinity();
        for (const Segment &segment : segments_) {
            clearance = std::min(clearance, nearest(segment, place).distance);
            if (clearance <= clearance_) return;
        }
        clearance_ = clearance;
        best_ = place;
    }

    Area *area_;
    std::vector<Segment> segments_;
    std::vector<Span> spans_;
    std::vector<double> heights_;
    Box range_;
    double clearance_ = 0;
    GEOM_XY best_{0, 0};
};

Area *area_in(QOR_GEOMETRY word, const char *operation) {
    return word ? static_cast<Area *>(composite_in(word, GEOM_AREA, operation)) : nullptr;
}

// A rand, or the first one of an area; null for the empty geometry and after misuse.
const Composite *first_rand(QOR_GEOMETRY word, const char *operation) {
    const Geometry *geometry = geometry_of(word);
    if (geometry && geometry->kind == GEOM_RAND) return static_cast<const Composite *>(geometry);
    const Area *area = area_in(word, operation);
    return area ? part_of(area->first) : nullptr;
}

double content(const Composite *area) {
    const std::vector<bool> holes = find_holes(area);
    double sum = 0;
    size_t number = 0;
    for (Node *node = area->first; node; node = node->next)
        sum += std::abs(signed_content(part_of(node))) * (holes[number++] ? -1 : 1);
    return std::max(sum, 0.0);
}

} // namespace

int32_t GEOM_IS_INSIDEAREA(GEOM_XY position, QOR_GEOMETRY area) {
    Area *a = area_in(area, "GEOM_IS_INSIDEAREA");
    return a && locate(a, position) != Location::OUTSIDE ? 1 : 0;
}

int32_t GEOM_GET_INSIDEAREA(QOR_GEOMETRY area, double *x, double *y) {
    Area *a = area_in(area, "GEOM_GET_INSIDEAREA");
    GEOM_XY place;
    if (!a || !Search(a).run(&place)) return 0;
    *x = place.x;
    *y = place.y;
    return 1;
}

double GEOM_GET_AREA(QOR_GEOMETRY geometry) {
    const Geometry *g = geometry_of(geometry);
    if (!g || g->kind < GEOM_RAND) return 0;
    const Composite *surface = static_cast<const Composite *>(g);
    return g->kind == GEOM_RAND ? std::abs(signed_content(surface)) : content(surface);
}

int32_t GEOM2_AREA_CLOCKWISE(QOR_GEOMETRY geometry) {
    const Composite *rand = first_rand(geometry, "GEOM2_AREA_CLOCKWISE");
    return rand && signed_content(rand) < 0 ? 1 : 0;
}

int32_t GEOM2_HAS_HOLES(QOR_GEOMETRY area) {
    const Area *a = area_in(area, "GEOM2_HAS_HOLES");
    if (!a) return 0;
    const std::vector<bool> holes = find_holes(a);
    return std::find(holes.begin(), holes.end(), true) != holes.end() ? 1 : 0;
}

int32_t GEOM2_SURFACE_START_END_POINT(QOR_GEOMETRY surface, double *x1, double *y1, double *z1, double *x2, double *y2,
                                      double *z2) {
    const Composite *rand = first_rand(surface, "GEOM2_SURFACE_START_END_POINT");
    if (!rand) return 0;
    const Point &first = first_point(part_of(rand->first)), &last = last_point(part_of(rand->last));
    *x1 = first.x;
    *y1 = first.y;
    *z1 = first.z;
    *x2 = last.x;
    *y2 = last.y;
    *z2 = last.z;
    return 1;
}
