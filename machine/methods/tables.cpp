// Tables and multi-value tables. They are handed over by reference: a copy aborts.
#include "machine/methods/texts.hpp"
#include "qor/map.h"
#include "qor/table.h"

namespace qor {

namespace {

void push_new(void (*create)(QOR_OBJECT **variable, STRNG fields)) {
    const Popped_text fields;
    Object_var table;
    create(&table, fields);
    qorcpu_push_owned(std::move(table));
}

void create_table() { push_new(BTYP_create_table); }
void create_mvtab() { push_new(BTYP_create_mvtab); }

void create_mvtab_by_map() {
    const Object_var object = pop_object();
    QOR_MAP *map = map_in(object);
    if (!map) return;
    Object_var table;
    BTYP_create_mvtab_by_map(&table, map);
    qorcpu_push_owned(std::move(table));
}

void write_record(void (*write)(QOR_OBJECT *table, STRNG key, QOR_MAP *map)) {
    const Object_var record = pop_object();
    QOR_MAP *map = map_in(record);
    if (!map) return;
    Popped_text key;
    const Object_var table = pop_object();
    write(table, key, map);
    key.recycle();
}

void write_table() { write_record(BTYP_write_table_map); }
void write_mvtab() { write_record(BTYP_write_mvtab_map); }

void read_table() {
    const Object_var record = pop_object();
    QOR_MAP *map = map_in(record);
    if (!map) return;
    Popped_text key;
    const Object_var table = pop_object();
    int32_t found;
    BTYP_read_table_map(table, key, &map, &found);
    if (!found) return qormeth_abort("READ_TABLE", "unable to index table with ", key);
    key.recycle();
}

void reset_table() {
    const Object_var object = pop_object();
    TABLE_RESET_READ(handle_of<QOR_TABLE>(object, TYPE_TABLE));
}

void read_next_table_record() {
    const Object_var object = pop_object();
    Work_text key; // not given out
    Object_var record;
    QOR_MAP *map;
    MAP_CREATE_NONAME(&map);
    BTYP_create_map_ref(&record, map);
    int32_t found;
    TABLE_READ_NEXT_RECORD(handle_of<QOR_TABLE>(object, TYPE_TABLE), &*key, &map, &found);
    if (found) qorcpu_push_owned(std::move(record));
    qorcpu_push_boolean(found);
}

constexpr Native_method METHODS[] = {
    {"CREATE_TABLE", create_table, 1, 1, 'P', ""},
    {"WRITE_TABLE", write_table, 3, 0, 'P', ""},
    {"READ_TABLE", read_table, 3, 0, 'P', ""},
    {"RESET_TABLE", reset_table, 1, 0, 'P', ""},
    {"READ_NEXT_TABLE_RECORD", read_next_table_record, 1, 2, 'P', ""},
    {"CREATE_MVTAB", create_mvtab, 1, 1, 'P', ""},
    {"CREATE_MVTAB_BY_MAP", create_mvtab_by_map, 1, 1, 'P', ""},
    {"WRITE_MVTAB", write_mvtab, 3, 0, 'P', ""},
};

} // namespace

void register_table_methods() { register_methods("QOR", METHODS); }

} // namespace qor
