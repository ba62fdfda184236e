#include "container/list.hpp"

#include <charconv>
#include <cstdlib>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "kernel/storage.hpp"
#include "object/types.hpp"
#include "qor/btyp.h"
#include "qor/msg.h"

// The chain is doubly linked, so that the last node goes without a walk.
// Invariants:
//  1. owner is the list that holds the node, null while the node is free.
//     Memory of nodes is never given back, so a read position that outlived
//     its node can still be told from a living one.
//  2. before and read of a list are nodes of that list or null, and before
//     stands in front of read.
struct QOR_LIST_NODE {
    QOR_LIST_NODE *next; // of a free node: the next free one
    QOR_LIST_NODE *previous;
    QOR_OBJECT *obj; // one counted reference
    QOR_LIST *owner;
};

struct QOR_LIST {
    QOR_LIST_NODE *first;
    QOR_LIST_NODE *last;
    QOR_LIST_NODE *before; // stands before the element just read
    QOR_LIST_NODE *read;   // what the next read gives
    int32_t size;
    // The place that the last numeric index found, so that counting through a
    // list does not walk it from the head each time; number 0 is none.
    int32_t indexed;
    QOR_LIST_NODE *indexed_node;
};

namespace qor {

namespace {

constexpr size_t NODES_PER_BLOCK = 128;

QOR_LIST_NODE *free_nodes = nullptr;

Record_pool<sizeof(QOR_LIST)> records;

bool is_list(const QOR_LIST *list) {
    if (list) [[likely]]
        return true;
    MESSAGE_ABORT1_C("list is QOR_NIL\n");
    return false;
}

QOR_LIST *list_of(QOR_OBJECT *object) { return handle_of<QOR_LIST>(object, TYPE_LIST); }

void refill_nodes() {
    auto *nodes = static_cast<QOR_LIST_NODE *>(storage_allocate(NODES_PER_BLOCK * sizeof(QOR_LIST_NODE)));
    for (size_t i = 0; i < NODES_PER_BLOCK; ++i) {
        nodes[i] = {free_nodes, nullptr, nullptr, nullptr};
        free_nodes = &nodes[i];
    }
}

// Links an element behind a node, or at the head when that is null. The
// reference of the variable goes over to the list. The cursor stays.
QOR_LIST_NODE *link_after(QOR_LIST *list, QOR_LIST_NODE *position, QOR_OBJECT *owned) {
    if (!free_nodes) refill_nodes();
    QOR_LIST_NODE *node = free_nodes;
    free_nodes = node->next;
    QOR_LIST_NODE *next = position ? position->next : list->first;
    *node = {next, position, owned, list};
    (position ? position->next : list->first) = node;
    (next ? next->previous : list->last) = node;
    if (next) list->indexed = 0;
    ++list->size;
    return node;
}

// Takes a node out of the chain and gives its reference to the caller.
QOR_OBJECT *unlink(QOR_LIST *list, QOR_LIST_NODE *node) {
    (node->previous ? node->previous->next : list->first) = node->next;
    (node->next ? node->next->previous : list->last) = node->previous;
    if (list->read == node) list->read = node->next;
    if (list->before == node) list->before = nullptr;
    list->indexed = 0;
    --list->size;
    QOR_OBJECT *owned = node->obj;
    *node = {free_nodes, nullptr, nullptr, nullptr};
    free_nodes = node;
    return owned;
}

void append_owned(QOR_LIST *list, QOR_OBJECT *owned) {
    QOR_LIST_NODE *node = link_after(list, list->last, owned);
    // A read that had come to the end goes on with the new element.
    if (!list->read) list->read = node;
}

// A new reference to an element that is to be stored; null, with the message
// of the object core, for nil.
QOR_OBJECT *reference_to(QOR_OBJECT *element) {
    QOR_OBJECT *owned = nullptr;
    OBJ_create_object_ref(element, &owned);
    return owned;
}

void append(QOR_LIST *list, QOR_OBJECT *element) {
    if (!is_list(list)) return;
    if (QOR_OBJECT *owned = reference_to(element)) append_owned(list, owned);
}

void prepend(QOR_LIST *list, QOR_OBJECT *element) {
    if (!is_list(list)) return;
    QOR_OBJECT *owned = reference_to(element);
    if (!owned) return;
    QOR_LIST_NODE *node = link_after(list, nullptr, owned);
    // The element just read now has a node before it. Before any read this
    // keeps the new element out of that read; read stays null in an empty list.
    if (!list->before) list->before = node;
}

// Whether an element was just read, next to which another can be inserted.
bool can_insert(const QOR_LIST *list) {
    if (!is_list(list)) return false;
    if (!list->read && !list->before) {
        MESSAGE_ABORT1_C("insert impossible after end of list\n");
        return false;
    }
    if (list->read == list->first) {
        MESSAGE_ABORT1_C("use READ_NEXT first\n");
        return false;
    }
    return true;
}

void insert_before(QOR_LIST *list, QOR_OBJECT *element) {
    if (!can_insert(list)) return;
    if (!list->before) {
        prepend(list, element);
    } else if (QOR_OBJECT *owned = reference_to(element)) {
        list->before = link_after(list, list->before, owned);
    }
}

void insert_after(QOR_LIST *list, QOR_OBJECT *element) {
    if (!can_insert(list)) return;
    if (!list->read) {
        append(list, element);
    } else if (QOR_OBJECT *owned = reference_to(element)) {
        list->read = link_after(list, list->read->previous, owned);
    }
}

void reset_read(QOR_LIST *list) {
    if (!is_list(list)) return;
    list->before = nullptr;
    list->read = list->first;
}

void read_next(QOR_LIST *list, QOR_OBJECT **variable, int32_t *status) {
    *status = 0;
    if (!is_list(list)) return;
    QOR_LIST_NODE *node = list->read;
    if (!node) {
        list->before = nullptr;
        return;
    }
    if (node == list->first) {
        list->before = nullptr;
    } else if (!list->before) {
        list->before = list->first;
    } else {
        list->before = list->before->next;
    }
    list->read = node->next;
    OBJ_create_object_ref(node->obj, variable);
    *status = 1;
}

void remove_first(QOR_LIST *list) {
    if (!is_list(list) || !list->first) return;
    QOR_OBJECT *owned = unlink(list, list->first);
    OBJ_remove_object(&owned);
}

// Reads a decimal number as scanf would: blanks in front and a sign are taken,
// what follows the digits does not count, and a number that is too large
// becomes the limit.
bool scan_number(std::string_view text, int64_t *number) {
    const size_t start = text.find_first_not_of(" \t\n\v\f\r");
    if (start == std::string_view::npos) return false;
    text.remove_prefix(start);
    if (text.size() > 1 && text[0] == '+' && text[1] != '-') text.remove_prefix(1);
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), *number);
    if (error == std::errc::invalid_argument) return false;
    if (error == std::errc::result_out_of_range)
        *number = text[0] == '-' ? std::numeric_limits<int64_t>::min() : std::numeric_limits<int64_t>::max();
    return true;
}

// The node of element number, from 1 to the size: from the head, the tail or the
// place found last, whichever is nearest.
QOR_LIST_NODE *find_node(QOR_LIST *list, int32_t number) {
    int32_t at = 1;
    QOR_LIST_NODE *node = list->first;
    const auto try_from = [&](int32_t place, QOR_LIST_NODE *there) {
        if (std::abs(number - place) >= std::abs(number - at)) return;
        at = place;
        node = there;
    };
    try_from(list->size, list->last);
    if (list->indexed) try_from(list->indexed, list->indexed_node);
    for (; at < number; ++at) node = node->next;
    for (; at > number; --at) node = node->previous;
    list->indexed = number;
    list->indexed_node = node;
    return node;
}

void index_by_number(QOR_LIST *list, int64_t number, QOR_OBJECT **variable, int32_t *status) {
    if (number < 1) {
        // Kept: the walk reads one element before it looks at the number, and
        // leaves it in the variable.
        reset_read(list);
        read_next(list, variable, status);
        *status = 0;
    } else if (number > list->size) {
        list->before = nullptr;
        list->read = nullptr;
        *status = 0;
    } else {
        QOR_LIST_NODE *node = find_node(list, static_cast<int32_t>(number));
        list->before = node->previous;
        list->read = node->next;
        OBJ_create_object_ref(node->obj, variable);
        *status = 1;
    }
}

QOR_LIST *list_create() { return new (records.take()) QOR_LIST{}; }

void list_remove(QOR_LIST *list) {
    if (!list) return;
    while (list->first) {
        QOR_OBJECT *owned = unlink(list, list->first);
        OBJ_remove_object(&owned);
    }
    records.give(list);
}

QOR_LIST *list_copy(QOR_LIST *source) {
    if (!source) return nullptr;
    const Nesting level;
    std::unique_ptr<QOR_LIST, decltype(&list_remove)> copy(list_create(), &list_remove);
    for (const QOR_LIST_NODE *node = source->first; node; node = node->next) {
        Object_var element;
        OBJ_copy_object(node->obj, &element);
        append_owned(copy.get(), element.release());
    }
    return copy.release();
}

void list_display(QOR_LIST *list) {
    if (!is_list(list)) return;
    // All lines are made before the first is shown: showing one may run script
    // code that changes the list.
    std::vector<Strng> lines;
    Strng text;
    for (const QOR_LIST_NODE *node = list->first; node; node = node->next) {
        OBJ_to_display_string(node->obj, &text);
        lines.emplace_back("   ").append(text.text());
    }
    const bool at_end = !list->read;
    MESSAGE_DISPLAY1_C("LIST\n");
    if (at_end) MESSAGE_DISPLAY1_C("   read is QOR_NIL\n");
    for (const Strng &line : lines) MESSAGE_DISPLAY_S(line);
    MESSAGE_DISPLAY1_C("END_LIST\n");
}

void LIST_READ_FIRST(QOR_LIST *list, QOR_OBJECT **variable, int32_t *status) {
    *status = 0;
    if (!is_list(list) || !list->first) return;
    OBJ_create_object_ref(list->first->obj, variable);
    *status = 1;
}

void LIST_READ_LAST(QOR_LIST *list, QOR_OBJECT **variable, int32_t *status) {
    *status = 0;
    if (!is_list(list) || !list->last) return;
    OBJ_create_object_ref(list->last->obj, variable);
    *status = 1;
}

void list_index(QOR_LIST *list, STRNG key, QOR_OBJECT **variable, int32_t *status) {
    *status = 0;
    if (!is_list(list)) return;
    const std::string_view word = view(key);
    int64_t number;
    if (word == "FIRST") {
        LIST_READ_FIRST(list, variable, status);
    } else if (word == "LAST") {
        LIST_READ_LAST(list, variable, status);
    } else if (word == "SIZE") {
        BTYP_create_int(variable, list->size);
        *status = 1;
    } else if (scan_number(word, &number)) {
        index_by_number(list, number, variable, status);
    } else {
        MESSAGE_ABORT_F("invalid list index %s\n", std::string(word).c_str());
    }
}

// --- the type's slots ---------------------------------------------------------

void slot_remove(void *value) {
    list_remove(value_at<QOR_LIST *>(value));
    value_at<QOR_LIST *>(value) = nullptr;
}
void slot_copy(const void *source, void *target) {
    value_at<QOR_LIST *>(target) = list_copy(value_at<QOR_LIST *>(source));
}
void slot_tochar(const void *, int16_t *length, char *buffer) { put_tochar("LIST", length, buffer); }
void slot_display(const void *value) { list_display(value_at<QOR_LIST *>(value)); }
void slot_index(void *value, STRNG key, QOR_OBJECT **variable, int32_t *status) {
    list_index(value_at<QOR_LIST *>(value), key, variable, status);
}

} // namespace

const QOR_LIST_NODE *list_first(const QOR_LIST *list) { return list ? list->first : nullptr; }
const QOR_LIST_NODE *list_next(const QOR_LIST_NODE *node) { return node->next; }
QOR_OBJECT *list_object(const QOR_LIST_NODE *node) { return node->obj; }

const Value_slots LIST_SLOTS{"list",    handle_init, slot_remove,  move_64,
                             slot_copy, slot_tochar, slot_display, slot_index};

} // namespace qor

using namespace qor;

void BTYP_create_undef_list(QOR_OBJECT **variable) { OBJ_create_object(variable, TYPE_LIST); }

void BTYP_create_list(QOR_OBJECT **variable) {
    OBJ_create_object(variable, TYPE_LIST);
    QOR_LIST *list = list_create();
    OBJ_set_object_value_ref(*variable, &list);
}

void BTYP_read_list_ref(QOR_OBJECT *object, QOR_LIST **value) { *value = list_of(object); }

void BTYP_reset_read_list(QOR_OBJECT *object) { reset_read(list_of(object)); }

void BTYP_read_next_listobj_ref(QOR_OBJECT *object, QOR_OBJECT **variable, int32_t *status) {
    read_next(list_of(object), variable, status);
}

void BTYP_append_to_list(QOR_OBJECT *object, QOR_OBJECT *element) { append(list_of(object), element); }

void BTYP_prepend_to_list(QOR_OBJECT *object, QOR_OBJECT *element) { prepend(list_of(object), element); }

void BTYP_insert_list_before(QOR_OBJECT *object, QOR_OBJECT *element) { insert_before(list_of(object), element); }

void BTYP_insert_list_after(QOR_OBJECT *object, QOR_OBJECT *element) { insert_after(list_of(object), element); }

QOR_LIST_NODE *BTYP_get_read_position(QOR_OBJECT *object) {
    QOR_LIST *list = list_of(object);
    return is_list(list) ? list->before : nullptr;
}

void BTYP_restore_read_position(QOR_OBJECT *object, QOR_LIST_NODE *position) {
    QOR_LIST *list = list_of(object);
    if (!is_list(list)) return;
    // The position stands before the element that was just read. One that was
    // taken when there was none, or whose node is gone, starts anew.
    if (!position || position->owner != list) {
        reset_read(list);
        return;
    }
    list->before = position;
    list->read = position->next ? position->next->next : nullptr;
}

int32_t BTYP_list_is_empty(QOR_OBJECT *object) {
    const QOR_LIST *list = list_of(object);
    return is_list(list) && list->first ? 0 : 1;
}

int32_t BTYP_list_has_next(QOR_OBJECT *object) {
    const QOR_LIST *list = list_of(object);
    return is_list(list) && list->read ? 1 : 0;
}

void BTYP_remove_first(QOR_OBJECT *object) { remove_first(list_of(object)); }

void BTYP_remove_last(QOR_OBJECT *object) {
    QOR_LIST *list = list_of(object);
    if (!is_list(list) || !list->last) return;
    // Kept: other than with the first element, the reference is not released.
    // Whoever took the element out before goes on using it on this count.
    unlink(list, list->last);
}

void BTYP_pop_first(QOR_OBJECT *object, QOR_OBJECT **variable, int32_t *status) {
    QOR_LIST *list = list_of(object);
    *status = 0;
    if (!is_list(list)) return;
    reset_read(list);
    if (!list->first) return;
    // The variable may hold what holds the list.
    QOR_OBJECT *owned = unlink(list, list->first);
    OBJ_move_object_ref(&owned, variable);
    *status = 1;
}
