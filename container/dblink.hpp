// Database links: a row of a database table, which the database module finds
// when it is needed first.
#pragma once

#include "object/object.hpp"

namespace qor {

// What the module does for the type. The bridge fills it when the module is
// there; until then all are null, and no dblink has a value.
struct Dblink_module {
    void (*init)(QOR_DBLINK *variable);
    void (*remove)(QOR_DBLINK *variable);
    void (*copy)(QOR_DBLINK source, QOR_DBLINK *variable);
    void (*display)(QOR_DBLINK dblink);
    void (*create)(QOR_DBLINK *variable, STRNG text);
    void (*get_select)(QOR_DBLINK dblink, STRNG *select);
    void (*get_map)(QOR_DBLINK dblink, QOR_MAP **map, int32_t *status);
    void (*resolve)(QOR_DBLINK dblink, int32_t *status);
};
extern Dblink_module dblink_module;

// Whether the row of a dblink object can be read.
bool dblink_is_valid(QOR_OBJECT *object);

} // namespace qor
