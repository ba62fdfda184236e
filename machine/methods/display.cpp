// The display statements: a list of texts and names, kept as text by the
// compiler and taken apart when it is shown.
#include <functional>

#include "machine/methods/texts.hpp"
#include "object/ap.hpp"
#include "qor/lex2.h"

namespace qor {

namespace {

// Walking the tree of paths for each item would cost a search among all names
// on each level. Nodes are permanent, so a name's node is remembered; a name
// that leads nowhere is looked up again.
struct Known_name {
    Strng text;
    Ap *path = nullptr;
};
constexpr size_t KNOWN_NAMES = 512;
constexpr size_t LONGEST_KNOWN_NAME = 200;
Known_name known_names[KNOWN_NAMES];

Ap *path_of(std::string_view name) {
    if (name.size() > LONGEST_KNOWN_NAME) return AP_find_path(borrow(name));
    Known_name &known = known_names[std::hash<std::string_view>()(name) % KNOWN_NAMES];
    if (known.path && known.text.text() == name) return known.path;
    known.path = AP_find_path(borrow(name));
    known.text.assign(name);
    return known.path;
}

bool is_quoted(std::string_view item) { return item.size() >= 2 && item.front() == '\'' && item.back() == '\''; }

// Puts the list's texts together. False when nothing but maps was in it. A word
// ends at a blank as well as at a comma, and a "!" outside quotes ends the list.
bool join_display_list(STRNG list, Strng &line) {
    Work_text word;
    bool has_text = false;
    STRNG_CURSOR cursor;
    STRNG2_PREPX(list, &cursor);
    LEX2_RESET();
    while (LEX2_NEXT_WORD(&cursor, &*word, ',')) {
        if (append_display_item(word->text(), true, line)) has_text = true;
    }
    return has_text;
}

// The list is copied off the stack, since names may run script code over it.
void display_list(std::string_view prefix, void (*show)(STRNG line)) {
    if (!texts_on_top(1)) return;
    Work_text list, line;
    list->assign(prefix);
    list->append(operand_text(0));
    qorcpu_release_top();
    if (join_display_list(*list, *line)) show(*line);
}

void display_stmt() { display_list("", MESSAGE_DISPLAY_S); }
void error_stmt() { display_list("'*** ERROR *** ',", MESSAGE_DISPLAY_ERROR_S); }
void status_stmt() { display_list("", MESSAGE_DISPLAY_STATUS_S); }

void disp() {
    Object_var object;
    QORCPU_POP_OBJ(&object);
    OBJ_display_object(object);
}

constexpr Native_method TABLE[] = {
    {"DISP", disp, 1, 0, 'P', "[o object][]"},
    {"DISPLAY_STMT", display_stmt, 1, 0, 'P', "[s display_list][]"},
    {"ERROR_STMT", error_stmt, 1, 0, 'P', "[s display_list][]"},
    {"STATUS_STMT", status_stmt, 1, 0, 'P', "[s display_list][]"},
};

} // namespace

Object_var object_by_name(std::string_view name) {
    Ap *path = path_of(name);
    return Object_var::share(path ? AP_resolve(path) : nullptr);
}

bool append_display_item(std::string_view item, bool maps_apart, Strng &result) {
    if (is_quoted(item)) {
        result.append(item.substr(1, item.size() - 2));
        return true;
    }
    Object_var object = object_by_name(item);
    if (!object && item == "$") QORCPU_POP_OBJ(&object);
    if (!object) {
        result.append(item);
        return true;
    }
    if (maps_apart && type_of(object) == TYPE_MAP) {
        OBJ_display_object(object);
        return false;
    }
    Work_text value;
    result.append(rendered(object, *value));
    return true;
}

void register_display() { register_methods("QOR", TABLE); }

} // namespace qor
