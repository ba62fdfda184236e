#include "writer.hpp"

#include <algorithm>

namespace csv {

using namespace owners;

namespace {

bool is_container(int32_t type) {
    for (const auto container : {BTYP_map_tidf, BTYP_list_tidf, BTYP_array_tidf, BTYP_table_tidf, BTYP_mvtab_tidf,
                                 BTYP_blob_tidf, CLASS_method_tidf}) {
        if (type == container()) return true;
    }
    return false;
}

} // namespace

Writer::Writer(int32_t file, const Options &options) : options_(options), file_(file), names_(options.fields) {
    for (const int byte :
         {static_cast<int>(static_cast<uint8_t>(options.delimiter)), options.quote, int{'\n'}, int{'\r'}})
        if (byte != NO_QUOTE) is_special_[static_cast<size_t>(byte)] = true;
}

void Writer::write_header() {
    if (names_.empty() || !options_.has_header.value_or(true)) return;
    line_.clear();
    for (const std::string &name : names_) append_field(name);
    write_line();
}

void Writer::take_names(QOR_MAP *record) {
    Text key;
    Object value;
    int32_t found;
    MAP_RESET_READ(&record);
    for (;;) {
        MAP_READ_OBJECT_REF(&record, &key.value, &value.value, &found);
        if (!found) break;
        names_.emplace_back(view(key.value));
    }
    if (names_.empty()) throw Fault{options_.file + ": a map without entries makes no record"};
}

void Writer::write(QOR_MAP *record) {
    if (names_.empty()) {
        take_names(record);
        write_header();
    }
    line_.clear();
    Object value;
    Text text;
    for (const std::string &name : names_) {
        int32_t found;
        MAP_MAP_OBJECT_REF(record, borrow(name), &value.value, &found);
        if (!found) throw Fault{options_.file + ": the map has no entry " + name};
        if (!OBJ_object_value_is_defined(value.value)) {
            append_field("");
            continue;
        }
        const int32_t type = OBJ_get_type(value.value);
        if (type == BTYP_string_tidf()) {
            STRNG borrowed;
            BTYP_read_string_ref(value.value, &borrowed);
            append_field(view(borrowed));
        } else if (is_container(type)) {
            throw Fault{options_.file + ": the entry " + name + " is a " + OBJ_get_type_name_C(value.value)};
        } else {
            OBJ_to_string(value.value, &text.value);
            append_field(view(text.value));
        }
    }
    write_line();
}

// Every field is followed by a delimiter, the last one of which write_line takes off.
void Writer::append_field(std::string_view text) {
    const auto is_special = [this](char c) { return is_special_[static_cast<uint8_t>(c)]; };
    // A lone field that is empty would make an empty line; what looks like a mark of
    // the encoding in front of the file would be taken for one.
    const bool is_quoted = (text.empty() && names_.size() == 1) || std::any_of(text.begin(), text.end(), is_special) ||
                           (is_first_ && line_.empty() && text.starts_with(BYTE_ORDER_MARK));
    if (!is_quoted) {
        line_.append(text);
    } else if (options_.quote == NO_QUOTE) {
        if (!text.empty())
            throw Fault{options_.file + ": a field can not be written without quotes: " + std::string(text)};
    } else {
        const auto quote = static_cast<char>(options_.quote);
        line_ += quote;
        for (size_t end; (end = text.find(quote)) != text.npos; text.remove_prefix(end + 1))
            line_.append(text.substr(0, end + 1)) += quote;
        line_.append(text) += quote;
    }
    line_ += options_.delimiter;
}

void Writer::write_line() {
    line_.pop_back();
    line_ += options_.line_end;
    if (line_.size() > STRNG_LIMIT) throw Fault{options_.file + ": a record is longer than a text may be"};
    is_first_ = false;
    TEXTFILE_WRITE(&file_, borrow(line_));
}

void Writer::close() { TEXTFILE_CLOSE(&file_); }

} // namespace csv
