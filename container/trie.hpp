// The key index of a map: a byte trie whose nodes hold runs of key bytes.
//
// Keys AB, ABCD and ABXY:
//
//   (root) - "AB" - "CD"
//               \ - "XY"
//
// Invariants:
//  1. A key is the text of the nodes from the first level down; a node ends a
//     key when it holds an object. Others only branch, or held a key that was
//     removed.
//  2. The first bytes of a node's children differ.
//  3. A node keeps its address for as long as the generation lasts: a split
//     puts a new node above it, and what leads to its children is apart from
//     it. So a remembered node stays right.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "object/entry_cache.hpp"

namespace qor {

struct Child_table;

struct Map_node {
    QOR_OBJECT *object; // as Map_node_head
    Map_node *parent;   // null at the first level
    union {
        Map_node *next;    // order chain, while the node holds an object
        QOR_OBJECT *spare; // else: what clearing the map left for the next value, or nil
    };
    Map_node *previous;
    uint16_t length;  // of bytes
    uint16_t room;    // bytes that the block has behind the record
    uint8_t bytes[1]; // as many as room
};

// What leads to a node: most nodes have no children, and the way leads to the
// node itself; else it leads to the table of its children, which knows the
// node. So a search passes through tables alone and meets one node, its last.
class Way {
  public:
    Way() = default;
    explicit Way(Map_node *node) : word_(reinterpret_cast<uintptr_t>(node)) {}
    explicit Way(Child_table *table) : word_(reinterpret_cast<uintptr_t>(table) | 1) {}
    bool is_open() const { return word_ != 0; }
    bool is_table() const { return word_ & 1; }
    Child_table *table() const { return reinterpret_cast<Child_table *>(word_ & ~uintptr_t{1}); }
    Map_node *node() const; // of a table: whose children these are
    void prefetch() const { __builtin_prefetch(reinterpret_cast<const void *>(word_)); }

  private:
    uintptr_t word_ = 0;
};

class Trie : Map_head {
  public:
    Trie();
    Trie(const Trie &) = delete;
    Trie &operator=(const Trie &) = delete;
    ~Trie();

    // The node at which the key ends, with or without an object; null when the
    // trie has none.
    Map_node *find(std::string_view key) const;
    Map_node *find_or_create(std::string_view key);
    // Ends the generation and frees the nodes, unless there are few: a map that
    // is emptied and filled again for each record keeps its nodes. No node may
    // hold an object any more.
    void clear_or_keep();
    // A map that is emptied keeps up to this many nodes. Records have fewer
    // fields; a map with ever new keys must not grow without bound.
    bool has_many_nodes() const { return nodes_ > 256; }
    // To be told of each node that lost its object while others keep theirs: when
    // most may be without one, those are freed and the generation ends.
    void note_removal() {
        if (++removals_ > nodes_ / 4 * 3 && has_many_nodes()) [[unlikely]]
            prune();
    }

    // The nodes with objects by their keys, which compare as unsigned bytes.
    std::vector<Map_node *> in_key_order(bool descending);
    // Whether a key held a zero byte since the last generation began.
    bool has_zero_bytes() const { return has_zero_bytes_; }

  private:
    Map_node *new_node(Map_node *parent, std::string_view bytes);
    void split(Way *way, uint16_t at);
    void free_node(Map_node *node);
    void free_all(Way way);
    bool prune(Way *way);
    void prune();

    Way root_; // to the table of the first level, or not open
    uint32_t nodes_ = 0;
    uint32_t removals_ = 0; // since nodes were freed last
    bool has_zero_bytes_ = false;
};

// The key that ends at a node.
void trie_key(const Map_node *node, STRNG *key);

} // namespace qor
