#include "container/table.hpp"

#include <string>
#include <vector>

#include "kernel/storage.hpp"
#include "object/map_access.hpp"
#include "object/types.hpp"
#include "qor/array.h"
#include "qor/msg.h"

namespace qor {

namespace {

bool is_table(const QOR_TABLE *table, const char *operation) {
    if (table) [[likely]]
        return true;
    MESSAGE_ABORT1_C((std::string(operation) + ": table can not be QOR_NIL").c_str());
    return false;
}

QOR_TABLE *table_of(QOR_OBJECT *object) { return handle_of<QOR_TABLE>(object, TYPE_TABLE); }

// The name of a field, which the variable holds. A table that was read from a
// stream may have any object there: what is no text aborts.
STRNG field_name(QOR_ARRAY *fields, uint32_t index, Object_var &field) {
    STRNG name{0, 0, nullptr};
    ARRAY_READ_OBJECT_REF(fields, index, &field);
    BTYP_read_string_ref(field, &name);
    return name;
}

uint32_t field_count(QOR_ARRAY *fields) {
    uint32_t count;
    ARRAY_GET_SIZE(fields, &count);
    return count;
}

// Separators may follow each other: a field has a name.
bool next_name(STRNG_CURSOR &list, Strng &name) {
    while (list.next < list.end) {
        STRNG2_EXTRTOKEN_C(&list, &name, ",");
        if (!name.empty()) return true;
    }
    return false;
}

QOR_ARRAY *fields_of_names(const std::vector<Strng> &names) {
    QOR_ARRAY *fields;
    ARRAY_CREATE(&fields, static_cast<uint32_t>(names.size()));
    for (uint32_t i = 0; i < names.size(); ++i) {
        Object_var name;
        BTYP_create_string(&name, names[i]);
        ARRAY_WRITE_OBJECT_REF(fields, i, name);
    }
    return fields;
}

// Adopts both parts.
QOR_TABLE *new_table(QOR_ARRAY *fields, QOR_MAP *rows) {
    return new (storage_allocate(sizeof(QOR_TABLE))) QOR_TABLE{fields, rows};
}

} // namespace

QOR_ARRAY *fields_of_list(STRNG list) {
    std::vector<Strng> names;
    STRNG_CURSOR rest;
    STRNG2_PREPX(list, &rest);
    for (Strng name; next_name(rest, name);) names.emplace_back(name.text());
    return fields_of_names(names);
}

QOR_ARRAY *fields_of_map(QOR_MAP *map) {
    std::vector<Strng> names;
    MAP_RESET_READ(&map);
    for (;;) {
        Strng name;
        Object_var value;
        int32_t found;
        MAP_READ_OBJECT_REF(&map, &name, &value, &found);
        if (!found) break;
        names.push_back(std::move(name));
    }
    return fields_of_names(names);
}

Object_var row_of_map(QOR_ARRAY *fields, QOR_MAP *map, Object_var &missing_field) {
    const uint32_t count = field_count(fields);
    Object_var row;
    BTYP_create_array(&row, count);
    QOR_ARRAY *values;
    BTYP_read_array_ref(row, &values);
    for (uint32_t i = 0; i < count; ++i) {
        Object_var field;
        QOR_OBJECT *value = map_find(map, field_name(fields, i, field));
        if (!value) {
            missing_field = std::move(field);
            return {};
        }
        ARRAY_WRITE_OBJECT(values, i, value);
    }
    return row;
}

void row_into_map(QOR_ARRAY *fields, QOR_OBJECT *row, QOR_MAP *map) {
    if (!map) {
        MESSAGE_ABORT1_C("MAP is QOR_NIL\n");
        return;
    }
    QOR_ARRAY *values = nullptr;
    BTYP_read_array_ref(row, &values);
    const uint32_t count = field_count(fields);
    // The record of the value that an entry had serves the next entry.
    Object_var copy;
    for (uint32_t i = 0; i < count; ++i) {
        Object_var field;
        Object_var value;
        const STRNG name = field_name(fields, i, field);
        ARRAY_READ_OBJECT_REF(values, i, &value);
        if (!value) return;
        copy_into(value, &copy);
        Entry_cache place;
        map_put_cached(map, name, &place, &copy);
    }
}

void display_rows(const char *head, QOR_ARRAY *fields, QOR_MAP *rows, const char *tail) {
    // Gathered before anything is shown: showing may run script code, which may
    // change the table or let it go.
    struct Entry {
        Strng key;
        Object_var rows;
    };
    Object_var shown_fields;
    BTYP_create_array_copy(&shown_fields, fields);
    std::vector<Entry> entries;
    for (const Map_node *node = rows ? map_first(rows) : nullptr; node; node = map_next(node)) {
        Entry &entry = entries.emplace_back();
        map_key(node, &entry.key);
        entry.rows = Object_var::share(map_object(node));
    }
    MESSAGE_DISPLAY1_C(head);
    OBJ_display_object(shown_fields);
    for (const Entry &entry : entries) {
        MESSAGE_DISPLAY_S(entry.key);
        OBJ_display_object(entry.rows);
    }
    MESSAGE_DISPLAY1_C(tail);
}

void table_adopt(QOR_OBJECT **variable, QOR_ARRAY *fields, QOR_MAP *rows) {
    create_adopting(variable, TYPE_TABLE, new_table(fields, rows));
}

// --- the type's slots ---------------------------------------------------------

namespace {

void slot_remove(void *value) {
    QOR_TABLE *table = std::exchange(value_at<QOR_TABLE *>(value), nullptr);
    if (!table) return;
    ARRAY_REMOVE(&table->fields);
    MAP_REMOVE(&table->rows);
    storage_free(table, sizeof *table);
}

// Kept: a table is handed around by reference only.
void slot_copy(const void *, void *target) {
    value_at<QOR_TABLE *>(target) = nullptr;
    MESSAGE_ABORT1_C("BTYP: copy_table noch nicht implementiert");
}

void slot_tochar(const void *, int16_t *length, char *buffer) { put_tochar("TABLE", length, buffer); }
void slot_display(const void *value) { TABLE_DISPLAY(value_at<QOR_TABLE *>(value)); }

// The record under a key as a new map.
void slot_index(void *value, STRNG key, QOR_OBJECT **variable, int32_t *status) {
    Object_var record;
    QOR_MAP *map;
    MAP_CREATE_NONAME(&map);
    BTYP_create_map_ref(&record, map);
    *status = 0;
    TABLE_READ_MAP(value_at<QOR_TABLE *>(value), key, &map, status);
    if (*status) OBJ_move_object_ref(&record, variable);
}

} // namespace

const Value_slots TABLE_SLOTS{"table",   handle_init, slot_remove,  move_64,
                              slot_copy, slot_tochar, slot_display, slot_index};

} // namespace qor

using namespace qor;

// --- core -----------------------------------------------------------------------

void TABLE_CREATE(QOR_TABLE **variable, STRNG fields) {
    QOR_MAP *rows;
    MAP_CREATE_NONAME(&rows);
    *variable = new_table(fields_of_list(fields), rows);
}

void TABLE_CREATE_BY_MAP(QOR_TABLE **variable, QOR_MAP *map) {
    QOR_ARRAY *fields = fields_of_map(map);
    QOR_MAP *rows;
    MAP_CREATE_NONAME(&rows);
    *variable = new_table(fields, rows);
}

void TABLE_WRITE_MAP(QOR_TABLE *table, STRNG key, QOR_MAP *map) {
    if (!is_table(table, "TABLE_WRITE_MAP")) return;
    Object_var missing_field;
    Object_var row = row_of_map(table->fields, map, missing_field);
    if (!row) {
        MESSAGE_ABORT1_C("TABLE_WRITE_MAP: m has too few fields\n");
        return;
    }
    MAP_INSERT_MOVED(table->rows, key, &row);
}

void TABLE_TEST_KEY(QOR_TABLE *table, STRNG key, int32_t *status) {
    *status = 0;
    if (!is_table(table, "TABLE_TEST_KEY")) return;
    *status = map_find(table->rows, key) ? 1 : 0;
}

void TABLE_READ_OBJECT_REF(QOR_TABLE *table, STRNG key, STRNG field, QOR_OBJECT **variable, int32_t *status) {
    *status = 0;
    if (!is_table(table, "TABLE_READ_OBJECT_REF")) return;
    QOR_OBJECT *row = map_find(table->rows, key);
    if (!row) return;
    QOR_ARRAY *values = nullptr;
    BTYP_read_array_ref(row, &values);
    const uint32_t count = field_count(table->fields);
    for (uint32_t i = 0; i < count; ++i) {
        Object_var held;
        uint8_t order;
        STRNG_COMPARE(field_name(table->fields, i, held), field, &order);
        if (order != 1) continue;
        ARRAY_READ_OBJECT_REF(values, i, variable);
        *status = 1;
        return;
    }
    MESSAGE_DISPLAY_S(field);
    MESSAGE_ABORT1_C("TABLE_READ_OBJECT_REF: invalid field name");
}

void TABLE_READ_MAP(QOR_TABLE *table, STRNG key, QOR_MAP **map, int32_t *status) {
    *status = 0;
    if (!is_table(table, "TABLE_READ_MAP")) return;
    QOR_OBJECT *row = map_find(table->rows, key);
    if (!row) return;
    row_into_map(table->fields, row, *map);
    *status = 1;
}

void TABLE_RESET_READ(QOR_TABLE *table) {
    if (is_table(table, "TABLE_RESET_READ")) MAP_RESET_READ(&table->rows);
}

void TABLE_READ_NEXT_RECORD(QOR_TABLE *table, STRNG *key, QOR_MAP **map, int32_t *status) {
    *status = 0;
    if (!is_table(table, "TABLE_READ_NEXT_RECORD")) return;
    Object_var row;
    MAP_READ_OBJECT_REF(&table->rows, key, &row, status);
    if (*status) row_into_map(table->fields, row, *map);
}

void TABLE_DISPLAY(QOR_TABLE *table) {
    if (!table)
        MESSAGE_DISPLAY1_C("TABLE is QOR_NIL\n");
    else
        display_rows("TABLE\n", table->fields, table->rows, "END_TABLE");
}

// --- table objects ----------------------------------------------------------------

void BTYP_create_table(QOR_OBJECT **variable, STRNG fields) {
    QOR_TABLE *table;
    TABLE_CREATE(&table, fields);
    create_adopting(variable, TYPE_TABLE, table);
}

void BTYP_read_table_ref(QOR_OBJECT *object, QOR_TABLE **table) { *table = table_of(object); }

void BTYP_read_table_map(QOR_OBJECT *object, STRNG key, QOR_MAP **map, int32_t *status) {
    TABLE_READ_MAP(table_of(object), key, map, status);
}

void BTYP_write_table_map(QOR_OBJECT *object, STRNG key, QOR_MAP *map) { TABLE_WRITE_MAP(table_of(object), key, map); }

int32_t BTYP_test_table_key(QOR_OBJECT *object, STRNG key) {
    int32_t status;
    TABLE_TEST_KEY(table_of(object), key, &status);
    return status;
}
