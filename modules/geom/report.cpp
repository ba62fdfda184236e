// Showing and checking a geometry. A message may run script code that changes
// the geometry, so both make all their text before they show any.
#include <cmath>
#include <string>
#include <vector>

#include "geometry.hpp"
#include "qor/msg.h"

using namespace geom;

namespace {

// --- display -----------------------------------------------------------------

std::string coordinates(double x, double y, double z) {
    std::string text = std::to_string(x) + '/' + std::to_string(y);
    if (z != GEOM_NO_HEIGHT) text += '/' + std::to_string(z);
    return text;
}

std::string attribute(const Geometry *geometry) {
    return geometry->attribute ? " GATTR " + std::to_string(geometry->attribute) : "";
}

std::string point_text(const Point *point) { return coordinates(point->x, point->y, point->z) + attribute(point); }

void append_text(const Composite *composite, const std::string &indent, std::string *text) {
    static constexpr const char *WORDS[] = {"POINT", "LINE", "RAND", "AREA"};
    const char *word = WORDS[composite->kind];
    *text += indent + word + attribute(composite) + '\n';
    for (Node *node = composite->first; node; node = node->next) {
        if (composite->kind == GEOM_LINE) {
            const Line_node *n = line_node(node);
            if (n->arc != 0) *text += indent + "   ARC " + coordinates(n->x, n->y, n->z) + '\n';
            *text += indent + "   " + point_text(&n->point) + '\n';
        } else {
            append_text(part_of(node), indent + "   ", text);
        }
    }
    *text += indent + "END_" + word + '\n';
}

// --- check -------------------------------------------------------------------

using Faults = std::vector<std::string>;

bool is_finite(double x, double y, double z) { return std::isfinite(x) && std::isfinite(y) && std::isfinite(z); }

bool same_place(const Point &a, const Point &b) { return a.x == b.x && a.y == b.y; }

void check_point(const Point *point, const std::string &where, Faults *faults) {
    if (!is_finite(point->x, point->y, point->z)) faults->push_back(where + "coordinate is not a number");
}

void check_line(const Composite *line, const std::string &where, Faults *faults) {
    bool has_length = false;
    int32_t number = 0;
    for (Node *node = line->first; node; node = node->next) {
        const Line_node *n = line_node(node);
        const std::string place = where + "point " + std::to_string(++number) + ": ";
        check_point(&n->point, place, faults);
        if (n->arc != 0 && !is_finite(n->x, n->y, n->z)) faults->push_back(place + "arc point is not a number");
        has_length =
            has_length || n->arc != 0 || !same_place(n->point, first_point(line)) || n->point.z != first_point(line).z;
    }
    if (!has_length) faults->push_back(where + "line is empty: all its points lie at one place");
}

void check_rand(const Composite *rand, const std::string &where, Faults *faults) {
    int32_t number = 0;
    const Composite *previous = nullptr;
    for (Node *node = rand->first; node; node = node->next) {
        const Composite *line = part_of(node);
        const std::string place = where + "line " + std::to_string(++number) + ": ";
        check_line(line, place, faults);
        if (previous && !same_place(last_point(previous), first_point(line)))
            faults->push_back(place + "does not start where the line before it ends");
        previous = line;
    }
    if (previous && !same_place(last_point(previous), first_point(part_of(rand->first))))
        faults->push_back(where + "ring is not closed");
}

void check_area(const Composite *area, Faults *faults) {
    int32_t number = 0;
    for (Node *node = area->first; node; node = node->next)
        check_rand(part_of(node), "rand " + std::to_string(++number) + ": ", faults);
}

} // namespace

void GEOM_DISPLAY(QOR_GEOMETRY geometry) {
    const Geometry *g = geometry_of(geometry);
    std::string text;
    if (!g) {
        text = "GEOMETRY is empty\n";
    } else if (g->kind == GEOM_POINT) {
        text = "POINT " + point_text(static_cast<const Point *>(g)) + '\n';
    } else {
        append_text(static_cast<const Composite *>(g), "", &text);
    }
    MESSAGE_DISPLAY1_C(text.c_str());
}

void GEOM_CHECK_GEOMETRY(QOR_GEOMETRY geometry) {
    const Geometry *g = geometry_of(geometry);
    if (!g) return;
    Faults faults;
    switch (g->kind) {
    case GEOM_POINT: check_point(static_cast<const Point *>(g), "point: ", &faults); break;
    case GEOM_LINE: check_line(static_cast<const Composite *>(g), "", &faults); break;
    case GEOM_RAND: check_rand(static_cast<const Composite *>(g), "", &faults); break;
    case GEOM_AREA: check_area(static_cast<const Composite *>(g), &faults); break;
    }
    for (const std::string &fault : faults) {
        const std::string text = "*** ERROR *** GEOM(GEOM_CHECK_GEOMETRY) " + fault + '\n';
        MESSAGE_DISPLAY_ERROR1_C(text.c_str());
    }
}
