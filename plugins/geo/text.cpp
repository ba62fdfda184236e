// Methods that read and write geometries as text.
#include "forms.hpp"

namespace geo {

namespace {

Source source_of(QOR_OBJECT *object) {
    if (!object || !OBJ_object_value_is_defined(object)) throw No_result{};
    Source source;
    const int32_t type = OBJ_get_type(object);
    if (type == BTYP_list_tidf()) {
        source.is_list = true;
        source.geometries = geometries_of(object, "plda");
    } else if (type == BTYP_geometry_tidf()) {
        BTYP_read_geometry_ref(object, &source.geometries.emplace_back());
        if (GEOM_ISEMPTY(source.geometries[0]) != 0) throw No_result{};
    } else {
        throw Fault{std::string("geometry or list expected, not ") + OBJ_get_type_name_C(object)};
    }
    return source;
}

template <typename Write> void write_text(const char *method, Write write) {
    run(method, "o", "s", [write](const Arguments &values) { push(write(source_of(values.object(0)))); });
}

template <typename Read> void read_text(const char *method, const char *result, Read read) {
    run(method, "s", result, [read](const Arguments &values) {
        Object object;
        read(values.text(0), &object);
        push(object);
    });
}

// [o geometry][s text]
void to_wkt() { write_text("TO_WKT", write_wkt); }
void to_wkb() { write_text("TO_WKB", write_wkb); }
void to_geojson() {
    write_text("TO_GEOJSON", [](const Source &source) { return write_geojson(source, 0); });
}

// [s text][o geometry]
void from_wkt() {
    read_text("FROM_WKT", "g", [](std::string_view text, Object *object) { make_object(read_wkt(text), object); });
}
void from_wkb() {
    read_text("FROM_WKB", "g", [](std::string_view text, Object *object) { make_object(read_wkb(text), object); });
}
void from_geojson() {
    read_text("FROM_GEOJSON", "g",
              [](std::string_view text, Object *object) { make_object(read_geojson(text), object); });
}

// [s text][l features]
void features() { read_text("READ_FEATURES", "L", read_features); }

constexpr Row METHODS[] = {
    {"GEO", "TO_WKT", to_wkt, 1, 1, "[o geometry][s text]"},
    {"GEO", "FROM_WKT", from_wkt, 1, 1, "[s text][o geometry]"},
    {"GEO", "TO_WKB", to_wkb, 1, 1, "[o geometry][s text]"},
    {"GEO", "FROM_WKB", from_wkb, 1, 1, "[s text][o geometry]"},
    {"GEO", "TO_GEOJSON", to_geojson, 1, 1, "[o geometry][s text]"},
    {"GEO", "FROM_GEOJSON", from_geojson, 1, 1, "[s text][o geometry]"},
    {"GEO", "READ_FEATURES", features, 1, 1, "[s text][l features]"},
};

} // namespace

std::span<const Row> text_methods() { return METHODS; }

} // namespace geo
