// Multi-value tables: as tables, with a list of rows under each key.
#include <vector>

#include "container/table.hpp"
#include "kernel/storage.hpp"
#include "object/map_access.hpp"
#include "object/types.hpp"
#include "qor/array.h"
#include "qor/msg.h"

struct QOR_MVTAB {
    QOR_ARRAY *fields;
    QOR_MAP *rows;    // key to a list object of array objects
    QOR_OBJECT *read; // the list chosen for reading or nil; owns one reference, whatever becomes of the rows
};

namespace qor {

namespace {

QOR_MVTAB *mvtab_of(QOR_OBJECT *object) { return handle_of<QOR_MVTAB>(object, TYPE_MVTAB); }

// Adopts the fields.
void create(QOR_OBJECT **variable, QOR_ARRAY *fields) {
    QOR_MAP *rows;
    MAP_CREATE_NONAME(&rows);
    auto *table = new (storage_allocate(sizeof(QOR_MVTAB))) QOR_MVTAB{fields, rows, nullptr};
    create_adopting(variable, TYPE_MVTAB, table);
}

// The list that stands under a key itself. The default answers reads; a record
// of another key is not added to it.
QOR_OBJECT *own_list(QOR_MAP *rows, STRNG key) {
    return view(key) == "DEFAULT" || MAP_TEST_KEY(rows, key) ? map_find(rows, key) : nullptr;
}

void report_missing_field(QOR_OBJECT *field, QOR_MAP *map) {
    // Gathered first: the first line that is shown may run script code.
    const std::vector<Strng> map_lines = map_display_lines(map);
    Strng text("attribute: ");
    text.append(text_of(field));
    text.append("unknown in mvtab\n");
    MESSAGE_DISPLAY1_C("\n");
    for (const Strng &line : map_lines) MESSAGE_DISPLAY_S(line);
    MESSAGE_DISPLAY1_C("\n");
    MESSAGE_DISPLAY1_C(text.c_str());
    MESSAGE_DISPLAY1_C("\n");
    MESSAGE_ABORT1_C("MVTAB_WRITE_MAP: m has too few fields\n");
}

void MVTAB_WRITE_MAP(QOR_MVTAB *table, STRNG key, QOR_MAP *map) {
    if (!table) {
        MESSAGE_ABORT1_C("MVTAB_WRITE_MAP: MVTAB can not be QOR_NIL");
        return;
    }
    Object_var missing_field;
    const Object_var row = row_of_map(table->fields, map, missing_field);
    if (!row) {
        report_missing_field(missing_field, map);
        return;
    }
    if (QOR_OBJECT *list = own_list(table->rows, key)) {
        BTYP_append_to_list(list, row);
        return;
    }
    Object_var list;
    BTYP_create_list(&list);
    BTYP_append_to_list(list, row);
    MAP_INSERT_MOVED(table->rows, key, &list);
}

// Other than its name says, this chooses the key whose records are read.
void MVTAB_READ_OBJECT_REF(QOR_MVTAB *table, STRNG key) {
    if (!table) {
        MESSAGE_ABORT1_C("MVTAB_READ_OBJECT_REF: MVTAB can not be QOR_NIL");
        return;
    }
    OBJ_remove_object(&table->read);
    QOR_OBJECT *list = map_find(table->rows, key);
    if (!list) return;
    OBJ_create_object_ref(list, &table->read);
    BTYP_reset_read_list(list);
}

void MVTAB_READ_NEXT(QOR_MVTAB *table, QOR_MAP **map, int32_t *status) {
    *status = 0;
    if (!table || !table->read) return;
    Object_var row;
    BTYP_read_next_listobj_ref(table->read, &row, status);
    if (!*status) {
        OBJ_remove_object(&table->read);
        return;
    }
    row_into_map(table->fields, row, *map);
}

void MVTAB_DISPLAY(QOR_MVTAB *table) {
    if (!table)
        MESSAGE_DISPLAY1_C("MVTAB is QOR_NIL");
    else
        display_rows("MVTAB\n", table->fields, table->rows, "END_MVTAB\n");
}

// --- the type's slots ---------------------------------------------------------

void slot_remove(void *value) {
    QOR_MVTAB *table = std::exchange(value_at<QOR_MVTAB *>(value), nullptr);
    if (!table) return;
    ARRAY_REMOVE(&table->fields);
    MAP_REMOVE(&table->rows);
    OBJ_remove_object(&table->read);
    storage_free(table, sizeof *table);
}

// Kept: a table is handed around by reference only.
void slot_copy(const void *, void *target) {
    value_at<QOR_MVTAB *>(target) = nullptr;
    MESSAGE_ABORT1_C("BTYP: copy_mvtab not implemented yet\n");
}

void slot_tochar(const void *, int16_t *length, char *buffer) { put_tochar("MVTAB", length, buffer); }
void slot_display(const void *value) { MVTAB_DISPLAY(value_at<QOR_MVTAB *>(value)); }

void slot_index(void *, STRNG, QOR_OBJECT **, int32_t *status) {
    *status = 0;
    MESSAGE_ABORT1_C("INDEX not allowed on mvtab data type\n");
}

} // namespace

const Value_slots MVTAB_SLOTS{"mvtab",   handle_init, slot_remove,  move_64,
                              slot_copy, slot_tochar, slot_display, slot_index};

} // namespace qor

using namespace qor;

void BTYP_create_mvtab(QOR_OBJECT **variable, STRNG fields) { create(variable, fields_of_list(fields)); }

void BTYP_create_mvtab_by_map(QOR_OBJECT **variable, QOR_MAP *map) { create(variable, fields_of_map(map)); }

void BTYP_write_mvtab_map(QOR_OBJECT *object, STRNG key, QOR_MAP *map) { MVTAB_WRITE_MAP(mvtab_of(object), key, map); }

void BTYP_reset_mvtab(QOR_OBJECT *object, STRNG key) { MVTAB_READ_OBJECT_REF(mvtab_of(object), key); }

void BTYP_read_next_mvtab(QOR_OBJECT *object, QOR_OBJECT **variable, int32_t *status) {
    Object_var record;
    QOR_MAP *map;
    MAP_CREATE_NONAME(&map);
    BTYP_create_map_ref(&record, map);
    MVTAB_READ_NEXT(mvtab_of(object), &map, status);
    OBJ_remove_object(variable);
    if (*status) *variable = record.release();
}
