// What all methods of class GEO share: their arguments, their results, and how they
// end when there is none.
#pragma once

#include <array>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "modules/owners.hpp"
#include "plugins/methods.hpp"

namespace geo {

using namespace owners;

// The script is wrong (a line where a point is needed): ends the run.
struct Fault {
    std::string text;
};
// The data are (a text that can not be read): the results are NULL, the reason, if there
// is one, is shown as an error and so gets into the log, and the run goes on.
struct No_result {
    std::string reason;
};

// The arguments of a method, the first one first, taken from the stack. Types, a letter
// for each: g any geometry, p point, l line, d rand, a area (the empty geometry fits all);
// r real (an int or a long will do), i int, b boolean, s string; L list, M map; o anything.
// Another type is a Fault. A NULL in any place but that of an o is a No_result without a
// reason, so that NULL passes through.
class Arguments {
  public:
    explicit Arguments(const char *types);

    // All borrow from the arguments.
    QOR_GEOMETRY geometry(size_t index) const;
    double real(size_t index) const;
    int32_t integer(size_t index) const;
    bool boolean(size_t index) const;
    std::string_view text(size_t index) const;
    QOR_MAP *map(size_t index) const;
    QOR_OBJECT *object(size_t index) const; // of any argument, lists above all

  private:
    std::array<Object, 8> objects_;
};

// Runs a method: its arguments go from the stack, work(Arguments &) pushes its results. The
// types of the results are letters as above; NULLs of these types are what stands there when
// there is no result.
template <typename Work> void run(const char *method, const char *arguments, const char *results, Work work);

// A geometry that a method makes.
class Geometry {
  public:
    Geometry() = default;
    explicit Geometry(QOR_GEOMETRY adopted) : word_(adopted) {}
    Geometry(Geometry &&other) noexcept : word_(std::exchange(other.word_, 0)) {}
    Geometry &operator=(Geometry &&other) noexcept {
        std::swap(word_, other.word_);
        return *this;
    }
    ~Geometry() { GEOM_REMOVE(&word_); }
    QOR_GEOMETRY get() const { return word_; }
    QOR_GEOMETRY *address() { return &word_; }
    QOR_GEOMETRY give() { return std::exchange(word_, 0); }

  private:
    QOR_GEOMETRY word_ = 0;
};

// Adopts; the empty geometry becomes NULL.
void push(Geometry &&geometry);
void push(std::string_view text);
// Pushes the object in the variable.
void push(Object &object);

// A list object for geometries, and a GEOM_TAKE that appends to it (context: the Object).
void create_list(Object *list);
void append(Object &list, Geometry &&geometry);
void take_into_list(void *list, QOR_GEOMETRY *geometry);
// The geometries of a list, borrowed from it; anything else in it is a Fault, a NULL or empty
// one a No_result without a reason. The kinds are letters as above, "pl" for points and lines.
// A geometry that stands for a list counts as a list of itself.
std::vector<QOR_GEOMETRY> geometries_of(QOR_OBJECT *list, const char *kinds);
// The numbers of a list in the same way.
std::vector<double> reals_of(QOR_OBJECT *list);

// How far chords may be from the arcs that they stand for: what GEO.SET_TOLERANCE has told the
// module, which goes by it wherever it is given the tolerance 0; 0 for a share of the radius.
double tolerance();
// A copy without arcs if there are arcs; the geometry itself, borrowed, if there are none.
class Stroked {
  public:
    explicit Stroked(QOR_GEOMETRY geometry);
    QOR_GEOMETRY get() const { return copy_.get() ? copy_.get() : borrowed_; }

  private:
    Geometry copy_;
    QOR_GEOMETRY borrowed_;
};

using Row = plugins::Method_row;
// The methods of each source.
std::span<const Row> create_methods();    // create.cpp: points, lines, areas
std::span<const Row> read_methods();      // read.cpp: parts, coordinates, measures
std::span<const Row> line_methods();      // line.cpp: along and beside lines
std::span<const Row> overlay_methods();   // overlay.cpp: relations, overlay, buffers
std::span<const Row> text_methods();      // text.cpp: WKT, WKB, GeoJSON
std::span<const Row> transform_methods(); // transform.cpp: moving, scaling, EPSG codes
std::span<const Row> index_methods();     // index.cpp: many geometries asked together
// What they hold is given back at the end.
void finish_transform();
void finish_index();

// --- run -----------------------------------------------------------------------------------

// The abort of a Fault comes back when the run is being left already.
void abort_method(const char *method, const Fault &fault);
void refuse(const char *method, const char *results, const No_result &refusal);

template <typename Work> void run(const char *method, const char *arguments, const char *results, Work work) {
    try {
        Arguments values(arguments);
        work(values);
    } catch (const Fault &fault) {
        abort_method(method, fault);
    } catch (const No_result &refusal) {
        refuse(method, results, refusal);
    }
}

} // namespace geo
