#include "qor/blob.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <string>
#include <utility>

#include "kernel/storage.hpp"
#include "kernel/strng_core.hpp"
#include "object/types.hpp"
#include "qor/msg.h"

struct QOR_BLOB {
    uint8_t *data; // null when nothing was ever stored
    uint32_t allocated;
    uint32_t size;
    uint32_t index; // of the next read; any value, also beyond the size
};

namespace qor {

namespace {

constexpr uint64_t GROWTH_STEP = 500;
constexpr size_t ROW_SIZE = 8; // bytes in a row of the display

Record_pool<sizeof(QOR_BLOB)> records;

struct Blob_remover {
    void operator()(QOR_BLOB *blob) const { BLOB_REMOVE(&blob); }
};

bool is_blob(const QOR_BLOB *blob) {
    if (blob) [[likely]]
        return true;
    MESSAGE_ABORT1_C("blob is QOR_NIL\n");
    return false;
}

// Grows by whole steps, as few as are needed, and never shrinks. False should
// the abort return.
bool reserve(QOR_BLOB *blob, uint64_t needed) {
    if (needed <= blob->allocated) [[likely]]
        return true;
    if (needed > UINT32_MAX) {
        MESSAGE_ABORT1_C("blob is too large\n");
        return false;
    }
    const uint64_t steps = (needed - blob->allocated - 1) / GROWTH_STEP + 1;
    const uint64_t allocated = std::min<uint64_t>(blob->allocated + steps * GROWTH_STEP, UINT32_MAX);
    blob->data = static_cast<uint8_t *>(storage_reallocate(blob->data, blob->allocated, allocated));
    blob->allocated = static_cast<uint32_t>(allocated);
    return true;
}

template <typename T> void append(QOR_BLOB *blob, T value) {
    if (!is_blob(blob) || !reserve(blob, uint64_t{blob->size} + sizeof value)) return;
    std::memcpy(blob->data + blob->size, &value, sizeof value);
    blob->size += sizeof value;
}

bool can_read(const QOR_BLOB *blob) { return blob && blob->index < blob->size; }

// Without wrapping: a read never comes round to the begin.
void advance(QOR_BLOB *blob, uint64_t count) {
    blob->index = static_cast<uint32_t>(std::min<uint64_t>(blob->index + count, UINT32_MAX));
}

// Only the start of a value must lie within the size; missing bytes are zero.
template <size_t WIDTH> int32_t take(QOR_BLOB *blob, void *value) {
    if (!can_read(blob)) return 0;
    const uint32_t left = blob->size - blob->index;
    if (left >= WIDTH) [[likely]] {
        std::memcpy(value, blob->data + blob->index, WIDTH);
    } else {
        std::memset(value, 0, WIDTH);
        std::memcpy(value, blob->data + blob->index, left);
    }
    advance(blob, WIDTH);
    return 1;
}

// -1 for a character that is no digit.
int hex_value(uint8_t c) {
    if (c > 96) c -= 32;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    if (c >= '0' && c <= '9') return c - '0';
    return -1;
}

constexpr char HEX_DIGITS[] = "0123456789ABCDEF";

// The display of up to eight bytes from offset on: the offset filled up to the
// width of the size, then the bytes, missing ones as blanks.
Strng row_text(const QOR_BLOB *blob, uint32_t offset) {
    const std::string number = std::to_string(offset);
    Strng row("   ");
    row.append(number);
    row.append('.');
    row.append(std::string(std::to_string(blob->size).size() + 1 - number.size(), ' '));
    row.append('[');
    char bytes[3 * ROW_SIZE];
    std::fill(std::begin(bytes), std::end(bytes), ' ');
    const size_t count = std::min<size_t>(ROW_SIZE, blob->size - offset);
    for (size_t i = 0; i < count; ++i) {
        bytes[3 * i] = HEX_DIGITS[blob->data[offset + i] >> 4];
        bytes[3 * i + 1] = HEX_DIGITS[blob->data[offset + i] & 15];
    }
    bytes[sizeof bytes - 1] = ']';
    row.append({bytes, sizeof bytes});
    return row;
}

// --- the type's slots ---------------------------------------------------------

void slot_remove(void *value) { BLOB_REMOVE(&value_at<QOR_BLOB *>(value)); }
void slot_copy(const void *source, void *target) {
    BLOB_COPY(value_at<QOR_BLOB *>(source), &value_at<QOR_BLOB *>(target));
}
void slot_tochar(const void *, int16_t *length, char *buffer) { put_tochar("BLOB", length, buffer); }
void slot_display(const void *value) { BLOB_DISPLAY(value_at<QOR_BLOB *>(value)); }

// The blob of an object, borrowed; null for NULL.
QOR_BLOB *blob_or_null(QOR_OBJECT *object) {
    if (object && type_of(object) == TYPE_BLOB && !is_defined(object)) return nullptr;
    return handle_of<QOR_BLOB>(object, TYPE_BLOB);
}

} // namespace

const Value_slots BLOB_SLOTS{"blob", handle_init, slot_remove, move_64, slot_copy, slot_tochar, slot_display};

} // namespace qor

using namespace qor;

void BLOB_INITIALIZE(QOR_BLOB **variable) { *variable = nullptr; }

void BLOB_CREATE(QOR_BLOB **variable, const uint8_t *bytes, uint32_t size) {
    uint8_t *data = nullptr;
    if (size) {
        data = static_cast<uint8_t *>(storage_allocate(size));
        std::memcpy(data, bytes, size);
    }
    *variable = new (records.take()) QOR_BLOB{data, size, size, 0};
}

void BLOB_REMOVE(QOR_BLOB **variable) {
    QOR_BLOB *blob = std::exchange(*variable, nullptr);
    if (!blob) return;
    if (blob->data) storage_free(blob->data, blob->allocated);
    records.give(blob);
}

void BLOB_COPY(QOR_BLOB *blob, QOR_BLOB **variable) {
    if (blob)
        BLOB_CREATE(variable, blob->data, blob->size);
    else
        *variable = nullptr;
}

void BLOB_SIZE(QOR_BLOB *blob, uint32_t *size) { *size = blob ? blob->size : 0; }

void BLOB_READ_BYTES(QOR_BLOB *blob, uint8_t *bytes) {
    if (blob && blob->size) std::memcpy(bytes, blob->data, blob->size);
}

void BLOB_READ_BYTES_REF(QOR_BLOB *blob, const uint8_t **bytes) { *bytes = blob ? blob->data : nullptr; }

void BLOB_WRITE_BYTES(QOR_BLOB *blob, const uint8_t *bytes) {
    if (blob && blob->size) std::memcpy(blob->data, bytes, blob->size);
}

// --- reading ------------------------------------------------------------------

void BLOB_READ_INIT(QOR_BLOB *blob) { BLOB_READ_INDEX_SET(blob, 0); }

int32_t BLOB_READ_INDEX_SET(QOR_BLOB *blob, uint32_t index) {
    if (!blob) return 0;
    blob->index = index;
    return can_read(blob);
}

int32_t BLOB_READ_JUMP(QOR_BLOB *blob, int32_t offset) {
    return blob ? BLOB_READ_INDEX_SET(blob, blob->index + static_cast<uint32_t>(offset)) : 0;
}

int32_t BLOB_READ_BYTE(QOR_BLOB *blob, uint8_t *value) { return take<1>(blob, value); }
int32_t BLOB_READ_INT16(QOR_BLOB *blob, void *value) { return take<2>(blob, value); }
int32_t BLOB_READ_CARD16(QOR_BLOB *blob, void *value) { return take<2>(blob, value); }
int32_t BLOB_READ_INT32(QOR_BLOB *blob, void *value) { return take<4>(blob, value); }
int32_t BLOB_READ_CARD32(QOR_BLOB *blob, void *value) { return take<4>(blob, value); }

int32_t BLOB_READ_REAL32(QOR_BLOB *blob, double *value) {
    float narrow;
    const int32_t found = take<4>(blob, &narrow);
    if (found) *value = narrow;
    return found;
}

int32_t BLOB_READ_REAL64(QOR_BLOB *blob, double *value) { return take<8>(blob, value); }

int32_t BLOB_READ_STRING(QOR_BLOB *blob, STRNG *string) {
    string->length = 0;
    if (!can_read(blob)) return 0;
    const char *text = reinterpret_cast<const char *>(blob->data + blob->index);
    const size_t length = strnlen(text, blob->size - blob->index);
    // Kept: an empty string is no success and holds the reader at its place.
    if (length == 0) return 0;
    strng_assign(string, {text, length});
    advance(blob, length + 1);
    return 1;
}

// --- writing ------------------------------------------------------------------

void BLOB_WRITE_BYTE(QOR_BLOB *blob, uint8_t value) { append(blob, value); }
void BLOB_WRITE_INT16(QOR_BLOB *blob, int32_t value) { append(blob, static_cast<int16_t>(value)); }
void BLOB_WRITE_CARD16(QOR_BLOB *blob, int32_t value) { append(blob, static_cast<int16_t>(value)); }
void BLOB_WRITE_INT32(QOR_BLOB *blob, int32_t value) { append(blob, value); }
void BLOB_WRITE_CARD32(QOR_BLOB *blob, int32_t value) { append(blob, value); }
void BLOB_WRITE_REAL32(QOR_BLOB *blob, double value) { append(blob, static_cast<float>(value)); }
void BLOB_WRITE_REAL64(QOR_BLOB *blob, double value) { append(blob, value); }

void BLOB_WRITE_STRING(QOR_BLOB *blob, STRNG string) {
    if (!is_blob(blob) || !reserve(blob, uint64_t{blob->size} + string.length + 1)) return;
    uint8_t *end = blob->data + blob->size;
    copy_text(end, string.data, string.length);
    end[string.length] = 0;
    blob->size += string.length + 1;
}

// --- text and display -----------------------------------------------------------

int32_t BLOB_TO_HEXSTRING(QOR_BLOB *blob, STRNG *text) {
    text->length = 0;
    if (!blob || blob->size == 0) return 0;
    if (blob->size > STRNG_LIMIT / 2) {
        MESSAGE_ABORT1_C("blob is too large\n");
        return 0;
    }
    const Strng_extension digits(text, uint64_t{2} * blob->size, Growth::EXACT);
    for (uint32_t i = 0; i < blob->size; ++i) {
        digits.bytes[2 * i] = static_cast<uint8_t>(HEX_DIGITS[blob->data[i] >> 4]);
        digits.bytes[2 * i + 1] = static_cast<uint8_t>(HEX_DIGITS[blob->data[i] & 15]);
    }
    return 1;
}

int32_t BLOB_HEXSTRING_TO_BLOB(STRNG text, QOR_BLOB **variable) {
    BLOB_CREATE(variable, nullptr, 0);
    for (uint32_t i = 0; i < text.length; i += 2) {
        const int high = hex_value(text.data[i]);
        const int low = i + 1 < text.length ? hex_value(text.data[i + 1]) : -1;
        if (high < 0 || low < 0) return 0;
        append(*variable, static_cast<uint8_t>(high * 16 + low));
    }
    return 1;
}

void BLOB_DISPLAY(QOR_BLOB *blob) {
    // From a copy: showing a line may run script code that changes the blob. The
    // word has no line end, so that what follows continues its line.
    const QOR_BLOB facts = blob ? *blob : QOR_BLOB{};
    QOR_BLOB *copied;
    BLOB_COPY(blob, &copied);
    const std::unique_ptr<QOR_BLOB, Blob_remover> copy(copied);
    MESSAGE_DISPLAY1_C("BLOB");
    if (copy) {
        MESSAGE_DISPLAY_F("   allocated size  =%d\n", static_cast<int32_t>(facts.allocated));
        MESSAGE_DISPLAY_F("   data      size  =%d\n", static_cast<int32_t>(facts.size));
        MESSAGE_DISPLAY_F("   data      index =%d\n", static_cast<int32_t>(facts.index));
        for (uint64_t offset = 0; offset < copy->size; offset += ROW_SIZE)
            MESSAGE_DISPLAY_S(row_text(copy.get(), static_cast<uint32_t>(offset)));
    }
    MESSAGE_DISPLAY1_C("END_BLOB\n");
}

// --- objects ------------------------------------------------------------------

void BTYP_create_undef_blob(QOR_OBJECT **variable) { OBJ_create_object(variable, TYPE_BLOB); }
void BTYP_create_blob(QOR_OBJECT **variable, QOR_BLOB *blob) { create_copying(variable, TYPE_BLOB, blob); }
void BTYP_create_blob_ref(QOR_OBJECT **variable, QOR_BLOB *blob) { create_adopting(variable, TYPE_BLOB, blob); }
void BTYP_read_blob(QOR_OBJECT *object, QOR_BLOB **blob) { OBJ_get_object_value_tcheck(object, TYPE_BLOB, blob); }
void BTYP_read_blob_ref(QOR_OBJECT *object, QOR_BLOB **blob) {
    OBJ_get_object_value_ref_tcheck(object, TYPE_BLOB, blob);
}
void BTYP_size_blob(QOR_OBJECT *object, uint32_t *size) { BLOB_SIZE(blob_or_null(object), size); }
void BTYP_display_blob(QOR_OBJECT *object) { BLOB_DISPLAY(blob_or_null(object)); }
