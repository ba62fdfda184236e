#include "qor/array.h"

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "kernel/storage.hpp"
#include "object/types.hpp"
#include "qor/msg.h"

// size slots follow the record in the same block. A slot whose undefined int
// nobody has asked for yet is null: a large array that is filled here and there
// costs 8 bytes for each slot and no object.
struct alignas(QOR_OBJECT *) QOR_ARRAY {
    uint32_t size;
};

namespace qor {

namespace {

QOR_OBJECT **slots_of(QOR_ARRAY *array) { return reinterpret_cast<QOR_OBJECT **>(array + 1); }

size_t block_size(uint32_t size) { return sizeof(QOR_ARRAY) + size_t{size} * sizeof(QOR_OBJECT *); }

uint32_t size_of(const QOR_ARRAY *array) { return array ? array->size : 0; }

// Null should the abort return.
QOR_OBJECT **slot_at(QOR_ARRAY *array, uint32_t index) {
    if (index < size_of(array)) [[likely]]
        return slots_of(array) + index;
    MESSAGE_ABORT_S(borrow("invalid ARRAY-Index"));
    return nullptr;
}

// The slot's object, borrowed.
QOR_OBJECT *object_in(QOR_OBJECT **slot) {
    if (!*slot) BTYP_create_undef_int(slot);
    return *slot;
}

// What the slot held is released last, when the array is whole again.
void store(QOR_OBJECT **slot, Object_var &&object) { std::swap(*slot, *&object); }

QOR_ARRAY *array_of(QOR_OBJECT *object) { return handle_of<QOR_ARRAY>(object, TYPE_ARRAY); }

struct Array_remover {
    void operator()(QOR_ARRAY *array) const { ARRAY_REMOVE(&array); }
};

QOR_ARRAY *array_copy(QOR_ARRAY *source) {
    if (!source) return nullptr;
    const Nesting level;
    std::unique_ptr<QOR_ARRAY, Array_remover> copy;
    QOR_ARRAY *created;
    ARRAY_CREATE(&created, source->size);
    copy.reset(created);
    for (uint32_t i = 0; i < source->size; ++i) {
        if (slots_of(source)[i]) OBJ_copy_object(slots_of(source)[i], slots_of(created) + i);
    }
    return copy.release();
}

// A leading sign is skipped and has no effect, so that "-1" reads as 1, and
// what is no number as 0: kept, since it is the reader of all counts.
uint32_t index_of(STRNG key) {
    STRNG_CURSOR cursor{key.data, key.data + key.length};
    uint32_t index;
    STRNG_EXTRCARD(&cursor, &index);
    return index;
}

// --- the type's slots ---------------------------------------------------------

void slot_remove(void *value) { ARRAY_REMOVE(&value_at<QOR_ARRAY *>(value)); }
void slot_copy(const void *source, void *target) {
    value_at<QOR_ARRAY *>(target) = array_copy(value_at<QOR_ARRAY *>(source));
}
void slot_tochar(const void *, int16_t *length, char *buffer) { put_tochar("ARRAY", length, buffer); }
void slot_display(const void *value) { ARRAY_DISPLAY(value_at<QOR_ARRAY *>(value)); }
void slot_index(void *value, STRNG key, QOR_OBJECT **variable, int32_t *status) {
    *status = 1;
    ARRAY_READ_OBJECT_REF(value_at<QOR_ARRAY *>(value), index_of(key), variable);
}
void slot_insert(void *value, STRNG key, QOR_OBJECT *object, int32_t *status) {
    *status = 1;
    ARRAY_WRITE_OBJECT_REF(value_at<QOR_ARRAY *>(value), index_of(key), object);
}

} // namespace

const Value_slots ARRAY_SLOTS{"array",     handle_init,  slot_remove, move_64,    slot_copy,
                              slot_tochar, slot_display, slot_index,  slot_insert};

} // namespace qor

using namespace qor;

void ARRAY_INITIALIZE(QOR_ARRAY **variable) { *variable = nullptr; }

void ARRAY_CREATE(QOR_ARRAY **variable, uint32_t size) {
    *variable = static_cast<QOR_ARRAY *>(storage_allocate_zeroed(block_size(size)));
    (*variable)->size = size;
}

void ARRAY_REMOVE(QOR_ARRAY **variable) {
    QOR_ARRAY *array = std::exchange(*variable, nullptr);
    if (!array) return;
    for (uint32_t i = 0; i < array->size; ++i) {
        if (slots_of(array)[i]) OBJ_remove_object(slots_of(array) + i);
    }
    storage_free(array, block_size(array->size));
}

void ARRAY_GET_SIZE(QOR_ARRAY *array, uint32_t *size) { *size = size_of(array); }

void ARRAY_READ_OBJECT(QOR_ARRAY *array, uint32_t index, QOR_OBJECT **variable) {
    if (QOR_OBJECT **slot = slot_at(array, index)) OBJ_copy_object(object_in(slot), variable);
}

void ARRAY_READ_OBJECT_REF(QOR_ARRAY *array, uint32_t index, QOR_OBJECT **variable) {
    if (QOR_OBJECT **slot = slot_at(array, index)) OBJ_create_object_ref(object_in(slot), variable);
}

void ARRAY_WRITE_OBJECT(QOR_ARRAY *array, uint32_t index, QOR_OBJECT *object) {
    QOR_OBJECT **slot = slot_at(array, index);
    if (!slot) return;
    Object_var copy;
    OBJ_copy_object(object, &copy);
    store(slot, std::move(copy));
}

void ARRAY_WRITE_OBJECT_REF(QOR_ARRAY *array, uint32_t index, QOR_OBJECT *object) {
    QOR_OBJECT **slot = slot_at(array, index);
    if (!slot) return;
    Object_var reference;
    OBJ_create_object_ref(object, &reference);
    if (reference) store(slot, std::move(reference));
}

void ARRAY_DISPLAY(QOR_ARRAY *array) {
    // All texts are made before the first is shown: showing one may run script
    // code that changes the array.
    std::vector<Strng> texts(size_of(array));
    Object_var untouched;
    BTYP_create_undef_int(&untouched);
    for (size_t i = 0; i < texts.size(); ++i) {
        QOR_OBJECT *object = slots_of(array)[i];
        OBJ_to_display_string(object ? object : untouched.get(), &texts[i]);
    }
    // The two words have no line end, so that the first slot continues the line
    // of ARRAY: a kept property of the format.
    MESSAGE_DISPLAY1_C("ARRAY");
    for (size_t i = 0; i < texts.size(); ++i) {
        MESSAGE_DISPLAY1_C(("   [" + std::to_string(i) + "] = ").c_str());
        MESSAGE_DISPLAY_S(texts[i]);
    }
    MESSAGE_DISPLAY1_C("END_ARRAY");
}

void BTYP_create_array(QOR_OBJECT **variable, uint32_t size) {
    OBJ_create_object(variable, TYPE_ARRAY);
    QOR_ARRAY *array;
    ARRAY_CREATE(&array, size);
    OBJ_set_object_value_ref(*variable, &array);
}

void BTYP_create_array_copy(QOR_OBJECT **variable, QOR_ARRAY *array) { create_copying(variable, TYPE_ARRAY, array); }

void BTYP_create_array_ref(QOR_OBJECT **variable, QOR_ARRAY *array) { create_adopting(variable, TYPE_ARRAY, array); }

void BTYP_read_array_ref(QOR_OBJECT *object, QOR_ARRAY **array) { *array = array_of(object); }

void BTYP_read_array_element(QOR_OBJECT *object, uint32_t index, QOR_OBJECT **variable) {
    ARRAY_READ_OBJECT(array_of(object), index, variable);
}

void BTYP_read_array_element_ref(QOR_OBJECT *object, uint32_t index, QOR_OBJECT **variable) {
    ARRAY_READ_OBJECT_REF(array_of(object), index, variable);
}

void BTYP_write_array_element(QOR_OBJECT *object, uint32_t index, QOR_OBJECT *element) {
    ARRAY_WRITE_OBJECT(array_of(object), index, element);
}
