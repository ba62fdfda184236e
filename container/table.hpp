// The record of a table, for the object streams, and what tables and
// multi-value tables share: a list of fields, and rows of values.
#pragma once

#include "object/object.hpp"
#include "qor/table.h"

struct QOR_TABLE {
    QOR_ARRAY *fields; // one string object for each field
    QOR_MAP *rows;     // key to an array object with one slot for each field
};

namespace qor {

// Puts a table into the variable that adopts both parts.
void table_adopt(QOR_OBJECT **variable, QOR_ARRAY *fields, QOR_MAP *rows);

// A new array of field names, the caller's: from a list separated by commas or
// blanks, and from the keys of a map, whose read cursor is used.
QOR_ARRAY *fields_of_list(STRNG list);
QOR_ARRAY *fields_of_map(QOR_MAP *map);

// A new array object with copies of the map's values in the order of the
// fields. Nil when the map has no answer for a field, which the variable gets.
Object_var row_of_map(QOR_ARRAY *fields, QOR_MAP *map, Object_var &missing_field);
// Puts copies of a row's values into a map under the names of the fields.
void row_into_map(QOR_ARRAY *fields, QOR_OBJECT *row, QOR_MAP *map);

// Shows head, fields, each key with its row or rows, and tail.
void display_rows(const char *head, QOR_ARRAY *fields, QOR_MAP *rows, const char *tail);

} // namespace qor
