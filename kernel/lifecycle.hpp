// The start and stop of every module that has something to do then. Such a module
// includes this header and defines its own operations; qorproc.cpp holds the table that gives their
// order in both directions.
#pragma once

namespace qor {

// Each init is called once by QORPROC_INIT and guards itself against a second
// call, since a module may need another one earlier.
void strng_init();
void obj_init();
void btyp_init();
void map_init();
void class_init();
void message_init();
void option_init();
void imem_init();
void qorcpu_init();
void socket_init();
void directory_init();
void textfile_init();
void serial_init();
void lex2_init();
void storage_init();
void qormeth_init();
void blob_init();
void time_init();
void digest_init();
void qorcomp_init();
void qorio_init();
void ap_init();
void qorrun_init();
void odb_init();

// 1 when the module is complete, 0 after its reports when it is not.
bool geom_bridge_connect();
bool db_bridge_connect();
bool codec_bridge_connect();

void PLUGIN_UNLOAD_ALL();
void geom_bridge_disconnect();
void db_bridge_disconnect();
void codec_bridge_disconnect();
void qorrun_terminate();
void odb_terminate();
void option_terminate();
void imem_terminate();
void link_terminate();
void dbgp_terminate();
void socket_terminate();
void textfile_terminate();
void lex2_terminate();
void blob_terminate();
void qormeth_terminate();
void qorcomp_terminate();
void qorio_terminate();

// Tells whether this is the first call; the body of an init stands behind it.
inline bool first_time(bool &done) {
    if (done) return false;
    done = true;
    return true;
}

} // namespace qor
