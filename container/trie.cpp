#include "container/trie.hpp"

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstring>

#include "kernel/storage.hpp"
#include "kernel/strng.hpp"
#include "qor/obj.h"

namespace qor {

// The children of a node: their first bytes side by side, so that a search
// compares eight at once, and the ways to them. All lies in one block, so that
// a step down touches two lines of the cache.
struct Child_table {
    Map_node *node; // null for the first level
    uint16_t run;   // the node's length: a run of one byte is not looked at again
    uint16_t count;
    uint8_t size;   // index of CAPACITIES
    uint8_t offset; // of the ways, in steps of eight
    uint8_t bytes[1];

    Way *ways() { return reinterpret_cast<Way *>(this) + offset; }
    const Way *ways() const { return reinterpret_cast<const Way *>(this) + offset; }
};
static_assert(sizeof(Way) == 8);

Map_node *Way::node() const { return is_table() ? table()->node : reinterpret_cast<Map_node *>(word_); }

namespace {

// A byte has 256 values, so the last never grows. With the bytes the head of
// most is a multiple of eight; and there are ten digits.
constexpr uint16_t CAPACITIES[] = {2, 4, 6, 10, 18, 26, 42, 66, 106, 170, 256};

constexpr size_t rounded(size_t size) { return (size + 7) & ~size_t{7}; }
constexpr size_t ways_offset(uint16_t capacity) { return rounded(offsetof(Child_table, bytes) + capacity); }
constexpr size_t table_size(uint16_t capacity) { return ways_offset(capacity) + capacity * sizeof(Way); }
constexpr size_t node_size(uint16_t room) { return rounded(offsetof(Map_node, bytes) + room); }

uint64_t last_generation = 0;
Block_pool blocks;

Child_table *new_table(Map_node *node, uint8_t size) {
    auto *table = static_cast<Child_table *>(blocks.take(table_size(CAPACITIES[size])));
    table->node = node;
    table->run = node ? node->length : 0;
    table->count = 0;
    table->size = size;
    table->offset = ways_offset(CAPACITIES[size]) / sizeof(Way);
    return table;
}

void free_table(Child_table *table) { blocks.give(table, table_size(CAPACITIES[table->size])); }

// Whether a key goes on with a node's bytes, the first of which has led there.
inline bool is_run(const Map_node *node, const char *key, size_t length) {
    if (length > 8) return std::memcmp(node->bytes, key, length) == 0;
    for (size_t i = 1; i < length; ++i)
        if (node->bytes[i] != static_cast<uint8_t>(key[i])) return false;
    return true;
}

// The index of the child whose run begins with the byte, or -1. A table is
// longer than its bytes by at least eight, so whole words can be read.
inline int32_t find_child(const Child_table *table, uint8_t byte) {
    const uint64_t wanted = 0x0101010101010101u * byte;
    for (int32_t i = 0; i < table->count; i += 8) {
        uint64_t word;
        std::memcpy(&word, table->bytes + i, sizeof word);
        if constexpr (std::endian::native == std::endian::big) word = __builtin_bswap64(word);
        const uint64_t hits = zero_bytes(word ^ wanted);
        if (!hits) continue;
        const int32_t found = i + std::countr_zero(hits) / 8;
        return found < table->count ? found : -1;
    }
    return -1;
}

void append_child(Child_table *table, uint8_t byte, Way way) {
    table->bytes[table->count] = byte;
    table->ways()[table->count++] = way;
}

// Adds a child to the node that a way leads to; the way leads to its table then.
void add_child(Way *place, Map_node *node, Map_node *child) {
    Child_table *table = place->is_table() ? place->table() : nullptr;
    if (!table) {
        table = new_table(node, 0);
    } else if (table->count == CAPACITIES[table->size]) {
        Child_table *grown = new_table(node, table->size + 1);
        grown->count = table->count;
        std::memcpy(grown->bytes, table->bytes, table->count);
        std::copy_n(table->ways(), table->count, grown->ways());
        free_table(std::exchange(table, grown));
    }
    append_child(table, child->bytes[0], Way(child));
    *place = Way(table);
}

void sort_children(Child_table *table) {
    uint8_t *bytes = table->bytes;
    Way *ways = table->ways();
    for (uint16_t i = 1; i < table->count; ++i) {
        const uint8_t byte = bytes[i];
        const Way way = ways[i];
        uint16_t to = i;
        for (; to > 0 && bytes[to - 1] > byte; --to) {
            bytes[to] = bytes[to - 1];
            ways[to] = ways[to - 1];
        }
        bytes[to] = byte;
        ways[to] = way;
    }
}

// A large trie is slow because of the way to memory. So the lines of the cache
// that hold a table's ways are fetched together with its head,
inline void fetch(const Child_table *table) { __builtin_prefetch(reinterpret_cast<const char *>(table) + 64); }

// and walks fetch all children of a node at once.
const Way *fetched_ways(const Child_table *table) {
    const Way *ways = table->ways();
    for (uint16_t i = 0; i < table->count; ++i) ways[i].prefetch();
    return ways;
}

// This and the other walks below go as deep as a key is long.
void collect(Way way, bool descending, std::vector<Map_node *> *nodes) {
    Map_node *node = way.node();
    const bool ends_key = node && node->object;
    if (ends_key && !descending) nodes->push_back(node);
    if (way.is_table()) {
        Child_table *table = way.table();
        sort_children(table);
        const Way *ways = fetched_ways(table);
        for (uint16_t i = 0; i < table->count; ++i)
            collect(ways[descending ? table->count - 1 - i : i], descending, nodes);
    }
    if (ends_key && descending) nodes->push_back(node);
}

} // namespace

Trie::Trie() : Map_head{++last_generation} {}

Trie::~Trie() {
    if (root_.is_open()) free_all(root_);
}

Map_node *Trie::new_node(Map_node *parent, std::string_view bytes) {
    const auto length = static_cast<uint16_t>(bytes.size());
    const size_t size = node_size(length);
    auto *node = static_cast<Map_node *>(blocks.take(size));
    node->object = nullptr;
    node->parent = parent;
    node->next = node->previous = nullptr;
    node->length = length;
    node->room = static_cast<uint16_t>(size - offsetof(Map_node, bytes));
    copy_text(reinterpret_cast<uint8_t *>(node) + offsetof(Map_node, bytes), bytes.data(), length);
    ++nodes_;
    return node;
}

void Trie::free_node(Map_node *node) {
    if (!node->object) OBJ_remove_object(&node->spare);
    blocks.give(node, node_size(node->room));
    --nodes_;
}

Map_node *Trie::find(std::string_view key) const {
    if (key.empty() || !root_.is_open()) return nullptr;
    const Child_table *table = root_.table();
    const char *at = key.data();
    size_t left = key.size();
    for (;;) {
        const int32_t child = find_child(table, static_cast<uint8_t>(*at));
        if (child < 0) return nullptr;
        const Way way = table->ways()[child];
        if (!way.is_table()) {
            Map_node *node = way.node();
            return node->length == left && is_run(node, at, left) ? node : nullptr;
        }
        table = way.table();
        fetch(table);
        const size_t run = table->run;
        if (run > 1 && (run > left || !is_run(table->node, at, run))) return nullptr;
        at += run;
        left -= run;
        if (left == 0) return table->node;
    }
}

// Cuts a node's bytes at a position: a new node takes the first part and the
// way to the node, which becomes its child.
void Trie::split(Way *way, uint16_t at) {
    Map_node *node = way->node();
    Map_node *upper = new_node(node->parent, {reinterpret_cast<const char *>(node->bytes), at});
    node->parent = upper;
    node->length = static_cast<uint16_t>(node->length - at);
    std::memmove(node->bytes, node->bytes + at, node->length);
    if (way->is_table()) way->table()->run = node->length;
    Child_table *table = new_table(upper, 0);
    append_child(table, node->bytes[0], *way);
    *way = Way(table);
}

Map_node *Trie::find_or_create(std::string_view key) {
    Way *place = &root_;
    Map_node *node = nullptr;
    for (size_t at = 0; at < key.size();) {
        const int32_t child = place->is_table() ? find_child(place->table(), static_cast<uint8_t>(key[at])) : -1;
        if (child < 0) {
            Map_node *leaf = new_node(node, key.substr(at));
            if (holds_zero(key)) has_zero_bytes_ = true;
            add_child(place, node, leaf);
            return leaf;
        }
        place = place->table()->ways() + child;
        if (place->is_table()) fetch(place->table());
        node = place->node();
        if (place->is_table() && place->table()->run == 1) {
            ++at;
            continue;
        }
        const size_t limit = std::min<size_t>(node->length, key.size() - at);
        uint16_t same = 1;
        while (same < limit && node->bytes[same] == static_cast<uint8_t>(key[at + same])) ++same;
        if (same < node->length) {
            split(place, same);
            node = place->node();
        }
        at += same;
    }
    return node;
}

void Trie::free_all(Way way) {
    Map_node *node = way.node();
    if (way.is_table()) {
        Child_table *table = way.table();
        const Way *ways = fetched_ways(table);
        for (uint16_t i = 0; i < table->count; ++i) free_all(ways[i]);
        free_table(table);
    }
    if (node) free_node(node);
}

void Trie::clear_or_keep() {
    if (!has_many_nodes()) return;
    free_all(std::exchange(root_, Way()));
    removals_ = 0;
    has_zero_bytes_ = false;
    generation = ++last_generation;
}

// Frees what holds no object below a way, and tells whether anything is left.
bool Trie::prune(Way *way) {
    Map_node *node = way->node();
    if (way->is_table()) {
        Child_table *table = way->table();
        Way *ways = table->ways();
        fetched_ways(table);
        uint16_t kept = 0;
        for (uint16_t i = 0; i < table->count; ++i) {
            if (!prune(&ways[i])) continue;
            table->bytes[kept] = table->bytes[i];
            ways[kept++] = ways[i];
        }
        table->count = kept;
        if (kept > 0) return true;
        free_table(table);
        *way = Way(node);
    }
    if (!node || node->object) return node != nullptr;
    free_node(node);
    return false;
}

void Trie::prune() {
    prune(&root_);
    removals_ = 0;
    generation = ++last_generation;
}

std::vector<Map_node *> Trie::in_key_order(bool descending) {
    std::vector<Map_node *> nodes;
    if (root_.is_open()) collect(root_, descending, &nodes);
    return nodes;
}

void trie_key(const Map_node *node, STRNG *key) {
    uint32_t length = 0;
    for (const Map_node *n = node; n; n = n->parent) length += n->length;
    if (key->capacity < length) STRNG_SETLGTH(key, length);
    key->length = length;
    uint8_t *end = key->data + length;
    for (const Map_node *n = node; n; n = n->parent) {
        end -= n->length;
        copy_text(end, n->bytes, n->length);
    }
}

} // namespace qor
