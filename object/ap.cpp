#include "object/ap.hpp"

#include <functional>
#include <unordered_set>
#include <vector>

#include "kernel/lifecycle.hpp"
#include "object/map_access.hpp"
#include "object/types.hpp"
#include "qor/map.h"
#include "qor/msg.h"

namespace qor {

namespace {

Ap *root = nullptr;
Ap *parent_of_locals = nullptr;

// All nodes by parent and name. Nodes are never freed: the tree grows by one
// node for each distinct name that the process uses.
struct Place {
    const Ap *parent;
    std::string_view name;
};

struct Place_hash {
    using is_transparent = void;
    size_t operator()(const Place &p) const {
        return std::hash<std::string_view>()(p.name) ^ (reinterpret_cast<size_t>(p.parent) >> 4) * 0x9e3779b97f4a7c15u;
    }
    size_t operator()(const Ap *ap) const { return (*this)(Place{ap->parent, ap->name.text()}); }
};

struct Place_equal {
    using is_transparent = void;
    bool operator()(const Ap *a, const Ap *b) const { return a == b; }
    bool operator()(const Place &p, const Ap *ap) const { return p.parent == ap->parent && p.name == ap->name.text(); }
    bool operator()(const Ap *ap, const Place &p) const { return (*this)(p, ap); }
};

using Node_set = std::unordered_set<Ap *, Place_hash, Place_equal>;

// Never destroyed: paths outlive the stop of the system.
Node_set &nodes() {
    static Node_set *set = new Node_set;
    return *set;
}

Ap *find(const Ap *parent, std::string_view name) {
    const auto found = nodes().find(Place{parent, name});
    return found != nodes().end() ? *found : nullptr;
}

Ap *create(Ap *parent, std::string_view name) {
    auto *ap = new Ap;
    ap->parent = parent;
    ap->name.assign(name);
    if (parent == parent_of_locals) ap->entries_by_depth = new Entry_cache[AP_DEPTHS];
    nodes().insert(ap);
    return ap;
}

void skip_blanks(std::string_view &text) { text.remove_prefix(std::min(text.find_first_not_of(' '), text.size())); }

// Takes the token up to one of the ends, which is consumed.
std::string_view take_token(std::string_view &text, const char *ends) {
    skip_blanks(text);
    const size_t length = std::min(text.find_first_of(ends), text.size());
    const std::string_view token = text.substr(0, length);
    text.remove_prefix(std::min(length + 1, text.size()));
    return token;
}

void bind(Ap *ap, QOR_OBJECT *object) {
    ap->obj = object;
    ap->chain = object->aps;
    object->aps = ap;
    Ap *parent = ap->parent;
    ap->bound_previous = nullptr;
    ap->bound_next = parent->bound_child;
    if (parent->bound_child) parent->bound_child->bound_previous = ap;
    parent->bound_child = ap;
}

// Unbinds one node below which nothing is bound.
void unbind(Ap *ap) {
    Ap **link = &ap->obj->aps;
    while (*link != ap) link = &(*link)->chain;
    *link = ap->chain;
    if (ap->bound_previous)
        ap->bound_previous->bound_next = ap->bound_next;
    else
        ap->parent->bound_child = ap->bound_next;
    if (ap->bound_next) ap->bound_next->bound_previous = ap->bound_previous;
    QOR_OBJECT *object = ap->obj;
    ap->obj = nullptr;
    // What an index slot made for this name alone has no other owner.
    if (count_of(object) == 0 && !object->aps && !is_pinned(object)) free_unbound(object);
}

// The object under a name of a bound parent.
QOR_OBJECT *index_parent(Ap *ap, QOR_OBJECT *parent) {
    if (type_of(parent) == TYPE_MAP) return map_find_cached(map_of(parent), ap->name, ap_entry(ap));
    QOR_OBJECT *object = nullptr;
    int32_t status = 0;
    OBJ_index_object(parent, ap->name, &object, &status);
    if (status != 1 || !object) {
        OBJ_remove_object(&object);
        return nullptr;
    }
    // A binding is not a reference: the slot's count goes back at once.
    if (count_of(object) < OBJ_MAX_COUNT) object->flags -= OBJ_ONE;
    return object;
}

} // namespace

void ap_keep_entries_by_depth(Ap *ap) { parent_of_locals = ap; }

namespace {

// Follows a name from the root, node by node; next gives the node of a component
// that has none yet, or null to end the search.
template <class Next> Ap *follow(STRNG name, Next next) {
    std::string_view rest = view(name);
    const std::string_view first = take_token(rest, ". ");
    if (first.empty()) return nullptr;
    if (first != "ROOT") rest = view(name);
    Ap *ap = root;
    while (ap && !rest.empty()) {
        const std::string_view token = take_token(rest, ".");
        if (token.empty()) return nullptr;
        Ap *known = find(ap, token);
        ap = known ? known : next(ap, token);
    }
    return ap;
}

} // namespace

Ap *AP_create_path(STRNG name) { return follow(name, create); }

Ap *AP_find_path(STRNG name) {
    return follow(name, [](Ap *ap, std::string_view token) -> Ap * {
        QOR_OBJECT *object = AP_resolve(ap);
        if (!object) return nullptr;
        if (type_of(object) == TYPE_MAP && !map_find(map_of(object), borrow(token))) return nullptr;
        return create(ap, token);
    });
}

void AP_get_name(const Ap *ap, STRNG *name) {
    std::vector<const Ap *> parts;
    for (; ap; ap = ap->parent) parts.push_back(ap);
    name->length = 0;
    for (size_t i = parts.size(); i-- > 0;) {
        strng_append(name, parts[i]->name.text());
        if (i > 0) STRNG_APPC('.', name);
    }
}

QOR_OBJECT *ap_resolve_unbound(Ap *ap) {
    if (ap->parent->obj) {
        QOR_OBJECT *object = index_parent(ap, ap->parent->obj);
        // An index slot may run script code, which may have bound the node.
        if (object && !ap->obj) bind(ap, object);
        return ap->obj;
    }
    // From the nearest bound node downward, without recursion: a name may have
    // any number of components.
    std::vector<Ap *> unbound;
    for (Ap *a = ap; !a->obj; a = a->parent) unbound.push_back(a);
    for (size_t i = unbound.size(); i-- > 0;) {
        Ap *a = unbound[i];
        if (a->obj) continue;
        if (!a->parent->obj) return nullptr;
        QOR_OBJECT *object = index_parent(a, a->parent->obj);
        if (!object) return nullptr;
        if (!a->obj && a->parent->obj) bind(a, object);
    }
    return ap->obj;
}

void reset_ap(Ap *ap) {
    if (!ap->obj || !ap->parent) return;
    Ap *current = ap;
    for (;;) {
        while (current->bound_child) current = current->bound_child;
        Ap *parent = current->parent;
        const bool last = current == ap;
        unbind(current);
        if (last) return;
        current = parent;
    }
}

// Out of line: inlined into the machine's loop it would take its registers.
[[gnu::noinline]] void ap_reset_bound_children(Ap *ap) {
    while (ap->bound_child) reset_ap(ap->bound_child);
}

void ap_init() {
    static bool done = false;
    if (!first_time(done)) return;
    root = new Ap;
    root->name.assign("ROOT");
    root->obj = MAP_get_root_object();
    if (!root->obj) MESSAGE_DISPLAY1_C("AP_INIT: MAP_ROOTOBJ is QOR_NIL\n");
}

} // namespace qor
