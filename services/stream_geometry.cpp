// The geometry record of the object streams.
#include <algorithm>
#include <utility>

#include "object/object.hpp"
#include "qor/geom.h"
#include "services/stream_lines.hpp"

namespace qor {

namespace {

class Geometry_var {
  public:
    Geometry_var() { GEOM_INITIALIZE(&geometry_); }
    ~Geometry_var() { GEOM_REMOVE(&geometry_); }
    Geometry_var(const Geometry_var &) = delete;
    Geometry_var &operator=(const Geometry_var &) = delete;
    QOR_GEOMETRY *operator&() { return &geometry_; }
    operator QOR_GEOMETRY() const { return geometry_; }
    bool is_empty() const { return GEOM_ISEMPTY(geometry_) != 0; }
    void move_to(QOR_GEOMETRY *target) { std::swap(geometry_, *target); }

  private:
    QOR_GEOMETRY geometry_;
};

// --- writing --------------------------------------------------------------------

// A line that is put together from its mark and numbers.
class Mixed_line {
  public:
    explicit Mixed_line(std::string_view mark) : end_(std::copy(mark.begin(), mark.end(), text_)) {}
    Mixed_line &real(double value) {
        *end_++ = ' ';
        end_ = put_real(end_, value);
        return *this;
    }
    Mixed_line &integer(int32_t value) {
        *end_++ = ' ';
        end_ = put_integer(end_, value);
        return *this;
    }
    void write(Line_writer &out) const { out.line({text_, static_cast<size_t>(end_ - text_)}); }

  private:
    char text_[3 * REAL_TEXT + 32];
    char *end_;
};

void write_point(Line_writer &out, std::string_view mark, QOR_GEOMETRY point) {
    double x = 0, y = 0, z = 0;
    GEOM_READ_POINT(point, &x, &y, &z);
    Mixed_line(mark).real(x).real(y).real(z).integer(GEOM_GET_GATTR(point)).write(out);
}

// The reads use the word that they are given as their cursor.
void write_line(Line_writer &out, QOR_GEOMETRY word) {
    Mixed_line("sl").integer(GEOM_GET_GATTR(word)).write(out);
    GEOM_RESET_READ(&word);
    for (;;) {
        double arc = 0, x = 0, y = 0, z = 0;
        QOR_GEOMETRY point = 0;
        int32_t found = 0;
        GEOM_READ_LINE_POINT(&word, &arc, &x, &y, &z, &point, &found);
        if (!found) break;
        if (arc != 0.0) Mixed_line("ap").real(x).real(y).write(out);
        write_point(out, "lp", point);
    }
    out.line("el");
}

using Read_part = void (*)(QOR_GEOMETRY *, QOR_GEOMETRY *, int32_t *);

struct Marks {
    const char *begin, *part, *end;
};
constexpr Marks RAND_MARKS{"sr", "ro", "er"}, AREA_MARKS{"sa", "ao", "ea"};

void write_composite(Line_writer &out, QOR_GEOMETRY word, const Marks &marks, Read_part read_part) {
    Mixed_line(marks.begin).integer(GEOM_GET_GATTR(word)).write(out);
    GEOM_RESET_READ(&word);
    for (;;) {
        QOR_GEOMETRY part = 0;
        int32_t found = 0;
        read_part(&word, &part, &found);
        if (!found) break;
        out.line(marks.part);
        write_geometry(out, part);
    }
    out.line(marks.end);
}

// --- reading --------------------------------------------------------------------

// Takes the numbers of a line one after another, as the C library's scan does:
// from the first that is missing on, all are 0.
class Number_scan {
  public:
    explicit Number_scan(std::string_view text) : next_(text.data()), end_(text.data() + text.size()) {}
    template <class Number> Number take() {
        while (next_ < end_ && (*next_ == ' ' || (*next_ >= '\t' && *next_ <= '\r'))) ++next_;
        if (end_ - next_ > 1 && *next_ == '+' && next_[1] != '-') ++next_;
        Number number = 0;
        const auto [behind, error] = std::from_chars(next_, end_, number);
        next_ = error == std::errc() ? behind : end_;
        return error == std::errc() ? number : 0;
    }

  private:
    const char *next_;
    const char *end_;
};

Number_scan numbers_of(const Line_reader &in) { return Number_scan(in.line().substr(2)); }

void read_point(const Line_reader &in, QOR_GEOMETRY *point) {
    Number_scan numbers = numbers_of(in);
    const auto x = numbers.take<double>();
    const auto y = numbers.take<double>();
    const auto z = numbers.take<double>();
    GEOM_CREATE_POINT(point, x, y, z);
    GEOM_SET_GATTR(*point, numbers.take<int32_t>());
}

bool read_line(Line_reader &in, QOR_GEOMETRY *line) {
    const auto attribute = numbers_of(in).take<int32_t>();
    Geometry_var previous, point;
    double arc = 0, x = 0, y = 0;
    while (in.next()) {
        const std::string_view mark = in.line().substr(0, 2);
        if (mark == "el") return true;
        if (mark == "ap") {
            Number_scan numbers = numbers_of(in);
            x = numbers.take<double>();
            y = numbers.take<double>();
            arc = 1;
            continue;
        }
        if (mark == "lp")
            read_point(in, &point);
        else if (point.is_empty())
            continue; // any other mark repeats the last point, and there is none yet
        if (!GEOM_ISEMPTY(*line)) {
            GEOM_APPEND_LINE_POINT(line, arc, x, y, GEOM_NO_HEIGHT, point);
        } else if (!previous.is_empty()) {
            GEOM_CREATE_LINE(line, previous, arc, x, y, GEOM_NO_HEIGHT, point);
            GEOM_SET_GATTR(*line, attribute);
        } else {
            GEOM_COPY(point, &previous);
        }
        arc = 0;
    }
    return false;
}

using Create = void (*)(QOR_GEOMETRY *, QOR_GEOMETRY);

bool read_composite(Line_reader &in, QOR_GEOMETRY *composite, const char *end, Create create, Create append) {
    const Nesting nesting;
    const auto attribute = numbers_of(in).take<int32_t>();
    while (in.next()) {
        if (in.line() == end) return true;
        Geometry_var part;
        if (!read_geometry(in, &part)) return false;
        if (part.is_empty()) continue; // its lines held none
        if (!GEOM_ISEMPTY(*composite)) {
            append(composite, part);
        } else {
            create(composite, part);
            GEOM_SET_GATTR(*composite, attribute);
        }
    }
    return false;
}

} // namespace

void write_geometry(Line_writer &out, QOR_GEOMETRY geometry) {
    // Kept: an empty geometry writes no line, so a stream with one gets out of
    // step. Streams that are around do not know another form.
    if (GEOM_ISEMPTY(geometry)) return;
    int32_t kind = -1;
    GEOM_READ_TYPE(geometry, &kind);
    switch (kind & 0xff) {
    case GEOM_POINT: return write_point(out, "p", geometry);
    case GEOM_LINE: return write_line(out, geometry);
    case GEOM_RAND: return write_composite(out, geometry, RAND_MARKS, GEOM_READ_RAND_LINE);
    case GEOM_AREA: return write_composite(out, geometry, AREA_MARKS, GEOM_READ_AREA_RAND);
    default: return;
    }
}

bool read_geometry(Line_reader &in, QOR_GEOMETRY *geometry) {
    if (!in.next()) return false;
    const std::string_view mark = in.line().substr(0, 2);
    Geometry_var fresh;
    bool is_read = true;
    if (mark == "p ")
        read_point(in, &fresh);
    else if (mark == "sl")
        is_read = read_line(in, &fresh);
    else if (mark == RAND_MARKS.begin)
        is_read = read_composite(in, &fresh, RAND_MARKS.end, GEOM_CREATE_RAND, GEOM_APPEND_RAND_LINE);
    else if (mark == AREA_MARKS.begin)
        is_read = read_composite(in, &fresh, AREA_MARKS.end, GEOM_CREATE_AREA, GEOM_APPEND_AREA_RAND);
    if (is_read) fresh.move_to(geometry);
    return is_read;
}

} // namespace qor
