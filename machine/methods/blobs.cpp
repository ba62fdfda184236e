// Blobs. A read method pushes its value and true, or false alone, so a script
// tests before it takes the value; a write method gives the same blob back.
#include "qor/blob.h"

#include <string>

#include "kernel/lifecycle.hpp"
#include "machine/methods/texts.hpp"

namespace qor {

namespace {

MSG blob_msg = nullptr;

// All arguments are off the stack when their types are tested.
bool has_type(const char *method, QOR_OBJECT *object, Type type) {
    if (object && type_of(object) == type) [[likely]]
        return true;
    MSG_SET_PROC_C(blob_msg, method);
    MSG_ABORT2_C(blob_msg, (std::string(method) + ": wrong type").c_str());
    return false;
}

// The blob of an object, borrowed. False should the abort on another type or on
// NULL return.
bool get_blob(const char *method, QOR_OBJECT *object, QOR_BLOB **blob) {
    if (!has_type(method, object, TYPE_BLOB)) return false;
    BTYP_read_blob_ref(object, blob);
    return is_defined(object);
}

template <typename T> void read_value(const char *method, int32_t (*read)(QOR_BLOB *, T *), void (*push)(T)) {
    const Object_var object = pop_object();
    QOR_BLOB *blob;
    if (!get_blob(method, object, &blob)) return;
    T value{};
    const bool found = read(blob, &value) != 0;
    if (found) push(value);
    qorcpu_push_boolean(found);
}

// write appends the value of the tested object.
template <typename Write> void write_value(const char *method, Type type, Write write) {
    const Object_var value = pop_object();
    Object_var object = pop_object();
    QOR_BLOB *blob;
    if (!has_type(method, value, type) || !get_blob(method, object, &blob)) return;
    write(blob, value.get());
    qorcpu_push_owned(std::move(object));
}

void write_int(const char *method, void (*write)(QOR_BLOB *, int32_t)) {
    write_value(method, TYPE_INT, [write](QOR_BLOB *blob, QOR_OBJECT *object) {
        int32_t value;
        BTYP_read_int(object, &value);
        write(blob, value);
    });
}

void write_real(const char *method, void (*write)(QOR_BLOB *, double)) {
    write_value(method, TYPE_REAL, [write](QOR_BLOB *blob, QOR_OBJECT *object) {
        double value;
        BTYP_read_real(object, &value);
        write(blob, value);
    });
}

template <typename Write> void write_text(const char *method, Write write) {
    write_value(method, TYPE_STRING, [write](QOR_BLOB *blob, QOR_OBJECT *object) {
        STRNG text{0, 0, nullptr};
        BTYP_read_string_ref(object, &text);
        write(blob, text);
    });
}

// --- reading ------------------------------------------------------------------

void blob_read_init() {
    const Object_var object = pop_object();
    QOR_BLOB *blob;
    if (get_blob("BLOB_READ_INIT", object, &blob)) BLOB_READ_INIT(blob);
}

void blob_read_jump() {
    const Object_var offset = pop_object();
    const Object_var object = pop_object();
    QOR_BLOB *blob;
    if (!has_type("BLOB_READ_JUMP", offset, TYPE_INT) || !get_blob("BLOB_READ_JUMP", object, &blob)) return;
    int32_t value;
    BTYP_read_int(offset, &value);
    BLOB_READ_JUMP(blob, value);
}

void push_byte(uint8_t byte) { qorcpu_push_text({reinterpret_cast<const char *>(&byte), 1}); }

void blob_read_byte() { read_value<uint8_t>("BLOB_READ_BYTE", BLOB_READ_BYTE, push_byte); }

void blob_read_int16() {
    read_value<int16_t>(
        "BLOB_READ_INT16", [](QOR_BLOB *blob, int16_t *value) { return BLOB_READ_INT16(blob, value); },
        [](int16_t value) { qorcpu_push_int(value); });
}

void blob_read_int32() {
    read_value<int32_t>(
        "BLOB_READ_INT32", [](QOR_BLOB *blob, int32_t *value) { return BLOB_READ_INT32(blob, value); },
        [](int32_t value) { qorcpu_push_int(value); });
}

void blob_read_real32() { read_value<double>("BLOB_READ_REAL32", BLOB_READ_REAL32, QORCPU_PUSHR); }
void blob_read_real64() { read_value<double>("BLOB_READ_REAL64", BLOB_READ_REAL64, QORCPU_PUSHR); }

void blob_read_string() {
    const Object_var object = pop_object();
    QOR_BLOB *blob;
    if (!get_blob("BLOB_READ_STRING", object, &blob)) return;
    Work_text text;
    const bool found = BLOB_READ_STRING(blob, &*text) != 0;
    if (found) qorcpu_push_text(text->text());
    qorcpu_push_boolean(found);
}

// --- writing ------------------------------------------------------------------

void push_blob(QOR_BLOB *adopted) {
    Object_var object;
    BTYP_create_blob_ref(&object, adopted);
    qorcpu_push_owned(std::move(object));
}

void blob_create() {
    QOR_BLOB *blob;
    BLOB_CREATE(&blob, nullptr, 0);
    push_blob(blob);
}

void blob_write_byte() {
    write_text("BLOB_WRITE_BYTE", [](QOR_BLOB *blob, STRNG text) {
        if (text.length) BLOB_WRITE_BYTE(blob, text.data[0]);
    });
}

void blob_write_int16() { write_int("BLOB_WRITE_INT16", BLOB_WRITE_INT16); }
void blob_write_int32() { write_int("BLOB_WRITE_INT32", BLOB_WRITE_INT32); }
void blob_write_real32() { write_real("BLOB_WRITE_REAL32", BLOB_WRITE_REAL32); }
void blob_write_real64() { write_real("BLOB_WRITE_REAL64", BLOB_WRITE_REAL64); }
void blob_write_string() { write_text("BLOB_WRITE_STRING", BLOB_WRITE_STRING); }

// --- size and text --------------------------------------------------------------

void blob_get_size() {
    const Object_var object = pop_object();
    if (!has_type("BLOB_GET_SIZE", object, TYPE_BLOB)) return;
    uint32_t size;
    BTYP_size_blob(object, &size);
    qorcpu_push_int(static_cast<int32_t>(size));
}

void blob_to_hexstring() {
    const Object_var object = pop_object();
    QOR_BLOB *blob;
    if (!get_blob("BLOB_TO_HEXSTRING", object, &blob)) return;
    Work_text text;
    if (BLOB_TO_HEXSTRING(blob, &*text))
        qorcpu_push_text(text->text());
    else
        QORCPU_PUSH_UNDEF_STRING();
}

void hexstring_to_blob() {
    const Object_var object = pop_object();
    if (!has_type("HEXSTRING_TO_BLOB", object, TYPE_STRING)) return;
    STRNG text{0, 0, nullptr};
    BTYP_read_string_ref(object, &text);
    QOR_BLOB *blob;
    if (BLOB_HEXSTRING_TO_BLOB(text, &blob)) return push_blob(blob);
    BLOB_REMOVE(&blob);
    Object_var undefined;
    BTYP_create_undef_blob(&undefined);
    qorcpu_push_owned(std::move(undefined));
}

constexpr Native_method METHODS[] = {
    {"BLOB_READ_INIT", blob_read_init, 1, 0, 'P', "[b blob][]"},
    {"BLOB_READ_JUMP", blob_read_jump, 2, 0, 'P', "[b blob, i offset][]"},
    {"BLOB_READ_BYTE", blob_read_byte, 1, 2, 'P', "[b blob][b byte, b boolean]"},
    {"BLOB_READ_INT16", blob_read_int16, 1, 2, 'P', "[b blob][i int, b boolean]"},
    {"BLOB_READ_INT32", blob_read_int32, 1, 2, 'P', "[b blob][i int, b boolean]"},
    {"BLOB_READ_REAL32", blob_read_real32, 1, 2, 'P', "[b blob][r real, b boolean]"},
    {"BLOB_READ_REAL64", blob_read_real64, 1, 2, 'P', "[b blob][r real, b boolean]"},
    {"BLOB_READ_STRING", blob_read_string, 1, 2, 'P', "[b blob][s string, b boolean]"},
    {"BLOB_CREATE", blob_create, 0, 1, 'P', "[][b blob]"},
    {"BLOB_WRITE_BYTE", blob_write_byte, 2, 1, 'P', "[b blob, b byte][b blob]"},
    {"BLOB_WRITE_INT16", blob_write_int16, 2, 1, 'P', "[b blob, i int][b blob]"},
    {"BLOB_WRITE_INT32", blob_write_int32, 2, 1, 'P', "[b blob, i int][b blob]"},
    {"BLOB_WRITE_REAL32", blob_write_real32, 2, 1, 'P', "[b blob, r real][b blob]"},
    {"BLOB_WRITE_REAL64", blob_write_real64, 2, 1, 'P', "[b blob, r real][b blob]"},
    {"BLOB_WRITE_STRING", blob_write_string, 2, 1, 'P', "[b blob, s string][b blob]"},
    {"BLOB_GET_SIZE", blob_get_size, 1, 1, 'P', "[b blob][i size]"},
    {"BLOB_TO_HEXSTRING", blob_to_hexstring, 1, 1, 'P', "[b blob][s string]"},
    {"HEXSTRING_TO_BLOB", hexstring_to_blob, 1, 1, 'P', "[s string][b blob]"},
};

} // namespace

void blob_init() {
    if (!blob_msg) MSG_CREATE_C(&blob_msg, "BLOB", 0);
    static bool done = false;
    if (first_time(done)) register_methods("QOR", METHODS);
}

void blob_terminate() { MSG_REMOVE(&blob_msg); }

} // namespace qor
