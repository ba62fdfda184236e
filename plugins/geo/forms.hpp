// The text forms of geometries: readers and writers, which know neither the stack nor
// methods. What can not be read or written is a No_result; its reason tells the place.
#pragma once

#include "geo.hpp"

namespace geo {

// What a text stands for: a geometry, or a list of several, which the kinds of text that
// begin with MULTI (but not those of polygons, which are one area) and collections are.
struct Reading {
    bool is_list = false;
    std::vector<Geometry> geometries; // without a list one, or none for an empty geometry
};
// What is to be written, borrowed. A list of points becomes a MULTIPOINT, one of lines
// and rands a MULTILINESTRING or MULTICURVE, any other list a GEOMETRYCOLLECTION.
struct Source {
    bool is_list = false;
    std::vector<QOR_GEOMETRY> geometries; // without a list exactly one; none is empty
};

Reading read_wkt(std::string_view text);
std::string write_wkt(const Source &source);

// In hexadecimal digits, two for a byte.
Reading read_wkb(std::string_view digits);
std::string write_wkb(const Source &source);

Reading read_geojson(std::string_view text);
// Arcs become chords within the tolerance, 0 for the module's own.
std::string write_geojson(const Source &source, double tolerance);
// A FeatureCollection, a Feature or a geometry alone as a list of maps.
void read_features(std::string_view text, Object *list);

// A geometry, NULL if it is empty, or a list.
void make_object(Reading &&reading, Object *object);

} // namespace geo
