// The list record's own operations, for the type table. The containers define
// them.
#pragma once

#include "kernel/strng.hpp"
#include "qor/btyp.h"

namespace qor {

QOR_LIST *list_create();
void list_remove(QOR_LIST *list);
QOR_LIST *list_copy(QOR_LIST *source); // deep
void list_display(QOR_LIST *list);
void list_check(QOR_LIST *list);
// The words FIRST, LAST, SIZE or a number from 1; moves the read cursor.
void list_index(QOR_LIST *list, STRNG key, QOR_OBJECT **variable, int32_t *status);
void LIST_READ_FIRST(QOR_LIST *list, QOR_OBJECT **variable, int32_t *status);
void LIST_READ_LAST(QOR_LIST *list, QOR_OBJECT **variable, int32_t *status);

} // namespace qor
