// The kernel's own view of STRNG: views, an owner type and the fast cases.
#pragma once

#include <cstring>
#include <string_view>

#include "qor/strng.h"

namespace qor {

inline std::string_view view(STRNG s) {
    return {reinterpret_cast<const char *>(s.data), s.length};
}

inline std::string_view view(STRNG_CURSOR c) {
    return {reinterpret_cast<const char *>(c.next), static_cast<size_t>(c.end - c.next)};
}

// A STRNG that borrows the bytes of a view: for reading only.
inline STRNG borrow(std::string_view text) {
    const auto length = static_cast<uint32_t>(text.size());
    return {length, length, reinterpret_cast<uint8_t *>(const_cast<char *>(text.data()))};
}

// Owns a STRNG. Laid over the plain record, so that its address can be handed
// to every operation.
class Strng {
  public:
    Strng() : s_{0, 0, nullptr} {}
    explicit Strng(std::string_view text) : Strng() { assign(text); }
    Strng(Strng &&other) noexcept : s_(other.s_) { other.s_ = {0, 0, nullptr}; }
    Strng &operator=(Strng &&other) noexcept {
        std::swap(s_, other.s_);
        return *this;
    }
    Strng(const Strng &) = delete;
    Strng &operator=(const Strng &) = delete;
    ~Strng() { STRNG_REMOVE(&s_); }

    STRNG *operator&() { return &s_; }
    STRNG get() const { return s_; }
    operator STRNG() const { return s_; }
    std::string_view text() const { return view(s_); }
    bool empty() const { return s_.length == 0; }
    void clear() { s_.length = 0; }
    // Keeps the buffer where the text fits.
    void assign(std::string_view text);
    // Doubling growth.
    void append(std::string_view text);
    void append(char c) { STRNG_APPC(static_cast<uint8_t>(c), &s_); }
    // The text with a terminating zero behind it (not part of the length). The
    // pointer is valid until the string changes.
    const char *c_str();
    // Hands the record to the caller, who owns it then.
    STRNG release() {
        const STRNG s = s_;
        s_ = {0, 0, nullptr};
        return s;
    }

  private:
    STRNG s_;
};

// Replaces the text of a plain record, keeping the buffer where it fits. The
// text may lie in the record's own buffer.
void strng_assign_growing(STRNG *s, std::string_view text);
inline void strng_assign(STRNG *s, std::string_view text) {
    if (text.size() > s->capacity) [[unlikely]] return strng_assign_growing(s, text);
    if (!text.empty()) std::memmove(s->data, text.data(), text.size());
    s->length = static_cast<uint32_t>(text.size());
}
// Appends with doubling growth.
void strng_append_growing(STRNG *s, std::string_view text);
inline void strng_append(STRNG *s, std::string_view text) {
    if (text.size() > s->capacity - s->length) [[unlikely]] return strng_append_growing(s, text);
    if (!text.empty()) std::memmove(s->data + s->length, text.data(), text.size());
    s->length += static_cast<uint32_t>(text.size());
}

} // namespace qor
