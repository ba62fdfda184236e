// The key index of a map: a byte trie whose nodes hold runs of key bytes.
//
// Keys AB, ABCD and ABXY:
//
//   (root) - "AB" - "CD"
//               \ - "XY"
//
// Invariants:
//  1. A key is the text of the nodes from the root down; a node ends a key when
//     it holds an object. Others only branch, or held a key that was removed.
//  2. The first bytes of a node's children differ.
//  3. A node keeps its address for as long as the generation lasts: a split
//     puts a new node above it. So a remembered node stays right.
#pragma once

#include <cstdint>
#include <string_view>

#include "object/entry_cache.hpp"

namespace qor {

struct Child_table;

struct Map_node {
    QOR_OBJECT *object; // as Map_node_head
    Map_node *parent;
    union {
        Map_node *next;    // order chain, while the node holds an object
        QOR_OBJECT *spare; // else: what clearing the map left for the next value, or nil
    };
    Map_node *previous;
    Child_table *children;
    uint16_t length;  // of bytes
    uint16_t room;    // bytes that the block has behind the record
    uint8_t bytes[1]; // as many as room
};

class Trie : Map_head {
  public:
    Trie();
    Trie(const Trie &) = delete;
    Trie &operator=(const Trie &) = delete;
    ~Trie();

    // The node at which the key ends, with or without an object; null when the
    // trie has none.
    Map_node *find(std::string_view key);
    Map_node *find_or_create(std::string_view key);
    // Ends the generation and frees the nodes, unless there are few: a map that
    // is emptied and filled again for each record keeps its nodes. No node may
    // hold an object any more.
    void clear_or_keep();
    // A map that is emptied keeps up to this many nodes. Records have fewer
    // fields; a map with ever new keys must not grow without bound.
    bool has_many_nodes() const { return nodes_ > 256; }

  private:
    Map_node *new_node(Map_node *parent, std::string_view bytes);
    Map_node *split(Map_node *node, uint16_t at);
    void free_children(Map_node *node);

    Map_node root_;
    uint32_t nodes_ = 0;
};

// The key that ends at a node.
void trie_key(const Map_node *node, STRNG *key);

} // namespace qor
