// Well-known text, as ISO 19125 and, for arcs, ISO/IEC 13249-3 describe it.
#include <charconv>

#include "shapes.hpp"

namespace geo {

namespace {

bool is_blank(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }
bool is_digit(char c) { return c >= '0' && c <= '9'; }
bool is_letter(char c) { return (c | 0x20) >= 'a' && (c | 0x20) <= 'z'; }

class Reader {
  public:
    explicit Reader(std::string_view text) : begin_(text.data()), at_(begin_), end_(begin_ + text.size()) {}
    Reading read() {
        try {
            pass_over_srid();
            read_named();
            pass_over_blanks();
            if (at_ != end_) expected("the end");
            return builder_.finish();
        } catch (const No_result &refusal) {
            throw No_result{"at byte " + std::to_string(at_ - begin_ + 1) + ": " + refusal.reason};
        }
    }

  private:
    static constexpr size_t MAX_SHOWN = 30;

    void pass_over_blanks() {
        while (at_ != end_ && is_blank(*at_)) ++at_;
    }
    [[noreturn]] void expected(const std::string &what) {
        pass_over_blanks();
        throw No_result{what + " expected, not " + (at_ == end_ ? "the end" : '\'' + std::string(1, *at_) + '\'')};
    }
    bool next_is(char c) {
        pass_over_blanks();
        return at_ != end_ && *at_ == c;
    }
    void pass_over(char c) {
        if (!next_is(c)) expected('\'' + std::string(1, c) + '\'');
        ++at_;
    }
    // The next word in capital letters; the reader stays in front of it.
    std::string word() {
        pass_over_blanks();
        std::string word;
        for (const char *c = at_; c != end_ && is_letter(*c) && word.size() <= MAX_SHOWN; ++c)
            word += static_cast<char>(*c & ~0x20);
        return word;
    }
    // As PostGIS writes it: SRID=4326; in front of the kind.
    void pass_over_srid() {
        if (word() != "SRID") return;
        at_ += 4;
        pass_over('=');
        pass_over_blanks();
        while (at_ != end_ && is_digit(*at_)) ++at_;
        pass_over(';');
    }

    // The kind, and behind it, with or without a blank, whether it has heights.
    Kind read_kind(bool *has_heights) {
        const std::string name = word();
        if (name.empty()) expected("a kind of geometry");
        for (auto kind = Kind::POINT; kind != Kind::COUNT; kind = next(kind)) {
            const std::string_view known = row_of(kind).name;
            if (!name.starts_with(known)) continue;
            const std::string_view rest = std::string_view(name).substr(known.size());
            if (!rest.empty() && !is_dimension(rest)) continue;
            at_ += name.size();
            *has_heights = read_dimension(rest);
            return kind;
        }
        throw No_result{"a kind of geometry expected, not " + name.substr(0, MAX_SHOWN)};
    }
    static bool is_dimension(std::string_view word) { return word == "Z" || word == "M" || word == "ZM"; }
    bool read_dimension(std::string_view attached) {
        std::string dimension(attached);
        if (attached.empty() && is_dimension(word())) {
            dimension = word();
            at_ += dimension.size();
        }
        if (dimension.ends_with('M')) throw No_result{"measures (M) can not be read"};
        return dimension == "Z";
    }

    void read_named() {
        bool has_heights;
        const Kind kind = read_kind(&has_heights);
        read_body(kind, has_heights);
    }
    // The levels are limited by the builder.
    void read_body(Kind kind, bool has_heights) {
        builder_.open(kind);
        if (word() == "EMPTY") {
            at_ += 5;
            return builder_.close();
        }
        pass_over('(');
        read_member(kind, has_heights);
        while (next_is(',')) {
            ++at_;
            read_member(kind, has_heights);
        }
        if (!next_is(')')) expected("',' or ')'");
        builder_.close();
        ++at_;
    }
    void read_member(Kind kind, bool has_heights) {
        const Kind_row &row = row_of(kind);
        if (row.members == 0) return read_place(has_heights);
        const bool has_name = is_letter(peek()) && word() != "EMPTY";
        if (has_name || row.plain_member == Kind::NONE) return read_named();
        const bool is_bare_place = kind == Kind::MULTIPOINT && peek() != '(' && !is_letter(peek());
        if (!is_bare_place) return read_body(row.plain_member, has_heights);
        builder_.open(Kind::POINT);
        read_place(has_heights);
        builder_.close();
    }
    char peek() {
        pass_over_blanks();
        return at_ == end_ ? '\0' : *at_;
    }

    void read_place(bool has_heights) {
        const double x = read_number(), y = read_number();
        const bool has_third = has_heights || (!next_is(',') && !next_is(')'));
        const double z = has_third ? read_number() : NO_Z;
        builder_.add(x, y, z);
    }
    double read_number() {
        pass_over_blanks();
        const char *first = at_;
        if (end_ - at_ > 1 && *at_ == '+' && at_[1] != '-') ++first;
        double number;
        const auto [behind, error] = std::from_chars(first, end_, number);
        if (error == std::errc::result_out_of_range) throw No_result{"the number is out of range"};
        if (error != std::errc()) expected("number");
        at_ = behind;
        return number;
    }

    const char *const begin_;
    const char *at_;
    const char *const end_;
    Builder builder_;
};

class Writer {
  public:
    explicit Writer(const Survey &found) : has_heights_(found.has_heights) { text_.reserve(found.text_size()); }
    void open(Kind kind, size_t) {
        separate();
        if (kinds_.empty() || row_of(kinds_.back()).plain_member != kind) {
            text_ += row_of(kind).name;
            text_ += has_heights_ ? " Z " : " ";
        }
        text_ += '(';
        kinds_.push_back(kind);
        is_first_ = true;
    }
    void add(const Vertex &vertex) {
        separate();
        char digits[100], *end = write_number(vertex.x, digits);
        *end++ = ' ';
        end = write_number(vertex.y, end);
        if (has_heights_) {
            *end++ = ' ';
            end = write_number(vertex.z, end);
        }
        text_.append(digits, static_cast<size_t>(end - digits));
    }
    void close() {
        if (is_first_) {
            text_.replace(text_.size() - 1, 1, "EMPTY");
        } else {
            text_ += ')';
        }
        kinds_.pop_back();
        is_first_ = false;
    }
    std::string take() { return std::move(text_); }

  private:
    void separate() {
        if (!std::exchange(is_first_, false)) text_ += ", ";
    }

    std::string text_;
    std::vector<Kind> kinds_;
    const bool has_heights_;
    bool is_first_ = true;
};

} // namespace

Reading read_wkt(std::string_view text) { return Reader(text).read(); }

std::string write_wkt(const Source &source) {
    const Survey found = survey(source);
    Writer writer(found);
    write_shapes(writer, source, found.list_kind);
    return writer.take();
}

} // namespace geo
