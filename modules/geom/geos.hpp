// Between the system's geometries and those of GEOS. Knows geometries only through
// the exported interface, so that plug-ins can use it as well (library qor_geos).
#pragma once

#include <geos_c.h>

#include <memory>
#include <string>
#include <vector>

#include "qor/geom.h"

namespace geos {

// The context of this library or plug-in, made at first use, and its end. Between
// the two no operation of GEOS may still hold an object of it.
GEOSContextHandle_t context();
void finish();

// What GEOS, or to_geos, said when it last gave no result; empty when nothing.
std::string take_error();

struct Deleter {
    void operator()(GEOSGeometry *geometry) const { GEOSGeom_destroy_r(context(), geometry); }
    void operator()(const GEOSPreparedGeometry *geometry) const { GEOSPreparedGeom_destroy_r(context(), geometry); }
};
using Geometry = std::unique_ptr<GEOSGeometry, Deleter>;
using Prepared_geometry = std::unique_ptr<const GEOSPreparedGeometry, Deleter>;

// Coordinates get multiplied; beyond this the products are no numbers any more.
constexpr double MAX_COORDINATE = 1e150;

// A point as Point, a line or a rand as LineString, an area as Polygon or MultiPolygon
// by the even-odd rule; the empty geometry as an empty collection. Arcs become chords
// within the tolerance (GEOM2_STROKE); a rand that is not closed is closed by a
// straight segment. Heights go with the points, NaN for none. Null, with the reason
// for take_error, when a coordinate is not finite or above MAX_COORDINATE.
Geometry to_geos(QOR_GEOMETRY geometry, double tolerance);
// How rings that do not cross each other, each given as a polygon, make up polygons by the
// even-odd rule: of each the index of its outer ring, then those of its holes. A polygon
// in a hole of another one comes behind that one; else the order is that of the rings.
std::vector<std::vector<size_t>> nest(const std::vector<Geometry> &rings);
// Each ring of a Polygon or MultiPolygon as a polygon of its own, in a MultiPolygon.
Geometry split_into_rings(const GEOSGeometry *area);
// All that polygons cover, its points taken to a grid as fine as rounding: without one GEOS may
// lose polygons of which the borders all but run along each other. Null when that fails.
Geometry united(std::vector<Geometry> polygons);
// An area of which the rings cross or run along themselves or each other as a valid one,
// by the even-odd rule; anything else, and null, comes back as it is. Null when that
// can not be computed.
Geometry made_valid(Geometry geometry);

// The polygons of a geometry of GEOS as one area, all else left out. 0 when there is
// none. The attribute is that given.
QOR_GEOMETRY area_from_geos(const GEOSGeometry *geometry, int32_t attribute);
// Every part as a geometry of its own: a point, a line, an area with its holes. Empty
// parts are left out.
void parts_from_geos(const GEOSGeometry *geometry, int32_t attribute, GEOM_TAKE take, void *context);

} // namespace geos
