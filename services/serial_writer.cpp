// Not everything is written so that it comes back: an undefined value becomes an
// undefined string, links and geometries have a form that is not read, and the
// remaining types have none. Scripts know these properties; they stay.
#include <string>

#include "container/list.hpp"
#include "object/map_access.hpp"
#include "object/object.hpp"
#include "qor/geom.h"
#include "qor/msg.h"
#include "qor/textfile.h"
#include "services/serial.hpp"
#include "services/stream_lines.hpp"

namespace qor {

namespace {

QOR_LIST *list_of(QOR_OBJECT *object) { return static_cast<QOR_LIST *>(object->handle); }

// Puts the form of values together. Nothing is shown while containers are
// walked, since showing may run script code that changes them.
class Writer {
  public:
    // To a text file that can be written, or, with none, into text.
    Writer() = default;
    explicit Writer(int32_t file) : file_(file) {}

    // With the indent of the level only where the value begins a line.
    void write(QOR_OBJECT *object, bool indented, int32_t level);
    void flush();
    const std::string &text() const { return text_; }

  private:
    static constexpr int32_t NO_FILE = -1;
    static constexpr size_t BLOCK = 65536;

    void indent(int32_t level) { text_.append(static_cast<size_t>(level) * 3, ' '); }
    void line(std::string_view word) {
        text_ += word;
        text_ += '\n';
        if (file_ != NO_FILE && text_.size() >= BLOCK) flush();
    }

    void write_real(double value);
    void write_text(std::string_view text);
    void write_link(QOR_OBJECT *link);
    void write_map(QOR_MAP *map, bool indented, int32_t level);
    void write_list(QOR_LIST *list, bool indented, int32_t level);
    void write_geometry(QOR_OBJECT *geometry, bool indented, int32_t level);

    int32_t file_ = NO_FILE;
    std::string text_;
    Strng work_;
};

void Writer::flush() {
    TEXTFILE_WRITE(&file_, borrow(text_));
    text_.clear();
}

void Writer::write_real(double value) {
    char digits[REAL_TEXT];
    line({digits, put_real(digits, value)});
}

// A text that is empty or holds a blank needs quotes to come back.
void Writer::write_text(std::string_view text) {
    const bool quoted = text.empty() || text.find(' ') != std::string_view::npos;
    if (quoted) text_ += '\'';
    text_ += text;
    line(quoted ? "'" : "");
}

// Kept: the key stands twice, and the second identifier not at all.
void Writer::write_link(QOR_OBJECT *link) {
    int32_t number = 0, position = 0;
    BTYP_get_link_number(link, &number);
    BTYP_get_link_orderpos(link, &position);
    BTYP_get_link_type(link, &work_);
    text_ += c_text(work_.text());
    text_ += ':' + std::to_string(number) + ':';
    BTYP_get_link_key(link, &work_);
    for (int i = 0; i < 2; ++i) {
        text_ += c_text(work_.text());
        text_ += ':';
    }
    line(std::to_string(position));
}

void Writer::write_map(QOR_MAP *map, bool indented, int32_t level) {
    const Nesting nesting;
    MAP_GET_LABEL(map, &work_); // aborts when there is no map
    if (!map) return;
    const std::string_view label = c_text(work_.text());
    if (indented) indent(level);
    line(label.empty() ? "MAP" : label);
    for (const Map_node *entry = map_first(map); entry; entry = map_next(entry)) {
        map_key(entry, &work_);
        indent(level + 1);
        text_ += c_text(work_.text());
        text_ += ' ';
        write(map_object(entry), false, level + 1);
    }
    indent(level);
    line("}");
}

void Writer::write_list(QOR_LIST *list, bool indented, int32_t level) {
    const Nesting nesting;
    if (indented) indent(level);
    line("LIST");
    for (const QOR_LIST_NODE *node = list_first(list); node; node = list_next(node))
        write(list_object(node), true, level + 1);
    indent(level);
    line("}");
}

// The kind alone; that of a rand is not told.
void Writer::write_geometry(QOR_OBJECT *geometry, bool indented, int32_t level) {
    const uint8_t kind = BTYP_get_geometry_type(geometry);
    const char *word = kind == GEOM_POINT ? "POINT" : kind == GEOM_LINE ? "LINE" : kind == GEOM_AREA ? "AREA" : nullptr;
    if (!word) return;
    if (indented) indent(level);
    line(word);
}

void Writer::write(QOR_OBJECT *object, bool indented, int32_t level) {
    const bool defined = is_defined(object);
    const auto begin = [&](const char *word) {
        if (indented) indent(level);
        text_ += word;
        if (!defined) line("NULL");
        return defined;
    };
    switch (type_of(object)) {
    case TYPE_BOOLEAN:
        if (begin("BOOLEAN ")) line(object->boolean_value ? "true" : "false");
        break;
    case TYPE_INT:
        if (begin("INT ")) line(std::to_string(object->int_value));
        break;
    case TYPE_REAL:
        if (begin("REAL ")) write_real(object->real_value);
        break;
    case TYPE_STRING:
        if (begin("STRING ")) write_text(c_text(text_of(object)));
        break;
    case TYPE_LINK:
        if (begin("LINK ")) write_link(object);
        break;
    // Kept: other than the values above, these have no indent when undefined.
    case TYPE_MAP: defined ? write_map(map_of(object), indented, level) : line("MAP NULL"); break;
    case TYPE_LIST: defined ? write_list(list_of(object), indented, level) : line("LIST NULL"); break;
    case TYPE_GEOMETRY: defined ? write_geometry(object, indented, level) : line("GEOMETRY NULL"); break;
    // Kept: no form and no line end. Behind a key the next entry runs on.
    default: break;
    }
}

} // namespace

void SERIAL_WRITE(int32_t file, QOR_OBJECT *object) {
    // A file that can not be written aborts before the walk.
    TEXTFILE_WRITE(&file, borrow(""));
    Writer writer(file);
    writer.write(object, true, 0);
    writer.flush();
}

void SERIAL_DISPLAY(QOR_OBJECT *object) {
    Writer writer;
    writer.write(object, true, 0);
    std::string_view rest = writer.text();
    for (size_t end; (end = rest.find('\n')) != std::string_view::npos; rest.remove_prefix(end + 1))
        MESSAGE_DISPLAY_S(borrow(rest.substr(0, end)));
}

} // namespace qor
