// Well-known binary in hexadecimal digits. Reads that of ISO/IEC 13249-3, which adds 1000
// to the kind when there are heights, and that of PostGIS, which has flags.
#include <array>
#include <bit>
#include <cmath>

#include "shapes.hpp"

namespace geo {

namespace {

static_assert(std::endian::native == std::endian::little, "numbers are copied as they lie in memory");

constexpr uint32_t Z_FLAG = 0x80000000, M_FLAG = 0x40000000, SRID_FLAG = 0x20000000;
constexpr uint32_t ISO_Z = 1000;
constexpr size_t SMALLEST_GEOMETRY = 9; // byte order, kind, a count of 0

int digit_value(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    const int letter = c | 0x20;
    return letter >= 'a' && letter <= 'f' ? letter - 'a' + 10 : -1;
}

class Reader {
  public:
    explicit Reader(std::string_view digits) : digits_(digits), size_(digits.size() / 2) {}
    Reading read() {
        try {
            if (digits_.size() % 2 != 0) throw No_result{"an even count of hexadecimal digits expected"};
            read_geometry();
            if (at_ != size_) throw No_result{"the end expected"};
            return builder_.finish();
        } catch (const No_result &refusal) {
            throw No_result{"at byte " + std::to_string(at_ + 1) + ": " + refusal.reason};
        }
    }

  private:
    void require(size_t bytes) const {
        if (size_ - at_ < bytes) throw No_result{"the text ends too early"};
    }
    uint8_t read_byte() {
        require(1);
        const int high = digit_value(digits_[2 * at_]), low = digit_value(digits_[2 * at_ + 1]);
        if (high < 0 || low < 0) throw No_result{"two hexadecimal digits expected"};
        ++at_;
        return static_cast<uint8_t>(high << 4 | low);
    }
    template <typename Number> Number read_value() {
        require(sizeof(Number));
        std::array<uint8_t, sizeof(Number)> bytes;
        for (size_t i = 0; i < bytes.size(); ++i) bytes[is_big_endian_ ? bytes.size() - 1 - i : i] = read_byte();
        return std::bit_cast<Number>(bytes);
    }
    // Of things that take so many bytes at least: they must be there.
    uint32_t read_count(size_t bytes) {
        const auto count = read_value<uint32_t>();
        if (count > (size_ - at_) / bytes) {
            at_ -= sizeof count;
            throw No_result{"the count " + std::to_string(count) + " is too large for the text"};
        }
        return count;
    }

    // The levels are limited by the builder.
    void read_geometry() {
        const uint8_t order = read_byte();
        if (order > 1) {
            --at_;
            throw No_result{"byte order 0 or 1 expected"};
        }
        is_big_endian_ = order == 0;
        bool has_heights;
        const Kind kind = read_kind(&has_heights);
        const size_t place = has_heights ? 24 : 16;
        builder_.open(kind);
        if (kind == Kind::POINT) {
            read_place(has_heights, true);
        } else if (row_of(kind).members == 0) {
            read_places(has_heights, read_count(place));
        } else if (kind == Kind::POLYGON || kind == Kind::TRIANGLE) {
            for (uint32_t rings = read_count(sizeof(uint32_t)); rings > 0; --rings) {
                const uint32_t count = read_count(place);
                builder_.open(Kind::LINESTRING);
                read_places(has_heights, count);
                builder_.close();
            }
        } else {
            for (uint32_t members = read_count(SMALLEST_GEOMETRY); members > 0; --members) read_geometry();
        }
        builder_.close();
    }
    Kind read_kind(bool *has_heights) {
        const auto word = read_value<uint32_t>();
        const uint32_t code = word & ~(Z_FLAG | M_FLAG | SRID_FLAG), number = code % ISO_Z, dimensions = code / ISO_Z;
        *has_heights = (word & Z_FLAG) != 0 || dimensions == 1;
        if ((word & SRID_FLAG) != 0) read_value<uint32_t>();
        if ((word & M_FLAG) != 0 || dimensions == 2 || dimensions == 3) throw No_result{"measures (M) can not be read"};
        if (number == 0 || number > static_cast<uint32_t>(Kind::TRIANGLE) || dimensions > 1)
            throw No_result{"there is no kind of geometry " + std::to_string(code)};
        return static_cast<Kind>(number);
    }
    void read_places(bool has_heights, uint32_t count) {
        for (; count > 0; --count) read_place(has_heights);
    }
    void read_place(bool has_heights, bool may_be_empty = false) {
        const auto x = read_value<double>(), y = read_value<double>();
        const double z = has_heights ? read_value<double>() : NO_Z;
        // An empty point has such coordinates.
        if (may_be_empty && std::isnan(x) && std::isnan(y)) return;
        builder_.add(x, y, z);
    }

    const std::string_view digits_;
    const size_t size_; // in bytes
    size_t at_ = 0;
    bool is_big_endian_ = false;
    Builder builder_;
};

class Writer {
  public:
    explicit Writer(const Survey &found) : has_heights_(found.has_heights) { text_.reserve(found.text_size()); }
    void open(Kind kind, size_t count) {
        const bool is_bare = !kinds_.empty() && kinds_.back() == Kind::POLYGON;
        if (!is_bare) {
            append(uint8_t{1});
            append(static_cast<uint32_t>(kind) + (has_heights_ ? ISO_Z : 0));
        }
        if (kind != Kind::POINT) append(static_cast<uint32_t>(count));
        kinds_.push_back(kind);
    }
    void add(const Vertex &vertex) {
        append(vertex.x);
        append(vertex.y);
        if (has_heights_) append(vertex.z);
    }
    void close() { kinds_.pop_back(); }
    std::string take() { return std::move(text_); }

  private:
    template <typename Number> void append(Number number) {
        static constexpr char DIGITS[] = "0123456789ABCDEF";
        std::array<char, 2 * sizeof number> digits;
        size_t end = 0;
        for (const uint8_t byte : std::bit_cast<std::array<uint8_t, sizeof number>>(number)) {
            digits[end++] = DIGITS[byte >> 4];
            digits[end++] = DIGITS[byte & 15];
        }
        text_.append(digits.data(), digits.size());
    }

    std::string text_;
    std::vector<Kind> kinds_;
    const bool has_heights_;
};

} // namespace

Reading read_wkb(std::string_view digits) { return Reader(digits).read(); }

std::string write_wkb(const Source &source) {
    const Survey found = survey(source);
    Writer writer(found);
    write_shapes(writer, source, found.list_kind);
    return writer.take();
}

} // namespace geo
