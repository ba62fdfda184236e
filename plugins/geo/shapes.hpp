// What the text forms share: the kinds that they know, how geometries are put together
// from the places that a text holds, and how they are taken apart into places.
//
// Both go by the same events: open(kind), the places or the members, close(). A reader
// sends them to a Builder, and write_shapes sends them to a writer.
#pragma once

#include <limits>

#include "forms.hpp"
#include "geometries.hpp"

namespace geo {

// The numbers are those of WKB, which has no LINEARRING.
enum class Kind : uint8_t {
    NONE,
    POINT,
    LINESTRING,
    POLYGON,
    MULTIPOINT,
    MULTILINESTRING,
    MULTIPOLYGON,
    GEOMETRYCOLLECTION,
    CIRCULARSTRING,
    COMPOUNDCURVE,
    CURVEPOLYGON,
    MULTICURVE,
    MULTISURFACE,
    CURVE,
    SURFACE,
    POLYHEDRALSURFACE,
    TIN,
    TRIANGLE,
    LINEARRING,
    COUNT
};

struct Kind_row {
    const char *name;      // in WKT
    const char *json_name; // empty when GeoJSON does not have the kind
    Kind plain_member;     // what a member without a name is; NONE when all have names
    uint32_t members;      // a bit for each kind that a member may be; 0: it holds places
    bool can_be_read;
};
const Kind_row &row_of(Kind kind);
inline Kind next(Kind kind) { return static_cast<Kind>(static_cast<int>(kind) + 1); }

constexpr double NO_Z = std::numeric_limits<double>::quiet_NaN();

// Puts geometries together from events. What they may not be is a No_result without a
// place, for the reader to add.
class Builder {
  public:
    void open(Kind kind);
    void add(double x, double y, double z); // NO_Z for a place without a height
    void close();
    // What has been built when the last level is closed.
    Reading finish();

  private:
    struct Level {
        Kind kind;
        size_t count = 0; // of its members or places so far
    };
    enum class Role : uint8_t { LINE, RAND, RING };

    Kind parent() const { return levels_.size() > 1 ? levels_[levels_.size() - 2].kind : Kind::NONE; }
    bool is_in_compound() const { return parent() == Kind::COMPOUNDCURVE; }
    void begin_curve(Role role);
    void append(double x, double y, double z);
    void place_curve();
    void close_part();
    void close_curve();
    void close_area();
    [[noreturn]] void refuse_curve(const char *reason) const;

    Reading reading_;
    std::vector<Level> levels_;
    Geometry area_; // of the polygon or polygons that are open

    // The curve that is open. The geometry that will keep its points gets them at once.
    Role role_ = Role::LINE;
    size_t ring_ = 0; // its number in the polygon, from 1
    size_t points_ = 0;
    bool has_arcs_ = false;
    bool arc_is_pending_ = false; // an arc point waits for the end of its arc
    double arc_x_ = 0, arc_y_ = 0, arc_z_ = 0;
    GEOM_XY first_{}, last_{};
    Geometry first_point_, point_;
    Geometry whole_;        // the line or the rand
    QOR_GEOMETRY line_ = 0; // borrowed from it, or from the area
};

// A place of a curve. The segment between the neighbours of an arc point is an arc.
struct Vertex {
    double x, y, z; // z may be NO_Z
    bool is_arc_point;
};
using Curve = std::vector<Vertex>;
struct Piece {
    size_t first, last; // of the vertices
    bool is_arc;
};
// An area as polygons: the indices of their rings, the outer one first. A ring that is
// not closed is closed by a straight segment.
struct Polygons {
    std::vector<Curve> rings;
    std::vector<std::vector<size_t>> polygons;
};

// Of all the geometries together.
struct Survey {
    Kind list_kind; // which a list of them is
    bool has_heights;
    bool has_arcs;
    size_t places;

    // About as long as the text will be at most.
    size_t text_size() const { return places * (has_heights ? 60 : 40); }
};
Survey survey(const Source &source);
Vertex vertex_of(QOR_GEOMETRY point);
Curve curve_of(QOR_GEOMETRY line_or_rand);
Polygons polygons_of(QOR_GEOMETRY area);
bool has_arcs(const Curve &curve);
// Cuts a curve where straight segments and arcs meet.
std::vector<Piece> pieces_of(const Curve &curve);

// Shortest digits that read back as the same number. The buffer has room for 32 bytes;
// answers the end.
char *write_number(double value, char *buffer);

// --- events from geometries ----------------------------------------------------------------

template <typename Writer> void write_curve(Writer &writer, const Curve &curve) {
    const std::vector<Piece> pieces = pieces_of(curve);
    if (pieces.size() > 1) writer.open(Kind::COMPOUNDCURVE, pieces.size());
    for (const Piece &piece : pieces) {
        writer.open(piece.is_arc ? Kind::CIRCULARSTRING : Kind::LINESTRING, piece.last - piece.first + 1);
        for (size_t i = piece.first; i <= piece.last; ++i) writer.add(curve[i]);
        writer.close();
    }
    if (pieces.size() > 1) writer.close();
}

template <typename Writer>
void write_polygon(Writer &writer, const std::vector<Curve> &rings, const std::vector<size_t> &polygon) {
    bool is_curved = false;
    for (const size_t ring : polygon) is_curved = is_curved || has_arcs(rings[ring]);
    writer.open(is_curved ? Kind::CURVEPOLYGON : Kind::POLYGON, polygon.size());
    for (const size_t ring : polygon) write_curve(writer, rings[ring]);
    writer.close();
}

template <typename Writer> void write_area(Writer &writer, Polygons &&area) {
    if constexpr (requires { writer.turn(area); }) writer.turn(area);
    bool is_curved = false;
    for (const Curve &ring : area.rings) is_curved = is_curved || has_arcs(ring);
    const bool is_multi = area.polygons.size() > 1;
    if (is_multi) writer.open(is_curved ? Kind::MULTISURFACE : Kind::MULTIPOLYGON, area.polygons.size());
    for (const auto &polygon : area.polygons) write_polygon(writer, area.rings, polygon);
    if (is_multi) writer.close();
}

template <typename Writer> void write_shape(Writer &writer, QOR_GEOMETRY geometry) {
    switch (kind_of(geometry)) {
    case GEOM_POINT:
        writer.open(Kind::POINT, 1);
        writer.add(vertex_of(geometry));
        writer.close();
        break;
    case GEOM_AREA: write_area(writer, polygons_of(geometry)); break;
    default: write_curve(writer, curve_of(geometry));
    }
}

// open(kind, count of members or places), add(vertex), close().
template <typename Writer> void write_shapes(Writer &writer, const Source &source, Kind list_kind) {
    if (source.is_list) writer.open(list_kind, source.geometries.size());
    for (const QOR_GEOMETRY geometry : source.geometries) write_shape(writer, geometry);
    if (source.is_list) writer.close();
}

} // namespace geo
