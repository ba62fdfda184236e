#include "geometry.hpp"

#include <new>

#include "qor/msg.h"
#include "qor/storage.h"

namespace geom {

namespace {

// Blocks of one type. Some of those given back are kept for the next taker:
// a transfer makes and drops points for every record.
template <typename T> class Blocks {
  public:
    T *take() {
        if (spare_) {
            void *block = spare_;
            spare_ = spare_->next;
            --count_;
            return new (block) T{};
        }
        void *block;
        Storage_ALLOCATE(&block, sizeof(T));
        return new (block) T{};
    }
    void give(T *record) {
        if (count_ == MAX_SPARE) {
            free_block(record);
            return;
        }
        spare_ = new (record) Spare{spare_};
        ++count_;
    }
    void clear() {
        while (spare_) {
            void *block = spare_;
            spare_ = spare_->next;
            free_block(block);
        }
        count_ = 0;
    }

  private:
    struct Spare {
        Spare *next;
    };
    static constexpr uint32_t MAX_SPARE = 4096;

    static void free_block(void *block) { Storage_DEALLOCATE(&block, sizeof(T)); }

    Spare *spare_ = nullptr;
    uint32_t count_ = 0;
};

Blocks<Point> points;
Blocks<Composite> composites;
Blocks<Area> areas;
Blocks<Line_node> line_nodes;
Blocks<Part_node> part_nodes;

void append_node(Composite *composite, Node *node) {
    node->owner = composite;
    node->next = nullptr;
    (composite->last ? composite->last->next : composite->first) = node;
    composite->last = node;
}

void copy_parts(const Composite *source, Composite *target) {
    target->attribute = source->attribute;
    for (Node *node = source->first; node; node = node->next) {
        if (source->kind == GEOM_LINE) {
            const Line_node *n = line_node(node);
            append_point(target, n->arc, n->arc_x, n->arc_y, n->arc_z, n);
        } else {
            append_part(target, part_of(node));
        }
    }
}

void release_parts(Composite *composite) {
    while (Node *node = composite->first) {
        composite->first = node->next;
        if (composite->kind == GEOM_LINE) {
            line_nodes.give(line_node(node));
        } else {
            release_parts(part_of(node));
            part_nodes.give(static_cast<Part_node *>(node));
        }
    }
}

} // namespace

const char *kind_name(int32_t kind) {
    switch (kind) {
    case GEOM_POINT: return "point";
    case GEOM_LINE: return "line";
    case GEOM_RAND: return "rand";
    case GEOM_AREA: return "area";
    default: return "unknown kind";
    }
}

void abort_kind(const Geometry *found, int32_t expected, const char *operation) {
    MESSAGE_ABORT_F("*** ABORT *** GEOM(%s) %s expected, not %s\n", operation, kind_name(expected),
                    found ? kind_name(found->kind) : "an empty geometry");
}

Point *point_in(QOR_GEOMETRY word, const char *operation) {
    Geometry *geometry = geometry_of(word);
    if (geometry && geometry->kind == GEOM_POINT) [[likely]]
        return static_cast<Point *>(geometry);
    abort_kind(geometry, GEOM_POINT, operation);
    return nullptr;
}

Composite *composite_in(QOR_GEOMETRY word, int32_t kind, const char *operation) {
    Geometry *geometry = geometry_of(word);
    if (geometry && geometry->kind == kind) [[likely]]
        return static_cast<Composite *>(geometry);
    abort_kind(geometry, kind, operation);
    return nullptr;
}

Point *new_point(double x, double y, double z) {
    Point *point = points.take();
    point->kind = GEOM_POINT;
    point->x = x;
    point->y = y;
    point->z = z;
    return point;
}

Composite *new_composite(int16_t kind) {
    Composite *composite = kind == GEOM_AREA ? areas.take() : composites.take();
    composite->kind = kind;
    return composite;
}

Geometry *copy(const Geometry *source) {
    if (source->kind == GEOM_POINT) {
        Point *point = points.take();
        *point = *static_cast<const Point *>(source);
        point->is_part = false;
        return point;
    }
    Composite *composite = new_composite(source->kind);
    copy_parts(static_cast<const Composite *>(source), composite);
    return composite;
}

void release(Geometry *geometry, const char *operation) {
    if (!geometry) return;
    if (geometry->is_part) {
        MESSAGE_ABORT_F("*** ABORT *** GEOM(%s) this %s is a part of another geometry\n", operation,
                        kind_name(geometry->kind));
    } else if (geometry->kind == GEOM_POINT) {
        points.give(static_cast<Point *>(geometry));
    } else {
        Composite *composite = static_cast<Composite *>(geometry);
        release_parts(composite);
        if (composite->kind == GEOM_AREA) {
            Area *area = static_cast<Area *>(composite);
            release_index(area->index);
            areas.give(area);
        } else {
            composites.give(composite);
        }
    }
}

void replace(QOR_GEOMETRY *variable, Geometry *geometry, const char *operation) {
    Geometry *old = geometry_of(*variable);
    *variable = word_of(geometry);
    release(old, operation);
}

void note_change(Geometry *geometry) {
    while (geometry->is_part) {
        if (geometry->kind == GEOM_POINT) {
            geometry = static_cast<Line_node *>(static_cast<Point *>(geometry))->owner;
        } else {
            geometry = static_cast<Part_node *>(static_cast<Composite *>(geometry))->owner;
        }
    }
    if (geometry->kind != GEOM_AREA) return;
    Area *area = static_cast<Area *>(geometry);
    area->questions = 0;
    release_index(std::exchange(area->index, nullptr));
}

void append_point(Composite *line, double arc, double x, double y, double z, const Point *point) {
    Line_node *node = line_nodes.take();
    static_cast<Point &>(*node) = *point;
    node->is_part = true;
    node->arc = arc;
    node->arc_x = x;
    node->arc_y = y;
    node->arc_z = z;
    append_node(line, node);
}

void append_part(Composite *composite, const Composite *part) {
    Part_node *node = part_nodes.take();
    node->kind = part->kind;
    node->is_part = true;
    copy_parts(part, node);
    append_node(composite, node);
}

void release_spare_blocks() {
    points.clear();
    composites.clear();
    areas.clear();
    line_nodes.clear();
    part_nodes.clear();
}

} // namespace geom
