// What the sources of the string library share: the status word and the one
// place where a string grows.
#pragma once

#include "kernel/strng.hpp"

namespace qor {

inline constexpr int32_t STRNG_DONE = 0;
inline constexpr int32_t STRNG_NOT_CREATED = 2;
inline constexpr int32_t STRNG_CUT = 3;
inline constexpr int32_t STRNG_OVERFLOW = 4;
inline constexpr int32_t STRNG_NOTHING_FOUND = 5;

extern int32_t strng_status;

// Stands at the start of every operation that writes to s. False, with the
// status set, when s was never created: such a record is left alone.
inline bool strng_begin(const STRNG *s) {
    const bool created = s->capacity <= STRNG_LIMIT;
    strng_status = created ? STRNG_DONE : STRNG_NOT_CREATED;
    return created;
}

// EXACT: a buffer of just the new length, for texts that are rarely appended to
// again. DOUBLING: twice the new length, unless the string was empty.
enum class Growth { EXACT, DOUBLING };

// Lengthens a string and gives access to the new bytes, which the caller fills
// within the scope. The old buffer lives as long as the scope, since what is
// appended may lie in it. A length beyond the limit is cut with status 3: count
// is what was really added.
class Strng_extension {
  public:
    Strng_extension(STRNG *s, uint64_t added, Growth growth) {
        uint64_t length = s->length + added;
        if (length > s->capacity) [[unlikely]]
            length = grow(s, length, growth);
        bytes = s->data + s->length;
        count = static_cast<uint32_t>(length - s->length);
        s->length = static_cast<uint32_t>(length);
    }
    ~Strng_extension() {
        if (old_) [[unlikely]]
            free_old();
    }
    Strng_extension(const Strng_extension &) = delete;
    Strng_extension &operator=(const Strng_extension &) = delete;

    uint8_t *bytes; // null only when count is 0
    uint32_t count;

  private:
    uint64_t grow(STRNG *s, uint64_t length, Growth growth);
    void free_old();

    uint8_t *old_ = nullptr;
    uint32_t old_size_ = 0;
};

// Appends n bytes: the text, cut or padded with blanks at its end.
void strng_append_padded(STRNG *s, std::string_view text, uint64_t n, Growth growth);
// Appends blanks up to width, then the text.
void strng_append_right(STRNG *s, std::string_view text, uint64_t width);

inline bool is_blank(uint8_t c) { return c <= ' '; }

// Skips bytes up to 32.
inline void skip_blanks(STRNG_CURSOR *cursor) {
    while (cursor->next < cursor->end && is_blank(*cursor->next)) ++cursor->next;
}

} // namespace qor
