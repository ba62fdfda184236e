// The geometry values: their records and what the module does with them.
//
// A point is one small block. A composite (line, rand, area) is a head with a
// chain of nodes; a node holds the part itself, so a part's handle is an
// address inside the node.
//
// A word of the interface is one of
//   0                      the empty geometry
//   address of a Geometry  a geometry, from which a read starts at the front
//   address of a Node + 1  the composite that owns the node, with a reading
//                          cursor that stands behind this node
// So a cursor needs no storage, any number of reads go on side by side, and a
// word that was read through still stands for its geometry.
#pragma once

#include "qor/geom.h"

// What the kernel calls and does not pass on to others under these names.
QOR_BEGIN_C
QOR_API void GEOM_INIT(const char *kernel_library);
QOR_API void GEOM_TERMINATE(void);
// Reports each fault of a geometry as an error message.
QOR_API void GEOM_CHECK_GEOMETRY(QOR_GEOMETRY geometry);
QOR_END_C

namespace geom {

struct Geometry {
    int16_t kind;
    bool is_part; // lies in a node and goes with its owner
    int32_t attribute;
};

struct Point : Geometry {
    double x, y, z;
};

struct Node;

struct Composite : Geometry {
    Node *first;
    Node *last;
};

struct Node {
    Composite *owner;
    Node *next;
};

// A point of a line; the arc point, if arc is not 0, lies before it.
struct Line_node : Node {
    double arc;
    double x, y, z;
    Point point;
};

// A line of a rand, or a rand of an area.
struct Part_node : Node {
    Composite composite;
};

inline bool has_cursor(QOR_GEOMETRY word) { return (word & 1) != 0; }
inline Node *cursor_node(QOR_GEOMETRY word) { return reinterpret_cast<Node *>(word - 1); }
inline QOR_GEOMETRY word_of(Geometry *geometry) { return reinterpret_cast<QOR_GEOMETRY>(geometry); }
inline QOR_GEOMETRY word_behind(Node *node) { return reinterpret_cast<QOR_GEOMETRY>(node) + 1; }

// The geometry that a word stands for, null when it is empty.
inline Geometry *geometry_of(QOR_GEOMETRY word) {
    return has_cursor(word) ? cursor_node(word)->owner : reinterpret_cast<Geometry *>(word);
}

inline Line_node *line_node(Node *node) { return static_cast<Line_node *>(node); }
inline Composite *part_of(Node *node) { return &static_cast<Part_node *>(node)->composite; }
// No composite is ever without a part.
inline const Point &first_point(const Composite *line) { return line_node(line->first)->point; }
inline const Point &last_point(const Composite *line) { return line_node(line->last)->point; }

const char *kind_name(int32_t kind);

// The geometry of a word if it is of the kind. If not, aborts; should the abort
// return, the result is null.
Point *point_in(QOR_GEOMETRY word, const char *operation);
Composite *composite_in(QOR_GEOMETRY word, int32_t kind, const char *operation);
void abort_kind(const Geometry *found, int32_t expected, const char *operation);

Point *new_point(double x, double y, double z);
Composite *new_composite(int16_t kind);
Geometry *copy(const Geometry *source);
// A null geometry is left alone; a part of another one aborts.
void release(Geometry *geometry, const char *operation);

// Both copy what they append.
void append_point(Composite *line, double arc, double x, double y, double z, const Point *point);
void append_part(Composite *composite, const Composite *part);

// Gives back the blocks that are kept for reuse.
void release_spare_blocks();

} // namespace geom
