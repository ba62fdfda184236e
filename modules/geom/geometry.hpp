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

#include <utility>

#include "qor/geom.h"

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
struct Area_index;

struct Composite : Geometry {
    Node *first;
    Node *last;
};

// An area is no part of anything. Who asks often whether points lie in it is
// answered from an index, which goes when the area changes.
struct Area : Composite {
    Area_index *index;
    uint32_t questions; // asked since the last change
};

struct Node {
    Composite *owner;
    Node *next;
};

// A point of a line; the arc point, if arc is not 0, lies before it.
struct Line_node : Node, Point {
    double arc;
    double arc_x, arc_y, arc_z;
};

// A line of a rand, or a rand of an area.
struct Part_node : Node, Composite {};

inline bool has_cursor(QOR_GEOMETRY word) { return (word & 1) != 0; }
inline Node *cursor_node(QOR_GEOMETRY word) { return reinterpret_cast<Node *>(word - 1); }
inline QOR_GEOMETRY word_of(Geometry *geometry) { return reinterpret_cast<QOR_GEOMETRY>(geometry); }
inline QOR_GEOMETRY word_behind(Node *node) { return reinterpret_cast<QOR_GEOMETRY>(node) + 1; }

// The geometry that a word stands for, null when it is empty.
inline Geometry *geometry_of(QOR_GEOMETRY word) {
    return has_cursor(word) ? cursor_node(word)->owner : reinterpret_cast<Geometry *>(word);
}

inline Line_node *line_node(Node *node) { return static_cast<Line_node *>(node); }
inline Composite *part_of(Node *node) { return static_cast<Part_node *>(node); }
// No composite is ever without a part.
inline const Point &first_point(const Composite *line) { return *line_node(line->first); }
inline const Point &last_point(const Composite *line) { return *line_node(line->last); }

// To be called by whatever changes a geometry's coordinates or parts in place.
void note_change(Geometry *geometry);
void release_index(Area_index *index);

const char *kind_name(int32_t kind);

// The geometry of a word if it is of the kind. If not, aborts; should the abort
// return, the result is null.
Point *point_in(QOR_GEOMETRY word, const char *operation);
Composite *composite_in(QOR_GEOMETRY word, int32_t kind, const char *operation);
void abort_kind(const Geometry *found, int32_t expected, const char *operation);

Point *new_point(double x, double y, double z);
Composite *new_composite(int16_t kind); // of a line, a rand or an area
Geometry *copy(const Geometry *source);
// A null geometry is left alone; a part of another one aborts.
void release(Geometry *geometry, const char *operation);
// Puts a new geometry, or null, into a variable. What the variable held goes
// last, since it may be what the new geometry was made from.
void replace(QOR_GEOMETRY *variable, Geometry *geometry, const char *operation);

// A geometry in the making, or on its way to a taker, that goes if the way out is an
// exception.
class Owner {
  public:
    Owner() = default;
    explicit Owner(Geometry *geometry) : word_(word_of(geometry)) {}
    ~Owner() { GEOM_REMOVE(&word_); }
    Owner(const Owner &) = delete;
    Owner &operator=(const Owner &) = delete;
    QOR_GEOMETRY get() const { return word_; }
    QOR_GEOMETRY *address() { return &word_; }
    Geometry *give() { return geometry_of(std::exchange(word_, 0)); }

  private:
    QOR_GEOMETRY word_ = 0;
};

// Both copy what they append.
void append_point(Composite *line, double arc, double x, double y, double z, const Point *point);
void append_part(Composite *composite, const Composite *part);

// Gives back the blocks that are kept for reuse.
void release_spare_blocks();

} // namespace geom
