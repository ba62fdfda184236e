// A JSON document as a row of values in the order of the text: an array or an object is
// followed by what it holds and knows where that ends. So nothing is nested, and the
// depth of a document costs nothing.
#pragma once

#include "geo.hpp"

namespace geo {

class Json {
  public:
    enum class Type : uint8_t { NUL, FALSE, TRUE, INTEGER, REAL, STRING, ARRAY, OBJECT };
    using Value = size_t; // a place in the row
    struct Member {
        std::string_view name;
        Value value;
    };

    // A text that is no JSON is a No_result.
    explicit Json(std::string_view text);

    static constexpr Value ROOT = 0;
    Type type(Value value) const { return row_[value].type; }
    const char *type_name(Value value) const; // "a string"
    bool is_number(Value value) const { return type(value) == Type::INTEGER || type(value) == Type::REAL; }
    double number(Value value) const;
    int64_t integer(Value value) const { return row_[value].integer; }
    std::string_view text(Value value) const;
    // The values of an array lie from first to behind the array itself.
    static Value first(Value array) { return array + 1; }
    Value behind(Value value) const { return is_container(value) ? row_[value].end : value + 1; }
    bool is_empty(Value array) const { return behind(array) == first(array); }
    // In the order of the text. A name that stands there twice is a No_result.
    std::vector<Member> members(Value object) const;

  private:
    friend class Json_events;
    struct Entry {
        Type type;
        uint32_t length; // of a string
        union {
            int64_t integer;
            double real;
            size_t offset; // of a string in texts_
            Value end;     // of an array or an object
        };
    };
    bool is_container(Value value) const { return type(value) >= Type::ARRAY; }

    std::vector<Entry> row_; // a member of an object is its name and its value
    std::string texts_;
};

} // namespace geo
