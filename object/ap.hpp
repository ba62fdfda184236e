// AP: the tree of access paths. Each dotted name has one permanent node, which
// caches the object that the name leads to now.
#pragma once

#include <cstdint>

#include "object/entry_cache.hpp"
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
    // The map entry that this name was found in last. A name under ROOT.LOCAL
    // has one for each depth, since each depth has a map of its own.
    Entry_cache entry;
    Entry_cache *entries_by_depth = nullptr;
};

// The depth of the frame that ROOT.LOCAL shows; the machine sets it.
inline constexpr uint32_t AP_DEPTHS = 257;
inline uint32_t ap_depth = 0;

inline Entry_cache *ap_entry(Ap *ap) { return ap->entries_by_depth ? &ap->entries_by_depth[ap_depth] : &ap->entry; }

// The children that this node gets from now on keep an entry for each depth.
void ap_keep_entries_by_depth(Ap *ap);

// The node of a dotted name, made where it is missing; null when the name has
// an empty component.
Ap *AP_create_path(STRNG name);
// The same for a name that is data: null, and no new node, when it leads nowhere
// now. Nodes stay for good, so names that never meant anything must not make any.
Ap *AP_find_path(STRNG name);
void AP_get_name(const Ap *ap, STRNG *name);

// Binds the node and returns the object, borrowed; null when nothing is there.
QOR_OBJECT *ap_resolve_unbound(Ap *ap);
inline QOR_OBJECT *AP_resolve(Ap *ap) { return ap->obj ? ap->obj : ap_resolve_unbound(ap); }

// A defined object of the type: one comparison of a byte.
[[gnu::always_inline]] inline bool is_defined_as(const QOR_OBJECT *o, int32_t type) {
    return static_cast<uint8_t>(o->flags) == (OBJ_DEFINED | static_cast<uint32_t>(type));
}

// What stands at the remembered place of an unbound node; null when the node
// must be resolved.
[[gnu::always_inline]] inline QOR_OBJECT *ap_peek(Ap *ap) {
    const QOR_OBJECT *container = ap->parent->obj;
    if (!container || !is_defined_as(container, TYPE_MAP) || !container->handle) return nullptr;
    return cached_object(*ap_entry(ap), static_cast<const QOR_MAP *>(container->handle));
}

// Reads a node that leads to a plain value in a map, without binding it. Such a
// value has no names below it, and with a single reference nothing but its map
// entry can show which paths are bound to it; so the binding would only have to
// be undone by the next assignment. Null when the node must be resolved.
[[gnu::always_inline]] inline QOR_OBJECT *ap_peek_value(Ap *ap) {
    QOR_OBJECT *object = ap_peek(ap);
    return object && (object->flags >> 8) == 1 && is_leaf_type(type_of(object)) ? object : nullptr;
}

// Unbinds the node and everything under it.
void reset_ap(Ap *ap);
void ap_reset_bound_children(Ap *ap);
// Rarely has anything to do, since plain values are read without binding them.
inline void AP_reset_children(Ap *ap) {
    if (ap->bound_child) [[unlikely]]
        ap_reset_bound_children(ap);
}

} // namespace qor
