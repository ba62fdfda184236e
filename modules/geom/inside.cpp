#include "inside.hpp"

#include <memory>
#include <numeric>

#include "vector.hpp"

namespace geom {

namespace {

template <typename Visit> void for_each_rand(const Composite *rand_or_area, Visit visit) {
    if (rand_or_area->kind == GEOM_RAND) return visit(rand_or_area);
    for (Node *node = rand_or_area->first; node; node = node->next) visit(part_of(node));
}

// The answer of pieces that are asked one after the other.
class Question {
  public:
    explicit Question(GEOM_XY place) : place_(place) {}
    void ask(const Piece &piece, const Bow *bows) {
        switch (piece.meet(place_, bows)) {
        case Meeting::NONE: break;
        case Meeting::CROSSED: is_inside_ = !is_inside_; break;
        case Meeting::ON: is_on_ = true; break;
        }
    }
    bool is_on() const { return is_on_; }
    Location answer() const { return is_on_ ? Location::BORDER : is_inside_ ? Location::INSIDE : Location::OUTSIDE; }

  private:
    GEOM_XY place_;
    bool is_inside_ = false;
    bool is_on_ = false;
};

Location locate_without_index(const Area *area, GEOM_XY place) {
    Question question(place);
    bool is_finite = true;
    for_each_rand(area, [&](const Composite *rand) {
        for_each_border_segment(rand, [&](const Segment &segment) {
            const Cut pieces = cut(segment, 0);
            is_finite = is_finite && pieces.count > 0;
            for (int i = 0; i < pieces.count; ++i) question.ask(pieces.pieces[i], &pieces.bow);
        });
    });
    return is_finite ? question.answer() : Location::OUTSIDE;
}

} // namespace

Border::Border(const Composite *rand_or_area) {
    std::vector<Piece> pieces;
    bool is_finite = true;
    for_each_rand(rand_or_area, [&](const Composite *rand) {
        for_each_border_segment(rand, [&](const Segment &segment) {
            const Cut found = cut(segment, static_cast<int32_t>(bows_.size()));
            if (segment.is_arc) bows_.push_back(found.bow);
            is_finite = is_finite && found.count > 0;
            pieces.insert(pieces.end(), found.pieces, found.pieces + found.count);
        });
    });
    if (!is_finite) pieces.clear();
    for (const Piece &piece : pieces) {
        const double slack = slack_of(piece);
        for (GEOM_XY end : {piece.low, piece.high}) {
            box_.add(GEOM_XY{end.x - slack, end.y - slack});
            box_.add(GEOM_XY{end.x + slack, end.y + slack});
        }
    }
    build_slabs(pieces);
}

size_t Border::entries_needed(const std::vector<Piece> &pieces) const {
    return std::accumulate(pieces.begin(), pieces.end(), size_t{0}, [&](size_t sum, const Piece &piece) {
        const double slack = slack_of(piece);
        return sum + slab_of(piece.high.y + slack) - slab_of(piece.low.y - slack) + 1;
    });
}

// As many slabs as there are pieces, or fewer, so that long pieces do not fill the memory.
void Border::build_slabs(const std::vector<Piece> &pieces) {
    constexpr size_t MAX_SLABS = 1 << 22, MAX_ENTRIES_PER_PIECE = 4;
    size_t slabs = std::clamp<size_t>(pieces.size(), 1, MAX_SLABS);
    for (;; slabs = (slabs + 1) / 2) {
        last_slab_ = static_cast<uint32_t>(slabs - 1);
        slabs_per_height_ = static_cast<double>(slabs) / (box_.ymax - box_.ymin);
        if (!std::isfinite(slabs_per_height_)) slabs_per_height_ = 0;
        if (slabs == 1 || entries_needed(pieces) <= MAX_ENTRIES_PER_PIECE * pieces.size()) break;
    }
    starts_.assign(slabs + 1, 0);
    for (const Piece &piece : pieces) for_each_slab(piece, [&](uint32_t slab) { ++starts_[slab]; });
    // The sums are the ends of the slabs; filling from there backwards makes starts of them.
    std::partial_sum(starts_.begin(), starts_.end(), starts_.begin());
    entries_.resize(starts_.back());
    for (const Piece &piece : pieces) for_each_slab(piece, [&](uint32_t slab) { entries_[--starts_[slab]] = piece; });
}

Location Border::locate(GEOM_XY place) const {
    if (!box_.contains(place)) return Location::OUTSIDE;
    Question question(place);
    const uint32_t slab = slab_of(place.y), end = starts_[slab + 1];
    for (uint32_t i = starts_[slab]; i < end && !question.is_on(); ++i) question.ask(entries_[i], bows_.data());
    return question.answer();
}

void release_index(Area_index *index) { delete index; }

// The index is worth its making at the second question.
Location locate(Area *area, GEOM_XY place) {
    if (!area->index) {
        if (area->questions++ == 0) return locate_without_index(area, place);
        area->index = new Area_index{Border(area)};
    }
    return area->index->border.locate(place);
}

// Relative to a point of the rand: coordinates may be large and the rand small.
double signed_content(const Composite *rand) {
    const GEOM_XY origin = place_of(first_point(part_of(rand->first)));
    double content = 0;
    for_each_border_segment(rand, [&](const Segment &segment) {
        content += cross(segment.start - origin, segment.end - origin) / 2 + bow_area(segment);
    });
    return content;
}

namespace {

// A rand of an area that others may lie in.
struct Ring {
    const Composite *rand;
    size_t number;
    Box box;
    std::unique_ptr<Border> border; // made when it is needed
    bool is_hole = false;
};

bool holds(const Box &outer, const Box &inner) {
    return outer.contains({inner.xmin, inner.ymin}) && outer.contains({inner.xmax, inner.ymax});
}

// Rands do not cross, so one place decides, unless the border goes through it. Of two rands that
// are the same the later one lies in the other.
bool lies_in(const Ring &inner, Ring *outer) {
    if (!outer->border) outer->border = std::make_unique<Border>(outer->rand);
    Location location = Location::BORDER;
    for_each_border_segment(inner.rand, [&](const Segment &segment) {
        if (location == Location::BORDER) location = outer->border->locate(segment.start);
        if (location == Location::BORDER) location = outer->border->locate(point_at(segment, length(segment) / 2));
    });
    return location == Location::INSIDE || (location == Location::BORDER && inner.number > outer->number);
}

void note_if_inside(Ring *inner, Ring *outer) {
    if (holds(outer->box, inner->box) && lies_in(*inner, outer)) inner->is_hole = !inner->is_hole;
}

} // namespace

// From left to right, each rand is compared with those that are not yet passed.
std::vector<bool> find_holes(const Composite *area) {
    std::vector<Ring> rings;
    for_each_rand(area, [&](const Composite *rand) {
        Ring &ring = rings.emplace_back();
        ring.rand = rand;
        ring.number = rings.size() - 1;
        for_each_border_segment(rand, [&](const Segment &segment) { ring.box.add(segment); });
    });
    std::vector<bool> holes(rings.size());
    std::sort(rings.begin(), rings.end(), [](const Ring &a, const Ring &b) { return a.box.xmin < b.box.xmin; });
    std::vector<Ring *> active;
    for (Ring &ring : rings) {
        std::erase_if(active, [&](const Ring *other) { return other->box.xmax < ring.box.xmin; });
        for (Ring *other : active) {
            note_if_inside(&ring, other);
            note_if_inside(other, &ring);
        }
        active.push_back(&ring);
    }
    for (const Ring &ring : rings) holes[ring.number] = ring.is_hole;
    return holes;
}

} // namespace geom
