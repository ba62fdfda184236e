// The entries that change the coordinates of a geometry in place.
#include <cmath>

#include "piece.hpp"

using namespace geom;

namespace {

// Calls change(double &x, double &y, double &z) for all points and arc points of a line. An arc
// whose ends fall together by that would become a full circle, which it has not been.
template <typename Change> void change_line(Composite *line, Change change) {
    GEOM_XY before{0, 0}, now{0, 0};
    for (Node *node = line->first; node; node = node->next) {
        Line_node &n = *line_node(node);
        const GEOM_XY old = place_of(n);
        change(n.x, n.y, n.z);
        if (n.arc != 0) change(n.arc_x, n.arc_y, n.arc_z);
        if (is_same(now, place_of(n)) && !is_same(before, old)) n.arc = 0;
        before = old;
        now = place_of(n);
    }
}

template <typename Change> void change_all(Geometry *geometry, Change change) {
    if (geometry->kind == GEOM_POINT) {
        Point *point = static_cast<Point *>(geometry);
        return change(point->x, point->y, point->z);
    }
    Composite *composite = static_cast<Composite *>(geometry);
    if (composite->kind == GEOM_LINE) return change_line(composite, change);
    for (Node *node = composite->first; node; node = node->next) change_all(part_of(node), change);
}

template <typename Change> void change_places(QOR_GEOMETRY word, Change change) {
    Geometry *geometry = geometry_of(word);
    if (!geometry) return;
    note_change(geometry);
    change_all(geometry, change);
}

// The nearest multiple of a width; a value whose number of widths is not finite stays. The
// multiples of a decimal fraction are divided, so that they are the numbers which they are
// written as.
class Grid {
  public:
    explicit Grid(double width) : width_(width), parts_(std::nearbyint(1 / width)) {
        if (!(1 / parts_ == width)) parts_ = 0;
    }
    double round(double value) const {
        if (!(width_ > 0)) return value;
        const double rounded =
            parts_ > 0 ? std::nearbyint(value * parts_) / parts_ : std::nearbyint(value / width_) * width_;
        return std::isfinite(rounded) ? rounded + 0.0 : value; // which makes 0 of -0
    }

  private:
    double width_;
    double parts_; // of the unit, if the width is such a part
};

// Whether circles stay round: the axes come out at right angles and equally long.
bool keeps_circles(double a, double b, double d, double e) {
    const double rounding = ROUNDING * (std::abs(a) + std::abs(b) + std::abs(d) + std::abs(e));
    return std::abs(a - e) + std::abs(b + d) <= rounding || std::abs(a + e) + std::abs(b - d) <= rounding;
}

} // namespace

void GEOM_MOVE(QOR_GEOMETRY geometry, double dx, double dy, double dz) {
    change_places(geometry, [=](double &x, double &y, double &z) {
        x += dx;
        y += dy;
        if (z != GEOM_NO_HEIGHT) z += dz;
    });
}

void GEOM_SCALE(QOR_GEOMETRY geometry, double factor, double x0, double y0, double z0) {
    change_places(geometry, [=](double &x, double &y, double &z) {
        x = x0 + (x - x0) * factor;
        y = y0 + (y - y0) * factor;
        if (z != GEOM_NO_HEIGHT) z = z0 + (z - z0) * factor;
    });
}

void GEOM_TRANSFORM_2D(QOR_GEOMETRY geometry, double a, double b, double c, double d, double e, double f) {
    Geometry *g = geometry_of(geometry);
    // No length grows by more than the root of the sum of the squares.
    if (g && !keeps_circles(a, b, d, e)) stroke(g, stroke_tolerance() / std::hypot(std::hypot(a, b), std::hypot(d, e)));
    change_places(geometry, [=](double &x, double &y, double &) {
        const double old = x;
        x = a * old + b * y + c;
        y = d * old + e * y + f;
    });
}

void GEOM_ROUND(QOR_GEOMETRY geometry, double width, double height_width) {
    const Grid grid(width), height_grid(height_width);
    change_places(geometry, [&](double &x, double &y, double &z) {
        x = grid.round(x);
        y = grid.round(y);
        if (z != GEOM_NO_HEIGHT) z = height_grid.round(z);
    });
}

void GEOM_SETZ(QOR_GEOMETRY geometry, double height) {
    change_places(geometry, [=](double &, double &, double &z) { z = height; });
}

void GEOM_SETZ2(QOR_GEOMETRY line, double z1, double z2) {
    if (!line) return;
    Composite *l = composite_in(line, GEOM_LINE, "GEOM_SETZ2");
    if (!l) return;
    if (z1 == GEOM_NO_HEIGHT || z2 == GEOM_NO_HEIGHT) return GEOM_SETZ(line, GEOM_NO_HEIGHT);
    const double whole = GEOM_GET_LENGTH(line, 0);
    const auto height = [&](double position) { return position > 0 ? z1 + (z2 - z1) * (position / whole) : z1; };
    double passed = 0;
    for (Node *node = l->first; node->next; node = node->next) {
        Line_node *from = line_node(node), *to = line_node(node->next);
        const Segment segment = make_segment(*from, to->arc, {to->arc_x, to->arc_y}, *to);
        from->z = height(passed);
        to->arc_z = height(passed + nearest(segment, {to->arc_x, to->arc_y}).position);
        passed += length(segment);
    }
    line_node(l->last)->z = z2;
}

void GEOM_REVERSE_LINE(QOR_GEOMETRY line) {
    if (!line) return;
    Composite *l = composite_in(line, GEOM_LINE, "GEOM_REVERSE_LINE");
    if (!l) return;
    note_change(l);
    Node *behind = nullptr;
    l->last = l->first;
    for (Node *node = l->first; node;) {
        Line_node *n = line_node(node);
        Node *next = n->next;
        // The arc before the next point is now the one before this one.
        const Line_node *giver = line_node(next);
        n->arc = giver ? giver->arc : 0;
        n->arc_x = giver ? giver->arc_x : 0;
        n->arc_y = giver ? giver->arc_y : 0;
        n->arc_z = giver ? giver->arc_z : GEOM_NO_HEIGHT;
        n->next = behind;
        behind = n;
        node = next;
    }
    l->first = behind;
}
