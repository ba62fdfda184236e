// Finds what is near among many things that have boxes.
#pragma once

#include <algorithm>
#include <vector>

#include "segment.hpp"

namespace geom {

// A binary tree of boxes over runs of neighbours in a sequence. That needs no sorting and
// is as good, since the segments of a line that follow each other are near to each other.
class Box_tree {
  public:
    explicit Box_tree(const std::vector<Box> &leaves) {
        if (leaves.empty()) return;
        while (first_leaf_ < leaves.size()) first_leaf_ *= 2;
        boxes_.resize(2 * first_leaf_);
        std::copy(leaves.begin(), leaves.end(), boxes_.begin() + static_cast<ptrdiff_t>(first_leaf_));
        for (size_t i = first_leaf_ - 1; i > 0; --i) {
            boxes_[i] = boxes_[2 * i];
            add(&boxes_[i], boxes_[2 * i + 1]);
        }
    }

    // Calls visit(index) for the things of which the boxes are within a limit, nearer ones
    // first as far as possible. The visitor may lower the limit.
    template <typename Distance, typename Visit>
    void visit_near(Distance distance_to, const double &limit, Visit visit) const {
        if (boxes_.empty()) return;
        struct Entry {
            size_t number;
            double distance;
        } pending[2 * 64];
        int count = 0;
        const auto add_entry = [&](size_t number, double distance) {
            if (distance <= limit) pending[count++] = {number, distance};
        };
        add_entry(1, distance_to(boxes_[1]));
        while (count > 0) {
            const Entry entry = pending[--count];
            if (!(entry.distance <= limit)) continue;
            if (entry.number >= first_leaf_) {
                visit(entry.number - first_leaf_);
                continue;
            }
            const size_t one = 2 * entry.number, other = one + 1;
            const double to_one = distance_to(boxes_[one]);
            if (boxes_[other].is_empty()) {
                add_entry(one, to_one);
                continue;
            }
            const double to_other = distance_to(boxes_[other]);
            const bool is_one_nearer = to_one < to_other;
            add_entry(is_one_nearer ? other : one, is_one_nearer ? to_other : to_one);
            add_entry(is_one_nearer ? one : other, is_one_nearer ? to_one : to_other);
        }
    }

  private:
    static void add(Box *box, const Box &other) {
        if (other.is_empty()) return;
        box->add(GEOM_XY{other.xmin, other.ymin});
        box->add(GEOM_XY{other.xmax, other.ymax});
    }

    size_t first_leaf_ = 1; // box i is made of the boxes 2 i and 2 i + 1; the root is 1
    std::vector<Box> boxes_;
};

} // namespace geom
