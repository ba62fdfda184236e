// Pieces of segments that go only up or only down, and only to the right or only to
// the left. Whether a place lies on a border or inside of it is answered from them.
//
// A piece's ends are ends of its segment, as they are stored, or the extreme places
// of an arc, each of which two pieces share. So a ring of segments is a ring of pieces,
// and a horizontal ray meets it as a matter of comparing stored numbers: rounding can
// not make the number of crossings wrong.
#pragma once

#include <algorithm>
#include <limits>

#include "segment.hpp"

namespace geom {

// An arc is passed in turns: angles from its start, not signed, in its own sense.
GEOM_XY place_after(const Segment &arc, double turn);
// The turn, from 0 to below 2 pi, to the place of the circle that is nearest to a point. One
// that misses an end of the arc because coordinates are rounded is that of the end.
double turn_towards(const Segment &arc, GEOM_XY point);

// How far computed places may be off because coordinates of this size are rounded.
constexpr double ROUNDING = 16 * std::numeric_limits<double>::epsilon();
double rounding_of(const Box &box);

// The circle of an arc: what the pieces need of it to tell which side a place is on.
struct Bow {
    GEOM_XY start;   // a place on the circle
    GEOM_XY twice;   // from there to the opposite place
    double rounding; // of coordinates
    double slack;    // of the value of bulge() for a place on the circle
    // Negative inside of the circle, positive outside. Made from differences to a place on
    // it, this has no need of the centre, which is far away for a flat arc.
    double bulge(GEOM_XY place) const {
        const double x = place.x - start.x, y = place.y - start.y;
        return x * (x - twice.x) + y * (y - twice.y);
    }
};

enum class Meeting { NONE, CROSSED, ON };

struct Piece {
    GEOM_XY low, high;
    int32_t bow;   // its number, or -1 for a straight piece
    bool is_right; // lies on the right half of its circle

    // Whether a place lies on the piece, or else whether the ray from the place to the right
    // crosses it. The lower end belongs to a crossing, the upper one does not.
    Meeting meet(GEOM_XY place, const Bow *bows) const {
        const bool is_beside = low.y <= place.y && place.y < high.y;
        const double left = std::min(low.x, high.x), right = std::max(low.x, high.x);
        if (bow >= 0) return meet_bow(place, bows[bow], left, right, is_beside);
        if (place.y < low.y || place.y > high.y || !(place.x <= right)) return Meeting::NONE;
        if (place.x >= left) {
            // Two products that are compared, not subtracted: they are equal at either end.
            const double ahead = (high.x - low.x) * (place.y - low.y), across = (high.y - low.y) * (place.x - low.x);
            if (ahead == across) return Meeting::ON;
            if (ahead < across) return Meeting::NONE;
        }
        return is_beside ? Meeting::CROSSED : Meeting::NONE;
    }

  private:
    Meeting meet_bow(GEOM_XY place, const Bow &of, double left, double right, bool is_beside) const;
};

// Cuts a segment; a straight one is one piece, and one with a coordinate that is not a number
// is none: it meets nothing. bow is the number that the pieces get.
struct Cut {
    Piece pieces[5];
    int count;
    Bow bow;
};
Cut cut(const Segment &segment, int32_t bow);

} // namespace geom
