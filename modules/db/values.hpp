// Values on their way between the kernel's objects and a database.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "modules/owners.hpp"

namespace db {

using namespace owners;

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
