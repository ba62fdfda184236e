// The lines that object streams consist of, written to and read from a text
// file or a string.
#pragma once

#include <charconv>

#include "kernel/strng.hpp"
#include "services/textfile_table.hpp"

namespace qor {

// The digits of "%lf": at most a sign, 309 digits, the point and six decimals.
inline constexpr size_t REAL_TEXT = 320;
inline char *put_real(char *place, double value) {
    return std::to_chars(place, place + REAL_TEXT, value, std::chars_format::fixed, 6).ptr;
}
inline constexpr size_t INTEGER_TEXT = 24;
template <class Integer> char *put_integer(char *place, Integer value) {
    return std::to_chars(place, place + INTEGER_TEXT, value).ptr;
}

// Lines of a file gather in a block. One that is left by an abort keeps what the
// block holds to itself.
class Line_writer {
  public:
    explicit Line_writer(int32_t file);
    explicit Line_writer(STRNG *string) : target_(string) {}
    ~Line_writer();
    Line_writer(const Line_writer &) = delete;
    Line_writer &operator=(const Line_writer &) = delete;

    // False after an abort that returned.
    bool is_open() const { return target_ != nullptr; }
    void line(std::string_view text) {
        if (text.size() >= target_->capacity - target_->length) [[unlikely]]
            return long_line(text);
        uint8_t *place = target_->data + target_->length;
        copy_text(place, text.data(), text.size());
        place[text.size()] = '\n';
        target_->length += static_cast<uint32_t>(text.size()) + 1;
    }
    void text(std::string_view value) { line(c_text(value)); }
    template <class Integer> void number(Integer value) { formatted<INTEGER_TEXT>(put_integer<Integer>, value); }
    void real(double value) { formatted<REAL_TEXT>(put_real, value); }
    // Hands the block to the file. Stands at the end of an object, and before
    // code that may use the file itself.
    void flush();

    Strng key; // work space of the walk over a map

  private:
    static constexpr uint32_t BLOCK = 32768;
    static Strng spare_block;

    void long_line(std::string_view text);
    // A line that is formatted in its place where there is room for the longest.
    template <size_t LONGEST, class Value> void formatted(char *(*put)(char *, Value), Value value) {
        if (target_->capacity - target_->length <= LONGEST) [[unlikely]] {
            char text[LONGEST];
            return long_line({text, put(text, value)});
        }
        char *place = reinterpret_cast<char *>(target_->data + target_->length);
        char *end = put(place, value);
        *end++ = '\n';
        target_->length += static_cast<uint32_t>(end - place);
    }

    int32_t file_ = -1;
    STRNG *target_ = nullptr; // the string, or the block of a file
    Strng block_;
};

// A line of a file is what ends with a line end. A line of a string ends at a
// blank too, and blanks before it are skipped.
class Line_reader {
  public:
    explicit Line_reader(int32_t file) : file_(file) {}
    explicit Line_reader(STRNG_CURSOR *text) : text_(text) {}

    // False at the end.
    bool next() {
        if (text_) return next_word();
        Text_file *file = textfile_readable(file_);
        if (!file || !textfile_read_line(*file)) return false;
        line_ = view(file->line);
        return true;
    }
    // The present line; valid until the next one is read.
    std::string_view line() const { return line_; }
    // Its number, 0 where there is none.
    int32_t integer() const {
        if (line_.size() == 1 && line_[0] >= '0' && line_[0] <= '9') return line_[0] - '0';
        return scan<int32_t>(STRNG_EXTRLOI);
    }
    int64_t long_integer() const { return scan<int64_t>(STRNG_EXTRLONG); }
    double real() const { return scan<double>(STRNG_EXTRLRE); }

  private:
    bool next_word();
    template <class Number> Number scan(void (*take)(STRNG_CURSOR *, Number *)) const {
        const STRNG s = borrow(line_);
        STRNG_CURSOR cursor{s.data, s.data + s.length};
        Number number;
        take(&cursor, &number);
        return number;
    }

    int32_t file_ = -1;
    STRNG_CURSOR *text_ = nullptr;
    std::string_view line_;
};

// The geometry record. Reading gives an empty geometry where the line is none;
// false when the lines end before the record does.
void write_geometry(Line_writer &out, QOR_GEOMETRY geometry);
bool read_geometry(Line_reader &in, QOR_GEOMETRY *geometry);

} // namespace qor
