// Where places lie with regard to rands and areas.
#pragma once

#include <vector>

#include "piece.hpp"

namespace geom {

// Nothing lies in what has a coordinate that is not a number.
enum class Location { OUTSIDE, BORDER, INSIDE };

// Calls visit(const Segment &) for the segments of a rand in turn. A gap between two lines, or
// before the end, is closed by a straight segment.
template <typename Visit> void for_each_border_segment(const Composite *rand, Visit visit) {
    const Composite *previous = part_of(rand->last);
    for (Node *node = rand->first; node; node = node->next) {
        const Composite *line = part_of(node);
        const GEOM_XY from = place_of(last_point(previous)), to = place_of(first_point(line));
        if (!is_same(from, to)) visit(make_segment(from, to));
        for_each_segment(line, [&](const Line_node &, const Line_node &, const Segment &segment) { visit(segment); });
        previous = line;
    }
}

// The pieces of rands, those at one height together. The heights between the lowest and the
// highest are divided into equal slabs; a piece that reaches through several is in each of
// them, so that a question looks at one row of neighbours in memory and nothing else.
class Border {
  public:
    explicit Border(const Composite *rand_or_area);
    Location locate(GEOM_XY place) const;
    const Box &box() const { return box_; }

  private:
    void build_slabs(const std::vector<Piece> &pieces);
    size_t entries_needed(const std::vector<Piece> &pieces) const;
    double slack_of(const Piece &piece) const { return piece.bow < 0 ? 0 : bows_[piece.bow].rounding; }
    uint32_t slab_of(double y) const {
        const double slab = (y - box_.ymin) * slabs_per_height_;
        return slab > 0 ? slab < last_slab_ ? static_cast<uint32_t>(slab) : last_slab_ : 0;
    }
    template <typename Visit> void for_each_slab(const Piece &piece, Visit visit) const {
        const double slack = slack_of(piece);
        const uint32_t last = slab_of(piece.high.y + slack);
        for (uint32_t slab = slab_of(piece.low.y - slack); slab <= last; ++slab) visit(slab);
    }

    Box box_;
    double slabs_per_height_ = 0;
    uint32_t last_slab_ = 0;
    std::vector<Bow> bows_;
    std::vector<uint32_t> starts_; // of each slab, and the end of the last one
    std::vector<Piece> entries_;
};

struct Area_index {
    Border border;
};

Location locate(Area *area, GEOM_XY place);

// The content of a rand, positive when it runs counter-clockwise.
double signed_content(const Composite *rand);
// Of each rand of an area, whether it lies in an odd number of the others.
std::vector<bool> find_holes(const Composite *area);

} // namespace geom
