// AP: the tree of access paths. Each dotted name has one permanent node, which
// caches the object that the name leads to now.
#pragma once

#include <cstdint>

#include "container/entry_cache.hpp"
#include "object/object.hpp"

namespace qor {

// Invariant: the nodes below an unbound node are unbound, since binding a node
// binds its parents first and resetting one resets what is bound below it.
struct Ap {
    Ap *parent = nullptr;
    Ap *chain = nullptr;       // next node bound to the same object
    QOR_OBJECT *obj = nullptr; // the binding; holds no count
    Strng name;
    // The bound nodes among the children, so that a reset visits no others.
    Ap *bound_child = nullptr;
    Ap *bound_next = nullptr;
    Ap *bound_previous = nullptr;
    // The map entry that this name was found in last.
    Entry_cache entry;
};

Ap *ap_root();
// The node of a dotted name, made where it is missing; null when the name has
// an empty component.
Ap *AP_create_path(STRNG name);
void AP_get_name(const Ap *ap, STRNG *name);

// Binds the node and returns the object, borrowed; null when nothing is there.
QOR_OBJECT *ap_resolve_unbound(Ap *ap);
inline QOR_OBJECT *AP_resolve(Ap *ap) {
    return ap->obj ? ap->obj : ap_resolve_unbound(ap);
}

// Unbinds the node and everything under it.
void reset_ap(Ap *ap);
void AP_reset_children(Ap *ap);

} // namespace qor
