// The bridge to the geometry module.
#include "qor/geom.h"

#include <cstdio>

#include "bridges/forward.hpp"
#include "bridges/module.hpp"
#include "kernel/lifecycle.hpp"
#include "object/object.hpp"

#define EXPORTED(name)                                                                                                 \
    QOR_ENTRY_POINTER(name)                                                                                            \
    QOR_FORWARD(name)
#define INTERNAL(name) QOR_ENTRY_POINTER(name)
#include "bridges/geom_entries.inc"
#undef EXPORTED
#undef INTERNAL

namespace qor {

namespace {

#define EXPORTED(name) {#name, &bridge_entry_##name},
#define INTERNAL(name) {#name, &bridge_entry_##name},
constexpr Module_entry ENTRIES[] = {
#include "bridges/geom_entries.inc"
};
#undef EXPORTED
#undef INTERNAL

Outside_module geom_module("geom", ENTRIES);

} // namespace

bool geom_bridge_connect() {
    if (!geom_module.load()) {
        std::printf("unable to load library %s\n", geom_module.file().c_str());
        return false;
    }
    if (!geom_module.start()) return false;
    check_geometry = as_procedure<void (*)(QOR_GEOMETRY)>(bridge_entry_GEOM_CHECK_GEOMETRY);
    return true;
}

void geom_bridge_disconnect() {
    check_geometry = nullptr;
    geom_module.disconnect();
}

} // namespace qor
