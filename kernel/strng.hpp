// The kernel's own view of STRNG: views, an owner type and the fast cases.
#pragma once

#include <cstring>
#include <string_view>

#include "qor/strng.h"

namespace qor {

inline std::string_view view(STRNG s) { return {reinterpret_cast<const char *>(s.data), s.length}; }

inline std::string_view view(STRNG_CURSOR c) {
    return {reinterpret_cast<const char *>(c.next), static_cast<size_t>(c.end - c.next)};
}

// A STRNG that borrows the bytes of a view: for reading only.
inline STRNG borrow(std::string_view text) {
    const auto length = static_cast<uint32_t>(text.size());
    return {length, length, reinterpret_cast<uint8_t *>(const_cast<char *>(text.data()))};
}

// --- short texts -------------------------------------------------------------
// Most texts are fields of records, for which a call of the C library costs more
// than the work. Words at both ends overlap in the middle; no byte outside of
// the text is touched.

inline uint64_t word_at(const void *bytes) {
    uint64_t word;
    std::memcpy(&word, bytes, sizeof word);
    return word;
}

// A set high bit for each byte of the word that is zero; a higher byte behind a
// zero one may be marked too.
inline uint64_t zero_bytes(uint64_t word) { return (word - 0x0101010101010101u) & ~word & 0x8080808080808080u; }

// The ranges may overlap.
[[gnu::always_inline]] inline void copy_text(uint8_t *target, const void *source, size_t n) {
    struct Block {
        uint64_t words[2];
    };
    const auto *from = static_cast<const uint8_t *>(source);
    const auto move_ends = [&](auto first) {
        auto last = first;
        std::memcpy(&first, from, sizeof first);
        std::memcpy(&last, from + n - sizeof last, sizeof last);
        std::memcpy(target, &first, sizeof first);
        std::memcpy(target + n - sizeof last, &last, sizeof last);
    };
    if (n > 32)
        std::memmove(target, from, n);
    else if (n >= 16)
        move_ends(Block{});
    else if (n >= 8)
        move_ends(uint64_t{});
    else if (n >= 4)
        move_ends(uint32_t{});
    else if (n >= 2)
        move_ends(uint16_t{});
    else if (n == 1)
        *target = *from;
}

inline bool is_same_text(std::string_view a, std::string_view b) {
    const size_t n = a.size();
    if (n != b.size()) return false;
    if (n - 8 > 8) return n == 0 || std::memcmp(a.data(), b.data(), n) == 0;
    const uint64_t differences =
        (word_at(a.data()) ^ word_at(b.data())) | (word_at(a.data() + n - 8) ^ word_at(b.data() + n - 8));
    return differences == 0;
}

[[gnu::always_inline]] inline bool holds_zero(std::string_view text) {
    const char *bytes = text.data();
    const size_t n = text.size();
    if (n > 16) return std::memchr(bytes, 0, n) != nullptr;
    if (n >= 8) return (zero_bytes(word_at(bytes)) | zero_bytes(word_at(bytes + n - 8))) != 0;
    for (size_t i = 0; i < n; ++i) {
        if (bytes[i] == 0) return true;
    }
    return false;
}

// The text up to a zero byte, for operations on C strings.
inline std::string_view c_text(std::string_view text) {
    return holds_zero(text) ? text.substr(0, text.find('\0')) : text;
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
    void append(char c) { append(std::string_view(&c, 1)); }
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
void strng_assign(STRNG *s, std::string_view text);
// Appends with doubling growth.
void strng_append(STRNG *s, std::string_view text);

inline void Strng::assign(std::string_view text) { strng_assign(&s_, text); }
inline void Strng::append(std::string_view text) { strng_append(&s_, text); }

} // namespace qor
