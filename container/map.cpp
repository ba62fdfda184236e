#include "container/map.hpp"

#include <algorithm>
#include <vector>

#include "kernel/lifecycle.hpp"
#include "kernel/storage.hpp"
#include "object/map_access.hpp"
#include "qor/msg.h"

namespace qor {

namespace {

constexpr uint32_t KEY_LIMIT = 1024;
constexpr std::string_view DEFAULT_KEY = "DEFAULT";

QOR_MAP *root_map = nullptr;
QOR_OBJECT *root_object = nullptr;

Record_pool<sizeof(QOR_MAP)> records;

bool check_key(std::string_view key) {
    if (key.size() <= KEY_LIMIT) return true;
    MESSAGE_DISPLAY_ERROR1_C("map key is longer than 1024 characters ");
    MESSAGE_ABORT_S(borrow(key));
    return false;
}

bool check_map(const QOR_MAP *map) {
    if (map) return true;
    MESSAGE_ABORT1_C("MAP is QOR_NIL\n");
    return false;
}

// The node of a key that has a value.
Map_node *find_node(QOR_MAP *map, std::string_view key) {
    if (!check_key(key) || key == DEFAULT_KEY) return nullptr;
    Map_node *node = map->trie.find(key);
    return node && node->object ? node : nullptr;
}

// A longer text would keep its storage from others.
constexpr uint32_t REFILLED_TEXT = 4096;

inline bool may_be_refilled(QOR_OBJECT *o) {
    if (type_of(o) == TYPE_STRING) return string_of(o)->capacity <= REFILLED_TEXT;
    return is_scalar_type(type_of(o)) && o->pins == 0;
}

void chain_remove(QOR_MAP *map, Map_node *node) {
    (node->previous ? node->previous->next : map->first) = node->next;
    (node->next ? node->next->previous : map->last) = node->previous;
    if (map->read == node) map->read = node->next;
}

// Stores the variable's reference in any node; the variable is left nil.
void put(QOR_MAP *map, Map_node *node, QOR_OBJECT **variable) {
    if (node->object)
        std::swap(node->object, *variable);
    else
        map_put_new(map, node, variable);
    OBJ_remove_object(variable);
}

void put_default(QOR_MAP *map, QOR_OBJECT **variable) {
    QOR_OBJECT *old = map->default_object;
    map->default_object = *variable;
    *variable = nullptr;
    OBJ_remove_object(&old);
}

Entry_cache remembered(const QOR_MAP *map, Map_node *node) {
    return {reinterpret_cast<const Map_head *>(map)->generation, node};
}

QOR_MAP *new_map() { return new (records.take()) QOR_MAP; }

// Owns a map while it is being filled: a copy may abort half way.
struct Map_owner {
    QOR_MAP *map = new_map();
    Map_owner() = default;
    Map_owner(const Map_owner &) = delete;
    Map_owner &operator=(const Map_owner &) = delete;
    ~Map_owner() { MAP_REMOVE(&map); }
    QOR_MAP *release() { return std::exchange(map, nullptr); }
};

void copy_entries(QOR_MAP *source, QOR_MAP *target) {
    const Nesting nesting;
    Strng key;
    for (const Map_node *node = source->first; node; node = node->next) {
        Object_var copy;
        OBJ_copy_object(node->object, &copy);
        map_key(node, &key);
        MAP_INSERT_MOVED(target, key, &copy);
    }
    if (source->default_object) {
        Object_var copy;
        OBJ_copy_object(source->default_object, &copy);
        put_default(target, &copy);
    }
    target->label.assign(source->label.text());
}

// The order of MAPSORT where a key holds a zero byte: the keys count up to it, and
// those that are equal then stay in their order.
std::vector<Map_node *> by_terminated_key(QOR_MAP *map, bool descending) {
    struct Entry {
        Strng key;
        Map_node *node;
    };
    std::vector<Entry> entries;
    for (Map_node *node = map->first; node; node = node->next) {
        Entry &e = entries.emplace_back();
        map_key(node, &e.key);
        e.node = node;
    }
    std::stable_sort(entries.begin(), entries.end(), [descending](const Entry &a, const Entry &b) {
        const int order = c_text(a.key.text()).compare(c_text(b.key.text()));
        return descending ? order > 0 : order < 0;
    });
    std::vector<Map_node *> nodes;
    nodes.reserve(entries.size());
    for (const Entry &e : entries) nodes.push_back(e.node);
    return nodes;
}

} // namespace

void map_clear_entries(QOR_MAP *map) {
    const bool keeps_nodes = !map->trie.has_many_nodes();
    Map_node *node = map->first;
    map->first = map->read = map->last = nullptr;
    while (node) {
        Map_node *next = node->next;
        QOR_OBJECT *object = std::exchange(node->object, nullptr);
        // A plain value that nobody else has stays for the next one of its name.
        if (keeps_nodes && may_be_refilled(object) && (object->flags >> 8) == 1 && !object->aps)
            node->spare = object;
        else {
            node->spare = nullptr;
            OBJ_remove_object(&object);
        }
        node = next;
    }
    map->trie.clear_or_keep();
    OBJ_remove_object(&map->default_object);
}

QOR_OBJECT *map_find(QOR_MAP *map, STRNG key) {
    if (!map) return nullptr;
    const Map_node *node = find_node(map, view(key));
    return node ? node->object : map->default_object;
}

QOR_OBJECT *map_find_cached(QOR_MAP *map, STRNG key, Entry_cache *cache) {
    if (!map) return nullptr;
    if (!is_valid(*cache, map)) {
        if (!check_key(view(key)) || view(key) == DEFAULT_KEY) return map->default_object;
        Map_node *node = map->trie.find(view(key));
        if (!node) return map->default_object;
        *cache = remembered(map, node);
    }
    return cache->node->object ? cache->node->object : map->default_object;
}

void map_put_cached(QOR_MAP *map, STRNG key, Entry_cache *cache, QOR_OBJECT **variable) {
    if (map_put_plain(map, *cache, variable)) return;
    if (!is_valid(*cache, map)) {
        if (key.length == 0 || !check_key(view(key)) || view(key) == DEFAULT_KEY) {
            MAP_INSERT_MOVED(map, key, variable);
            OBJ_remove_object(variable);
            return;
        }
        Map_node *node = map->trie.find_or_create(view(key));
        *cache = remembered(map, node);
    }
    Map_node *node = cache->node;
    QOR_OBJECT *old = node->object;
    if (old && count_of(old) == 1 && may_be_refilled(old)) {
        // Nobody else has the old value: its record goes back for the next one.
        if (!old->aps) {
            node->object = std::exchange(*variable, old);
            return;
        }
        add_reference(old);
        put(map, node, variable);
        *variable = old;
        return;
    }
    if (old)
        put(map, node, variable);
    else
        map_put_new(map, node, variable);
}

void map_keep(QOR_MAP *map) { map->is_kept = true; }

const Map_node *map_first(const QOR_MAP *map) { return map->first; }
const Map_node *map_next(const Map_node *entry) { return entry->next; }
QOR_OBJECT *map_object(const Map_node *entry) { return entry->object; }
void map_key(const Map_node *entry, STRNG *key) { trie_key(entry, key); }

void map_sort(QOR_MAP *map, bool descending) {
    // The values become deep copies. A plain value that nobody else has is its
    // own copy.
    const auto is_own_copy = [](QOR_OBJECT *o) {
        return count_of(o) == 1 && !o->aps && is_defined(o) && is_leaf_type(type_of(o)) && !is_pinned(o);
    };
    std::vector<Object_var> values;
    for (const Map_node *node = map->first; node; node = node->next)
        if (!is_own_copy(node->object)) OBJ_copy_object(node->object, &values.emplace_back());
    size_t copied = 0;
    for (Map_node *node = map->first; node; node = node->next)
        if (!is_own_copy(node->object)) std::swap(node->object, *&values[copied++]);

    const std::vector<Map_node *> order =
        map->trie.has_zero_bytes() ? by_terminated_key(map, descending) : map->trie.in_key_order(descending);
    map->first = map->read = map->last = nullptr;
    for (Map_node *node : order) map_append(map, node);
    OBJ_remove_object(&map->default_object);
}

void map_swap(QOR_MAP *source, QOR_MAP **variable) {
    Map_owner target;
    Strng key;
    Strng text;
    for (const Map_node *node = source->first; node; node = node->next) {
        OBJ_to_string(node->object, &text);
        map_key(node, &key);
        MAP_INSERT_SVALUE(target.map, text, key);
    }
    if (source->default_object) {
        Object_var copy;
        OBJ_copy_object(source->default_object, &copy);
        put_default(target.map, &copy);
    }
    *variable = target.release();
}

std::vector<Strng> map_display_lines(QOR_MAP *map) {
    std::vector<Strng> lines;
    const auto line = [&lines](std::string_view a, std::string_view b, std::string_view c) {
        Strng &text = lines.emplace_back();
        text.append(a);
        text.append(b);
        text.append(c);
    };
    if (!map) {
        line("MAP is QOR_NIL", "", "");
        return lines;
    }
    Strng name;
    MAP_GET_NAME(map, &name);
    line("--- MAP ", name.text(), " -------");
    if (!map->label.empty()) line("   LABEL IS ", map->label.text(), "");
    Strng key;
    Strng value;
    for (const Map_node *node = map->first; node; node = node->next) {
        map_key(node, &key);
        OBJ_to_display_string(node->object, &value);
        line("   ", key.text(), " -> ");
        lines.back().append(value.text());
    }
    line("--- END MAP ", name.text(), " ---");
    return lines;
}

void map_init() {
    static bool done = false;
    if (!first_time(done)) return;
    root_map = new_map();
    map_keep(root_map);
    BTYP_create_map_ref(&root_object, root_map);
}

} // namespace qor

using namespace qor;

QOR_MAP *MAP_ROOT() { return root_map; }
QOR_OBJECT *MAP_get_root_object() { return root_object; }

void MAP_INITIALIZE(QOR_MAP **variable) { *variable = nullptr; }
void MAP_CREATE_NONAME(QOR_MAP **variable) { *variable = new_map(); }

void MAP_CREATE_C(QOR_MAP **variable, const char *name) {
    *variable = new_map();
    if (!*name) return; // no key of the root: the map is the caller's alone
    Object_var object;
    BTYP_create_map_ref(&object, *variable);
    MAP_INSERT_OBJECT_REF_C(root_map, name, object);
}

void MAP_GET_MAP_BY_NAME(QOR_MAP **map, STRNG name, int32_t *status) {
    QOR_OBJECT *object = map_find(root_map, name);
    *status = object ? 1 : 0;
    if (object) BTYP_read_map_ref(object, map);
}

void MAP_GET_MAP_BY_NAME_C(QOR_MAP **map, const char *name, int32_t *status) {
    MAP_GET_MAP_BY_NAME(map, borrow(name), status);
}

int32_t MAP_IS_DEFINED(const QOR_MAP *map) { return map ? 1 : 0; }

void MAP_REMOVE(QOR_MAP **variable) {
    QOR_MAP *map = *variable;
    if (!map) return;
    *variable = nullptr;
    map_clear(map);
    if (map->is_kept) return;
    map->~QOR_MAP();
    records.give(map);
}

void MAP_CLEAR(QOR_MAP **variable) {
    if (*variable) map_clear(*variable);
}

void MAP_COPY(QOR_MAP *source, QOR_MAP **variable) {
    if (!source) {
        *variable = nullptr;
        return;
    }
    Map_owner copy;
    copy_entries(source, copy.map);
    *variable = copy.release();
}

void MAP_FILL(QOR_MAP *source, QOR_MAP **variable) {
    if (!check_map(*variable) || !check_map(source) || source == *variable) return;
    // Entries of the source may live in the target alone.
    Map_owner copy;
    copy_entries(source, copy.map);
    QOR_MAP *target = *variable;
    map_clear(target);
    copy_entries(copy.map, target);
}

// --- insertion -----------------------------------------------------------------------

void MAP_INSERT_MOVED(QOR_MAP *map, STRNG key, QOR_OBJECT **variable) {
    if (!check_map(map) || key.length == 0 || !check_key(view(key))) return;
    if (view(key) == DEFAULT_KEY)
        put_default(map, variable);
    else
        put(map, map->trie.find_or_create(view(key)), variable);
}

void MAP_INSERT_OBJECT_REF(QOR_MAP *map, STRNG key, QOR_OBJECT *object) {
    Object_var reference;
    OBJ_create_object_ref(object, &reference);
    if (reference) MAP_INSERT_MOVED(map, key, &reference);
}

void MAP_INSERT_OBJECT_REF_C(QOR_MAP *map, const char *key, QOR_OBJECT *object) {
    MAP_INSERT_OBJECT_REF(map, borrow(key), object);
}

void MAP_INSERT_OBJECT(QOR_MAP *map, STRNG key, QOR_OBJECT *object) {
    Object_var copy;
    OBJ_copy_object(object, &copy);
    MAP_INSERT_MOVED(map, key, &copy);
}

void MAP_INSERT_OBJECT_C(QOR_MAP *map, const char *key, QOR_OBJECT *object) {
    MAP_INSERT_OBJECT(map, borrow(key), object);
}

void MAP_INSERT_SVALUE(QOR_MAP *map, STRNG key, STRNG value) {
    Object_var object;
    if (!check_map(map) || key.length == 0 || !check_key(view(key))) return;
    if (view(key) == DEFAULT_KEY) {
        BTYP_create_string(&object, value);
        return put_default(map, &object);
    }
    // A text that only this entry has, or had before the map was cleared, takes
    // the new one.
    Map_node *node = map->trie.find_or_create(view(key));
    if (is_own_text(node->object)) return refill_string(node->object, view(value));
    if (!node->object && is_reusable_string(node->spare)) {
        std::swap(node->spare, *&object);
        refill_string(object, view(value));
    } else {
        BTYP_create_string(&object, value);
    }
    put(map, node, &object);
}

void MAP_INSERT_SVALUE_C(QOR_MAP *map, const char *key, STRNG value) { MAP_INSERT_SVALUE(map, borrow(key), value); }

void MAP_INSERT_IVALUE(QOR_MAP *map, STRNG key, int32_t value) {
    Object_var object;
    BTYP_create_int(&object, value);
    MAP_INSERT_MOVED(map, key, &object);
}

void MAP_INSERT_IVALUE_C(QOR_MAP *map, const char *key, int32_t value) { MAP_INSERT_IVALUE(map, borrow(key), value); }

void MAP_INSERT_VALUE_C(QOR_MAP *map, const char *key, const char *value) {
    MAP_INSERT_SVALUE(map, borrow(key), borrow(value));
}

// --- look-up ---------------------------------------------------------------------------

void MAP_MAP_OBJECT_REF(QOR_MAP *map, STRNG key, QOR_OBJECT **variable, int32_t *status) {
    if (!map) {
        OBJ_remove_object(variable);
        *status = 0;
        return;
    }
    QOR_OBJECT *object = map_find(map, key);
    *status = object ? 1 : 0;
    if (object) OBJ_create_object_ref(object, variable);
}

void MAP_MAP_OBJECT_REF_C(QOR_MAP *map, const char *key, QOR_OBJECT **variable, int32_t *status) {
    MAP_MAP_OBJECT_REF(map, borrow(key), variable, status);
}

void MAP_MAP_OBJECT(QOR_MAP *map, STRNG key, QOR_OBJECT **variable, int32_t *status) {
    if (!map) OBJ_remove_object(variable);
    QOR_OBJECT *object = map_find(map, key);
    *status = object ? 1 : 0;
    if (object) OBJ_copy_object(object, variable);
}

void MAP_MAP_OBJECT_C(QOR_MAP *map, const char *key, QOR_OBJECT **variable, int32_t *status) {
    MAP_MAP_OBJECT(map, borrow(key), variable, status);
}

void MAP_MAP_SVALUE(QOR_MAP *map, STRNG key, STRNG *value, int32_t *status) {
    QOR_OBJECT *object = map_find(map, key);
    *status = object ? 1 : 0;
    if (object)
        BTYP_read_string(object, value);
    else
        strng_assign(value, "@");
}

void MAP_MAP_VALUE_C(QOR_MAP *map, const char *key, STRNG *value, int32_t *status) {
    MAP_MAP_SVALUE(map, borrow(key), value, status);
}

void MAP_MAP_SVALUE_N(QOR_MAP *map, uint32_t length, const char *characters, STRNG *value, int32_t *status) {
    MAP_MAP_SVALUE(map, borrow({characters, length}), value, status);
}

void MAP_MAP_IVALUE_C(QOR_MAP *map, const char *key, int32_t *value, int32_t *status) {
    QOR_OBJECT *object = map_find(map, borrow(key));
    *status = object ? 1 : 0;
    if (object) BTYP_read_int(object, value);
}

int32_t MAP_TEST_KEY(QOR_MAP *map, STRNG key) { return map && find_node(map, view(key)) ? 1 : 0; }
int32_t MAP_TEST_KEY_C(QOR_MAP *map, const char *key) { return MAP_TEST_KEY(map, borrow(key)); }

void MAP_GET_KEY_POS(QOR_MAP *map, STRNG key, uint32_t *position, int32_t *status) {
    *status = 0;
    if (!map) return;
    const Map_node *wanted = key.length <= KEY_LIMIT ? find_node(map, view(key)) : nullptr;
    *position = 1;
    for (const Map_node *node = map->first; node; node = node->next, ++*position) {
        if (node != wanted) continue;
        *status = 1;
        return;
    }
}

// --- reading in order --------------------------------------------------------------------

void MAP_RESET_READ(QOR_MAP **variable) {
    if (check_map(*variable)) (*variable)->read = (*variable)->first;
}

void MAP_READ_OBJECT_REF(QOR_MAP **variable, STRNG *key, QOR_OBJECT **object, int32_t *status) {
    QOR_MAP *map = *variable;
    *status = map && map->read ? 1 : 0;
    if (!*status) return;
    const Map_node *node = map->read;
    map->read = node->next;
    // A large map is slow to read because of the way to memory: what the next
    // read needs is fetched while the script works on this entry.
    if (node->next) {
        __builtin_prefetch(node->next->parent);
        __builtin_prefetch(node->next->object);
    }
    map_key(node, key);
    OBJ_create_object_ref(node->object, object);
}

void MAP_READ_OBJECT(QOR_MAP **variable, STRNG *key, QOR_OBJECT **object, int32_t *status) {
    Object_var reference;
    MAP_READ_OBJECT_REF(variable, key, &reference, status);
    if (*status) OBJ_copy_object(reference, object);
}

void MAP_READ_VALUE(QOR_MAP **variable, STRNG *key, STRNG *value, int32_t *status) {
    Object_var reference;
    MAP_READ_OBJECT_REF(variable, key, &reference, status);
    if (*status) BTYP_read_string(reference, value);
}

void MAP_REMOVE_OBJECT(QOR_MAP *map, STRNG key, int32_t *status) {
    // A key that is too long for an entry is none here.
    Map_node *node = map && key.length <= KEY_LIMIT ? find_node(map, view(key)) : nullptr;
    *status = node ? 1 : 0;
    if (!node) return;
    chain_remove(map, node);
    QOR_OBJECT *object = std::exchange(node->object, nullptr);
    node->spare = nullptr;
    if (map->first)
        map->trie.note_removal();
    else
        map->trie.clear_or_keep();
    OBJ_remove_object(&object);
}

void MAP_REMOVE_OBJECT_C(QOR_MAP *map, const char *key, int32_t *status) {
    MAP_REMOVE_OBJECT(map, borrow(key), status);
}

// --- label, name, diagnostics ----------------------------------------------------------------

void MAP_SET_LABEL(QOR_MAP *map, STRNG label) {
    if (check_map(map)) map->label.assign(view(label));
}

void MAP_SET_LABEL_C(QOR_MAP *map, const char *label) { MAP_SET_LABEL(map, borrow(label)); }

void MAP_GET_LABEL(QOR_MAP *map, STRNG *label) {
    if (check_map(map)) strng_assign(label, map->label.text());
}

void MAP_GET_LABEL_C(QOR_MAP *map, char *label) {
    if (check_map(map)) STRNG2_MSTRING_TO_CSTRING(map->label, label);
}

void MAP_GET_NAME(QOR_MAP *map, STRNG *name) {
    for (const Map_node *node = root_map->first; node; node = node->next) {
        if (node->object->handle != map) continue;
        map_key(node, name);
        return;
    }
    strng_assign(name, "NONAME");
}

void MAP_DISPLAY(QOR_MAP *map) {
    for (const Strng &line : map_display_lines(map)) MESSAGE_DISPLAY_S(line);
}

void MAP_CHECK_MAP(QOR_MAP *map) {
    if (!map) return;
    const Nesting nesting;
    // Gathered first: what the check of a geometry shows may run script code that
    // changes the map or lets it go.
    std::vector<Object_var> entries;
    for (const Map_node *node = map->first; node; node = node->next) entries.push_back(Object_var::share(node->object));
    for (const Object_var &entry : entries) OBJ_check_object(entry);
}
