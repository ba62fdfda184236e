// Cleaning: faults that a geometry may have brought along are put right, in a copy that
// takes its place when there were any.
#include <cmath>

#include "overlay.hpp"
#include "qor/strng.h"

using namespace geom;

namespace {

constexpr int32_t ALL = GEOM_CLEAN_POINTS | GEOM_CLEAN_ARCS | GEOM_CLEAN_RINGS | GEOM_CLEAN_AREAS;
constexpr int32_t NOT_CLEANED = -1;

double resolution = 0;
int32_t chosen = ALL;

bool is_chosen(int32_t step) { return (chosen & step) != 0; }

bool is_near(GEOM_XY a, GEOM_XY b) { return is_same(a, b) || distance(a, b) <= resolution; }

// Points above each other are not one.
bool is_repeated(const Point &a, const Point &b) {
    return is_near(place_of(a), place_of(b)) && (a.z == b.z || std::abs(a.z - b.z) <= resolution);
}

bool has_only_numbers(const Geometry *geometry) {
    if (coordinate_fault(geometry)) return false;
    bool are_numbers = true;
    for_each_point(const_cast<Geometry *>(geometry),
                   [&](const Point &point) { are_numbers = are_numbers && std::isfinite(point.z); });
    return are_numbers;
}

class Cleaning {
  public:
    int32_t status() const { return status_; }

    // What is left of a geometry, null when that is nothing.
    Geometry *clean(const Geometry *geometry) {
        if (geometry->kind == GEOM_POINT) return copy(geometry);
        const auto *composite = static_cast<const Composite *>(geometry);
        Owner cleaned(geometry->kind == GEOM_LINE ? clean_line(composite) : clean_parts(composite));
        if (cleaned.get()) geometry_of(cleaned.get())->attribute = geometry->attribute;
        return cleaned.give();
    }

  private:
    Composite *clean_line(const Composite *line) {
        Owner cleaned(new_composite(GEOM_LINE));
        Composite *target = static_cast<Composite *>(geometry_of(cleaned.get()));
        append_point(target, 0, 0, 0, GEOM_NO_HEIGHT, &first_point(line));
        for (Node *node = line->first->next; node; node = node->next) {
            const Line_node *n = line_node(node);
            const GEOM_XY over{n->arc_x, n->arc_y};
            const bool keeps_arc = n->arc != 0 && !is_without_curve(last_point(target), over, *n);
            if (is_chosen(GEOM_CLEAN_POINTS) && !keeps_arc && is_repeated(last_point(target), *n)) {
                status_ |= GEOM_CLEAN_POINTS;
            } else if (n->arc != 0 && !keeps_arc && is_chosen(GEOM_CLEAN_ARCS)) {
                append_point(target, 0, 0, 0, GEOM_NO_HEIGHT, n);
                status_ |= GEOM_CLEAN_ARCS;
            } else {
                append_point(target, n->arc, n->arc_x, n->arc_y, n->arc_z, n);
            }
        }
        if (target->first == target->last) return nullptr;
        keep_end(target, last_point(line));
        return static_cast<Composite *>(cleaned.give());
    }
    static bool is_without_curve(const Point &from, GEOM_XY over, const Point &to) {
        return is_near(place_of(from), over) || is_near(place_of(to), over) ||
               !make_segment(place_of(from), over, place_of(to)).is_arc;
    }
    // The end of a line is where others go on: it stays, the point near to it goes.
    static void keep_end(Composite *line, const Point &end) {
        Line_node *last = line_node(line->last);
        last->x = end.x;
        last->y = end.y;
        last->z = end.z;
        last->attribute = end.attribute;
    }

    Composite *clean_parts(const Composite *composite) {
        Owner cleaned(new_composite(composite->kind));
        Composite *target = static_cast<Composite *>(geometry_of(cleaned.get()));
        for (Node *node = composite->first; node; node = node->next) {
            const Owner part(clean(part_of(node)));
            if (part.get()) append_part(target, static_cast<const Composite *>(geometry_of(part.get())));
        }
        if (!target->first) return nullptr;
        if (target->kind == GEOM_RAND && is_chosen(GEOM_CLEAN_RINGS)) close_ring(target);
        return static_cast<Composite *>(cleaned.give());
    }
    // A gap that counts as none goes by moving an end, a wider one by a straight segment.
    void close_ring(Composite *rand) {
        for (Node *node = rand->first; node; node = node->next) {
            Composite *line = part_of(node);
            const Point next = first_point(part_of(node->next ? node->next : rand->first));
            if (is_same(place_of(last_point(line)), place_of(next))) continue;
            status_ |= GEOM_CLEAN_RINGS;
            if (is_near(place_of(last_point(line)), place_of(next))) {
                line_node(line->last)->x = next.x;
                line_node(line->last)->y = next.y;
            } else {
                Point end = next;
                end.attribute = 0;
                append_point(line, 0, 0, 0, GEOM_NO_HEIGHT, &end);
            }
        }
    }

    int32_t status_ = 0;
};

struct Description {
    int32_t step;
    const char *text;
};

} // namespace

int32_t GEOM3_GEOM_CLEAN(QOR_GEOMETRY *geometry, int32_t *status) {
    static constexpr char OPERATION[] = "GEOM3_GEOM_CLEAN";
    const Geometry *source = geometry_of(*geometry);
    *status = 0;
    if (!source) return 1;
    if (!has_only_numbers(source)) {
        *status = NOT_CLEANED;
        return refuse(OPERATION, "a coordinate is not a usable number");
    }
    Cleaning cleaning;
    Owner cleaned(cleaning.clean(source));
    int32_t done = cleaning.status();
    if (cleaned.get() && source->kind == GEOM_AREA && is_chosen(GEOM_CLEAN_AREAS)) {
        const QOR_GEOMETRY before = cleaned.get();
        if (clean_area(cleaned.address(), OPERATION) == 0) {
            *status = NOT_CLEANED;
            return 0;
        }
        if (cleaned.get() != before) done |= GEOM_CLEAN_AREAS;
    }
    if (done != 0) replace(geometry, cleaned.give(), OPERATION);
    *status = done;
    return 1;
}

double GEOM3_GEOM_CLEAN_RESOLUTION_SET(double value) {
    const double former = resolution;
    if (value >= 0 && std::isfinite(value)) resolution = value;
    return former;
}

int32_t GEOM3_GEOM_CLEAN_SYSTEM_SET(int32_t system) {
    const int32_t former = chosen;
    chosen = system & ALL;
    return former;
}

void GEOM3_GEOM_CLEAN_STATUS_DESCR_GET(int32_t status, STRNG *description) {
    static constexpr Description DESCRIPTIONS[] = {
        {GEOM_CLEAN_POINTS, "repeated points removed"},
        {GEOM_CLEAN_ARCS, "arcs without curvature made straight"},
        {GEOM_CLEAN_RINGS, "rands closed"},
        {GEOM_CLEAN_AREAS, "areas made valid"},
    };
    std::string text;
    if (status == 0) {
        text = "clean";
    } else if (status == NOT_CLEANED) {
        text = "can not be cleaned: a coordinate is not a usable number";
    } else if ((status & ~ALL) != 0) {
        text = "unknown status";
    } else {
        for (const Description &step : DESCRIPTIONS) {
            if ((status & step.step) != 0) text += (text.empty() ? "" : ", ") + std::string(step.text);
        }
    }
    STRNG_FILL_C(text.c_str(), description);
}
