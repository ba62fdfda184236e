// A remembered place in a map. It holds for one generation of the map: a
// generation ends when the map's nodes are freed, and numbers are never reused.
#pragma once

#include <cstdint>

namespace qor {

struct Map_node;

struct Entry_cache {
    uint64_t generation = 0; // 0 belongs to no map
    Map_node *node = nullptr;
};

} // namespace qor
