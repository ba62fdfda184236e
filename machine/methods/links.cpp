// Links and database links.
#include "machine/methods/texts.hpp"

namespace qor {

namespace {

bool is_link(const QOR_OBJECT *object) { return has_value(object, TYPE_LINK); }

void create_link() {
    const int32_t orderpos = qorcpu_pop_int();
    const Popped_text key;
    Object_var link;
    BTYP_create_link(&link, borrow(""), 0, borrow(""), key, orderpos);
    qorcpu_push_owned(std::move(link));
}

void set_link_bid() {
    const Popped_text bid;
    if (is_link(qorcpu_top())) BTYP_set_link_bid(qorcpu_top(), bid);
}

// Pushes a text of the link on top, NULL for an empty one and for what is no
// link.
void push_text_of(void (*get)(QOR_OBJECT *object, STRNG *text)) {
    const Object_var object = pop_object();
    Work_text text;
    if (is_link(object)) get(object, &*text);
    if (text->empty())
        QORCPU_PUSH_UNDEF_STRING();
    else
        qorcpu_push_text(text->text());
}

void get_link_bid() { push_text_of(BTYP_get_link_bid); }
void get_link_key() { push_text_of(BTYP_get_link_key); }

void get_link_orderpos() {
    const Object_var object = pop_object();
    int32_t orderpos = -1;
    if (is_link(object)) BTYP_get_link_orderpos(object, &orderpos);
    if (orderpos < 0)
        QORCPU_PUSH_UNDEF_INT();
    else
        qorcpu_push_int(orderpos);
}

// There is one resolver for the links of every type.
void set_link_resolver() {
    const Object_var resolver = pop_object();
    const Popped_text type;
    BTYP_set_link_resolver(type, resolver);
}

void to_dblink() {
    const Popped_text text;
    Object_var dblink;
    BTYP_create_dblink(&dblink, text);
    if (dblink) qorcpu_push_owned(std::move(dblink));
}

void get_dblink_select() {
    const Object_var object = pop_object();
    Work_text select;
    BTYP_get_dblink_select(object, &*select);
    qorcpu_push_text(select->text());
}

void get_dblink_map() {
    const Object_var object = pop_object();
    QOR_MAP *map = nullptr;
    int32_t found;
    BTYP_get_dblink_map(object, &map, &found);
    if (found) QORCPU_PUSHM(map);
    qorcpu_push_boolean(found);
}

// What the method of an ilink leaves on the stack is the result.
void to_map() {
    Object_var object = pop_object();
    if (!object) return;
    if (is_ilink_type(type_of(object))) return OBJ_domethod(object, "to_map");
    const bool is_map = type_of(object) == TYPE_MAP;
    if (is_map) qorcpu_push_owned(std::move(object));
    qorcpu_push_boolean(is_map);
}

constexpr Native_method METHODS[] = {
    {"CREATE_LINK", create_link, 2, 1, 'P', "[s key, i orderpos][lk link]"},
    {"SET_LINK_BID", set_link_bid, 1, 1, 'P', "[lk link, s bid][lk link]"},
    {"GET_LINK_BID", get_link_bid, 1, 1, 'P', "[lk link][s bid]"},
    {"GET_LINK_KEY", get_link_key, 1, 1, 'P', "[lk link][s key]"},
    {"GET_LINK_ORDERPOS", get_link_orderpos, 1, 1, 'P', "[lk link][i orderpos]"},
    {"SET_LINK_RESOLVER", set_link_resolver, 2, 0, 'P', "[s type,proc resolver][]"},
    {"TO_DBLINK", to_dblink, 1, 1, 'P', ""},
    {"GET_DBLINK_SELECT", get_dblink_select, 1, 1, 'P', ""},
    {"GET_DBLINK_MAP", get_dblink_map, 1, 1, 'P', ""},
    {"TO_MAP", to_map, 1, 2, 'P', ""},
};

} // namespace

void register_link_methods() { register_methods("QOR", METHODS); }

} // namespace qor
