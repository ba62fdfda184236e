// The bridge to the geometry module.
#include "qor/geom.h"

#include <cstdio>

#include "kernel/lifecycle.hpp"
#include "object/object.hpp"

#define QOR_ENTRIES "bridges/geom_entries.inc"
#include "bridges/entry_table.inc"

namespace qor {

namespace {

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
