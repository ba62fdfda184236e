// Areas grown on all sides, or shrunk, by means of GEOS.
#include <algorithm>
#include <cmath>
#include <memory>
#include <vector>

#include "offset.hpp"
#include "vector.hpp"

using namespace geom;

namespace {

struct Buffer_deleter {
    void operator()(GEOSBufferParams *params) const { GEOSBufferParams_destroy_r(geos::context(), params); }
};

// Chords for a quarter of a circle, so that they stay within the stroke tolerance.
int quadrant_segments(double radius) { return std::clamp(chord_count({0, 0, radius, 0, PI / 2}, 0), 8, 500); }

geos::Geometry grown(const GEOSGeometry *polygons, double distance, int join, double limit) {
    const std::unique_ptr<GEOSBufferParams, Buffer_deleter> params(GEOSBufferParams_create_r(geos::context()));
    GEOSBufferParams_setJoinStyle_r(geos::context(), params.get(), join);
    GEOSBufferParams_setMitreLimit_r(geos::context(), params.get(), limit);
    if (distance != 0)
        GEOSBufferParams_setQuadrantSegments_r(geos::context(), params.get(), quadrant_segments(std::abs(distance)));
    return geos::Geometry(GEOSBufferWithParams_r(geos::context(), polygons, params.get(), distance));
}

// --- mitres ------------------------------------------------------------------------

// GEOS cuts a mitre that is too long off at the limit. Here it has to be a bevel, so when there
// is one, all corners are made bevels, and those that may have a mitre get it put on.
class Mitres {
  public:
    Mitres(const GEOSGeometry *polygons, double distance, double limit) : distance_(distance), limit_(limit) {
        for (int i = 0; i < GEOSGetNumGeometries_r(geos::context(), polygons); ++i) {
            const GEOSGeometry *polygon = GEOSGetGeometryN_r(geos::context(), polygons, i);
            add_ring(GEOSGetExteriorRing_r(geos::context(), polygon), true);
            for (int j = 0; j < GEOSGetNumInteriorRings_r(geos::context(), polygon); ++j)
                add_ring(GEOSGetInteriorRingN_r(geos::context(), polygon, j), false);
        }
    }
    bool has_too_long() const { return has_too_long_; }
    // What the mitres that are not too long cover, each from its corner to its tip.
    geos::Geometry cover() { return geos::united(std::move(kites_)); }

  private:
    // The corners with the area on their left.
    void add_ring(const GEOSGeometry *ring, bool is_shell) {
        const GEOSCoordSequence *sequence = GEOSGeom_getCoordSeq_r(geos::context(), ring);
        unsigned count = 0;
        char is_ccw = 0;
        GEOSCoordSeq_getSize_r(geos::context(), sequence, &count);
        if (count < 4) return;
        GEOSCoordSeq_isCCW_r(geos::context(), sequence, &is_ccw);
        std::vector<GEOM_XY> places(count);
        for (unsigned i = 0; i < count; ++i)
            GEOSCoordSeq_getXY_r(geos::context(), sequence, i, &places[i].x, &places[i].y);
        if ((is_ccw != 0) != is_shell) std::reverse(places.begin(), places.end());
        places.pop_back();
        places.erase(std::unique(places.begin(), places.end(), is_same), places.end());
        const size_t n = places.size();
        for (size_t i = 0; i < n; ++i) add_corner(places[(i + n - 1) % n], places[i], places[(i + 1) % n]);
    }
    void add_corner(GEOM_XY before, GEOM_XY corner, GEOM_XY after) {
        const GEOM_XY in = unit(corner - before), out = unit(after - corner);
        const bool is_outside = cross(in, out) * distance_ > 0;
        if (!is_outside) return;
        // The sides move to the right when the area grows.
        const GEOM_XY first = left_of(in) * -distance_, second = left_of(out) * -distance_;
        const GEOM_XY middle = (first + second) * 0.5;
        const double size = std::abs(distance_), shortening = norm(middle) / size;
        if (!(shortening * limit_ >= 1)) {
            has_too_long_ = true;
            return;
        }
        add_kite({corner, corner + first, corner + middle * (1 / (shortening * shortening)), corner + second});
    }
    void add_kite(std::initializer_list<GEOM_XY> corners) {
        std::vector<Point> points;
        for (const GEOM_XY corner : corners) points.push_back(make_point(corner, GEOM_NO_HEIGHT));
        kites_.push_back(polygon_of(points));
    }

    double distance_, limit_;
    bool has_too_long_ = false;
    std::vector<geos::Geometry> kites_;
};

geos::Geometry grown_with_mitres(const GEOSGeometry *polygons, double distance, double limit) {
    Mitres mitres(polygons, distance, limit);
    if (!mitres.has_too_long()) return grown(polygons, distance, GEOSBUF_JOIN_MITRE, limit);
    const geos::Geometry bevelled = grown(polygons, distance, GEOSBUF_JOIN_BEVEL, limit), cover = mitres.cover();
    if (!bevelled || !cover) return nullptr;
    return geos::Geometry(distance > 0 ? GEOSUnion_r(geos::context(), bevelled.get(), cover.get())
                                       : GEOSDifference_r(geos::context(), bevelled.get(), cover.get()));
}

} // namespace

int32_t GEOM2_COPY_AREA_BOUNDARY_PARALLEL(QOR_GEOMETRY area, double distance, int32_t corner, double limit,
                                          QOR_GEOMETRY *copy) {
    static constexpr char OPERATION[] = "GEOM2_COPY_AREA_BOUNDARY_PARALLEL";
    if (!area_in(area, OPERATION)) return 0;
    if (!(std::abs(distance) <= geos::MAX_COORDINATE)) return refuse(OPERATION, "the distance is not a usable number");
    if (corner < GEOM_CORNER_ROUND || corner > GEOM_CORNER_BEVEL) return refuse(OPERATION, "unknown kind of corner");
    if (!(limit >= 0) || std::isinf(limit)) return refuse(OPERATION, "the limit must be a number from 0");
    geos::Geometry polygons = valid_polygons(area);
    if (!polygons) return refuse(OPERATION, geos::take_error());
    if (corner == GEOM_CORNER_MITRE) {
        polygons = grown_with_mitres(polygons.get(), distance, limit > 0 ? limit : DEFAULT_LIMIT);
    } else {
        const int join = corner == GEOM_CORNER_ROUND ? GEOSBUF_JOIN_ROUND : GEOSBUF_JOIN_BEVEL;
        polygons = grown(polygons.get(), distance, join, 1);
    }
    if (!polygons) return refuse(OPERATION, geos::take_error());
    replace(copy, geometry_of(geos::area_from_geos(polygons.get(), GEOM_GET_GATTR(area))), OPERATION);
    return 1;
}
