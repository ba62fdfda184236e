// How geometries lie in an area, the fence, and their pieces in it and out of it.
//
// Relations and the pieces of areas are computed by GEOS. A line is cut here, segment by
// segment: so its pieces keep its arcs, heights and attributes, its direction and order.
#include <algorithm>
#include <cmath>
#include <memory>
#include <optional>

#include "box_tree.hpp"
#include "inside.hpp"
#include "line.hpp"

using namespace geom;

namespace {

// --- relations -------------------------------------------------------------------

// Where a geometry has points, as seen from the fence.
struct Relation {
    bool inside = false, border = false, outside = false;
    bool is_known = false;
};

Relation relation_of_point(GEOM_XY place, QOR_GEOMETRY fence) {
    const Location location = locate(static_cast<Area *>(geometry_of(fence)), place);
    return {location == Location::INSIDE, location == Location::BORDER, location == Location::OUTSIDE, true};
}

// A line without length is a point.
geos::Geometry operand(QOR_GEOMETRY geometry) {
    geos::Geometry converted = geos::made_valid(geos::to_geos(geometry, 0));
    double length = 1;
    if (!converted || GEOSGeomTypeId_r(geos::context(), converted.get()) != GEOS_LINESTRING) return converted;
    GEOSGeomGetLength_r(geos::context(), converted.get(), &length);
    if (length == 0) converted.reset(GEOSGeomGetStartPoint_r(geos::context(), converted.get()));
    return converted;
}

// The matrix has a row for the inside, the border and the outside of the geometry, and in
// each of them a place for those of the fence; F says that the two do not meet.
Relation relation_of(QOR_GEOMETRY geometry, QOR_GEOMETRY fence) {
    const geos::Geometry one = operand(geometry), other = valid_polygons(fence);
    if (!one || !other) return {};
    const auto release = [](char *text) { GEOSFree_r(geos::context(), text); };
    const std::unique_ptr<char, decltype(release)> matrix(GEOSRelate_r(geos::context(), one.get(), other.get()),
                                                          release);
    if (!matrix) return {};
    const auto meets = [&](int column) { return matrix.get()[column] != 'F' || matrix.get()[3 + column] != 'F'; };
    return {meets(0), meets(1), meets(2), true};
}

// Nothing is known, silently, of an empty geometry, and with an error where one is.
Relation relation(QOR_GEOMETRY geometry, QOR_GEOMETRY area, const char *operation) {
    const QOR_GEOMETRY fence = area_in(area, operation);
    const Geometry *g = geometry_of(geometry);
    if (!g || !fence) return {};
    const char *fault = coordinate_fault(g);
    if (!fault) fault = coordinate_fault(geometry_of(fence));
    if (fault) {
        refuse(operation, fault);
        return {};
    }
    if (g->kind == GEOM_POINT) return relation_of_point(place_of(*static_cast<const Point *>(g)), fence);
    const Relation found = relation_of(geometry, fence);
    if (!found.is_known) refuse(operation, geos::take_error());
    return found;
}

// --- cutting lines -------------------------------------------------------------------

// What a place where the border meets a segment says of the side that follows. It is certain
// to be the other one only where straight segments cross well away from all their ends.
enum class Change { NONE, OTHER_SIDE, UNKNOWN };

// Between two such places the segment is on one side of the border, or runs along it.
struct Cut_place {
    double position;
    int along; // 1: a stretch along the border begins, -1: one ends
    Change change;
};

bool do_run_together(const Segment &a, const Segment &b, double from, double to) {
    if (a.is_arc != b.is_arc) return false;
    if (!a.is_arc) return true;
    const Foot foot = nearest(b, point_at(a, (from + to) / 2));
    return foot.distance <= ROUNDING * (std::abs(a.circle.x) + std::abs(a.circle.y) + a.circle.radius);
}

class Line_cutter {
  public:
    Line_cutter(QOR_GEOMETRY fence, bool wants_inside, Gathered *pieces)
        : fence_(fence), border_(border_of(static_cast<const Composite *>(geometry_of(fence)))),
          tree_(boxes_of(border_)), wants_inside_(wants_inside), pieces_(pieces) {}

    void cut(const Composite *line, int32_t attribute) {
        attribute_ = attribute;
        for_each_segment(line, [&](const Line_node &from, const Line_node &to, const Segment &segment) {
            if (!is_same(end_, place_of(from))) {
                finish_piece();
                is_inside_.reset();
            }
            cut_segment(from, to, segment);
        });
    }
    // The last piece ends where the last segment does.
    bool is_open() const { return piece_.get() != 0; }
    void finish_piece() {
        if (piece_.get()) pieces_->add(word_of(piece_.give()));
    }

  private:
    static std::vector<Segment> border_of(const Composite *area) {
        std::vector<Segment> border;
        for (Node *node = area ? area->first : nullptr; node; node = node->next)
            for_each_border_segment(part_of(node), [&](const Segment &segment) { border.push_back(segment); });
        return border;
    }
    static std::vector<Box> boxes_of(const std::vector<Segment> &border) {
        std::vector<Box> boxes;
        boxes.reserve(border.size());
        for (const Segment &segment : border) boxes.push_back(box_of(segment));
        return boxes;
    }
    void find_cuts(const Segment &segment, double whole, double slack) {
        cuts_.clear();
        const Box box = box_of(segment);
        const auto distance_to = [&](const Box &other) { return distance(other, box); };
        tree_.visit_near(distance_to, 0, [&](size_t index) {
            const Segment &other = border_[index];
            GEOM_XY places[2];
            const int count = intersect(segment, other, places);
            double positions[2];
            for (int i = 0; i < count; ++i) positions[i] = nearest(segment, places[i]).position;
            const bool is_stretch = count == 2 && do_run_together(segment, other, positions[0], positions[1]);
            const bool is_crossing = count == 1 && !segment.is_arc && !other.is_arc && positions[0] > slack &&
                                     positions[0] < whole - slack && distance(places[0], other.start) > slack &&
                                     distance(places[0], other.end) > slack;
            const Change change = is_crossing ? Change::OTHER_SIDE : Change::UNKNOWN;
            for (int i = 0; i < count; ++i) cuts_.push_back({positions[i], is_stretch ? 1 - 2 * i : 0, change});
        });
        std::sort(cuts_.begin(), cuts_.end(),
                  [](const Cut_place &a, const Cut_place &b) { return a.position < b.position; });
        // Places that are one but for rounding become one.
        std::vector<Cut_place> merged{{0, 0, Change::NONE}};
        for (const Cut_place &cut : cuts_) {
            if (cut.position - merged.back().position > slack) {
                merged.push_back(cut);
            } else {
                merged.back().along += cut.along;
                merged.back().change = Change::UNKNOWN;
            }
        }
        if (merged.size() > 1 && whole - merged.back().position <= slack) {
            merged.back().position = whole;
        } else {
            merged.push_back({whole, 0, Change::NONE});
        }
        cuts_.swap(merged);
    }
    void cut_segment(const Line_node &from, const Line_node &to, const Segment &segment) {
        end_ = place_of(to);
        const double whole = length(segment);
        if (!(whole > 0)) return;
        find_cuts(segment, whole, 4 * rounding_of(box_of(segment)));
        int along = 0;
        double begin = -1; // of the stretch that is wanted, if not negative
        for (size_t i = 0; i + 1 < cuts_.size(); ++i) {
            along += cuts_[i].along;
            note(cuts_[i].change);
            if (along > 0) {
                is_inside_ = true;
            } else if (!is_inside_) {
                const double middle = (cuts_[i].position + cuts_[i + 1].position) / 2;
                is_inside_ = GEOM_IS_INSIDEAREA(point_at(segment, middle), fence_) != 0;
            }
            if (is_inside_ == wants_inside_) {
                if (begin < 0) begin = cuts_[i].position;
                continue;
            }
            if (begin >= 0) append(from, to, segment, begin, cuts_[i].position);
            finish_piece();
            begin = -1;
        }
        if (begin >= 0) append(from, to, segment, begin, whole);
        note(cuts_.back().change);
    }
    void note(Change change) {
        if (change == Change::UNKNOWN) is_inside_.reset();
        if (change == Change::OTHER_SIDE && is_inside_) is_inside_ = !*is_inside_;
    }
    // Appends a stretch of a segment to the piece that is open. Ends of the segment are
    // taken over as they are.
    void append(const Point &from, const Line_node &to, const Segment &segment, double begin, double end) {
        const bool reaches_end = end == length(segment), is_whole = begin == 0 && reaches_end;
        const Segment part = is_whole ? segment : stretch(segment, begin, end);
        if (!piece_.get()) {
            Composite *line = new_composite(GEOM_LINE);
            line->attribute = attribute_;
            *piece_.address() = word_of(line);
            const Point start = begin == 0 ? from : make_point(part.start, part.start_z);
            append_point(line, 0, 0, 0, GEOM_NO_HEIGHT, &start);
        }
        Composite *line = static_cast<Composite *>(geometry_of(piece_.get()));
        if (is_whole) {
            append_point(line, to.arc, to.arc_x, to.arc_y, to.arc_z, &to);
        } else {
            append_segment(line, part, reaches_end ? Point(to) : make_point(part.end, part.end_z));
        }
    }

    QOR_GEOMETRY fence_;
    std::vector<Segment> border_;
    Box_tree tree_;
    bool wants_inside_;
    std::optional<bool> is_inside_; // where the line has got to, if that is certain
    Gathered *pieces_;
    int32_t attribute_ = 0;
    std::vector<Cut_place> cuts_;
    Owner piece_;
    GEOM_XY end_{};
};

// A ring has no start: what was cut only there is one piece.
void join_around(Gathered *pieces) {
    const Owner first(geometry_of(pieces->remove_front()));
    Composite *last = static_cast<Composite *>(geometry_of(pieces->words().back()));
    for (Node *node = static_cast<Composite *>(geometry_of(first.get()))->first->next; node; node = node->next) {
        const Line_node *n = line_node(node);
        append_point(last, n->arc, n->arc_x, n->arc_y, n->arc_z, n);
    }
}

void cut_lines(const Composite *geometry, QOR_GEOMETRY fence, bool wants_inside, Gathered *pieces) {
    Line_cutter cutter(fence, wants_inside, pieces);
    for_each_line(geometry, [&](const Composite *line) { cutter.cut(line, geometry->attribute); });
    const bool reaches_end = cutter.is_open();
    cutter.finish_piece();
    if (geometry->kind != GEOM_RAND || !reaches_end || pieces->words().size() < 2) return;
    const Composite *first = static_cast<Composite *>(geometry_of(pieces->words().front()));
    const Composite *last = static_cast<Composite *>(geometry_of(pieces->words().back()));
    const GEOM_XY start = place_of(first_point(part_of(geometry->first)));
    if (is_same(place_of(first_point(first)), start) && is_same(place_of(last_point(last)), start)) join_around(pieces);
}

void cut_point(QOR_GEOMETRY point, QOR_GEOMETRY fence, bool wants_inside, Gathered *pieces) {
    const Geometry *g = geometry_of(point);
    const bool is_inside = GEOM_IS_INSIDEAREA(place_of(*static_cast<const Point *>(g)), fence) != 0;
    if (is_inside == wants_inside) pieces->add(word_of(copy(g)));
}

// False when it can not be computed.
bool cut_area(QOR_GEOMETRY area, QOR_GEOMETRY fence, bool wants_inside, Gathered *pieces) {
    const geos::Geometry one = valid_polygons(area), other = valid_polygons(fence);
    if (!one || !other) return false;
    const geos::Geometry cut(wants_inside ? GEOSIntersection_r(geos::context(), one.get(), other.get())
                                          : GEOSDifference_r(geos::context(), one.get(), other.get()));
    if (!cut) return false;
    const auto take = [](void *context, QOR_GEOMETRY *piece) {
        if (geometry_of(*piece)->kind == GEOM_AREA) static_cast<Gathered *>(context)->add(std::exchange(*piece, 0));
    };
    geos::parts_from_geos(cut.get(), GEOM_GET_GATTR(area), take, pieces);
    const Point_attributes attributes(area);
    for (QOR_GEOMETRY piece : pieces->words()) attributes.give_to(piece);
    return true;
}

int32_t cut(QOR_GEOMETRY geometry, QOR_GEOMETRY area, bool wants_inside, GEOM_TAKE take, void *context, int32_t *count,
            const char *operation) {
    const QOR_GEOMETRY fence = area_in(area, operation);
    const Geometry *g = geometry_of(geometry);
    if (!g) return 0;
    const char *fault = coordinate_fault(g);
    if (!fault) fault = coordinate_fault(geometry_of(fence));
    if (fault) return refuse(operation, fault);
    Gathered pieces;
    if (g->kind == GEOM_POINT) {
        cut_point(geometry, fence, wants_inside, &pieces);
    } else if (g->kind != GEOM_AREA) {
        cut_lines(static_cast<const Composite *>(g), fence, wants_inside, &pieces);
    } else if (!cut_area(geometry, fence, wants_inside, &pieces)) {
        return refuse(operation, geos::take_error());
    }
    pieces.deliver(take, context, count);
    return 1;
}

} // namespace

int32_t GEOM2_IS_INSIDE_FENCE(QOR_GEOMETRY geometry, QOR_GEOMETRY area) {
    const Relation found = relation(geometry, area, "GEOM2_IS_INSIDE_FENCE");
    return found.inside && !found.border && !found.outside;
}

int32_t GEOM2_IS_INSIDE_FENCE_AND_BORDER(QOR_GEOMETRY geometry, QOR_GEOMETRY area) {
    const Relation found = relation(geometry, area, "GEOM2_IS_INSIDE_FENCE_AND_BORDER");
    return (found.inside || found.border) && !found.outside;
}

int32_t GEOM2_IS_INSIDE_FENCE_EXT(QOR_GEOMETRY geometry, QOR_GEOMETRY area, int32_t *result) {
    const Relation found = relation(geometry, area, "GEOM2_IS_INSIDE_FENCE_EXT");
    if (!found.is_known) return 0;
    if (found.inside) {
        *result = found.outside ? GEOM_FENCE_CROSSES : GEOM_FENCE_INSIDE;
    } else {
        *result = found.border ? GEOM_FENCE_TOUCHES : GEOM_FENCE_OUTSIDE;
    }
    return 1;
}

int32_t GEOM2_FENCE_CUT(QOR_GEOMETRY geometry, QOR_GEOMETRY area, GEOM_TAKE take, void *context, int32_t *count) {
    return cut(geometry, area, true, take, context, count, "GEOM2_FENCE_CUT");
}

int32_t GEOM2_FENCE_CUT_OUTSIDE(QOR_GEOMETRY geometry, QOR_GEOMETRY area, GEOM_TAKE take, void *context,
                                int32_t *count) {
    return cut(geometry, area, false, take, context, count, "GEOM2_FENCE_CUT_OUTSIDE");
}
