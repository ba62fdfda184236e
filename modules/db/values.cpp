#include "values.hpp"

#include <algorithm>
#include <limits>

#include "qor/blob.h"
#include "session.hpp"

namespace db {

namespace {

constexpr size_t LONGEST_NAME = 1024; // the longest key of a map

char lower_byte(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c; }

bool is_int(int64_t number) {
    return number >= std::numeric_limits<int32_t>::min() && number <= std::numeric_limits<int32_t>::max();
}

int32_t undefined_type(Kind column) {
    switch (column) {
    case Kind::INTEGER: return BTYP_int_tidf();
    case Kind::REAL: return BTYP_real_tidf();
    case Kind::BOOLEAN: return BTYP_boolean_tidf();
    case Kind::BYTES: return BTYP_blob_tidf();
    default: return BTYP_string_tidf();
    }
}

void create_integer(int64_t number, Kind column, QOR_OBJECT **variable) {
    if (column == Kind::REAL)
        BTYP_create_real(variable, static_cast<double>(number));
    else if (column == Kind::BOOLEAN && (number == 0 || number == 1))
        BTYP_create_boolean(variable, static_cast<uint32_t>(number));
    else if (is_int(number))
        BTYP_create_int(variable, static_cast<int32_t>(number));
    else
        BTYP_create_long(variable, number);
}

void create_blob(std::string_view bytes, QOR_OBJECT **variable) {
    QOR_BLOB *blob = QOR_NIL;
    BLOB_CREATE(&blob, reinterpret_cast<const uint8_t *>(bytes.data()), static_cast<uint32_t>(bytes.size()));
    BTYP_create_blob_ref(variable, blob);
}

} // namespace

Value value_of(QOR_OBJECT *object) {
    if (!object || !OBJ_object_value_is_defined(object)) return {};
    const int32_t type = OBJ_get_type(object);
    if (type == BTYP_string_tidf()) {
        STRNG text;
        BTYP_read_string_ref(object, &text);
        return Value::of(view(text));
    }
    if (type == BTYP_int_tidf()) {
        int32_t number;
        BTYP_read_int(object, &number);
        return Value::of(int64_t{number});
    }
    if (type == BTYP_real_tidf()) {
        double number;
        BTYP_read_real(object, &number);
        return Value::of(number);
    }
    if (type == BTYP_long_tidf()) {
        int64_t number;
        BTYP_read_long(object, &number);
        return Value::of(number);
    }
    if (type == BTYP_boolean_tidf()) {
        uint32_t flag;
        BTYP_read_boolean(object, &flag);
        return Value::of(int64_t{flag != 0}, Kind::BOOLEAN);
    }
    if (type == BTYP_blob_tidf()) {
        QOR_BLOB *blob;
        uint32_t size;
        const uint8_t *bytes;
        BTYP_read_blob_ref(object, &blob);
        BLOB_SIZE(blob, &size);
        BLOB_READ_BYTES_REF(blob, &bytes);
        return Value::of({reinterpret_cast<const char *>(bytes), size}, Kind::BYTES);
    }
    throw Failure{std::string("a ") + OBJ_get_type_name_C(object) + " can not be stored", ""};
}

void create_object(const Value &value, Kind column, QOR_OBJECT **variable) {
    switch (value.kind) {
    case Kind::NOTHING: return OBJ_create_object(variable, undefined_type(column));
    case Kind::INTEGER: return create_integer(value.integer, column, variable);
    case Kind::REAL: return BTYP_create_real(variable, value.real);
    case Kind::BOOLEAN: return BTYP_create_boolean(variable, static_cast<uint32_t>(value.integer));
    case Kind::TEXT: return BTYP_create_string(variable, borrow(value.bytes));
    case Kind::BYTES: return create_blob(value.bytes, variable);
    }
}

void put_entry(QOR_MAP *map, std::string_view name, const Value &value, Kind column) {
    const STRNG key = borrow(name.substr(0, LONGEST_NAME));
    if (value.kind == Kind::TEXT) return MAP_INSERT_SVALUE(map, key, borrow(value.bytes));
    Object object;
    create_object(value, column, &object.value);
    MAP_INSERT_MOVED(map, key, &object.value);
}

std::string lower(std::string_view text) {
    std::string result(text);
    std::transform(result.begin(), result.end(), result.begin(), lower_byte);
    return result;
}

bool equal_without_case(std::string_view a, std::string_view b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [](char x, char y) { return lower_byte(x) == lower_byte(y); });
}

Kind kind_of_type(std::string_view declared) {
    const std::string type = lower(declared);
    const auto holds = [&type](const char *word) { return type.find(word) != type.npos; };
    if (holds("bool")) return Kind::BOOLEAN;
    if (holds("int") && !holds("interval") && !holds("point")) return Kind::INTEGER;
    if (holds("char") || holds("text") || holds("clob")) return Kind::TEXT;
    if (holds("blob") || holds("binary") || holds("bytea")) return Kind::BYTES;
    if (holds("real") || holds("floa") || holds("doub")) return Kind::REAL;
    if (holds("numeric") || holds("decimal")) {
        // With a precision and no decimals these are whole numbers.
        const size_t comma = type.find(',');
        const bool is_whole = comma == type.npos ? holds("(") : type.find_first_of("123456789", comma) == type.npos;
        return is_whole ? Kind::INTEGER : Kind::REAL;
    }
    return Kind::TEXT;
}

} // namespace db
