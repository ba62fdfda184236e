// A remembered place in a map. It holds for one generation of the map: a
// generation ends when the map's nodes are freed, and numbers are never reused.
#pragma once

#include <cstdint>

#include "qor/types.h"

namespace qor {

struct Map_node;

struct Entry_cache {
    uint64_t generation = 0; // 0 belongs to no map
    Map_node *node = nullptr;
};

// How the records of a map and of a map's node begin, so that a remembered place
// is checked without a call.
struct Map_head {
    uint64_t generation;
};
struct Map_node_head {
    QOR_OBJECT *object; // owns one reference; nil when no key ends here
};

inline bool is_valid(const Entry_cache &cache, const QOR_MAP *map) {
    return cache.generation == reinterpret_cast<const Map_head *>(map)->generation;
}

// What stands at the place; null when the place is of another generation.
inline QOR_OBJECT *cached_object(const Entry_cache &cache, const QOR_MAP *map) {
    return is_valid(cache, map) ? reinterpret_cast<const Map_node_head *>(cache.node)->object : nullptr;
}

} // namespace qor
