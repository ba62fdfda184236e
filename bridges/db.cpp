// The bridge to the database module, which also does the work of the type dblink.
#include "qor/db.h"

#include "container/dblink.hpp"
#include "kernel/lifecycle.hpp"
#include "kernel/option.hpp"

#define QOR_ENTRIES "bridges/db_entries.inc"
#include "bridges/entry_table.inc"

namespace qor {

namespace {

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
