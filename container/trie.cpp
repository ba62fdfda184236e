#include "container/trie.hpp"

#include <algorithm>
#include <cstddef>
#include <cstring>

#include "kernel/storage.hpp"
#include "kernel/strng.hpp"
#include "qor/obj.h"

namespace qor {

// The children of a node: their first bytes side by side, so that one scan
// finds the way, and the nodes. Both lie in one block.
struct Child_table {
    uint16_t count;
    uint16_t capacity;

    Map_node **nodes() { return reinterpret_cast<Map_node **>(this + 2); }
    uint8_t *first_bytes() { return reinterpret_cast<uint8_t *>(nodes() + capacity); }
};
static_assert(2 * sizeof(Child_table) % alignof(Map_node *) == 0);

namespace {

uint64_t last_generation = 0;

size_t node_size(uint16_t room) { return std::max(sizeof(Map_node), offsetof(Map_node, bytes) + room); }
size_t table_size(uint16_t capacity) { return 2 * sizeof(Child_table) + capacity * (sizeof(Map_node *) + 1); }

Child_table *new_table(uint16_t capacity) {
    auto *table = static_cast<Child_table *>(storage_allocate(table_size(capacity)));
    table->count = 0;
    table->capacity = capacity;
    return table;
}

inline Map_node **find_child(const Map_node *node, uint8_t byte) {
    Child_table *table = node->children;
    if (!table) return nullptr;
    const uint8_t *bytes = table->first_bytes();
    // Names of a few fields and locals are the common case: a short scan.
    if (table->count <= 4) {
        for (uint16_t i = 0; i < table->count; ++i)
            if (bytes[i] == byte) return table->nodes() + i;
        return nullptr;
    }
    const void *found = std::memchr(bytes, byte, table->count);
    return found ? table->nodes() + (static_cast<const uint8_t *>(found) - bytes) : nullptr;
}

void add_child(Map_node *node, Map_node *child) {
    Child_table *table = node->children;
    if (!table || table->count == table->capacity) {
        // A byte has 256 values, so a full table of 256 never grows.
        Child_table *grown = new_table(table ? static_cast<uint16_t>(std::min(table->capacity * 2, 256)) : 1);
        if (table) {
            grown->count = table->count;
            std::memcpy(grown->nodes(), table->nodes(), table->count * sizeof(Map_node *));
            std::memcpy(grown->first_bytes(), table->first_bytes(), table->count);
            storage_free(table, table_size(table->capacity));
        }
        node->children = table = grown;
    }
    table->nodes()[table->count] = child;
    table->first_bytes()[table->count++] = child->bytes[0];
}

} // namespace

Trie::Trie() : Map_head{++last_generation}, root_{} {}

Trie::~Trie() { free_children(&root_); }

Map_node *Trie::new_node(Map_node *parent, std::string_view bytes) {
    const auto length = static_cast<uint16_t>(bytes.size());
    auto *node = static_cast<Map_node *>(storage_allocate(node_size(length)));
    node->object = nullptr;
    node->parent = parent;
    node->next = node->previous = nullptr;
    node->children = nullptr;
    node->length = node->room = length;
    std::memcpy(reinterpret_cast<char *>(node) + offsetof(Map_node, bytes), bytes.data(), length);
    ++nodes_;
    return node;
}

Map_node *Trie::find(std::string_view key) {
    if (key.empty()) return nullptr;
    Map_node *node = &root_;
    for (size_t at = 0; at < key.size(); at += node->length) {
        Map_node **child = find_child(node, static_cast<uint8_t>(key[at]));
        if (!child) return nullptr;
        node = *child;
        // The first byte has been compared.
        if (node->length == 1) continue;
        if (node->length > key.size() - at || std::memcmp(node->bytes, key.data() + at, node->length) != 0)
            return nullptr;
    }
    return node;
}

// Cuts a node's bytes at a position: a new node takes the first part and the
// place in the parent; the node itself becomes its child.
Map_node *Trie::split(Map_node *node, uint16_t at) {
    Map_node **place = find_child(node->parent, node->bytes[0]);
    Map_node *upper = new_node(node->parent, {reinterpret_cast<const char *>(node->bytes), at});
    *place = upper;
    node->parent = upper;
    node->length = static_cast<uint16_t>(node->length - at);
    std::memmove(node->bytes, node->bytes + at, node->length);
    add_child(upper, node);
    return upper;
}

Map_node *Trie::find_or_create(std::string_view key) {
    Map_node *node = &root_;
    for (size_t at = 0; at < key.size();) {
        Map_node **child = find_child(node, static_cast<uint8_t>(key[at]));
        if (!child) {
            Map_node *leaf = new_node(node, key.substr(at));
            add_child(node, leaf);
            return leaf;
        }
        node = *child;
        const size_t limit = std::min<size_t>(node->length, key.size() - at);
        uint16_t same = 1;
        while (same < limit && node->bytes[same] == static_cast<uint8_t>(key[at + same])) ++same;
        if (same < node->length) node = split(node, same);
        at += same;
    }
    return node;
}

// The depth is bounded by the length of a key.
void Trie::free_children(Map_node *node) {
    Child_table *table = node->children;
    if (!table) return;
    for (uint16_t i = 0; i < table->count; ++i) {
        Map_node *child = table->nodes()[i];
        free_children(child);
        if (!child->object) OBJ_remove_object(&child->spare);
        storage_free(child, node_size(child->room));
    }
    storage_free(table, table_size(table->capacity));
    node->children = nullptr;
}

void Trie::clear_or_keep() {
    if (!has_many_nodes()) return;
    free_children(&root_);
    nodes_ = 0;
    generation = ++last_generation;
}

void trie_key(const Map_node *node, STRNG *key) {
    uint32_t length = 0;
    for (const Map_node *n = node; n->parent; n = n->parent) length += n->length;
    if (key->capacity < length) STRNG_SETLGTH(key, length);
    key->length = length;
    uint8_t *end = key->data + length;
    for (const Map_node *n = node; n->parent; n = n->parent) {
        end -= n->length;
        std::memcpy(end, n->bytes, n->length);
    }
}

} // namespace qor
