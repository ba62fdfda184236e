// Showing and checking a geometry. A message may run script code that changes
// the geometry, so both make all their text before they show any.
#include <cmath>
#include <string>
#include <vector>

#include "qor/msg.h"
#include "qor/strng.h"
#include "segment.hpp"

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
            if (n->arc != 0) *text += indent + "   ARC " + coordinates(n->arc_x, n->arc_y, n->arc_z) + '\n';
            *text += indent + "   " + point_text(n) + '\n';
        } else {
            append_text(part_of(node), indent + "   ", text);
        }
    }
    *text += indent + "END_" + word + '\n';
}

// --- check -------------------------------------------------------------------

using Faults = std::vector<std::string>;

bool is_finite(double x, double y, double z) { return std::isfinite(x) && std::isfinite(y) && std::isfinite(z); }

bool same_place(const Point &a, const Point &b) { return is_same(place_of(a), place_of(b)); }

void check_point(const Point *point, const std::string &where, Faults *faults) {
    if (!is_finite(point->x, point->y, point->z)) faults->push_back(where + "coordinate is not a number");
}

void check_arc(const Point &from, const Line_node &to, const std::string &place, Faults *faults) {
    const GEOM_XY over{to.arc_x, to.arc_y};
    if (!is_finite(over.x, over.y, to.arc_z)) {
        faults->push_back(place + "arc point is not a number");
    } else if (is_same(place_of(from), over) && same_place(from, to)) {
        faults->push_back(place + "arc is empty: its three points lie at one place");
    } else if (!make_segment(place_of(from), over, place_of(to)).is_arc) {
        faults->push_back(place + "arc has no curvature: its three points lie on one straight line");
    }
}

void check_line(const Composite *line, const std::string &where, Faults *faults) {
    const Point &first = first_point(line);
    bool has_length = false;
    int32_t number = 0;
    const Point *previous = nullptr;
    for (Node *node = line->first; node; node = node->next) {
        const Line_node *n = line_node(node);
        const std::string place = where + "point " + std::to_string(++number) + ": ";
        check_point(n, place, faults);
        if (previous && n->arc != 0) check_arc(*previous, *n, place, faults);
        has_length = has_length || !same_place(*n, first) || n->z != first.z ||
                     (n->arc != 0 && !is_same({n->arc_x, n->arc_y}, place_of(first)));
        previous = n;
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

// What can be told only of rands that are sound as such.
void check_validity(QOR_GEOMETRY area, Faults *faults) {
    STRNG reason;
    STRNG_CREATE(&reason);
    double x, y;
    if (GEOM2_CHECK_AREA(area, &reason, &x, &y) == 0)
        faults->push_back(std::string(reinterpret_cast<char *>(reason.data), reason.length) + " at " +
                          coordinates(x, y, GEOM_NO_HEIGHT));
    STRNG_REMOVE(&reason);
}

void check_validity(const Geometry *geometry, Faults *faults) {
    if (geometry->kind == GEOM_AREA) return check_validity(word_of(const_cast<Geometry *>(geometry)), faults);
    const Owner area(new_composite(GEOM_AREA));
    append_part(static_cast<Composite *>(geometry_of(area.get())), static_cast<const Composite *>(geometry));
    check_validity(area.get(), faults);
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
    if (faults.empty() && (g->kind == GEOM_RAND || g->kind == GEOM_AREA)) check_validity(g, &faults);
    for (const std::string &fault : faults) {
        const std::string text = "*** ERROR *** GEOM(GEOM_CHECK_GEOMETRY) " + fault + '\n';
        MESSAGE_DISPLAY_ERROR1_C(text.c_str());
    }
}
