#include "json.hpp"

#include <algorithm>
#include <limits>
#include <nlohmann/json.hpp>

namespace geo {

// What the parser tells, put into the row.
class Json_events {
  public:
    explicit Json_events(Json *json) : json_(*json) {}

    bool null() { return append(Json::Type::NUL); }
    bool boolean(bool value) { return append(value ? Json::Type::TRUE : Json::Type::FALSE); }
    bool number_integer(int64_t value) {
        append(Json::Type::INTEGER);
        json_.row_.back().integer = value;
        return true;
    }
    bool number_unsigned(uint64_t value) {
        const bool fits = value <= static_cast<uint64_t>(std::numeric_limits<int64_t>::max());
        return fits ? number_integer(static_cast<int64_t>(value)) : number_float(static_cast<double>(value), {});
    }
    bool number_float(double value, const std::string &) {
        append(Json::Type::REAL);
        json_.row_.back().real = value;
        return true;
    }
    bool string(std::string &value) {
        append(Json::Type::STRING);
        json_.row_.back().length = static_cast<uint32_t>(value.size());
        json_.row_.back().offset = json_.texts_.size();
        json_.texts_ += value;
        return true;
    }
    bool binary(std::vector<uint8_t> &) { return false; } // is not in texts
    bool key(std::string &name) { return string(name); }
    bool start_object(size_t) { return open(Json::Type::OBJECT); }
    bool end_object() { return close(); }
    bool start_array(size_t) { return open(Json::Type::ARRAY); }
    bool end_array() { return close(); }
    template <typename Error> bool parse_error(size_t byte, const std::string &, const Error &error) {
        constexpr int OUT_OF_RANGE = 406;
        const char *reason = error.id == OUT_OF_RANGE ? "the number is out of range" : "this is no JSON";
        throw No_result{"at byte " + std::to_string(byte) + ": " + reason};
    }

  private:
    bool append(Json::Type type) {
        json_.row_.push_back({type, 0, {0}});
        return true;
    }
    bool open(Json::Type type) {
        open_.push_back(json_.row_.size());
        return append(type);
    }
    bool close() {
        json_.row_[open_.back()].end = json_.row_.size();
        open_.pop_back();
        return true;
    }

    Json &json_;
    std::vector<Json::Value> open_;
};

Json::Json(std::string_view text) {
    Json_events events(this);
    nlohmann::json::sax_parse(text.begin(), text.end(), &events);
}

const char *Json::type_name(Value value) const {
    switch (type(value)) {
    case Type::NUL: return "null";
    case Type::FALSE:
    case Type::TRUE: return "a boolean";
    case Type::INTEGER:
    case Type::REAL: return "a number";
    case Type::STRING: return "a string";
    case Type::ARRAY: return "an array";
    default: return "an object";
    }
}

double Json::number(Value value) const {
    return type(value) == Type::REAL ? row_[value].real : static_cast<double>(row_[value].integer);
}

std::string_view Json::text(Value value) const {
    return std::string_view(texts_).substr(row_[value].offset, row_[value].length);
}

std::vector<Json::Member> Json::members(Value object) const {
    std::vector<Member> members;
    for (Value name = first(object); name != behind(object); name = behind(name + 1))
        members.push_back({text(name), name + 1});
    std::vector<std::string_view> names;
    names.reserve(members.size());
    for (const Member &member : members) names.push_back(member.name);
    std::sort(names.begin(), names.end());
    const auto twice = std::adjacent_find(names.begin(), names.end());
    if (twice != names.end())
        throw No_result{"the member " + std::string(twice->substr(0, 100)) + " stands there twice"};
    return members;
}

} // namespace geo
