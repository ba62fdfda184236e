// The text forms of plug-in GEO: each line of an input is a text, of which the first byte
// tells the form. What can be read can be written in every form, and reads back equal.
#include <algorithm>
#include <cstdlib>
#include <sstream>

#include "driver.hpp"
#include "plugins/geo/forms.hpp"

namespace {

geo::Source source_of(const geo::Reading &reading) {
    geo::Source source{reading.is_list, {}};
    for (const geo::Geometry &geometry : reading.geometries) source.geometries.push_back(geometry.get());
    return source;
}

std::string rewrite_wkt(const geo::Reading &reading) { return geo::write_wkt(source_of(reading)); }

geo::Reading read(const std::string &text) {
    switch (text[0]) {
    case '{': return geo::read_geojson(text);
    case '0': return geo::read_wkb(text);
    default: return geo::read_wkt(text);
    }
}

// Neither how rings lie within each other nor chords can be computed of numbers beyond
// all measure.
bool is_about_size(const std::string &reason) {
    return reason == "a coordinate is too large" || reason.find("finite") != reason.npos;
}

// As few chords as may be: an input may hold thousands of circles.
constexpr double COARSE = 1e300;

void check_forms(const geo::Reading &reading) {
    std::string text, binary, json;
    try {
        const geo::Source source = source_of(reading);
        text = geo::write_wkt(source);
        binary = geo::write_wkb(source);
        json = geo::write_geojson(source, COARSE);
    } catch (const geo::No_result &refusal) {
        if (!is_about_size(refusal.reason)) throw;
    }
    if (!text.empty() && rewrite_wkt(geo::read_wkt(text)) != text) std::abort();
    if (!binary.empty() && rewrite_wkt(geo::read_wkb(binary)) != text) std::abort();
    if (!json.empty()) geo::read_geojson(json);
}

void check(const std::string &text) {
    geo::Reading reading;
    try {
        if (text[0] == '{') {
            geo::Object features;
            geo::read_features(text, &features);
        }
        reading = read(text);
    } catch (const geo::No_result &) {
        return;
    }
    if (reading.is_list || !reading.geometries.empty()) check_forms(reading);
}

void run(const std::string &input) {
    std::istringstream lines(input);
    for (std::string line; std::getline(lines, line);)
        if (!line.empty()) check(line);
}

// Numbers, brackets and digits of a byte.
void mutate(std::string &s) {
    static const std::vector<std::string> PIECES = {"(",    ")",     ",",   "((",     "))",       "[",       "]",
                                                    "{",    "}",     "0",   "-1",     "1e300",    "nan",     "EMPTY",
                                                    "FFFF", "00000", " Z ", "\"id\"", "0 0, 0 0", "[[[[[[[["};
    for (size_t n = 1 + fuzz::below(4); n > 0; --n) {
        const size_t at = fuzz::below(s.size() + 1);
        if (fuzz::below(2)) s.erase(at, 1 + fuzz::below(4));
        s.insert(std::min(at, s.size()), fuzz::any(PIECES));
    }
}

} // namespace

int main(int argc, char **argv) {
    return fuzz::main(argc, argv,
                      {"geo_fuzz",
                       {".geometries"},
                       " ",
                       "POINT~LINESTRING~POLYGON~MULTIPOINT~MULTILINESTRING~MULTIPOLYGON~GEOMETRYCOLLECTION~"
                       "CIRCULARSTRING~COMPOUNDCURVE~CURVEPOLYGON~MULTICURVE~MULTISURFACE~TRIANGLE~LINEARRING~TIN~"
                       "EMPTY~Z~M~ZM~SRID=4326;~(0 0,1 0,1 1,0 0)~(0 0,2 2,0 0)~(~)~,",
                       mutate,
                       nullptr,
                       run});
}
