#include "options.hpp"

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <set>

namespace csv {

namespace {

constexpr size_t MAX_NAME = 1024; // a map's longest key
constexpr std::string_view NAMES[] = {"delimiter", "quote", "header", "end"};

std::string_view trim(std::string_view text) {
    const size_t first = text.find_first_not_of(' ');
    return first == text.npos ? "" : text.substr(first, text.find_last_not_of(' ') - first + 1);
}

struct Item {
    std::string text;
    bool is_quoted = false;
};

// Cuts the first item off. What stands between a closing quote and the comma goes.
Item cut_item(std::string_view *text) {
    Item item;
    const size_t first = text->find_first_not_of(' ');
    item.is_quoted = first != text->npos && (*text)[first] == '"';
    size_t end = 0;
    if (item.is_quoted) {
        for (end = first + 1; end < text->size(); ++end) {
            if ((*text)[end] == '"' && (++end == text->size() || (*text)[end] != '"')) break;
            item.text += (*text)[end];
        }
    }
    const size_t comma = text->find(',', end);
    if (!item.is_quoted) item.text = trim(text->substr(0, comma));
    text->remove_prefix(comma == text->npos ? text->size() : comma + 1);
    return item;
}

// False when the item is no option.
bool set_option(Options &options, const std::string &item) {
    const size_t sign = item.find('=');
    const std::string_view name = trim(std::string_view(item).substr(0, sign));
    if (sign == item.npos || std::find(std::begin(NAMES), std::end(NAMES), name) == std::end(NAMES)) return false;
    std::string_view value = trim(std::string_view(item).substr(sign + 1));
    if (value == "tab") value = "\t";
    if (value == "blank") value = " ";
    const bool is_byte = value.size() == 1 && value != "\n" && value != "\r";
    if (name == "delimiter" && is_byte)
        options.delimiter = value[0];
    else if (name == "quote" && is_byte)
        options.quote = static_cast<uint8_t>(value[0]);
    else if (name == "quote" && value == "none")
        options.quote = NO_QUOTE;
    else if (name == "header" && (value == "yes" || value == "no"))
        options.has_header = value == "yes";
    else if (name == "end" && (value == "lf" || value == "crlf"))
        options.line_end = value == "lf" ? "\n" : "\r\n";
    else
        throw Fault{"option " + std::string(name) + " can not be " + std::string(value)};
    return true;
}

// Whether the names of fields begin here: then the text is cut down to them.
bool cut_fields_sign(std::string_view *text) {
    const size_t sign = text->find('=');
    if (sign == text->npos || trim(text->substr(0, sign)) != "fields") return false;
    text->remove_prefix(sign + 1);
    return true;
}

} // namespace

Options parse_options(std::string_view text) {
    Options options;
    options.file = cut_item(&text).text;
    bool in_fields = false;
    while (!text.empty()) {
        in_fields = cut_fields_sign(&text) || in_fields;
        const Item item = cut_item(&text);
        if (!item.is_quoted && set_option(options, item.text))
            in_fields = false;
        else if (in_fields)
            options.fields.push_back(item.text);
        else
            throw Fault{"unknown option " + item.text};
    }
    check_names(options.fields);
    if (options.quote == static_cast<uint8_t>(options.delimiter)) throw Fault{"delimiter and quote are the same"};
    return options;
}

void check_names(const std::vector<std::string> &names) {
    std::set<std::string_view> seen;
    for (size_t i = 0; i < names.size(); ++i) {
        const std::string field = "field " + std::to_string(i + 1);
        if (names[i].empty()) throw Fault{field + " has no name"};
        if (names[i].size() > MAX_NAME) throw Fault{"the name of " + field + " is longer than 1024 bytes"};
        if (names[i] == "DEFAULT") throw Fault{field + " has the name DEFAULT, which is no entry of a map"};
        if (!seen.insert(names[i]).second) throw Fault{"two fields have the name " + names[i]};
    }
}

} // namespace csv
