// The bridge to the database module, which also does the work of the type dblink.
#include "qor/db.h"

#include "bridges/forward.hpp"
#include "bridges/module.hpp"
#include "container/dblink.hpp"
#include "kernel/lifecycle.hpp"
#include "kernel/option.hpp"

#define EXPORTED(name)                                                                                                 \
    QOR_ENTRY_POINTER(name)                                                                                            \
    QOR_FORWARD(name)
#define INTERNAL(name) QOR_ENTRY_POINTER(name)
#include "bridges/db_entries.inc"
#undef EXPORTED
#undef INTERNAL

namespace qor {

namespace {

#define EXPORTED(name) {#name, &bridge_entry_##name},
#define INTERNAL(name) {#name, &bridge_entry_##name},
constexpr Module_entry ENTRIES[] = {
#include "bridges/db_entries.inc"
};
#undef EXPORTED
#undef INTERNAL

Outside_module db_module("db", ENTRIES);

// A site may have its own module in its user directory.
std::string second_directory() {
    const std::string user = option_user_dir();
    return user.empty() ? user : user + "/bin";
}

} // namespace

bool db_bridge_connect() {
    if (!db_module.load(second_directory()) || !db_module.start()) return false;
#define ENTRY(name) as_procedure<decltype(&::name)>(bridge_entry_##name)
    dblink_module = {ENTRY(DB_init_dblink),    ENTRY(DB_remove_dblink), ENTRY(DB_copy_dblink),
                     ENTRY(DB_display_dblink), ENTRY(DB_create_dblink), ENTRY(DB_get_dblink_select),
                     ENTRY(DB_get_dblink_map), ENTRY(DB_resolve_dblink)};
#undef ENTRY
    return true;
}

void db_bridge_disconnect() {
    dblink_module = {};
    db_module.disconnect();
}

} // namespace qor
