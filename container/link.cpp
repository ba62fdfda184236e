// Links: what is needed to find an object, and the object once the script's
// resolver has found it.
#include <new>
#include <string>

#include "kernel/lifecycle.hpp"
#include "kernel/storage.hpp"
#include "kernel/upcalls.hpp"
#include "object/class.hpp"
#include "object/types.hpp"
#include "qor/msg.h"
#include "qor/qorcpu.h"

namespace qor {

namespace {

struct Link {
    Strng type;
    Strng key;
    Strng bid;
    uint32_t number = 0; // handed to the resolver, as the key is
    int32_t orderpos = 0;
    Object_var target;
    uint32_t holders = 1; // the object, and every use that may run script code
};

Record_pool<sizeof(Link)> records;

// Pinned: a reference is not counted, yet a procedure that the script replaces
// goes on serving the links.
QOR_OBJECT *link_resolver = nullptr;

Link *new_link() { return new (records.take()) Link; }

void drop(Link *link) {
    if (--link->holders != 0) return;
    link->~Link();
    records.give(link);
}

// The resolver is script code, which may release or overwrite the link's object.
class Link_hold {
  public:
    explicit Link_hold(Link *link) : link_(link) { ++link->holders; }
    ~Link_hold() { drop(link_); }
    Link_hold(const Link_hold &) = delete;
    Link_hold &operator=(const Link_hold &) = delete;

  private:
    Link *link_;
};

// Whether the target is known, after asking the resolver if need be; a failure is
// not remembered. The caller holds the link.
bool BTYP_link_resolve(Link *link) {
    if (link->target) return true;
    if (!link_resolver || type_of(link_resolver) != TYPE_METHOD || !is_defined(link_resolver)) return false;
    QORCPU_PUSHI(static_cast<int32_t>(link->number));
    QORCPU_PUSHS(link->key);
    run_within_instruction(method_of(link_resolver));
    int32_t found;
    QORCPU_POPB(&found);
    if (!found) return false;
    Object_var target;
    QORCPU_POP_OBJ(&target);
    // A nested access may have resolved the link already: the last answer counts.
    link->target = std::move(target);
    return link->target.get() != nullptr;
}

Link *link_of(QOR_OBJECT *object) { return handle_of<Link>(object, TYPE_LINK); }

std::string shown(const Link *link) {
    std::string text(c_text(link->type.text()));
    text.append(":").append(std::to_string(static_cast<int32_t>(link->number)));
    text.append(":").append(c_text(link->bid.text()));
    text.append(":").append(c_text(link->key.text()));
    return text.append(":").append(std::to_string(link->orderpos));
}

// --- the type's slots ---------------------------------------------------------

void slot_remove(void *value) {
    if (Link *link = std::exchange(value_at<Link *>(value), nullptr)) drop(link);
}

// The copy asks the resolver for itself.
void slot_copy(const void *source, void *target) {
    const Link *link = value_at<Link *>(source);
    Link *copy = link ? new_link() : nullptr;
    if (copy) {
        copy->type.assign(link->type.text());
        copy->key.assign(link->key.text());
        copy->bid.assign(link->bid.text());
        copy->number = link->number;
        copy->orderpos = link->orderpos;
    }
    value_at<Link *>(target) = copy;
}

void slot_tochar(const void *value, int16_t *length, char *buffer) {
    const Link *link = value_at<Link *>(value);
    put_tochar(link ? shown(link) : "", length, buffer);
}

void slot_display(const void *value) {
    const Link *link = value_at<Link *>(value);
    MESSAGE_DISPLAY1_C(link ? ("LINK(" + shown(link) + ")").c_str() : "LINK IS QOR_NIL");
}

void slot_index(void *value, STRNG key, QOR_OBJECT **variable, int32_t *status) {
    *status = 0;
    Link *link = value_at<Link *>(value);
    if (!link) return;
    const Nesting level; // a target may be a link again, also this one
    const Link_hold hold(link);
    if (link->target) return OBJ_index_object(link->target, key, variable, status);
    const Strng own_key(view(key)); // the resolver may release what it lies in
    if (BTYP_link_resolve(link)) OBJ_index_object(link->target, own_key, variable, status);
}

} // namespace

const Value_slots LINK_SLOTS{"link",    handle_init, slot_remove,  move_64,
                             slot_copy, slot_tochar, slot_display, slot_index};

void link_terminate() { BTYP_set_link_resolver(borrow(""), nullptr); }

} // namespace qor

using namespace qor;

void BTYP_create_undef_link(QOR_OBJECT **variable) { OBJ_create_object(variable, TYPE_LINK); }

void BTYP_create_link(QOR_OBJECT **variable, STRNG type, uint32_t number, STRNG bid, STRNG key, int32_t orderpos) {
    Link *link = new_link();
    link->type.assign(view(type));
    link->key.assign(view(key));
    link->bid.assign(view(bid));
    link->number = number;
    link->orderpos = orderpos;
    create_adopting(variable, TYPE_LINK, link);
}

void BTYP_get_link_type(QOR_OBJECT *object, STRNG *type) {
    if (const Link *link = link_of(object)) strng_assign(type, link->type.text());
}

void BTYP_get_link_key(QOR_OBJECT *object, STRNG *key) {
    if (const Link *link = link_of(object)) strng_assign(key, link->key.text());
}

void BTYP_get_link_bid(QOR_OBJECT *object, STRNG *bid) {
    if (const Link *link = link_of(object)) strng_assign(bid, link->bid.text());
}

void BTYP_set_link_bid(QOR_OBJECT *object, STRNG bid) {
    if (Link *link = link_of(object)) link->bid.assign(view(bid));
}

void BTYP_get_link_number(QOR_OBJECT *object, int32_t *number) {
    if (const Link *link = link_of(object)) *number = static_cast<int32_t>(link->number);
}

void BTYP_get_link_orderpos(QOR_OBJECT *object, int32_t *orderpos) {
    if (const Link *link = link_of(object)) *orderpos = link->orderpos;
}

void BTYP_set_link_orderpos(QOR_OBJECT *object, int32_t orderpos) {
    if (Link *link = link_of(object)) link->orderpos = orderpos;
}

void BTYP_get_link_object(QOR_OBJECT *object, QOR_OBJECT **variable, int32_t *status) {
    *status = 0;
    Link *link = link_of(object);
    if (!link) return;
    const Nesting level;
    const Link_hold hold(link);
    if (!BTYP_link_resolve(link)) return;
    // The variable may hold the target itself, which its own copy replaces.
    Object_var copy;
    OBJ_copy_object(link->target, &copy);
    OBJ_remove_object(variable);
    *variable = copy.release();
    *status = 1;
}

void BTYP_set_link_resolver(STRNG, QOR_OBJECT *resolver) {
    if (resolver) {
        OBJ_assert_type(resolver, TYPE_METHOD);
        if (type_of(resolver) != TYPE_METHOD) return;
        pin(resolver);
    }
    if (QOR_OBJECT *previous = std::exchange(link_resolver, resolver)) unpin(previous);
}
