#include "qor/strng.h"

#include <algorithm>

#include "kernel/lifecycle.hpp"
#include "kernel/storage.hpp"
#include "kernel/strng_core.hpp"

namespace qor {

int32_t strng_status = STRNG_DONE;

namespace {

void copy_bytes(uint8_t *target, std::string_view text) {
    if (!text.empty()) std::memmove(target, text.data(), text.size());
}

void pad(uint8_t *target, size_t count) {
    if (count) std::memset(target, ' ', count);
}

std::string_view array_text(uint32_t high, const char *array) {
    return {array, strnlen(array, static_cast<size_t>(high) + 1)};
}

// s becomes the first n bytes of the text, padded with blanks. A buffer that is
// too small is replaced by one of exactly n bytes.
void replace(STRNG *s, std::string_view text, uint64_t n) {
    if (n > STRNG_LIMIT) {
        n = STRNG_LIMIT;
        strng_status = STRNG_CUT;
    }
    const size_t used = std::min<size_t>(n, text.size());
    if (n > s->capacity) {
        auto *data = static_cast<uint8_t *>(storage_allocate(n));
        copy_bytes(data, text.substr(0, used));
        // The text's own buffer stays: the caller still refers to it.
        if (s->data && s->data != reinterpret_cast<const uint8_t *>(text.data())) storage_free(s->data, s->capacity);
        s->data = data;
        s->capacity = static_cast<uint32_t>(n);
    } else {
        copy_bytes(s->data, text.substr(0, used));
    }
    if (n > used) pad(s->data + used, n - used);
    s->length = static_cast<uint32_t>(n);
}

} // namespace

uint64_t Strng_extension::grow(STRNG *s, uint64_t length, Growth growth) {
    const uint64_t wanted = growth == Growth::DOUBLING && s->length ? 2 * length : length;
    const uint64_t capacity = std::min<uint64_t>(wanted, STRNG_LIMIT);
    if (wanted > STRNG_LIMIT) strng_status = STRNG_CUT;
    if (capacity > s->capacity) {
        auto *data = static_cast<uint8_t *>(storage_allocate(capacity));
        copy_bytes(data, view(*s));
        old_ = s->data;
        old_size_ = s->capacity;
        s->data = data;
        s->capacity = static_cast<uint32_t>(capacity);
    }
    return std::min<uint64_t>(length, STRNG_LIMIT);
}

void Strng_extension::free_old() { storage_free(old_, old_size_); }

void strng_append_padded(STRNG *s, std::string_view text, uint64_t n, Growth growth) {
    if (n == 0) return;
    const Strng_extension room(s, n, growth);
    const size_t used = std::min<size_t>(room.count, text.size());
    copy_bytes(room.bytes, text.substr(0, used));
    if (room.count > used) pad(room.bytes + used, room.count - used);
}

void strng_append_right(STRNG *s, std::string_view text, uint64_t width) {
    const Strng_extension room(s, std::max<uint64_t>(width, text.size()), Growth::EXACT);
    const size_t blanks = std::min<size_t>(room.count, width > text.size() ? width - text.size() : 0);
    if (blanks) pad(room.bytes, blanks);
    if (room.count > blanks) copy_bytes(room.bytes + blanks, text.substr(0, room.count - blanks));
}

void strng_assign(STRNG *s, std::string_view text) {
    if (text.size() > s->capacity) [[unlikely]]
        return replace(s, text, text.size());
    copy_text(s->data, text.data(), text.size());
    s->length = static_cast<uint32_t>(text.size());
}

void strng_append(STRNG *s, std::string_view text) {
    if (text.size() > s->capacity - s->length) [[unlikely]]
        return strng_append_padded(s, text, text.size(), Growth::DOUBLING);
    copy_text(s->data + s->length, text.data(), text.size());
    s->length += static_cast<uint32_t>(text.size());
}

const char *Strng::c_str() {
    if (s_.length == s_.capacity) {
        const Strng_extension room(&s_, 1, Growth::DOUBLING);
        s_.length -= room.count;
    }
    // A text of the very limit gives its last byte for the zero.
    s_.data[std::min(s_.length, s_.capacity - 1)] = 0;
    return reinterpret_cast<const char *>(s_.data);
}

void strng_init() {
    static bool done = false;
    if (first_time(done)) strng_status = STRNG_DONE;
}

} // namespace qor

using namespace qor;

int32_t STRNG_GET_STAT() { return strng_status; }

// --- core --------------------------------------------------------------------

void STRNG_CREATE(STRNG *s) {
    *s = {0, 0, nullptr};
    strng_status = STRNG_DONE;
}

void STRNG_REMOVE(STRNG *s) {
    if (!strng_begin(s) || !s->data) return;
    storage_free(s->data, s->capacity);
    *s = {0, 0, nullptr};
}

int32_t STRNG_ISEMPTY(STRNG s) { return s.length == 0; }

void STRNG_SETLGTH(STRNG *s, uint32_t n) {
    if (!strng_begin(s)) return;
    STRNG_REMOVE(s);
    if (n > STRNG_LIMIT) {
        n = STRNG_LIMIT;
        strng_status = STRNG_CUT;
    }
    if (n) s->data = static_cast<uint8_t *>(storage_allocate(n));
    s->capacity = n;
}

void STRNG_TRNC(STRNG *s, uint32_t n) {
    if (!strng_begin(s)) return;
    if (n > s->length) {
        strng_status = STRNG_CUT;
    } else {
        s->length = n;
    }
}

void STRNG_CONC(uint8_t c, STRNG *s) {
    if (!strng_begin(s)) return;
    // What s held is not freed: s must be empty.
    s->data = static_cast<uint8_t *>(storage_allocate(1));
    s->data[0] = c;
    s->capacity = 1;
    s->length = 1;
}

void STRNG_COPY(STRNG source, uint32_t n, STRNG *destination) {
    if (strng_begin(destination)) replace(destination, view(source), n ? n : source.length);
}

void STRNG_FILL(uint32_t high, const char *array, STRNG *destination) {
    if (strng_begin(destination)) strng_assign(destination, array_text(high, array));
}

void STRNG_FILL_C(const char *text, STRNG *destination) {
    if (strng_begin(destination)) strng_assign(destination, text);
}

void STRNG_APP(STRNG source, STRNG *destination) {
    if (strng_begin(destination)) strng_append_padded(destination, view(source), source.length, Growth::EXACT);
}

void STRNG_APPC(uint8_t c, STRNG *destination) {
    if (!strng_begin(destination)) return;
    const Strng_extension room(destination, 1, Growth::DOUBLING);
    if (room.count) room.bytes[0] = c;
}

void STRNG_APPARR(uint32_t high, const char *array, STRNG *destination, uint32_t count) {
    if (!strng_begin(destination)) return;
    const uint64_t size = static_cast<uint64_t>(high) + 1;
    if (count > size) strng_status = STRNG_CUT;
    strng_append(destination,
                 count ? std::string_view(array, std::min<uint64_t>(count, size)) : array_text(high, array));
}

void STRNG_APPARR_C(const char *text, STRNG *destination, uint32_t count) {
    STRNG_APPARR(static_cast<uint32_t>(std::strlen(text)), text, destination, count);
}

// --- comparison ----------------------------------------------------------------

// A fixed property of this comparison of names and keys: once the lengths are
// equal, only the low 16 bits of length - 1, as a signed number, tell how many
// bytes are compared. Scripts see it in long strings; it must stay.
int32_t STRNG_MATCH(STRNG a, STRNG b) {
    if (a.length != b.length) return 0;
    const auto last = static_cast<int16_t>(a.length - 1);
    return last < 0 || std::memcmp(a.data, b.data, static_cast<size_t>(last) + 1) == 0;
}

// Likewise only the low 16 bits of the shorter length say how much is compared.
void STRNG_COMPARE(STRNG a, STRNG b, uint8_t *order) {
    const auto compared = static_cast<uint16_t>(std::min(a.length, b.length));
    int difference = compared ? std::memcmp(a.data, b.data, compared) : 0;
    if (difference == 0) difference = a.length < b.length ? -1 : a.length > b.length;
    *order = difference < 0 ? 0 : difference == 0 ? 1 : 2;
}

int32_t STRNG2_MATCHA(STRNG s, uint32_t high, const char *array) {
    const uint64_t size = static_cast<uint64_t>(high) + 1;
    if (s.length == 0 || s.length > size) return 0;
    for (uint32_t i = 0; i < s.length; ++i) {
        if (s.data[i] != static_cast<uint8_t>(array[i])) return 0;
    }
    for (uint64_t i = s.length; i < size && array[i]; ++i) {
        if (array[i] != ' ') return 0;
    }
    return 1;
}

int32_t STRNG2_MATCHA_C(STRNG s, const char *text) {
    return STRNG2_MATCHA(s, static_cast<uint32_t>(std::strlen(text)), text);
}

void STRNG2_MSTRING_TO_CSTRING(STRNG s, char *buffer) {
    copy_bytes(reinterpret_cast<uint8_t *>(buffer), view(s));
    buffer[s.length] = 0;
}

// --- cursors -------------------------------------------------------------------

void STRNG_PREPX(STRNG s, uint32_t from, uint32_t to, STRNG_CURSOR *cursor) {
    *cursor = {nullptr, nullptr};
    if (!s.data) return;
    const uint32_t end = static_cast<uint32_t>(std::min<uint64_t>(static_cast<uint64_t>(to) + 1, s.length));
    *cursor = {s.data + std::min(from, end), s.data + end};
}

void STRNG2_PREPX(STRNG s, STRNG_CURSOR *cursor) { *cursor = {s.data, s.data + (s.data ? s.length : 0)}; }

void STRNG2_PREP_LAST(STRNG s, uint32_t n, STRNG_CURSOR *cursor) {
    STRNG2_PREPX(s, cursor);
    if (n && n < s.length) cursor->next = cursor->end - n;
}

int32_t STRNG_EOX(const STRNG_CURSOR *cursor) { return cursor->next >= cursor->end; }

void STRNG_EXTRC(STRNG_CURSOR *cursor, uint8_t *c) {
    strng_status = STRNG_DONE;
    if (!STRNG_NEXT_BYTE(cursor, c)) *c = ' ';
}

int32_t STRNG_NEXT_BYTE(STRNG_CURSOR *cursor, uint8_t *c) {
    if (cursor->next >= cursor->end) return 0;
    *c = *cursor->next++;
    return 1;
}

void STRNG_EXTRSTR(STRNG_CURSOR *cursor, uint32_t n, STRNG *destination) {
    if (!strng_begin(destination)) return;
    const std::string_view rest = view(*cursor);
    const std::string_view taken = rest.substr(0, n ? n : rest.size());
    cursor->next += taken.size();
    strng_assign(destination, taken);
}
