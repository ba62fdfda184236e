// OBJ: what an object looks like.
#include <charconv>
#include <memory>
#include <vector>

#include "object/ap.hpp"
#include "object/types.hpp"
#include "qor/msg.h"
#include "qor/obj.h"

using namespace qor;

namespace {

void append_int(STRNG *text, int64_t value) {
    char digits[24];
    const auto end = std::to_chars(digits, digits + sizeof digits, value);
    strng_append(text, {digits, static_cast<size_t>(end.ptr - digits)});
}

// A text ends at a zero byte wherever it is rendered.
std::string_view rendered_text(QOR_OBJECT *string_object) {
    const std::string_view text = text_of(string_object);
    return text.substr(0, text.find('\0'));
}

// Big enough for every number.
constexpr size_t NUMBER_SIZE = 512;

void append_value(QOR_OBJECT *object, STRNG *text) {
    int16_t length = 0;
    switch (type_of(object)) {
    case TYPE_STRING: strng_append(text, rendered_text(object)); return;
    case TYPE_REAL: {
        char number[NUMBER_SIZE];
        type_table[TYPE_REAL].tochar(value_of(object), &length, number);
        strng_append(text, number);
        return;
    }
    case TYPE_INT: append_int(text, object->int_value); return;
    case TYPE_LONG: append_int(text, object->long_value); return;
    case TYPE_BOOLEAN: strng_append(text, object->boolean_value == 1 ? "TRUE" : "FALSE"); return;
    default: break;
    }
    // A buffer of this size has no place on the stack of a nested run.
    const std::unique_ptr<char[]> buffer(new char[TOCHAR_SIZE]);
    type_table[type_of(object)].tochar(value_of(object), &length, buffer.get());
    strng_append(text, buffer.get());
}

// The text may belong to the object itself, so it is put together apart.
void replace(STRNG *text, Strng &&made) {
    STRNG_REMOVE(text);
    *text = made.release();
}

} // namespace

void OBJ_to_string(QOR_OBJECT *object, STRNG *text) {
    if (!object) {
        strng_assign(text, "Object is QOR_NIL");
    } else if (!is_defined(object)) {
        strng_assign(text, "NULL");
    } else if (type_of(object) == TYPE_STRING) {
        strng_assign(text, rendered_text(object));
    } else {
        text->length = 0;
        append_value(object, text);
    }
}

void OBJ_to_display_string(QOR_OBJECT *object, STRNG *text) {
    if (!object) {
        strng_assign(text, "Object is QOR_NIL");
        return;
    }
    Strng made(OBJ_get_type_name_C(object));
    made.append('(');
    if (is_defined(object))
        append_value(object, &made);
    else
        made.append("NULL");
    made.append(") refs:");
    append_int(&made, count_of(object));
    replace(text, std::move(made));
}

void OBJ_display_object(QOR_OBJECT *object) {
    if (!object) {
        MESSAGE_DISPLAY1_C("object pointer is QOR_NIL\n");
    } else if (!is_defined(object)) {
        MESSAGE_DISPLAY1_C("object value is undefined\n");
    } else if (type_table[type_of(object)].display) {
        type_table[type_of(object)].display(value_of(object));
    }
}

void OBJ_display_aps(QOR_OBJECT *object) {
    // The paths that are bound now: showing them may bind and unbind others.
    std::vector<const Ap *> bound;
    for (const Ap *ap = object->aps; ap; ap = ap->chain) bound.push_back(ap);
    MESSAGE_DISPLAY1_C("--- APS -------\n");
    for (const Ap *ap : bound) {
        Strng name;
        AP_get_name(ap, &name);
        Strng line("   ");
        line.append(name.text());
        MESSAGE_DISPLAY_S(line);
    }
    MESSAGE_DISPLAY1_C("--- END APS ---\n");
}

void OBJ_check_object(QOR_OBJECT *object) {
    if (!object) {
        MESSAGE_ABORT1_C("check_object: object is QOR_NIL\n");
        return;
    }
    const int32_t type = type_of(object);
    if (type < 0 || type >= type_count) {
        MESSAGE_ABORT_F("check_object: invalid objecttype %d\n", type);
        return;
    }
    if (count_of(object) < 0) {
        MESSAGE_ABORT_F("check_object: bad refcount %d\n", count_of(object));
        return;
    }
    if (is_defined(object)) type_table[type].check(value_of(object));
}
