#include "services/serial.hpp"

#include <algorithm>
#include <iterator>

#include "kernel/lifecycle.hpp"
#include "object/class.hpp"
#include "qor/map.h"
#include "qor/textfile.h"
#include "services/arguments.hpp"

namespace qor {

namespace {

// --- reading -----------------------------------------------------------------------

constexpr std::string_view LABELS[] = {"MODEL",   "PRODUCT", "SELECTION", "ORDER",   "USER",
                                       "SESSION", "JOB",     "EVENT",     "SERVICE", "META"};

bool is_blank(char c) { return static_cast<uint8_t>(c) <= ' '; }

std::string_view trimmed(std::string_view text) {
    while (!text.empty() && is_blank(text.front())) text.remove_prefix(1);
    while (!text.empty() && is_blank(text.back())) text.remove_suffix(1);
    return text;
}

// Takes a word off a text, with the blank or tab behind it; empty at the end.
std::string_view take_word(std::string_view *text) {
    while (!text->empty() && is_blank(text->front())) text->remove_prefix(1);
    const size_t end = std::min(text->find_first_of(" \t"), text->size());
    const std::string_view word = trimmed(text->substr(0, end));
    text->remove_prefix(std::min(end + 1, text->size()));
    return word;
}

// Reads one object. What it keeps of a line lies in the file's own buffer: it is
// used up before the next line is read, and no message comes in between.
class Reader {
  public:
    explicit Reader(int32_t file) : file_(file) {}
    // The value at the next word. A "}" instead gives nil.
    bool read(QOR_OBJECT **variable);

  private:
    bool next_word();
    void drop_line() { rest_ = {}; }
    bool read_boolean(QOR_OBJECT **variable);
    bool read_list(QOR_OBJECT **variable);
    bool read_map(std::string_view label, QOR_OBJECT **variable);
    void make_string(QOR_OBJECT **variable);
    template <typename T>
    void make_number(void (*create)(QOR_OBJECT **, T), void (*extract)(STRNG_CURSOR *, T *), QOR_OBJECT **variable);
    static bool unknown(QOR_OBJECT **variable) {
        BTYP_create_undef_string(variable);
        return false;
    }

    int32_t file_;
    std::string_view rest_; // of the current line
    std::string_view word_;
};

// The next word in this or a later line; false at the end of the file.
bool Reader::next_word() {
    for (;;) {
        word_ = take_word(&rest_);
        if (word_.starts_with('!')) {
            drop_line();
        } else if (!word_.empty()) {
            return true;
        } else {
            STRNG_CURSOR line;
            int32_t status;
            TEXTFILE_READLN(&file_, &line, &status);
            if (!status) return false;
            rest_ = view(line);
        }
    }
}

// The rest of the line. Blanks around it go, then a quote at each end.
void Reader::make_string(QOR_OBJECT **variable) {
    std::string_view text = trimmed(rest_);
    if (text == "NULL") return BTYP_create_undef_string(variable);
    if (text.size() >= 2 && text.front() == '\'' && text.back() == '\'') text = text.substr(1, text.size() - 2);
    BTYP_create_string(variable, borrow(text));
}

// From the begin of the rest of the line; 0 when no number stands there.
template <typename T>
void Reader::make_number(void (*create)(QOR_OBJECT **, T), void (*extract)(STRNG_CURSOR *, T *),
                         QOR_OBJECT **variable) {
    std::string_view rest = rest_;
    if (take_word(&rest) == "NULL") return BTYP_create_undef_string(variable);
    STRNG_CURSOR digits;
    STRNG2_PREPX(borrow(rest_), &digits);
    T number = 0;
    extract(&digits, &number);
    create(variable, number);
}

bool Reader::read_boolean(QOR_OBJECT **variable) {
    if (!next_word()) return false;
    if (word_ == "NULL")
        BTYP_create_undef_string(variable);
    else
        BTYP_create_boolean(variable, word_ == "true");
    return true;
}

bool Reader::read_list(QOR_OBJECT **variable) {
    const Nesting nesting;
    Object_var list;
    BTYP_create_list(&list);
    for (;;) {
        drop_line();
        Object_var element;
        const bool found = read(&element);
        if (!found || !element) {
            OBJ_move_object_ref(&list, variable);
            return found;
        }
        BTYP_append_to_list(list, element);
    }
}

// An entry whose value is unknown is an undefined string and the map goes on; so
// the end of the file and "}" alone end it. A "}" in the place of a value ends it
// as well: the line of a last entry without a form runs on into it.
bool Reader::read_map(std::string_view label, QOR_OBJECT **variable) {
    const Nesting nesting;
    QOR_MAP *map;
    MAP_CREATE_NONAME(&map);
    Object_var object;
    BTYP_create_map_ref(&object, map);
    MAP_SET_LABEL(map, borrow(label));
    Strng key;
    bool found;
    for (;;) {
        drop_line();
        found = next_word();
        if (!found || word_ == "}") break;
        key.assign(word_);
        Object_var value;
        found = read(&value);
        if (!value) break;
        MAP_INSERT_MOVED(map, key, &value);
    }
    OBJ_move_object_ref(&object, variable);
    return found;
}

bool Reader::read(QOR_OBJECT **variable) {
    if (!next_word()) return unknown(variable);
    if (word_ == "}") {
        OBJ_remove_object(variable);
    } else if (word_ == "STRING") {
        make_string(variable);
    } else if (word_ == "INT" || word_ == "LONG") { // kept: a long becomes an int
        make_number(BTYP_create_int, STRNG_EXTRLOI, variable);
    } else if (word_ == "REAL") {
        make_number(BTYP_create_real, STRNG_EXTRLRE, variable);
    } else if (word_ == "BOOLEAN") {
        return read_boolean(variable);
    } else if (word_ == "LIST") {
        return read_list(variable);
    } else if (word_ == "MAP") {
        return read_map("", variable);
    } else if (std::find(std::begin(LABELS), std::end(LABELS), word_) != std::end(LABELS)) {
        return read_map(word_, variable);
    } else if (word_ == "NULL") {
        BTYP_create_undef_string(variable);
    } else {
        return unknown(variable);
    }
    return true;
}

} // namespace

void SERIAL_READ_OBJECT(int32_t file, QOR_OBJECT **variable, int32_t *status) {
    *status = Reader(file).read(variable) && *variable;
}

// --- class SERIAL ------------------------------------------------------------------

namespace {

void push_read(QOR_OBJECT *object, int32_t status) {
    if (status) QORCPU_PUSH_OBJ_REF(object);
    QORCPU_PUSHB(status);
}

void method_write_object() {
    const Object_var object = pop_object();
    SERIAL_WRITE(pop_int(), object);
}

void method_read_object() {
    Object_var object;
    int32_t status;
    SERIAL_READ_OBJECT(pop_int(), &object, &status);
    push_read(object, status);
}

void method_load_object() {
    const std::string name = pop_text();
    Object_var object;
    int32_t file, status;
    TEXTFILE_OPEN(&file, borrow(name), &status);
    if (status) {
        SERIAL_READ_OBJECT(file, &object, &status);
        TEXTFILE_CLOSE(&file);
    }
    push_read(object, status);
}

void method_save_object() {
    const Object_var object = pop_object();
    const std::string name = pop_text();
    int32_t file, status;
    TEXTFILE_CREATE(&file, borrow(name), &status);
    if (status) {
        SERIAL_WRITE(file, object);
        TEXTFILE_CLOSE(&file); // aborts when something could not be written
    }
    QORCPU_PUSHB(status);
}

void method_display_object() { SERIAL_DISPLAY(pop_object()); }

constexpr Native_method METHODS[] = {
    {"WRITE_OBJECT", method_write_object, 2, 0, 'P', "[i fileid,o obj][]"},
    {"READ_OBJECT", method_read_object, 1, 2, 'P', "[i fileid][o obj,b status]"},
    {"LOAD_OBJECT", method_load_object, 1, 2, 'P', "[s filename][o obj,b status]"},
    {"SAVE_OBJECT", method_save_object, 2, 1, 'P', "[s filename,o obj][b status]"},
    {"DISPLAY_OBJECT", method_display_object, 1, 0, 'P', "[o obj][]"},
};

} // namespace

void serial_init() {
    static bool done = false;
    if (!first_time(done)) return;
    int32_t status;
    CLASS_CREATE_CLASS_C("SERIAL", "1.0.0", &status);
    register_methods("SERIAL", METHODS);
}

} // namespace qor
