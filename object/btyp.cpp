#include "qor/btyp.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "kernel/lifecycle.hpp"
#include "object/types.hpp"
#include "qor/geom.h"
#include "qor/map.h"
#include "qor/msg.h"
#include "qor/obj.h"

namespace qor {

void (*check_geometry)(QOR_GEOMETRY geometry) = nullptr;

namespace {

// --- int, long ----------------------------------------------------------------------

void move_32(const void *source, void *target) { value_at<int32_t>(target) = value_at<int32_t>(source); }

void int_tochar(const void *value, int16_t *length, char *buffer) {
    *length = static_cast<int16_t>(std::snprintf(buffer, TOCHAR_SIZE, "%d", value_at<int32_t>(value)));
}
void int_display(const void *value) { MESSAGE_DISPLAY_F("%ld", static_cast<long>(value_at<int32_t>(value))); }

void long_tochar(const void *value, int16_t *length, char *buffer) {
    *length = static_cast<int16_t>(std::snprintf(buffer, TOCHAR_SIZE, "%lld", value_at<long long>(value)));
}
void long_display(const void *value) { MESSAGE_DISPLAY_F("%lld", value_at<long long>(value)); }

// --- real -----------------------------------------------------------------------------

// Six decimals without trailing zeros; one stays behind the point.
void real_tochar(const void *value, int16_t *length, char *buffer) {
    int n = std::sprintf(buffer, "%lf", value_at<double>(value)); // at most 317 bytes
    while (n > 0 && buffer[n - 1] == '0') --n;
    if (n > 0 && buffer[n - 1] == '.') buffer[n++] = '0';
    buffer[n] = 0;
    *length = static_cast<int16_t>(n);
}
void real_display(const void *value) { MESSAGE_DISPLAY_F("%lf", value_at<double>(value)); }

// --- boolean ----------------------------------------------------------------------------

const char *boolean_text(const void *value) { return value_at<uint32_t>(value) == 1 ? "TRUE" : "FALSE"; }
void boolean_tochar(const void *value, int16_t *length, char *buffer) {
    put_tochar(boolean_text(value), length, buffer);
}
void boolean_display(const void *value) { MESSAGE_DISPLAY1_C(boolean_text(value)); }
void boolean_check(const void *value) {
    if (value_at<uint32_t>(value) > 1) std::fputs("invalid value in boolean\n", stdout);
}

// --- string -------------------------------------------------------------------------------

void string_init(void *value) { STRNG_CREATE(&value_at<STRNG>(value)); }
void string_remove(void *value) { STRNG_REMOVE(&value_at<STRNG>(value)); }
void string_assign(const void *source, void *target) { value_at<STRNG>(target) = value_at<STRNG>(source); }
void string_copy(const void *source, void *target) {
    strng_assign(&value_at<STRNG>(target), view(value_at<STRNG>(source)));
}
void string_tochar(const void *value, int16_t *length, char *buffer) {
    put_tochar(view(value_at<STRNG>(value)), length, buffer);
}
void string_display(const void *value) { MESSAGE_DISPLAY_S(value_at<STRNG>(value)); }

// --- handles --------------------------------------------------------------------------------

void map_removevalue(void *value) { MAP_REMOVE(&value_at<QOR_MAP *>(value)); }
void map_copyvalue(const void *source, void *target) {
    QOR_MAP *copy = nullptr;
    MAP_COPY(value_at<QOR_MAP *>(source), &copy);
    value_at<QOR_MAP *>(target) = copy;
}
void map_tochar(const void *value, int16_t *length, char *buffer) {
    Strng name;
    MAP_GET_NAME(value_at<QOR_MAP *>(value), &name);
    put_tochar(name.text(), length, buffer);
}
void map_displayvalue(const void *value) { MAP_DISPLAY(value_at<QOR_MAP *>(value)); }
void map_index(void *value, STRNG key, QOR_OBJECT **variable, int32_t *status) {
    MAP_MAP_OBJECT_REF(value_at<QOR_MAP *>(value), key, variable, status);
}
void map_insert(void *value, STRNG key, QOR_OBJECT *object, int32_t *status) {
    *status = value_at<QOR_MAP *>(value) ? 1 : 0;
    if (*status) MAP_INSERT_OBJECT_REF(value_at<QOR_MAP *>(value), key, object);
}
void map_check(const void *value) { MAP_CHECK_MAP(value_at<QOR_MAP *>(value)); }

// --- geometry ---------------------------------------------------------------------------------

void geometry_init(void *value) { GEOM_INITIALIZE(&value_at<QOR_GEOMETRY>(value)); }
void geometry_remove(void *value) { GEOM_REMOVE(&value_at<QOR_GEOMETRY>(value)); }
void geometry_copy(const void *source, void *target) {
    // The copy replaces nothing: the target's old value is gone by now.
    value_at<QOR_GEOMETRY>(target) = 0;
    GEOM_COPY(value_at<QOR_GEOMETRY>(source), &value_at<QOR_GEOMETRY>(target));
}

std::string point_text(double x, double y, double z) {
    char text[1024];
    if (z == GEOM_NO_HEIGHT)
        std::snprintf(text, sizeof text, "%lf/%lf", x, y);
    else
        std::snprintf(text, sizeof text, "%lf/%lf/%lf", x, y, z);
    return text;
}

std::string geometry_text(QOR_GEOMETRY geometry) {
    if (GEOM_ISEMPTY(geometry)) return "NIL";
    int32_t kind = -1;
    GEOM_READ_TYPE(geometry, &kind);
    switch (kind & 0xff) {
    case GEOM_POINT: {
        double x = 0, y = 0, z = 0;
        GEOM_READ_POINT(geometry, &x, &y, &z);
        return point_text(x, y, z);
    }
    case GEOM_LINE: {
        double x1 = 0, y1 = 0, z1 = 0, x2 = 0, y2 = 0, z2 = 0;
        int32_t found = 0;
        GEOM_FIRST_LAST_POINT(geometry, &x1, &y1, &z1, &x2, &y2, &z2, &found);
        return point_text(x1, y1, z1) + " ... " + point_text(x2, y2, z2);
    }
    case GEOM_RAND: return "RAND";
    case GEOM_AREA: return "AREA";
    default: return "UNKNOWN";
    }
}

void geometry_tochar(const void *value, int16_t *length, char *buffer) {
    put_tochar(geometry_text(value_at<QOR_GEOMETRY>(value)), length, buffer);
}
void geometry_display(const void *value) { GEOM_DISPLAY(value_at<QOR_GEOMETRY>(value)); }
void geometry_check(const void *value) {
    if (check_geometry) check_geometry(value_at<QOR_GEOMETRY>(value));
}

// --- registration -------------------------------------------------------------------------------

constexpr Value_slots INT_SLOTS{"int", nullptr, nullptr, move_32, move_32, int_tochar, int_display};
constexpr Value_slots REAL_SLOTS{"real", nullptr, nullptr, move_64, move_64, real_tochar, real_display};
constexpr Value_slots BOOLEAN_SLOTS{"boolean",      nullptr,         nullptr, move_32, move_32,
                                    boolean_tochar, boolean_display, nullptr, nullptr, boolean_check};
constexpr Value_slots STRING_SLOTS{"string",    string_init,   string_remove, string_assign,
                                   string_copy, string_tochar, string_display};
constexpr Value_slots MAP_SLOTS{"map",      handle_init,      map_removevalue, move_64,    map_copyvalue,
                                map_tochar, map_displayvalue, map_index,       map_insert, map_check};
constexpr Value_slots GEOMETRY_SLOTS{"geometry",      geometry_init,    geometry_remove, move_64, geometry_copy,
                                     geometry_tochar, geometry_display, nullptr,         nullptr, geometry_check};
constexpr Value_slots LONG_SLOTS{"long", nullptr, nullptr, move_64, move_64, long_tochar, long_display};

// ORDER TYPE: the ids are given out in this order and go into object streams.
constexpr const Value_slots *BASIC_TYPES[] = {
    &INT_SLOTS,  &REAL_SLOTS,  &BOOLEAN_SLOTS, &STRING_SLOTS, &MAP_SLOTS,    &GEOMETRY_SLOTS, &ARRAY_SLOTS,
    &BLOB_SLOTS, &TABLE_SLOTS, &MVTAB_SLOTS,   &LINK_SLOTS,   &DBLINK_SLOTS, &LIST_SLOTS,     &LONG_SLOTS,
};
static_assert(std::size(BASIC_TYPES) == TYPE_METHOD);

} // namespace

void btyp_init() {
    static bool done = false;
    if (!first_time(done)) return;
    for (const Value_slots *t : BASIC_TYPES) {
        int32_t id = -1;
        OBJ_create_type(&id, t->name);
        if (t->initvalue) OBJ_set_initvalue_proc(id, t->initvalue);
        if (t->removevalue) OBJ_set_removevalue_proc(id, t->removevalue);
        if (t->assignvalue) OBJ_set_assignvalue_proc(id, t->assignvalue);
        if (t->copyvalue) OBJ_set_copyvalue_proc(id, t->copyvalue);
        if (t->tochar) OBJ_set_tochar_proc(id, t->tochar);
        if (t->display) OBJ_set_display_proc(id, t->display);
        if (t->index) OBJ_set_index_proc(id, t->index);
        if (t->insert) OBJ_set_insert_proc(id, t->insert);
        if (t->check) OBJ_set_check_proc(id, t->check);
    }
}

} // namespace qor

using namespace qor;

int32_t BTYP_int_tidf() { return TYPE_INT; }
int32_t BTYP_real_tidf() { return TYPE_REAL; }
int32_t BTYP_boolean_tidf() { return TYPE_BOOLEAN; }
int32_t BTYP_string_tidf() { return TYPE_STRING; }
int32_t BTYP_map_tidf() { return TYPE_MAP; }
int32_t BTYP_geometry_tidf() { return TYPE_GEOMETRY; }
int32_t BTYP_array_tidf() { return TYPE_ARRAY; }
int32_t BTYP_blob_tidf() { return TYPE_BLOB; }
int32_t BTYP_table_tidf() { return TYPE_TABLE; }
int32_t BTYP_mvtab_tidf() { return TYPE_MVTAB; }
int32_t BTYP_link_tidf() { return TYPE_LINK; }
int32_t BTYP_dblink_tidf() { return TYPE_DBLINK; }
int32_t BTYP_list_tidf() { return TYPE_LIST; }
int32_t BTYP_long_tidf() { return TYPE_LONG; }

namespace {

// A scalar needs no slot: its value lies in the record.
template <typename T> void create_scalar(QOR_OBJECT **variable, Type type, T value) {
    OBJ_create_object(variable, type);
    (*variable)->word = 0;
    std::memcpy(value_of(*variable), &value, sizeof value);
    (*variable)->flags |= OBJ_DEFINED;
}

} // namespace

void BTYP_create_int(QOR_OBJECT **variable, int32_t value) { create_scalar(variable, TYPE_INT, value); }
void BTYP_create_undef_int(QOR_OBJECT **variable) { OBJ_create_object(variable, TYPE_INT); }
void BTYP_read_int(QOR_OBJECT *object, int32_t *value) { OBJ_get_object_value_tcheck(object, TYPE_INT, value); }
void BTYP_write_int(QOR_OBJECT *object, int32_t value) { OBJ_set_object_value_tcheck(object, TYPE_INT, &value); }

int32_t *BTYP_get_int_addr(QOR_OBJECT *object) {
    void *address = nullptr;
    OBJ_get_object_value_addr_tcheck(object, TYPE_INT, &address);
    return static_cast<int32_t *>(address);
}

void BTYP_create_long(QOR_OBJECT **variable, int64_t value) { create_scalar(variable, TYPE_LONG, value); }
void BTYP_read_long(QOR_OBJECT *object, int64_t *value) { OBJ_get_object_value_tcheck(object, TYPE_LONG, value); }
void BTYP_write_long(QOR_OBJECT *object, int64_t value) { OBJ_set_object_value_tcheck(object, TYPE_LONG, &value); }

void BTYP_create_real(QOR_OBJECT **variable, double value) { create_scalar(variable, TYPE_REAL, value); }
void BTYP_create_undef_real(QOR_OBJECT **variable) { OBJ_create_object(variable, TYPE_REAL); }
void BTYP_read_real(QOR_OBJECT *object, double *value) { OBJ_get_object_value_tcheck(object, TYPE_REAL, value); }
void BTYP_write_real(QOR_OBJECT *object, double value) { OBJ_set_object_value_tcheck(object, TYPE_REAL, &value); }

void BTYP_create_boolean(QOR_OBJECT **variable, uint32_t value) { create_scalar(variable, TYPE_BOOLEAN, value); }
void BTYP_create_undef_boolean(QOR_OBJECT **variable) { OBJ_create_object(variable, TYPE_BOOLEAN); }
void BTYP_read_boolean(QOR_OBJECT *object, uint32_t *value) {
    OBJ_get_object_value_tcheck(object, TYPE_BOOLEAN, value);
}
void BTYP_write_boolean(QOR_OBJECT *object, uint32_t value) {
    OBJ_set_object_value_tcheck(object, TYPE_BOOLEAN, &value);
}

void BTYP_create_string(QOR_OBJECT **variable, STRNG value) { fresh_string(variable, view(value)); }
void BTYP_create_undef_string(QOR_OBJECT **variable) { OBJ_create_object(variable, TYPE_STRING); }
void BTYP_create_string_ref(QOR_OBJECT **variable, STRNG value) { create_adopting(variable, TYPE_STRING, value); }
void BTYP_create_string_c(QOR_OBJECT **variable, const char *value) { BTYP_create_string(variable, borrow(value)); }
void BTYP_create_string_from_const(QOR_OBJECT **variable, uint32_t length, const char *characters) {
    BTYP_create_string(variable, borrow({characters, length}));
}
void BTYP_read_string(QOR_OBJECT *object, STRNG *value) { OBJ_get_object_value_tcheck(object, TYPE_STRING, value); }
void BTYP_read_string_ref(QOR_OBJECT *object, STRNG *value) {
    OBJ_get_object_value_ref_tcheck(object, TYPE_STRING, value);
}
void BTYP_write_string(QOR_OBJECT *object, STRNG value) { OBJ_set_object_value_tcheck(object, TYPE_STRING, &value); }

void BTYP_create_map(QOR_OBJECT **variable, QOR_MAP *value) { create_copying(variable, TYPE_MAP, value); }
void BTYP_create_undef_map(QOR_OBJECT **variable) { OBJ_create_object(variable, TYPE_MAP); }
void BTYP_create_map_ref(QOR_OBJECT **variable, QOR_MAP *value) { create_adopting(variable, TYPE_MAP, value); }
void BTYP_read_map(QOR_OBJECT *object, QOR_MAP **value) { OBJ_get_object_value_tcheck(object, TYPE_MAP, value); }
void BTYP_read_map_ref(QOR_OBJECT *object, QOR_MAP **value) {
    OBJ_get_object_value_ref_tcheck(object, TYPE_MAP, value);
}
void BTYP_write_map(QOR_OBJECT *object, QOR_MAP *value) { OBJ_set_object_value_tcheck(object, TYPE_MAP, &value); }

void BTYP_create_geometry(QOR_OBJECT **variable, QOR_GEOMETRY value) { create_copying(variable, TYPE_GEOMETRY, value); }
void BTYP_create_undef_geometry(QOR_OBJECT **variable) { OBJ_create_object(variable, TYPE_GEOMETRY); }
void BTYP_create_geometry_ref(QOR_OBJECT **variable, QOR_GEOMETRY value) {
    create_adopting(variable, TYPE_GEOMETRY, value);
}
void BTYP_read_geometry(QOR_OBJECT *object, QOR_GEOMETRY *value) {
    OBJ_get_object_value_tcheck(object, TYPE_GEOMETRY, value);
}
void BTYP_read_geometry_ref(QOR_OBJECT *object, QOR_GEOMETRY *value) {
    OBJ_get_object_value_ref_tcheck(object, TYPE_GEOMETRY, value);
}
void BTYP_write_geometry(QOR_OBJECT *object, QOR_GEOMETRY value) {
    OBJ_set_object_value_tcheck(object, TYPE_GEOMETRY, &value);
}
void BTYP_write_geometry_ref(QOR_OBJECT *object, QOR_GEOMETRY value) {
    OBJ_set_object_value_ref_tcheck(object, TYPE_GEOMETRY, &value);
}
uint8_t BTYP_get_geometry_type(QOR_OBJECT *object) {
    QOR_GEOMETRY geometry = 0;
    BTYP_read_geometry_ref(object, &geometry);
    int32_t kind = 0;
    GEOM_READ_TYPE(geometry, &kind);
    return static_cast<uint8_t>(kind);
}
