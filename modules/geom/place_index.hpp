// Finds places again.
#pragma once

#include <cmath>
#include <unordered_map>
#include <vector>

#include "segment.hpp"

namespace geom {

// Numbers places; those within a tolerance of a numbered one get its number. The plane is
// divided into cells twice as wide as the tolerance, so that one to four of them have to be
// looked at, and numbered places are so far apart that only a few lie in one cell.
class Place_index {
  public:
    static constexpr size_t NONE = SIZE_MAX;

    // A tolerance that makes no difference to any coordinate stands for 0.
    explicit Place_index(double tolerance) : tolerance_(tolerance > 1e-150 ? tolerance : 0) {}

    // The number of the nearest place within the tolerance.
    size_t find(GEOM_XY place) const {
        size_t number = NONE;
        double nearest = tolerance_;
        const GEOM_XY low = cell_of({place.x - tolerance_, place.y - tolerance_});
        const GEOM_XY high = cell_of({place.x + tolerance_, place.y + tolerance_});
        const auto look_at = [&](GEOM_XY cell) {
            for (auto [i, end] = cells_.equal_range(cell); i != end; ++i) {
                const double apart = distance(places_[i->second], place);
                if (!(apart <= nearest)) continue;
                nearest = apart;
                number = i->second;
            }
        };
        look_at(low);
        if (low.x != high.x) look_at({high.x, low.y});
        if (low.y != high.y) look_at({low.x, high.y});
        if (low.x != high.x && low.y != high.y) look_at(high);
        return number;
    }
    size_t add(GEOM_XY place) {
        const size_t found = find(place);
        if (found != NONE) return found;
        cells_.emplace(cell_of(place), places_.size());
        places_.push_back(place);
        return places_.size() - 1;
    }
    size_t count() const { return places_.size(); }

  private:
    struct Hash {
        size_t operator()(GEOM_XY cell) const {
            const std::hash<double> hash;
            return hash(cell.x) * 0x9E3779B97F4A7C15u + hash(cell.y);
        }
    };
    struct Same {
        bool operator()(GEOM_XY a, GEOM_XY b) const { return is_same(a, b); }
    };
    double cell_of(double value) const {
        const double cell = std::floor(value / (2 * tolerance_));
        return std::isfinite(cell) ? cell : value;
    }
    GEOM_XY cell_of(GEOM_XY place) const { return {cell_of(place.x), cell_of(place.y)}; }

    double tolerance_;
    std::unordered_multimap<GEOM_XY, size_t, Hash, Same> cells_;
    std::vector<GEOM_XY> places_;
};

} // namespace geom
