// What the kernel may do with a map beyond the exported interface: look up and
// store through a remembered place, without a search. The containers define it;
// it stands on the floor of those that need it first.
#pragma once

#include <vector>

#include "kernel/strng.hpp"
#include "object/entry_cache.hpp"
#include "qor/map.h"

namespace qor {

// A text of this length can be a key: looking it up shows no message.
inline constexpr uint32_t SHORT_KEY = 255;

// The entry under the key, else the default, else null. Borrowed. The map may
// be nil.
QOR_OBJECT *map_find(QOR_MAP *map, STRNG key);
QOR_OBJECT *map_find_cached(QOR_MAP *map, STRNG key, Entry_cache *cache);

// As MAP_INSERT_MOVED, remembering the place. The variable is left nil, or with
// a plain value that nobody else has, whose record its next content may take.
void map_put_cached(QOR_MAP *map, STRNG key, Entry_cache *cache, QOR_OBJECT **variable);

// The kernel keeps this map's handle for good: removing it only empties it.
void map_keep(QOR_MAP *map);

// The entries in order, apart from the read cursor. Valid while the map does
// not change.
const Map_node *map_first(const QOR_MAP *map);
const Map_node *map_next(const Map_node *entry);
QOR_OBJECT *map_object(const Map_node *entry); // borrowed
void map_key(const Map_node *entry, STRNG *key);

// The sort of MAPSORT: by key as a zero-terminated text, stable. The values
// become deep copies and the default goes; the label stays.
void map_sort(QOR_MAP *map, bool descending);
// A new map with each value's text as key and the old key as value.
void map_swap(QOR_MAP *source, QOR_MAP **variable);

// What MAP_DISPLAY shows, line by line. Showing a line may run script code, which
// may change the map: so all of them are made before the first is shown.
std::vector<Strng> map_display_lines(QOR_MAP *map);

} // namespace qor
