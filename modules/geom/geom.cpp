// The module's entries: start and stop, construction and reading.
#include "geometry.hpp"
#include "geos.hpp"
#include "qor/msg.h"

using namespace geom;

namespace {

// Moves the cursor of a word over the next part; null at the end.
Node *next_part(QOR_GEOMETRY *word, int32_t kind, const char *operation) {
    const Geometry *geometry = geometry_of(*word);
    if (!geometry) return nullptr;
    if (geometry->kind != kind) {
        abort_kind(geometry, kind, operation);
        return nullptr;
    }
    Node *node = has_cursor(*word) ? cursor_node(*word)->next : static_cast<const Composite *>(geometry)->first;
    if (node) *word = word_behind(node);
    return node;
}

void read_part(QOR_GEOMETRY *word, int32_t kind, QOR_GEOMETRY *part, int32_t *found, const char *operation) {
    Node *node = next_part(word, kind, operation);
    *found = node ? 1 : 0;
    if (node) *part = word_of(part_of(node));
}

void create_composite(QOR_GEOMETRY *variable, int16_t kind, QOR_GEOMETRY part, const char *operation) {
    const Composite *source = composite_in(part, kind - 1, operation);
    if (!source) return;
    Composite *composite = new_composite(kind);
    append_part(composite, source);
    replace(variable, composite, operation);
}

void append_to_composite(QOR_GEOMETRY variable, int32_t kind, QOR_GEOMETRY part, const char *operation) {
    Composite *composite = composite_in(variable, kind, operation);
    if (!composite) return;
    if (const Composite *source = composite_in(part, kind - 1, operation)) {
        note_change(composite);
        append_part(composite, source);
    }
}

} // namespace

// The kernel is linked to this library, so its name is not needed to find it. A kernel that is
// started again finds the tolerances that it found at first.
void GEOM_INIT(const char *) {
    GEOM2_RESOLUTION_SET(0);
    GEOM3_GEOM_CLEAN_RESOLUTION_SET(0);
    GEOM3_GEOM_CLEAN_SYSTEM_SET(GEOM_CLEAN_POINTS | GEOM_CLEAN_ARCS | GEOM_CLEAN_RINGS | GEOM_CLEAN_AREAS);
}

void GEOM_TERMINATE(void) {
    geos::finish();
    release_spare_blocks();
}

void GEOM_INITIALIZE(QOR_GEOMETRY *geometry) { *geometry = 0; }

void GEOM_REMOVE(QOR_GEOMETRY *geometry) {
    Geometry *old = geometry_of(*geometry);
    *geometry = 0;
    release(old, "GEOM_REMOVE");
}

void GEOM_COPY(QOR_GEOMETRY source, QOR_GEOMETRY *destination) {
    const Geometry *geometry = geometry_of(source);
    *destination = geometry ? word_of(copy(geometry)) : 0;
}

int32_t GEOM_ISEMPTY(QOR_GEOMETRY geometry) { return geometry ? 0 : 1; }

void GEOM_READ_TYPE(QOR_GEOMETRY geometry, int32_t *kind) {
    const Geometry *g = geometry_of(geometry);
    *kind = g ? g->kind : -1;
}

void GEOM_READ_POINT(QOR_GEOMETRY point, double *x, double *y, double *z) {
    *x = *y = 0;
    *z = GEOM_NO_HEIGHT;
    const Point *p = point_in(point, "GEOM_READ_POINT");
    if (!p) return;
    *x = p->x;
    *y = p->y;
    *z = p->z;
}

int32_t GEOM_GET_GATTR(QOR_GEOMETRY geometry) {
    const Geometry *g = geometry_of(geometry);
    return g ? g->attribute : 0;
}

void GEOM_SET_GATTR(QOR_GEOMETRY geometry, int32_t attribute) {
    if (Geometry *g = geometry_of(geometry)) {
        g->attribute = attribute;
    } else {
        MESSAGE_ABORT1_C("*** ABORT *** GEOM(GEOM_SET_GATTR) an empty geometry has no attribute\n");
    }
}

void GEOM_RESET_READ(QOR_GEOMETRY *word) { *word = word_of(geometry_of(*word)); }

void GEOM_READ_AREA_RAND(QOR_GEOMETRY *word, QOR_GEOMETRY *rand, int32_t *found) {
    read_part(word, GEOM_AREA, rand, found, "GEOM_READ_AREA_RAND");
}

void GEOM_READ_RAND_LINE(QOR_GEOMETRY *word, QOR_GEOMETRY *line, int32_t *found) {
    read_part(word, GEOM_RAND, line, found, "GEOM_READ_RAND_LINE");
}

void GEOM_READ_LINE_POINT(QOR_GEOMETRY *word, double *arc, double *x, double *y, double *z, QOR_GEOMETRY *point,
                          int32_t *found) {
    Node *node = next_part(word, GEOM_LINE, "GEOM_READ_LINE_POINT");
    *found = node ? 1 : 0;
    if (!node) return;
    Line_node *n = line_node(node);
    *arc = n->arc;
    *x = n->arc_x;
    *y = n->arc_y;
    *z = n->arc_z;
    *point = word_of(static_cast<Point *>(n));
}

void GEOM_FIRST_LAST_POINT(QOR_GEOMETRY line, double *x1, double *y1, double *z1, double *x2, double *y2, double *z2,
                           int32_t *found) {
    *found = 0;
    if (!line) return;
    const Composite *l = composite_in(line, GEOM_LINE, "GEOM_FIRST_LAST_POINT");
    if (!l) return;
    const Point &first = first_point(l);
    const Point &last = last_point(l);
    *x1 = first.x;
    *y1 = first.y;
    *z1 = first.z;
    *x2 = last.x;
    *y2 = last.y;
    *z2 = last.z;
    *found = 1;
}

void GEOM_CREATE_POINT(QOR_GEOMETRY *geometry, double x, double y, double z) {
    replace(geometry, new_point(x, y, z), "GEOM_CREATE_POINT");
}

void GEOM_CREATE_LINE(QOR_GEOMETRY *geometry, QOR_GEOMETRY first, double arc, double x, double y, double z,
                      QOR_GEOMETRY second) {
    const Point *from = point_in(first, "GEOM_CREATE_LINE");
    if (!from) return;
    const Point *to = point_in(second, "GEOM_CREATE_LINE");
    if (!to) return;
    Composite *line = new_composite(GEOM_LINE);
    append_point(line, 0, 0, 0, GEOM_NO_HEIGHT, from);
    append_point(line, arc, x, y, z, to);
    replace(geometry, line, "GEOM_CREATE_LINE");
}

void GEOM_APPEND_LINE_POINT(QOR_GEOMETRY *geometry, double arc, double x, double y, double z, QOR_GEOMETRY point) {
    Composite *line = composite_in(*geometry, GEOM_LINE, "GEOM_APPEND_LINE_POINT");
    if (!line) return;
    if (const Point *p = point_in(point, "GEOM_APPEND_LINE_POINT")) {
        note_change(line);
        append_point(line, arc, x, y, z, p);
    }
}

void GEOM_CREATE_RAND(QOR_GEOMETRY *geometry, QOR_GEOMETRY line) {
    create_composite(geometry, GEOM_RAND, line, "GEOM_CREATE_RAND");
}

void GEOM_APPEND_RAND_LINE(QOR_GEOMETRY *geometry, QOR_GEOMETRY line) {
    append_to_composite(*geometry, GEOM_RAND, line, "GEOM_APPEND_RAND_LINE");
}

void GEOM_CREATE_AREA(QOR_GEOMETRY *geometry, QOR_GEOMETRY rand) {
    create_composite(geometry, GEOM_AREA, rand, "GEOM_CREATE_AREA");
}

void GEOM_APPEND_AREA_RAND(QOR_GEOMETRY *geometry, QOR_GEOMETRY rand) {
    append_to_composite(*geometry, GEOM_AREA, rand, "GEOM_APPEND_AREA_RAND");
}
