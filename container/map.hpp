// The record of a map, and the two operations on plain values that a call and an
// assignment need at once: emptying a frame and storing at a remembered place.
#pragma once

#include <utility>

#include "container/trie.hpp"
#include "kernel/strng.hpp"
#include "object/object.hpp"
#include "qor/map.h"

// The order chain runs through the nodes that hold an object, and through no
// others. A removed key keeps its node without an object.
struct QOR_MAP {
    qor::Trie trie;                       // begins with the generation, see Map_head
    QOR_OBJECT *default_object = nullptr; // owns one reference
    qor::Strng label;
    qor::Map_node *first = nullptr;
    qor::Map_node *read = nullptr; // what the next read returns
    qor::Map_node *last = nullptr;
    bool is_kept = false; // see map_keep
};

namespace qor {

// A number or boolean that nothing but its map entry knows: it needs no release,
// and its record may take the entry's next value.
[[gnu::always_inline]] inline bool is_private_scalar(const QOR_OBJECT *o) {
    return (o->flags >> 8) == 1 && is_scalar_type(type_of(o)) && !o->aps && !o->pins;
}

// Puts a node at the end of the order.
[[gnu::always_inline]] inline void map_append(QOR_MAP *map, Map_node *node) {
    Map_node *last = map->last;
    node->next = nullptr;
    node->previous = last;
    (last ? last->next : map->first) = node;
    map->last = node;
}

// Stores the variable's reference in a node without an object. The variable gets
// what the last clearing left there, or nil.
[[gnu::always_inline]] inline void map_put_new(QOR_MAP *map, Map_node *node, QOR_OBJECT **variable) {
    QOR_OBJECT *spare = node->spare;
    node->object = std::exchange(*variable, spare);
    map_append(map, node);
}

// Stores where a remembered place is right and holds nothing that would have to
// be released; the variable is left as by map_put_cached. False: nothing is done.
[[gnu::always_inline]] inline bool map_put_plain(QOR_MAP *map, const Entry_cache &place, QOR_OBJECT **variable) {
    if (!is_valid(place, map)) return false;
    Map_node *node = place.node;
    QOR_OBJECT *old = node->object;
    if (!old)
        map_put_new(map, node, variable);
    else if (is_private_scalar(old))
        node->object = std::exchange(*variable, old);
    else
        return false;
    return true;
}

// MAP_CLEAR of a map with entries.
void map_clear_entries(QOR_MAP *map);

// MAP_CLEAR, without a call while the entries are plain values: these stay in
// their nodes for the next ones of their names.
[[gnu::always_inline]] inline void map_clear(QOR_MAP *map) {
    Map_node *node = map->first;
    if (!node && !map->default_object) return;
    if (map->trie.has_many_nodes()) [[unlikely]]
        return map_clear_entries(map);
    while (node && is_private_scalar(node->object)) {
        Map_node *next = node->next;
        node->spare = std::exchange(node->object, nullptr);
        node = next;
    }
    map->first = node;
    if (node || map->default_object) [[unlikely]]
        return map_clear_entries(map);
    map->read = map->last = nullptr;
}

} // namespace qor
