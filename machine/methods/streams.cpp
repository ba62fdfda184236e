// Objects as text: packed into strings, and put away in the swap file.
#include "machine/methods/methods.hpp"
#include "object/odb.hpp"
#include "services/stream.hpp"

namespace qor {

namespace {

void pack() {
    const Object_var object = pop_object();
    if (!object) return;
    Strng text;
    STREAM_WRITE_OBJECT(&text, STREAM_STRING, object);
    Object_var packed;
    BTYP_create_string_ref(&packed, text.release());
    qorcpu_push_owned(std::move(packed));
}

void unpack() {
    Strng text;
    QORCPU_POPS(&text);
    Object_var object;
    int32_t status;
    STREAM_READ_OBJECT(&text, STREAM_STRING, &object, &status);
    if (status) qorcpu_push_owned(std::move(object));
    qorcpu_push_boolean(status);
}

void file_object() {
    int64_t position;
    {
        const Object_var object = pop_object();
        if (!object) return;
        ODB_write_object(object, &position);
    }
    qorcpu_push_long(position);
}

void unfile_object() {
    Object_var object;
    ODB_read_object(qorcpu_pop_long(), &object);
    if (object) qorcpu_push_owned(std::move(object));
}

constexpr Native_method METHODS[] = {
    {"FILE_OBJECT", file_object, 1, 1, 'P', ""},
    {"UNFILE_OBJECT", unfile_object, 1, 1, 'P', ""},
    {"PACK", pack, 1, 1, 'P', "[o object][s packed]"},
    {"UNPACK", unpack, 1, 2, 'P', "[s packed][o object,b status]"},
};

} // namespace

void register_stream_methods() { register_methods("QOR", METHODS); }

} // namespace qor
