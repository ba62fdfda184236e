#include "qor/qorproc.h"

#include <cstdio>
#include <cstdlib>
#include <new>
#include <string>

#include "kernel/counters.hpp"
#include "kernel/exit.hpp"
#include "kernel/lifecycle.hpp"
#include "kernel/message.hpp"
#include "kernel/strng.hpp"
#include "kernel/upcalls.hpp"
#include "platform/platform.hpp"
#include "qor/class.h"
#include "qor/map.h"
#include "qor/msg.h"
#include "qor/obj.h"
#include "qor/option.h"
#include "qor/qorcpu.h"
#include "qor/qorio.h"
#include "qor/strng.h"

const int32_t MCON_REALSIZE = 8;
const int32_t MCON_LONGSIZE = 4;
const int32_t MCON_INTSIZE = 4;
const int32_t MCON_CARDSIZE = 4;

namespace qor {

int32_t qorproc_phase = QORPROC_PHASE_IDLE;

namespace {

bool initialised = false;
bool qorproc_halted = false; // set when the exit is taken, cleared by QORPROC_COMPILE
bool abort_on_its_way = false;
int contexts = 0; // how many of QORPROC_COMPILE and QORPROC_RUN are there to catch the exit
uint64_t qorproc_main_window = 0;
Strng qorproc_script;
bool qorproc_dump = false;
bool qorproc_parse = false;
MSG qorproc_msg = nullptr;
std::string qorproc_mainlib;

// The order of start. Storage comes late on purpose: what the modules before it
// allocated is not in its counter.
constexpr void (*INIT_ORDER[])() = {
    strng_init,  obj_init,    btyp_init,      map_init,      class_init,  message_init, option_init,  imem_init,
    qorcpu_init, socket_init, directory_init, textfile_init, serial_init, lex2_init,    storage_init, qormeth_init,
    blob_init,   time_init,   digest_init,    qorcomp_init,  qorio_init,  ap_init,      qorrun_init,
};

constexpr void (*TERMINATE_ORDER[])() = {
    PLUGIN_UNLOAD_ALL, geom_bridge_disconnect, db_bridge_disconnect, codec_bridge_disconnect, qorrun_terminate,
    odb_terminate,     option_terminate,       dbgp_terminate,       link_terminate,          imem_terminate,
    socket_terminate,  textfile_terminate,     lex2_terminate,       blob_terminate,          qormeth_terminate,
    qorcomp_terminate, qorio_terminate,
};

// Ends the process when the module is missing: nobody catches an abort yet.
void require_module(bool connected, const char *name) {
    if (connected) return;
    const std::string text = std::string("unable to load ") + name + platform::LIBRARY_SUFFIX;
    MESSAGE_ABORT_S(borrow(text));
}

void leave(int32_t status) {
    if (qorproc_halted && contexts > 0) return;
    if (contexts == 0) {
        // Nobody is there to catch: a host misused an operation outside of a run.
        std::fflush(stdout);
        std::exit(1);
    }
    qorproc_halted = true;
    throw Qor_exit{status};
}

void method_halt() { leave(qorproc_phase); }
void method_exit() { leave(QORPROC_STATUS_EXIT); }

// Runs a job that may leave by the exit; the result is its status, 0 when it
// came to its end.
template <typename Job> int32_t guarded(Job job) {
    ++contexts;
    int32_t status = 0;
    try {
        job();
    } catch (const Qor_exit &exit) {
        status = exit.status;
    } catch (const std::bad_alloc &) {
        std::fputs("Storage_ALLOCATE: out of memory\n", stdout);
        qorproc_halted = true;
        status = qorproc_phase;
    }
    --contexts;
    abort_on_its_way = false;
    return status;
}

void read_log_options() {
    Strng name;
    OPTION_GETOPT(2, "log", &name);
    if (!name.empty() && OPTION_ISOPT_C("append_log")) {
        message_append_log(name.text());
    } else {
        message_set_log(name.text());
    }
}

void QORPROC_READ_OPTIONS() {
    qorproc_phase = QORPROC_PHASE_OPTIONS;
    Strng value;
    message_set_silent(OPTION_GETOPT(5, "silent", &value) && value.text() != "off");
    read_log_options();
    if (OPTION_ISOPT_C("help")) {
        CLASS_DISPLAY_ALL('P');
        qorproc_phase = QORPROC_PHASE_DONE;
        return;
    }
    MSG_SET_PROC_C(qorproc_msg, "READ_OPTIONS");
    if (!OPTION_GETOPT(5, "script", &qorproc_script)) {
        MSG_ABORT2_C(qorproc_msg, "script-option not defined");
        return;
    }
    Strng expanded;
    if (QORIO_EXPAND_QOR_PATH(qorproc_script, &expanded)) qorproc_script.assign(expanded.text());
    qorproc_dump = OPTION_ISOPT_C("dump");
    qorproc_parse = OPTION_ISOPT_C("parse");
    qorproc_phase = QORPROC_PHASE_IDLE;
}

Strng script_text(std::string_view before, std::string_view behind) {
    Strng text(before);
    text.append(qorproc_script.text());
    text.append(behind);
    return text;
}

void QORPROC_COMPILE_SCRIPT() {
    QORPROC_READ_OPTIONS();
    if (qorproc_phase == QORPROC_PHASE_DONE) return;
    qorproc_phase = QORPROC_PHASE_COMPILE;
    const bool cgi = OPTION_ISOPT_C("cgi");
    if (!cgi) {
        if (qorproc_parse) MESSAGE_DISPLAY1_C("Compiler start\n");
        MESSAGE_DISPLAY_S(script_text("reading script ", " ..."));
        MESSAGE_DISPLAY1_C("\n");
    }
    int32_t status = 0;
    READ_SCRIPT_FROM(qorproc_script, qorproc_parse, &status);
    if (!status) {
        MSG_SET_PROC_C(qorproc_msg, "COMPILE_SCRIPT");
        MSG_ABORT_S(qorproc_msg, script_text("error reading script ", ""));
        return;
    }
    if (qorproc_dump) {
        IMEM_DISPLAY();
        qorproc_phase = QORPROC_PHASE_DONE;
    }
    if (qorproc_parse && !cgi) {
        MESSAGE_DISPLAY_S(script_text("script ", " compiled successfully !"));
        MESSAGE_DISPLAY1_C("Compiler end\n");
        MESSAGE_DISPLAY1_C("\n\n");
    }
}

// Runs the procedures whose name ends in "_" and the word. One that is named by
// the word alone is deliberately left out.
void sweep(std::string_view word) {
    QOR_MAP *procedures;
    int32_t status;
    MAP_GET_MAP_BY_NAME_C(&procedures, "PROCEDURES", &status);
    if (!status) return;
    Strng key;
    MAP_RESET_READ(&procedures);
    for (;;) {
        QOR_OBJECT *procedure = nullptr;
        MAP_READ_OBJECT_REF(&procedures, &key, &procedure, &status);
        if (!status) return;
        OBJ_remove_object(&procedure);
        const std::string_view name = key.text();
        const size_t last = name.rfind('_');
        if (last != std::string_view::npos && name.substr(last + 1) == word)
            QORCPU_CALL_QOR_PROC_C(std::string(name).c_str());
    }
}

} // namespace

void QORPROC_ABORT() {
    if (qorproc_phase == QORPROC_PHASE_RUN && !qorproc_halted && contexts > 0) {
        abort_on_its_way = true;
        QORCPU_DO_METHOD_BY_NAME_C("QORCPU", "DISPLAY_SOURCE_LINE");
        QORCPU_DO_METHOD_BY_NAME_C("QOR", "ABORT");
    } else {
        leave(qorproc_phase);
    }
    abort_on_its_way = false; // the latch was set: the caller goes on
}

std::string_view qorproc_script_name() { return qorproc_script.text(); }

bool qorproc_abort_on_its_way() { return abort_on_its_way; }
void qorproc_begin_abort() { abort_on_its_way = true; }
void qorproc_end_abort() { abort_on_its_way = false; }

void qorproc_leave_now() { leave(qorproc_phase); }

} // namespace qor

using namespace qor;

void QORPROC_INIT() {
    if (initialised) return;
    initialised = true;
    qorproc_phase = QORPROC_PHASE_IDLE;
    qorproc_main_window = 0;
    input_count = output_count = error_count = 0;
    for (auto init : INIT_ORDER) init();
    require_module(geom_bridge_connect(), "geom");
    require_module(db_bridge_connect(), "db");
    require_module(codec_bridge_connect(), "codec");
    MSG_CREATE_C(&qorproc_msg, "QOR", 0);
    int32_t status;
    CLASS_CREATE_METHOD_C("QOR", "HALT", method_halt, 0, 0, 'P', "", &status);
    CLASS_CREATE_METHOD_C("QOR", "ABORT", method_halt, 0, 0, 'P', "", &status);
    CLASS_CREATE_METHOD_C("QOR", "EXIT", method_exit, 0, 0, 'P', "", &status);
    odb_init();
}

void QORPROC_TERMINATE() {
    if (!initialised) return;
    initialised = false;
    qorproc_phase = QORPROC_PHASE_IDLE;
    STRNG_REMOVE(&qorproc_script);
    MSG_REMOVE(&qorproc_msg);
    for (auto terminate : TERMINATE_ORDER) terminate();
    std::fflush(stdout);
}

int16_t QORPROC_COMPILE() {
    qorproc_halted = false;
    qorproc_phase = QORPROC_PHASE_IDLE;
    const int32_t status = guarded(QORPROC_COMPILE_SCRIPT);
    if (status) qorproc_phase = QORPROC_PHASE_DONE;
    return static_cast<int16_t>(status);
}

int32_t QORPROC_RUN() {
    if (qorproc_phase == QORPROC_PHASE_DONE) return 0;
    // What a run that was left broke off is not run again before a compilation.
    if (qorproc_halted) return QORPROC_PHASE_RUN;
    int32_t status = guarded([] {
        qorproc_phase = QORPROC_PHASE_RUN;
        MESSAGE_DISPLAY1_C("");
        sweep("INITIALIZE");
        QORCPU_RUN();
        sweep("TERMINATE");
        textfile_flush_all();
    });
    if (status == QORPROC_STATUS_EXIT) {
        // A script that leaves early must hear of lost writes too.
        qorproc_halted = false;
        status = guarded(textfile_flush_all);
    }
    std::fflush(stdout);
    return status;
}

int32_t QORPROC_START() {
    const int32_t status = QORPROC_COMPILE();
    return status ? status : QORPROC_RUN();
}

void QORPROC_SET_MAIN_WINDOW(uint64_t window) { qorproc_main_window = window; }

uint64_t QORPROC_GET_MAIN_WINDOW(uint64_t *window) {
    *window = qorproc_main_window;
    return qorproc_main_window;
}

void QORPROC_COUNT_INPUT_OBJECT() { QORCPU_DO_METHOD_BY_NAME_C("QOR", "COUNT_INPUT_OBJECT"); }
void QORPROC_COUNT_OUTPUT_OBJECT() { QORCPU_DO_METHOD_BY_NAME_C("QOR", "COUNT_OUTPUT_OBJECT"); }

int32_t QORLIB_LOAD(uint64_t, const char *library) {
    qorproc_mainlib = library;
    return 1;
}

const char *QORLIB_GET_MAINLIB() { return qorproc_mainlib.c_str(); }
void QORLIB_UNLOAD() {}

double QOR_R64ABS(double x) { return x < 0 ? -x : (x == 0 ? 0.0 : x); }
