// The bridge to the geometry module.
#include "qor/geom.h"

#include <cstdio>
#include <string>

#include "bridges/forward.hpp"
#include "kernel/lifecycle.hpp"
#include "object/object.hpp"
#include "platform/platform.hpp"

int64_t bridge_not_connected() { return 0; }

#define EXPORTED(name)                                                                                                 \
    QOR_ENTRY_POINTER(name)                                                                                            \
    QOR_FORWARD(name)
#define INTERNAL(name) QOR_ENTRY_POINTER(name)
#include "bridges/geom_entries.inc"
#undef EXPORTED
#undef INTERNAL

namespace qor {

namespace {

struct Entry {
    const char *name;
    void **pointer;
};

#define EXPORTED(name) {#name, &bridge_entry_##name},
#define INTERNAL(name) {#name, &bridge_entry_##name},
constexpr Entry ENTRIES[] = {
#include "bridges/geom_entries.inc"
};
#undef EXPORTED
#undef INTERNAL

void *geom_library = nullptr;

template <typename Procedure> Procedure as_procedure(void *entry) { return reinterpret_cast<Procedure>(entry); }

} // namespace

// Its texts go straight to the standard output: there may be no channel yet.
bool geom_bridge_connect() {
    const std::string name = std::string("geom") + platform::LIBRARY_SUFFIX;
    geom_library = platform::load_library(name);
    if (!geom_library) {
        std::printf("GetLastError:\n%s\n", platform::library_error().c_str());
        std::printf("unable to load library %s\n", name.c_str());
        return false;
    }
    bool complete = true;
    for (const Entry &entry : ENTRIES) {
        void *symbol = platform::find_symbol(geom_library, entry.name);
        if (symbol) {
            *entry.pointer = symbol;
        } else {
            std::printf("unable to load proc %s from library %s\n", entry.name, name.c_str());
            complete = false;
        }
    }
    if (!complete) return false;
    const std::string kernel = std::string("libqor") + platform::LIBRARY_SUFFIX;
    as_procedure<void (*)(const char *)>(bridge_entry_GEOM_INIT)(kernel.c_str());
    check_geometry = as_procedure<void (*)(QOR_GEOMETRY)>(bridge_entry_GEOM_CHECK_GEOMETRY);
    return true;
}

void geom_bridge_disconnect() {
    if (!geom_library) return;
    as_procedure<void (*)()>(bridge_entry_GEOM_TERMINATE)();
    check_geometry = nullptr;
    for (const Entry &entry : ENTRIES) *entry.pointer = reinterpret_cast<void *>(bridge_not_connected);
    if (!platform::unload_library(geom_library))
        std::printf("unable to disconnect from module geom%s\n", platform::LIBRARY_SUFFIX);
    geom_library = nullptr;
}

} // namespace qor
