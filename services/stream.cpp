#include "services/stream.hpp"

#include <vector>

#include "container/map.hpp"
#include "container/table.hpp"
#include "kernel/storage.hpp"
#include "object/map_access.hpp"
#include "object/types.hpp"
#include "qor/array.h"
#include "qor/qorcpu.h"
#include "qor/textfile.h"
#include "services/stream_lines.hpp"

namespace qor {

Strng Line_writer::spare_block;

Line_writer::Line_writer(int32_t file) : file_(file) {
    if (!textfile_writable(file, "WRITE", "attempt to write a read only file")) return;
    block_ = std::move(spare_block);
    target_ = &block_;
    if (!target_->data) {
        target_->data = static_cast<uint8_t *>(storage_allocate(BLOCK));
        target_->capacity = BLOCK;
    }
}

Line_writer::~Line_writer() {
    if (target_ != &block_) return;
    block_.clear();
    spare_block = std::move(block_);
}

void Line_writer::flush() {
    if (target_ != &block_) return;
    TEXTFILE_WRITE(&file_, block_);
    block_.clear();
}

void Line_writer::long_line(std::string_view text) {
    flush();
    if (target_ == &block_) {
        if (text.size() < BLOCK) return line(text);
        return TEXTFILE_WRITELN(&file_, borrow(text));
    }
    strng_append(target_, text);
    strng_append(target_, "\n");
}

bool Line_reader::next_word() {
    const uint8_t *p = text_->next;
    const uint8_t *const end = text_->end;
    if (p == end) return false;
    while (p < end && *p == ' ') ++p;
    const uint8_t *const first = p;
    while (p < end && *p != ' ' && *p != '\n') ++p;
    line_ = view(STRNG_CURSOR{first, p});
    text_->next = p < end ? p + 1 : p;
    return true;
}

namespace {

// --- writing -------------------------------------------------------------------
// Nothing is shown or resolved here. The one place where other code can run is a
// method of a type of name "ilink": it may change what is being walked. So every
// walk holds a reference to its container and asks it again for the next place.

void write_object(Line_writer &out, QOR_OBJECT *object);

void write_entry(Line_writer &out, const Map_node *node) {
    map_key(node, &out.key);
    out.line("mo");
    out.text(out.key.text());
    write_object(out, node->object);
}

// Leaves the map's read cursor at the end.
void write_map(Line_writer &out, QOR_OBJECT *object) {
    const Nesting nesting;
    const Object_var held = Object_var::share(object);
    QOR_MAP *map = map_of(object);
    MAP_RESET_READ(&map);
    if (!map) return;
    out.line("ml");
    out.text(map->label.text());
    while (is_defined(object) && object->handle == map && map->read) {
        const Map_node *node = map->read;
        map->read = node->next;
        write_entry(out, node);
    }
    out.line("em");
}

void write_list(Line_writer &out, QOR_OBJECT *object) {
    const Nesting nesting;
    const Object_var held = Object_var::share(object);
    BTYP_reset_read_list(object);
    for (;;) {
        Object_var element;
        int32_t found;
        BTYP_read_next_listobj_ref(object, &element, &found);
        if (!found) break;
        out.line("lo");
        write_object(out, element);
    }
    out.line("ll");
}

uint32_t size_of(QOR_ARRAY *array) {
    uint32_t size;
    ARRAY_GET_SIZE(array, &size);
    return size;
}

void write_slot(Line_writer &out, QOR_OBJECT *element) {
    out.line("ao");
    write_object(out, element);
}

void write_array(Line_writer &out, QOR_OBJECT *object) {
    const Nesting nesting;
    const Object_var held = Object_var::share(object);
    QOR_ARRAY *array = nullptr;
    BTYP_read_array_ref(object, &array);
    const uint32_t size = size_of(array);
    out.number(static_cast<int32_t>(size));
    for (uint32_t i = 0; i < size; ++i) {
        Object_var element;
        BTYP_read_array_element_ref(object, i, &element);
        if (!element) return;
        write_slot(out, element);
    }
}

bool has_only_leaves(QOR_ARRAY *array) {
    const uint32_t size = size_of(array);
    for (uint32_t i = 0; i < size; ++i) {
        Object_var element;
        ARRAY_READ_OBJECT_REF(array, i, &element);
        if (!element || !is_leaf_type(type_of(element))) return false;
    }
    return true;
}

// Fields and rows are written from copies, so that no cursor of the table's or
// of a value's moves. Plain rows have no cursors: they need no copy.
void write_table(Line_writer &out, QOR_OBJECT *object) {
    const Nesting nesting;
    const auto *table = static_cast<const QOR_TABLE *>(object->handle);
    if (!table) return MESSAGE_ABORT1_C("TABLE is QOR_NIL\n");
    Object_var fields, rows;
    BTYP_create_array_copy(&fields, table->fields);
    bool is_plain = true;
    for (const Map_node *row = map_first(table->rows); row && is_plain; row = map_next(row)) {
        const QOR_OBJECT *array = map_object(row);
        is_plain = !is_defined(array) || is_leaf_type(type_of(array)) ||
                   (type_of(array) == TYPE_ARRAY && has_only_leaves(static_cast<QOR_ARRAY *>(array->handle)));
    }
    if (!is_plain) BTYP_create_map(&rows, table->rows);
    write_array(out, fields);
    if (!is_plain) return write_map(out, rows);
    out.line("ml");
    out.text(table->rows->label.text());
    for (const Map_node *row = map_first(table->rows); row; row = map_next(row)) write_entry(out, row);
    out.line("em");
}

void write_link(Line_writer &out, QOR_OBJECT *object) {
    Strng text;
    int32_t number;
    BTYP_get_link_type(object, &text);
    out.text(text.text());
    BTYP_get_link_number(object, &number);
    out.number(number);
    BTYP_get_link_bid(object, &text);
    out.text(text.text());
    BTYP_get_link_key(object, &text);
    out.text(text.text());
    BTYP_get_link_orderpos(object, &number);
    out.number(number);
}

void write_ilink(Line_writer &out, QOR_OBJECT *object) {
    const Object_var held = Object_var::share(object);
    for (const char *method : {"get_table", "get_key"}) {
        Strng text;
        out.flush();
        OBJ_domethod(object, method);
        QORCPU_POPS(&text);
        out.text(text.text());
    }
}

void write_object(Line_writer &out, QOR_OBJECT *object) {
    const int32_t type = type_of(object);
    out.number(type);
    out.line(is_defined(object) ? "1" : "0");
    if (!is_defined(object)) return;
    switch (type) {
    case TYPE_INT:
    case TYPE_BOOLEAN: return out.number(object->int_value);
    case TYPE_LONG: return out.number(object->long_value);
    case TYPE_REAL: return out.real(object->real_value);
    case TYPE_STRING: return out.text(text_of(object));
    case TYPE_GEOMETRY: return write_geometry(out, object->word);
    case TYPE_MAP: return write_map(out, object);
    case TYPE_ARRAY: return write_array(out, object);
    case TYPE_TABLE: return write_table(out, object);
    case TYPE_LIST: return write_list(out, object);
    case TYPE_LINK: return write_link(out, object);
    case TYPE_DBLINK: {
        Strng text;
        OBJ_to_string(object, &text);
        return out.text(text.text());
    }
    default:
        if (is_ilink_type(type)) write_ilink(out, object);
    }
}

// --- reading --------------------------------------------------------------------
// Each reader gives what it has made also when the lines end early, with the
// result false. Marks are not tested, numbers that are none are 0.

bool read_object(Line_reader &in, QOR_OBJECT **variable);

bool read_map(Line_reader &in, QOR_OBJECT **variable) {
    const Nesting nesting;
    QOR_MAP *map;
    MAP_CREATE_NONAME(&map);
    BTYP_create_map_ref(variable, map);
    if (!in.next() || !in.next()) return false;
    MAP_SET_LABEL(map, borrow(in.line()));
    Strng key;
    for (;;) {
        if (!in.next()) return false;
        if (in.line() == "em") return true;
        if (!in.next()) return false;
        key.assign(in.line());
        Object_var value;
        if (!read_object(in, &value)) return false;
        MAP_INSERT_MOVED(map, key, &value);
    }
}

bool read_list(Line_reader &in, QOR_OBJECT **variable) {
    const Nesting nesting;
    BTYP_create_list(variable);
    for (;;) {
        if (!in.next()) return false;
        if (in.line() == "ll") return true;
        Object_var element;
        if (!read_object(in, &element)) return false;
        BTYP_append_to_list(*variable, element);
    }
}

// The array is made when its slots are there, since the size is only announced:
// a few bytes of input must not take gigabytes. So an array that the lines do not
// fill has the slots that came, and the read fails.
bool read_array(Line_reader &in, QOR_OBJECT **variable) {
    const Nesting nesting;
    std::vector<Object_var> slots;
    bool is_read = in.next();
    const auto size = is_read ? static_cast<uint32_t>(in.integer()) : 0;
    while (is_read && slots.size() < size) {
        Object_var element;
        is_read = in.next() && read_object(in, &element);
        if (is_read) slots.push_back(std::move(element));
    }
    BTYP_create_array(variable, static_cast<uint32_t>(slots.size()));
    QOR_ARRAY *array = nullptr;
    BTYP_read_array_ref(*variable, &array);
    for (uint32_t i = 0; i < slots.size(); ++i) ARRAY_WRITE_OBJECT_REF(array, i, slots[i]);
    return is_read;
}

// Takes the handle out of an object that nobody else has.
template <class Handle> Handle *take_value(Object_var &object) {
    auto *handle = static_cast<Handle *>(object.get()->handle);
    OBJ_remove_object_keep_value(&object);
    return handle;
}

bool read_table(Line_reader &in, QOR_OBJECT **variable) {
    const Nesting nesting;
    Object_var fields, rows;
    if (!read_array(in, &fields) || !read_map(in, &rows)) return false;
    auto *array = take_value<QOR_ARRAY>(fields);
    table_adopt(variable, array, take_value<QOR_MAP>(rows));
    return true;
}

bool read_link(Line_reader &in, QOR_OBJECT **variable) {
    Strng type, bid, key;
    if (!in.next()) return false;
    type.assign(in.line());
    if (!in.next()) return false;
    const auto number = static_cast<uint32_t>(in.integer());
    if (!in.next()) return false;
    bid.assign(in.line());
    if (!in.next()) return false;
    key.assign(in.line());
    if (!in.next()) return false;
    BTYP_create_link(variable, type, number, bid, key, in.integer());
    return true;
}

// The type's own method takes both texts from the stack.
bool read_ilink(Line_reader &in, QOR_OBJECT *object) {
    Strng table;
    if (!in.next()) return false;
    table.assign(in.line());
    if (!in.next()) return false;
    QORCPU_PUSHS(table);
    QORCPU_PUSHS(borrow(in.line()));
    OBJ_domethod(object, "create");
    object->flags |= OBJ_DEFINED;
    return true;
}

QOR_OBJECT *define_scalar(QOR_OBJECT **variable, int32_t type) {
    QOR_OBJECT *scalar = scalar_record(variable);
    scalar->flags = OBJ_ONE | OBJ_DEFINED | static_cast<uint32_t>(type);
    scalar->word = 0;
    return scalar;
}

bool read_leaf(Line_reader &in, int32_t type, QOR_OBJECT **variable) {
    if (!in.next()) {
        OBJ_create_object(variable, type);
        return false;
    }
    switch (type) {
    case TYPE_STRING: fresh_string(variable, in.line()); break;
    case TYPE_REAL: define_scalar(variable, type)->real_value = in.real(); break;
    case TYPE_LONG: define_scalar(variable, type)->long_value = in.long_integer(); break;
    default: define_scalar(variable, type)->int_value = in.integer();
    }
    return true;
}

// The variable holds an undefined object of the type. It stays where the type has
// no lines, whatever the defined mark said.
bool read_other(Line_reader &in, int32_t type, QOR_OBJECT **variable) {
    switch (type) {
    case TYPE_GEOMETRY: {
        QOR_GEOMETRY geometry = 0;
        if (!read_geometry(in, &geometry)) return false;
        BTYP_write_geometry_ref(*variable, geometry);
        return true;
    }
    case TYPE_MAP: return read_map(in, variable);
    case TYPE_ARRAY: return read_array(in, variable);
    case TYPE_TABLE: return read_table(in, variable);
    case TYPE_LIST: return read_list(in, variable);
    case TYPE_LINK: return read_link(in, variable);
    case TYPE_DBLINK:
        if (!in.next()) return false;
        BTYP_create_dblink(variable, borrow(in.line()));
        return true;
    default: return !is_ilink_type(type) || read_ilink(in, *variable);
    }
}

// The type ids are those of the kernel that wrote. One that this kernel does not
// have can not be made: the read fails there.
bool read_object(Line_reader &in, QOR_OBJECT **variable) {
    if (!in.next()) return false;
    const int32_t type = in.integer();
    if (type < 0 || type >= type_count) return false;
    const bool is_read = in.next();
    const bool defined = is_read && in.integer() != 0;
    if (defined && is_leaf_type(type)) return read_leaf(in, type, variable);
    OBJ_create_object(variable, type);
    return defined ? read_other(in, type, variable) : is_read;
}

void refuse(int32_t kind) { MESSAGE_ABORT_F("unsupported stream type %d\n", kind); }

} // namespace

void STREAM_WRITE_OBJECT(void *stream, int32_t kind, QOR_OBJECT *object) {
    if (kind == STREAM_FILE) {
        Line_writer out(*static_cast<const int32_t *>(stream));
        if (!out.is_open()) return;
        write_object(out, object);
        out.flush();
    } else if (kind == STREAM_STRING) {
        Line_writer out(static_cast<STRNG *>(stream));
        write_object(out, object);
    } else {
        refuse(kind);
    }
}

void STREAM_READ_OBJECT(void *stream, int32_t kind, QOR_OBJECT **variable, int32_t *status) {
    *status = 0;
    Object_var object;
    if (kind == STREAM_FILE) {
        Line_reader in(*static_cast<const int32_t *>(stream));
        *status = read_object(in, &object);
    } else if (kind == STREAM_STRING) {
        auto *string = static_cast<STRNG *>(stream);
        STRNG_CURSOR rest{string->data, string->data + string->length};
        Line_reader in(&rest);
        *status = read_object(in, &object);
        strng_assign(string, view(rest));
    } else {
        refuse(kind);
    }
    if (!object) return;
    OBJ_remove_object(variable);
    *variable = object.release();
}

} // namespace qor

using namespace qor;

void TEXTFILE_WRITE_OBJECT(const int32_t *file, QOR_OBJECT *object) {
    int32_t id = *file;
    STREAM_WRITE_OBJECT(&id, STREAM_FILE, object);
}

void TEXTFILE_READ_OBJECT(const int32_t *file, QOR_OBJECT **variable, int32_t *status) {
    int32_t id = *file;
    STREAM_READ_OBJECT(&id, STREAM_FILE, variable, status);
}
