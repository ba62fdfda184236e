// The plug-in GEO: geometry for scripts. Registers the class and keeps what all of its
// methods share.
#include "geometries.hpp"

namespace geo {

namespace {

MSG channel = nullptr;

void push_null(char type) {
    Object null;
    switch (type) {
    case 'r': BTYP_create_undef_real(&null.value); break;
    case 'i': BTYP_create_undef_int(&null.value); break;
    case 'b': BTYP_create_undef_boolean(&null.value); break;
    case 'o':
    case 's': BTYP_create_undef_string(&null.value); break;
    case 'L': BTYP_create_undef_list(&null.value); break;
    case 'M': BTYP_create_undef_map(&null.value); break;
    default: BTYP_create_undef_geometry(&null.value);
    }
    push(null);
}

// [r tolerance][r former]
void set_tolerance() {
    run("SET_TOLERANCE", "r", "r", [](const Arguments &values) {
        const double tolerance = values.real(0);
        check_tolerance(tolerance);
        QORCPU_PUSHR(GEOM2_RESOLUTION_SET(tolerance));
    });
}

constexpr Row METHODS[] = {{"GEO", "SET_TOLERANCE", set_tolerance, 1, 1, "[r tolerance][r former]"}};

} // namespace

// One below 0 is not taken: this asks only.
double tolerance() { return GEOM2_RESOLUTION_SET(-1); }

void abort_method(const char *method, const Fault &fault) {
    MSG_SET_PROC_C(channel, method);
    MSG_PABORT_C(channel, "", borrow(fault.text), "");
}

void refuse(const char *method, const char *results, const No_result &refusal) {
    if (!refusal.reason.empty()) {
        MSG_SET_PROC_C(channel, method);
        MSG_DISPLAY_PERROR_C(channel, "", borrow(refusal.reason), "");
    }
    for (const char *type = results; *type; ++type) push_null(*type);
}

} // namespace geo

extern "C" QOR_API void GEO_INIT(const char *) {
    int32_t status;
    MSG_CREATE_C(&geo::channel, "GEO", 0);
    CLASS_CREATE_CLASS_C("GEO", "1.0.0", &status);
    for (const auto methods : {geo::create_methods, geo::read_methods, geo::line_methods, geo::overlay_methods,
                               geo::text_methods, geo::transform_methods, geo::index_methods})
        plugins::create_methods(methods());
    plugins::create_methods(geo::METHODS);
}

extern "C" QOR_API void GEO_TERMINATE() {
    GEOM2_RESOLUTION_SET(0);
    geo::finish_index();
    geo::finish_transform();
    geos::finish();
    MSG_REMOVE(&geo::channel);
}
