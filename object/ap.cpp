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

// Keeps the parent of a name alive while its index slot runs. A count would
// show, and giving it back would unbind the parent. A text has no pins, and
// nothing that could release it runs.
class Pinned {
  public:
    explicit Pinned(QOR_OBJECT *object) : object_(type_of(object) == TYPE_STRING ? nullptr : object) {
        if (object_) pin(object_);
    }
    ~Pinned() {
        if (object_) unpin(object_);
    }
    Pinned(const Pinned &) = delete;
    Pinned &operator=(const Pinned &) = delete;

  private:
    QOR_OBJECT *object_;
};

enum class Found { YES, NO, MOVED };

// Binds a name of a bound parent that is no map. The index slot of a link runs
// script code, which may release the parent, lead its name elsewhere or bind
// this very node: then nothing is done, and the name has to be followed anew.
Found bind_indexed(Ap *ap) {
    QOR_OBJECT *parent = ap->parent->obj;
    const Pinned pinned(parent);
    Object_var object;
    int32_t status = 0;
    OBJ_index_object(parent, ap->name, &object, &status);
    if (status != 1 || !object) return Found::NO;
    if (ap->obj || ap->parent->obj != parent) return Found::MOVED;
    // A binding is not a reference: the slot's count goes back at once.
    QOR_OBJECT *found = object.release();
    if (count_of(found) < OBJ_MAX_COUNT) found->flags -= OBJ_ONE;
    bind(ap, found);
    return Found::YES;
}

Found bind_child(Ap *ap) {
    QOR_OBJECT *parent = ap->parent->obj;
    if (type_of(parent) != TYPE_MAP) [[unlikely]]
        return bind_indexed(ap);
    QOR_OBJECT *object = map_find_cached(map_of(parent), ap->name, ap_entry(ap));
    if (!object) return Found::NO;
    if (!ap->obj) bind(ap, object);
    return Found::YES;
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
        const Found found = bind_child(ap);
        if (found != Found::MOVED) [[likely]]
            return ap->obj;
    }
    // From the nearest bound node downward, without recursion: a name may have
    // any number of components. Script code that leads the name elsewhere each
    // time it is followed does not find it.
    constexpr int ATTEMPTS = 8;
    std::vector<Ap *> unbound;
    for (int attempt = 0; attempt < ATTEMPTS; ++attempt) {
        unbound.clear();
        for (Ap *a = ap; !a->obj; a = a->parent) unbound.push_back(a);
        Found found = Found::YES;
        while (found == Found::YES && !unbound.empty()) {
            Ap *a = unbound.back();
            unbound.pop_back();
            if (a->obj) continue;
            found = a->parent->obj ? bind_child(a) : Found::MOVED;
        }
        if (found == Found::NO) return nullptr;
        if (ap->obj) return ap->obj;
    }
    return nullptr;
}

void reset_ap(Ap *ap) {
    if (!ap->parent) return;
    // What goes with a binding may unbind other nodes, these among them.
    while (ap->obj) {
        Ap *lowest = ap;
        while (lowest->bound_child) lowest = lowest->bound_child;
        unbind(lowest);
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
