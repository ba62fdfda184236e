#include <cstdarg>
#include <cstdio>
#include <string>

#include "kernel/counters.hpp"
#include "kernel/exit.hpp"
#include "kernel/lifecycle.hpp"
#include "kernel/message.hpp"
#include "kernel/strng.hpp"
#include "kernel/upcalls.hpp"
#include "platform/platform.hpp"
#include "qor/class.h"
#include "qor/msg.h"
#include "qor/qorcpu.h"
#include "qor/textfile.h"

namespace qor {

namespace {

constexpr uint32_t PIECE_LIMIT = 65535;
constexpr size_t FORMAT_LIMIT = 65536;

struct Message_state {
    bool silent = false;
    bool silent_log = false;
    uint32_t line_size = STRNG_LIMIT;
    int32_t log_file = -1;
    Strng log_name;
    Strng work; // the text of the method that runs
    bool writing_log = false;
};
Message_state state;

struct Writing_log {
    Writing_log() { state.writing_log = true; }
    ~Writing_log() { state.writing_log = false; }
    Writing_log(const Writing_log &) = delete;
    Writing_log &operator=(const Writing_log &) = delete;
};

// Cuts a text into pieces and forces a line end when the line size is reached,
// also when the text ends there. The count of bytes since the last forced line
// end starts anew with each message; line ends in the text do not reset it.
template <typename Sink> void write_pieces(std::string_view text, Sink sink) {
    if (text.size() < PIECE_LIMIT && text.size() < state.line_size) {
        if (!text.empty()) sink(text, false);
        return;
    }
    size_t start = 0;
    uint32_t since_line_end = 0;
    for (size_t i = 0; i < text.size(); ++i) {
        if (i + 1 - start == PIECE_LIMIT) {
            sink(text.substr(start, PIECE_LIMIT), false);
            start = i + 1;
        }
        if (++since_line_end >= state.line_size) {
            since_line_end = 0;
            if (start <= i) sink(text.substr(start, i + 1 - start), true);
            start = i + 1;
        }
    }
    if (start < text.size()) sink(text.substr(start), false);
}

// A script may close any file by its id, the log among them, and open another
// under the id: then there is no log any more. What a failing write has to say
// can not go to the log itself.
void write_log(std::string_view text) {
    if (state.silent_log || state.log_file < 0 || state.writing_log) return;
    if (!textfile_is_written(state.log_file, state.log_name.text())) {
        state.log_file = -1;
        return;
    }
    const Writing_log scope;
    write_pieces(text, [](std::string_view piece, bool line_end) {
        TEXTFILE_WRITE(&state.log_file, borrow(piece));
        if (line_end) TEXTFILE_WRITE_C(&state.log_file, "\n");
    });
    TEXTFILE_FLUSH(&state.log_file);
}

void write_console(std::string_view text) {
    if (state.silent) return;
    write_pieces(text, [](std::string_view piece, bool line_end) {
        std::fwrite(piece.data(), 1, piece.size(), stdout);
        if (line_end) std::fputc('\n', stdout);
    });
}

void close_log() {
    if (state.log_file >= 0 && textfile_is_written(state.log_file, state.log_name.text()))
        TEXTFILE_CLOSE(&state.log_file);
    state.log_file = -1;
}

// A copy, not a renaming: the new name must be creatable, and the old file is
// read back line by line.
void rename_log(std::string_view name) {
    if (state.log_file < 0 || name == state.log_name.text()) return;
    // Another spelling of its own name would empty the log and then remove it.
    if (platform::is_same_file(std::string(name), std::string(state.log_name.text()))) return;
    int32_t status;
    int32_t file;
    TEXTFILE_CREATE(&file, borrow(name), &status);
    if (!status) return;
    TEXTFILE_CLOSE(&file);
    close_log();
    TEXTFILE_CREATE(&state.log_file, borrow(name), &status);
    TEXTFILE_INSERT(state.log_name, &state.log_file, &status);
    TEXTFILE_REMOVE(state.log_name, &status);
    state.log_name.assign(name);
}

// --- the methods of class MESSAGE ---------------------------------------------

std::string_view pop_text() {
    QORCPU_POPS(&state.work);
    return state.work.text();
}

void method_display() {
    const std::string_view text = pop_text();
    // What an ERROR statement with an empty list yields: it counts, and nothing
    // is shown.
    if (text == "*** ERROR *** \n") return;
    write_log(text);
    write_console(text);
}

void method_error() {
    ++error_count;
    run_message_method(Message_channel::DISPLAY);
}

void method_status() { run_message_method(Message_channel::DISPLAY); }
void method_set_log() { message_set_log(pop_text()); }
void method_get_log() { QORCPU_PUSHS(state.log_name); }
void method_rename_log() { rename_log(pop_text()); }
void method_append_log() { message_append_log(pop_text()); }

void method_set_silent() {
    int32_t silent;
    QORCPU_POPB(&silent);
    state.silent = silent != 0;
}

void method_get_silent() { QORCPU_PUSHB(state.silent); }

void method_set_silent_log() {
    int32_t silent;
    QORCPU_POPB(&silent);
    state.silent_log = silent != 0;
}

void method_get_silent_log() { QORCPU_PUSHB(state.silent_log); }

void method_set_line_size() {
    int32_t size;
    QORCPU_POPI(&size);
    state.line_size = size > 0 ? static_cast<uint32_t>(size) : 1;
}

// --- dispatch ------------------------------------------------------------------

void print(std::string_view text) { std::fwrite(text.data(), 1, text.size(), stdout); }

void dispatch(Message_channel channel, std::string_view text) {
    if (qorproc_phase == QORPROC_PHASE_IDLE) {
        print(text);
        return;
    }
    QORCPU_PUSHS(borrow(text));
    run_message_method(channel);
}

// The text of the abort that is on its way, for as long as it was not shown.
Strng abort_text;

void abort_with(std::string_view text) {
    if (qorproc_abort_on_its_way()) {
        // Showing it may fail in the same way again: print and leave.
        print(abort_text.text());
        print(text);
        qorproc_leave_now();
        return;
    }
    qorproc_begin_abort();
    abort_text.assign(text);
    try {
        dispatch(Message_channel::ERROR, abort_text.text());
    } catch (const Qor_exit &) {
        throw;
    } catch (...) {
        // A script's own ERROR broke off the rule that aborts: the abort is over.
        qorproc_end_abort();
        abort_text.clear();
        throw;
    }
    abort_text.clear();
    QORPROC_ABORT();
}

Strng line_of(STRNG text) {
    Strng line(view(text));
    line.append('\n');
    return line;
}

Strng format(const char *format_text, va_list arguments) {
    std::string buffer(FORMAT_LIMIT, '\0');
    std::vsnprintf(buffer.data(), buffer.size(), format_text, arguments);
    return Strng(buffer.c_str());
}

constexpr struct {
    const char *name;
    QOR_PROC procedure;
    int16_t in_count;
    int16_t out_count;
} METHODS[] = {
    {"DISPLAY", method_display, 1, 0},
    {"ERROR", method_error, 1, 0},
    {"STATUS", method_status, 1, 0},
    {"SET_LOG", method_set_log, 1, 0},
    {"GET_LOG", method_get_log, 0, 1},
    {"RENAME_LOG", method_rename_log, 1, 0},
    {"APPEND_LOG", method_append_log, 1, 0},
    {"SET_SILENT", method_set_silent, 1, 0},
    {"GET_SILENT", method_get_silent, 0, 1},
    {"SET_SILENT_LOG", method_set_silent_log, 1, 0},
    {"GET_SILENT_LOG", method_get_silent_log, 0, 1},
    // The counts stand the other way about: a kept property of the listing.
    {"SET_LINE_SIZE", method_set_line_size, 0, 1},
};

} // namespace

void message_set_silent(bool silent) { state.silent = silent; }

void message_set_log(std::string_view name) {
    close_log();
    if (name.empty()) return;
    int32_t status;
    TEXTFILE_CREATE(&state.log_file, borrow(name), &status);
    if (status) {
        state.log_name.assign(name);
    } else {
        state.log_file = -1;
    }
}

void message_append_log(std::string_view name) {
    if (name == state.log_name.text()) return;
    close_log();
    state.log_name.assign(name);
    int32_t status;
    TEXTFILE_OPEN_APPEND(&state.log_file, state.log_name, &status);
    if (!status) state.log_file = -1;
}

void message_init() {
    // A later start finds the settings as the first one did. The files of the run
    // before are closed by now.
    state = Message_state();
    static bool done = false;
    if (!first_time(done)) return;
    int32_t status;
    CLASS_CREATE_CLASS_C("MESSAGE", "1.0.0", &status);
    for (const auto &m : METHODS)
        CLASS_CREATE_METHOD_C("MESSAGE", m.name, m.procedure, m.in_count, m.out_count, 'P', "", &status);
}

} // namespace qor

using namespace qor;

void MESSAGE_DISPLAY1_C(const char *text) { dispatch(Message_channel::DISPLAY, text); }
void MESSAGE_DISPLAY_S(STRNG text) { dispatch(Message_channel::DISPLAY, line_of(text).text()); }
void MESSAGE_DISPLAY_ERROR1_C(const char *text) { dispatch(Message_channel::ERROR, text); }
void MESSAGE_DISPLAY_ERROR_S(STRNG text) { dispatch(Message_channel::ERROR, line_of(text).text()); }
void MESSAGE_DISPLAY_STATUS1_C(const char *text) { dispatch(Message_channel::STATUS, text); }
void MESSAGE_DISPLAY_STATUS_S(STRNG text) { dispatch(Message_channel::STATUS, line_of(text).text()); }
void MESSAGE_ABORT1_C(const char *text) { abort_with(text); }
void MESSAGE_ABORT_S(STRNG text) { abort_with(line_of(text).text()); }

void MESSAGE_DISPLAY_F(const char *format_text, ...) {
    va_list arguments;
    va_start(arguments, format_text);
    const Strng text = format(format_text, arguments);
    va_end(arguments);
    dispatch(Message_channel::DISPLAY, text.text());
}

void MESSAGE_DISPLAY_ERROR_F(const char *format_text, ...) {
    va_list arguments;
    va_start(arguments, format_text);
    const Strng text = format(format_text, arguments);
    va_end(arguments);
    dispatch(Message_channel::ERROR, text.text());
}

void MESSAGE_ABORT_F(const char *format_text, ...) {
    va_list arguments;
    va_start(arguments, format_text);
    const Strng text = format(format_text, arguments);
    va_end(arguments);
    abort_with(text.text());
}

void MESSAGE_ABORT_P(const char *prefix, STRNG text, const char *suffix) {
    // The suffix is measured by the prefix: it may hold one byte more, and a
    // longer one is cut there. Texts in use rely on it.
    const std::string_view head(prefix);
    Strng line(head);
    line.append(view(text));
    line.append(std::string_view(suffix).substr(0, head.size() + 1));
    line.append('\n');
    abort_with(line.text());
}
