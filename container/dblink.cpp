#include "container/dblink.hpp"

#include "object/map_access.hpp"
#include "object/types.hpp"
#include "qor/db.h"
#include "qor/msg.h"

namespace qor {

Dblink_module dblink_module;

namespace {

const DB_DBLINK_HEAD *head_of(QOR_DBLINK dblink) { return reinterpret_cast<const DB_DBLINK_HEAD *>(dblink); }

Strng with_text(const char *message, STRNG text) {
    Strng all(message);
    all.append(view(text));
    return all;
}

bool resolve(QOR_DBLINK dblink) {
    int32_t status = 0;
    if (dblink && dblink_module.resolve) dblink_module.resolve(dblink, &status);
    return status == 1;
}

// --- the type's slots ---------------------------------------------------------

void slot_init(void *value) {
    value_at<QOR_DBLINK>(value) = 0;
    if (dblink_module.init) dblink_module.init(&value_at<QOR_DBLINK>(value));
}

void slot_remove(void *value) {
    if (dblink_module.remove) dblink_module.remove(&value_at<QOR_DBLINK>(value));
    value_at<QOR_DBLINK>(value) = 0;
}

void slot_copy(const void *source, void *target) {
    value_at<QOR_DBLINK>(target) = 0;
    if (dblink_module.copy) dblink_module.copy(value_at<QOR_DBLINK>(source), &value_at<QOR_DBLINK>(target));
}

void slot_tochar(const void *value, int16_t *length, char *buffer) {
    const DB_DBLINK_HEAD *head = head_of(value_at<QOR_DBLINK>(value));
    put_tochar(head ? c_text(view(head->text)) : "", length, buffer);
}

void slot_display(const void *value) {
    if (dblink_module.display) dblink_module.display(value_at<QOR_DBLINK>(value));
}

void slot_index(void *value, STRNG key, QOR_OBJECT **variable, int32_t *status) {
    *status = 0;
    const bool found = resolve(value_at<QOR_DBLINK>(value));
    // Messages of the module may have run script code that took the value away.
    const DB_DBLINK_HEAD *head = head_of(value_at<QOR_DBLINK>(value));
    if (!head) return;
    if (!found)
        MESSAGE_DISPLAY_S(with_text("unable to resolve dblink ", head->text));
    else if (head->map && type_of(head->map) == TYPE_MAP)
        MAP_MAP_OBJECT_REF(map_of(head->map), key, variable, status);
}

// The value of an object, borrowed; 0 when an abort returned.
QOR_DBLINK dblink_of(QOR_OBJECT *object) {
    QOR_DBLINK dblink = 0;
    OBJ_get_object_value_ref_tcheck(object, TYPE_DBLINK, &dblink);
    return dblink;
}

} // namespace

const Value_slots DBLINK_SLOTS{"dblink",  slot_init,   slot_remove,  move_64,
                               slot_copy, slot_tochar, slot_display, slot_index};

bool dblink_is_valid(QOR_OBJECT *object) { return is_defined(object) && resolve(dblink_of(object)); }

} // namespace qor

using namespace qor;

void BTYP_create_dblink(QOR_OBJECT **variable, STRNG text) {
    if (!dblink_module.create) {
        MESSAGE_ABORT_S(with_text("no database module for dblink ", text));
        return;
    }
    QOR_DBLINK dblink = 0;
    dblink_module.create(&dblink, text);
    create_adopting(variable, TYPE_DBLINK, dblink);
}

void BTYP_read_dblink_ref(QOR_OBJECT *object, QOR_DBLINK *dblink) { *dblink = dblink_of(object); }

void BTYP_get_dblink_select(QOR_OBJECT *object, STRNG *select) {
    const QOR_DBLINK dblink = dblink_of(object);
    if (dblink) dblink_module.get_select(dblink, select);
}

void BTYP_get_dblink_map(QOR_OBJECT *object, QOR_MAP **map, int32_t *status) {
    *status = 0;
    const QOR_DBLINK dblink = dblink_of(object);
    if (dblink) dblink_module.get_map(dblink, map, status);
}
