// Digests and identifiers: MD5 (RFC 1321) and random UUIDs (RFC 4122, version 4).
#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <string>

#include "kernel/lifecycle.hpp"
#include "kernel/upcalls.hpp"
#include "object/class.hpp"
#include "platform/platform.hpp"
#include "qor/btyp.h"
#include "qor/msg.h"
#include "qor/qorcpu.h"
#include "services/qorio.hpp"

namespace qor {

namespace {

// --- MD5 -------------------------------------------------------------------------

constexpr size_t BLOCK = 64;

// RFC 1321, 3.4: the integer part of 4294967296 times abs(sin(i)), i from 1.
constexpr uint32_t SINES[64] = {
    0xd76aa478, 0xe8c7b756, 0x242070db, 0xc1bdceee, 0xf57c0faf, 0x4787c62a, 0xa8304613, 0xfd469501,
    0x698098d8, 0x8b44f7af, 0xffff5bb1, 0x895cd7be, 0x6b901122, 0xfd987193, 0xa679438e, 0x49b40821,
    0xf61e2562, 0xc040b340, 0x265e5a51, 0xe9b6c7aa, 0xd62f105d, 0x02441453, 0xd8a1e681, 0xe7d3fbc8,
    0x21e1cde6, 0xc33707d6, 0xf4d50d87, 0x455a14ed, 0xa9e3e905, 0xfcefa3f8, 0x676f02d9, 0x8d2a4c8a,
    0xfffa3942, 0x8771f681, 0x6d9d6122, 0xfde5380c, 0xa4beea44, 0x4bdecfa9, 0xf6bb4b60, 0xbebfbc70,
    0x289b7ec6, 0xeaa127fa, 0xd4ef3085, 0x04881d05, 0xd9d4d039, 0xe6db99e5, 0x1fa27cf8, 0xc4ac5665,
    0xf4292244, 0x432aff97, 0xab9423a7, 0xfc93a039, 0x655b59c3, 0x8f0ccc92, 0xffeff47d, 0x85845dd1,
    0x6fa87e4f, 0xfe2ce6e0, 0xa3014314, 0x4e0811a1, 0xf7537e82, 0xbd3af235, 0x2ad7d2bb, 0xeb86d391,
};

constexpr int ROTATIONS[4][4] = {{7, 12, 17, 22}, {5, 9, 14, 20}, {4, 11, 16, 23}, {6, 10, 15, 21}};

uint32_t little_endian(const uint8_t *bytes) {
    return bytes[0] | uint32_t{bytes[1]} << 8 | uint32_t{bytes[2]} << 16 | uint32_t{bytes[3]} << 24;
}

class Md5 {
  public:
    void add(const uint8_t *bytes, size_t count) {
        if (count == 0) return; // bytes may be null
        length_ += count;
        if (waiting_ > 0) {
            const size_t n = std::min(count, BLOCK - waiting_);
            std::memcpy(rest_ + waiting_, bytes, n);
            waiting_ += n;
            bytes += n;
            count -= n;
            if (waiting_ < BLOCK) return;
            transform(rest_);
        }
        for (; count >= BLOCK; bytes += BLOCK, count -= BLOCK) transform(bytes);
        std::memcpy(rest_, bytes, count);
        waiting_ = count;
    }

    // A one bit, zeros, and the length in bits fill the last block.
    std::array<uint8_t, 16> finish() {
        const uint64_t bits = length_ * 8;
        uint8_t tail[BLOCK + 8] = {0x80};
        const size_t padding = (BLOCK + 56 - waiting_ - 1) % BLOCK + 1; // 1 to 64 bytes
        for (size_t i = 0; i < 8; ++i) tail[padding + i] = static_cast<uint8_t>(bits >> 8 * i);
        add(tail, padding + 8);
        std::array<uint8_t, 16> digest;
        for (size_t i = 0; i < digest.size(); ++i) digest[i] = static_cast<uint8_t>(state_[i / 4] >> i % 4 * 8);
        return digest;
    }

  private:
    // One of the four rounds: 16 steps that mix by f and take the block's words
    // in the order of pick.
    template <int ROUND, class Mix, class Pick>
    static void round(uint32_t (&s)[4], const uint32_t (&words)[16], Mix mix, Pick pick) {
#pragma GCC unroll 16
        for (uint32_t i = 0; i < 16; ++i) {
            const uint32_t sum = s[0] + mix(s[1], s[2], s[3]) + words[pick(i) % 16] + SINES[ROUND * 16 + i];
            const uint32_t next = s[1] + std::rotl(sum, ROTATIONS[ROUND][i % 4]);
            s[0] = s[3];
            s[3] = s[2];
            s[2] = s[1];
            s[1] = next;
        }
    }

    void transform(const uint8_t *block) {
        uint32_t words[16];
        for (size_t i = 0; i < 16; ++i) words[i] = little_endian(block + 4 * i);
        uint32_t s[4] = {state_[0], state_[1], state_[2], state_[3]};
        using W = uint32_t;
        round<0>(
            s, words, [](W x, W y, W z) { return z ^ (x & (y ^ z)); }, [](W i) { return i; });
        round<1>(
            s, words, [](W x, W y, W z) { return y ^ (z & (x ^ y)); }, [](W i) { return 5 * i + 1; });
        round<2>(
            s, words, [](W x, W y, W z) { return x ^ y ^ z; }, [](W i) { return 3 * i + 5; });
        round<3>(
            s, words, [](W x, W y, W z) { return y ^ (x | ~z); }, [](W i) { return 7 * i; });
        for (size_t i = 0; i < 4; ++i) state_[i] += s[i];
    }

    uint32_t state_[4] = {0x67452301, 0xefcdab89, 0x98badcfe, 0x10325476};
    uint8_t rest_[BLOCK];
    size_t waiting_ = 0; // bytes in rest_
    uint64_t length_ = 0;
};

std::array<uint8_t, 16> digest_of(STRNG text) {
    Md5 md5;
    md5.add(text.data, text.length);
    return md5.finish();
}

// False when the file can not be read to its end.
bool digest_file(const char *name, std::array<uint8_t, 16> *digest) {
    static uint8_t chunk[65536];
    int32_t id;
    if (QORIO_OPEN_BINARY_C(&id, name) != 0) return false;
    Md5 md5;
    uint64_t before = 0;
    bool whole = true;
    // What a chunk lacks at the end of the file shows in the file's place.
    for (size_t n = sizeof chunk; n == sizeof chunk;) {
        QORIO_READ_BINARY(id, chunk, sizeof chunk);
        uint64_t place = before;
        whole = qorio_read_failure(id).empty() && qorio_get_position(id, &place);
        n = static_cast<size_t>(place - before);
        md5.add(chunk, n);
        before = place;
    }
    QORIO_CLOSE(&id);
    *digest = md5.finish();
    return whole;
}

// --- texts -----------------------------------------------------------------------

template <size_t N> std::string hexadecimal(const std::array<uint8_t, N> &bytes) {
    constexpr char DIGITS[] = "0123456789ABCDEF";
    std::string text;
    for (const uint8_t byte : bytes) {
        text += DIGITS[byte >> 4];
        text += DIGITS[byte & 15];
    }
    return text;
}

void push_null() {
    Object_var null;
    BTYP_create_undef_string(&null);
    QORCPU_PUSH_OBJ_REF(null);
}

// Without a text on top the digests leave what is there and push NULL above it:
// a kept property, which scripts know how to clear away.
bool pop_text(Strng &text) {
    if (QORCPU_TOP_IS_STRING() && QORCPU_TOP_IS_DEFINED()) {
        QORCPU_POPS(&text);
        return true;
    }
    push_null();
    return false;
}

void get_string_md5() {
    Strng text;
    if (pop_text(text)) QORCPU_PUSHS(borrow(hexadecimal(digest_of(text))));
}

void get_file_md5() {
    Strng name;
    if (!pop_text(name)) return;
    std::array<uint8_t, 16> digest;
    if (digest_file(name.c_str(), &digest))
        QORCPU_PUSHS(borrow(hexadecimal(digest)));
    else
        push_null();
}

// --- identifiers -------------------------------------------------------------------

// Random bits are fetched from the system for many identifiers at once. The
// process never goes on in a copy of itself, which would give the same ones out:
// children are programs of their own.
std::array<uint8_t, 16> new_identifier() {
    static std::array<uint8_t, 16> waiting[256];
    static size_t left = 0;
    if (left == 0) {
        if (!platform::random_bytes(waiting, sizeof waiting)) {
            MESSAGE_ABORT1_C("*** ABORT *** no random bits from the system\n");
            return {};
        }
        left = std::size(waiting);
    }
    std::array<uint8_t, 16> id = waiting[--left];
    id[6] = static_cast<uint8_t>((id[6] & 0x0f) | 0x40); // version 4: random
    id[8] = static_cast<uint8_t>((id[8] & 0x3f) | 0x80); // the variant of the RFC
    return id;
}

void get_guid() {
    std::string text = hexadecimal(new_identifier());
    for (const size_t place : {20U, 16U, 12U, 8U}) text.insert(place, 1, '-');
    QORCPU_PUSHS(borrow("{" + text + "}"));
}

void get_guid_raw() { QORCPU_PUSHS(borrow(hexadecimal(new_identifier()))); }

constexpr Native_method METHODS[] = {
    {"GET_STRING_MD5", get_string_md5, 1, 1, 'P', "[s string][s md5]"},
    {"GET_FILE_MD5", get_file_md5, 1, 1, 'P', "[s string][s md5]"},
    {"GET_GUID", get_guid, 0, 1, 'P', "[][s string]"},
    {"GET_GUID_RAW", get_guid_raw, 0, 1, 'P', "[][s string]"},
};

} // namespace

void digest_init() {
    static bool done = false;
    if (first_time(done)) register_methods("QOR", METHODS);
}

} // namespace qor
