// Maps.
#include "machine/methods/texts.hpp"
#include "object/map_access.hpp"

namespace qor {

namespace {

// --- entries -----------------------------------------------------------------

void apply() {
    MSG_SET_PROC_C(qormeth_msg, "MAP");
    const Object_var object = pop_object();
    if (QOR_MAP *map = map_in(object)) qorcpu_apply_map(map);
}

void create() {
    QOR_MAP *map;
    MAP_CREATE_NONAME(&map);
    push_new_map(map);
}

void clear() { OBJ_clear_object(pop_object()); }

void insert() {
    Object_var object = pop_object();
    Popped_text name;
    const Object_var container = pop_object();
    QOR_MAP *map = map_in(container);
    if (!map) return;
    MAP_INSERT_MOVED(map, name, &object);
    name.recycle();
}

void remove() {
    Popped_text key;
    const Object_var object = pop_object();
    QOR_MAP *map = map_in(object);
    if (!map) return;
    int32_t status;
    MAP_REMOVE_OBJECT(map, key, &status);
    key.recycle();
    qorcpu_push_boolean(status);
}

void test_key() {
    Popped_text key;
    const Object_var object = pop_object();
    QOR_MAP *map = map_in(object);
    if (!map) return;
    const bool found = MAP_TEST_KEY(map, key);
    key.recycle();
    qorcpu_push_boolean(found);
}

// --- reading -----------------------------------------------------------------

void reset() {
    QOR_MAP *map = map_in(qorcpu_top());
    if (!map) return;
    MAP_RESET_READ(&map);
    QORCPU_POP();
}

void scan() {
    const Object_var object = pop_object();
    QOR_MAP *map = map_in(object);
    Work_text key;
    Object_var value;
    int32_t found;
    MAP_READ_OBJECT_REF(&map, &*key, &value, &found);
    if (found) {
        qorcpu_push_owned(std::move(value));
        qorcpu_push_text(key->text());
    }
    qorcpu_push_boolean(found);
}

// The cursor is left behind the first entry: a property of this test that a
// script which scans the same map has to know.
void is_empty() {
    QOR_MAP *map = map_in(qorcpu_top());
    if (!map) return;
    Work_text key;
    Object_var value;
    int32_t found;
    MAP_RESET_READ(&map);
    MAP_READ_OBJECT_REF(&map, &*key, &value, &found);
    QORCPU_POP();
    qorcpu_push_boolean(!found);
}

// --- whole maps ----------------------------------------------------------------

void copy_into_map(bool merge) {
    Object_var target_object;
    Object_var source_object;
    QORCPU_POP_OBJ_TYPED(&target_object, TYPE_MAP);
    QORCPU_POP_OBJ_TYPED(&source_object, TYPE_MAP);
    QOR_MAP *target = map_in(target_object);
    QOR_MAP *source = map_in(source_object);
    if (!target || !source || target == source) return;
    if (!merge) OBJ_clear_object(target_object);
    Work_text text;
    MAP_GET_LABEL(source, &*text);
    MAP_SET_LABEL(target, *text);
    MAP_RESET_READ(&source);
    for (;;) {
        Object_var value;
        int32_t found;
        MAP_READ_OBJECT_REF(&source, &*text, &value, &found);
        if (!found) break;
        MAP_INSERT_OBJECT(target, *text, value);
    }
    if (merge) return; // the target's own default stays
    Object_var value;
    int32_t found;
    MAP_MAP_OBJECT_REF_C(source, "DEFAULT", &value, &found);
    if (found) MAP_INSERT_OBJECT_C(target, "DEFAULT", value);
}

void copy() { copy_into_map(false); }

void merge() { copy_into_map(true); }

void sort() {
    const bool descending = qorcpu_pop_boolean();
    const Object_var object = pop_object();
    if (QOR_MAP *map = map_in(object)) map_sort(map, descending);
}

void swap() {
    const Object_var object = pop_object();
    QOR_MAP *source = map_in(object);
    if (!source) return;
    QOR_MAP *swapped = nullptr;
    map_swap(source, &swapped);
    push_new_map(swapped);
}

void set_label() {
    Popped_text label;
    QOR_MAP *map = map_in(qorcpu_top());
    if (!map) return;
    MAP_SET_LABEL(map, label);
    QORCPU_POP();
    label.recycle();
}

void get_label() {
    const Object_var object = pop_object();
    QOR_MAP *map = map_in(object);
    if (!map) return;
    Work_text label;
    MAP_GET_LABEL(map, &*label);
    qorcpu_push_text(label->text());
}

// The counts of MAPSWAP and TEST_KEY and the signature of MAPSCAN do not say
// what the methods do. They stay, since the help listing shows them.
constexpr Native_method METHODS[] = {
    {"MAP", apply, 2, 1, 'P', "[s value,m map][o result]"},
    {"MAPCREATE", create, 0, 1, 'P', "[][m map]"},
    {"MAPCLEAR", clear, 1, 0, 'P', "[m map][]"},
    {"MAPINS", insert, 3, 0, 'P', "[m map,s name,o obj][]"},
    {"MAPREM", remove, 2, 1, 'P', "[m map, s key][b status]"},
    {"MAPRESET", reset, 1, 0, 'P', "[m map][]"},
    {"MAPSCAN", scan, 1, 3, 'P', "[m map][]"},
    {"MAPCOPY", copy, 2, 0, 'P', "[m map1,m map2][]"},
    {"MAPCOPY2", merge, 2, 0, 'P', "[m map1,m map2][]"},
    {"MAP_IS_EMPTY", is_empty, 1, 1, 'P', "[m map][b status]"},
    {"MAPSORT", sort, 2, 0, 'P', "[m map, b descending][]"},
    {"MAPSWAP", swap, 2, 0, 'P', "[m map][m map]"},
    {"TEST_KEY", test_key, 2, 0, 'P', "[m map, b key][b boolean]"},
    {"SET_LABEL", set_label, 2, 0, 'P', "[m map,s label][]"},
    {"GET_LABEL", get_label, 1, 1, 'P', "[m map][s label]"},
};

} // namespace

void register_map_methods() { register_methods("QOR", METHODS); }

} // namespace qor
