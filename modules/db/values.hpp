// Values on their way between the kernel's objects and a database.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "qor/btyp.h"
#include "qor/map.h"
#include "qor/obj.h"
#include "qor/strng.h"

namespace db {

inline std::string_view view(STRNG text) { return {reinterpret_cast<const char *>(text.data), text.length}; }

// Only to be read, and not longer than the text lives.
inline STRNG borrow(std::string_view text) {
    const auto length = static_cast<uint32_t>(text.size());
    return {length, length, reinterpret_cast<uint8_t *>(const_cast<char *>(text.data()))};
}

// Owns a counted reference, so that an abort, which is an exception that passes
// through, releases it.
struct Object {
    QOR_OBJECT *value = QOR_NIL;
    Object() = default;
    Object(Object &&other) noexcept : value(other.value) { other.value = QOR_NIL; }
    ~Object() { OBJ_remove_object(&value); }
    Object(const Object &) = delete;
    Object &operator=(const Object &) = delete;
};

struct Text {
    STRNG value{0, 0, nullptr};
    Text() = default;
    ~Text() { STRNG_REMOVE(&value); }
    Text(const Text &) = delete;
    Text &operator=(const Text &) = delete;
};

enum class Kind : uint8_t { NOTHING, INTEGER, REAL, BOOLEAN, TEXT, BYTES };

// As a database takes and gives it. The bytes are borrowed.
struct Value {
    Kind kind = Kind::NOTHING;
    int64_t integer = 0; // also 0 and 1 of a BOOLEAN
    double real = 0;
    std::string_view bytes;

    static Value of(int64_t integer, Kind kind = Kind::INTEGER) { return {kind, integer, 0, {}}; }
    static Value of(double real) { return {Kind::REAL, 0, real, {}}; }
    static Value of(std::string_view bytes, Kind kind = Kind::TEXT) { return {kind, 0, 0, bytes}; }
};

// The value of an object, which it borrows from. A value of a type that no column
// takes is a Failure.
Value value_of(QOR_OBJECT *object);

// A new object; the column's kind is the type of a missing value.
void create_object(const Value &value, Kind column, QOR_OBJECT **variable);
// The same as an entry of a map, whose former object takes the value where it can.
void put_entry(QOR_MAP *map, std::string_view name, const Value &value, Kind column);

// The kind of a column that was declared with this type: INTEGER, DECIMAL(10,2),
// BOOLEAN, VARCHAR(20). Types that say nothing are TEXT.
Kind kind_of_type(std::string_view type);

std::string lower(std::string_view text); // of ASCII alone
bool equal_without_case(std::string_view a, std::string_view b);

} // namespace db
