#include "services/textfile.hpp"

#include "kernel/exit.hpp"
#include "kernel/lifecycle.hpp"
#include "object/odb.hpp"
#include "platform/platform.hpp"
#include "qor/btyp.h"
#include "services/qorio.hpp"
#include "services/textfile_table.hpp"

namespace qor {

Text_file text_files[MAX_OPEN_FILES];
MSG textfile_msg = nullptr;

namespace {

int32_t id_of(const Text_file &file) { return static_cast<int32_t>(&file - text_files); }

void show_row(const Text_file &file) {
    const std::string_view line = view(file.line);
    MESSAGE_DISPLAY_F("fid=%d, f=%d, fname=%s, read=%u, last=%d, rbuf=%.*s\n", id_of(file), file.io_id,
                      file.file_name.c_str(), file.lines_read, file.last, static_cast<int>(line.size()),
                      line.empty() ? "" : line.data());
}

int32_t open_io(Open_kind kind, std::string_view name, int32_t *io_id) {
    const auto length = static_cast<uint32_t>(name.size());
    switch (kind) {
    case Open_kind::READ: return QORIO_OPEN(io_id, name.data(), length);
    case Open_kind::CREATE: return QORIO_CREATE(io_id, name.data(), length);
    case Open_kind::APPEND: return QORIO_OPEN_APPEND(io_id, name.data(), length);
    }
    return 1;
}

constexpr char WRITE_ERROR[] = "error writing file ";

void close_row(Text_file &file) {
    const bool tell = file.mode == File_mode::WRITE && !file.loss_told;
    std::string reason;
    qorio_close(&file.io_id, &reason); // the id becomes -1
    file.read_buffer = Strng();
    file.line = {nullptr, nullptr};
    if (tell && !reason.empty()) textfile_report("CLOSE", WRITE_ERROR, file.file_name, reason);
}

} // namespace

Text_file *textfile_row(int32_t id, const char *operation) {
    if (id >= 0 && id < MAX_OPEN_FILES) [[likely]]
        return &text_files[id];
    MSG_SET_PROC_C(textfile_msg, operation);
    MSG_ABORT_F(textfile_msg, "invalid fileid %d", id);
    return nullptr;
}

void textfile_misuse(const Text_file &file, const char *operation, const char *text) {
    show_row(file);
    MSG_SET_PROC_C(textfile_msg, operation);
    MSG_ABORT2_C(textfile_msg, text);
}

void textfile_report(const char *operation, const char *what, const std::string &name, const std::string &reason) {
    const std::string suffix = ": " + reason;
    MSG_SET_PROC_C(textfile_msg, operation);
    if (qorproc_phase <= QORPROC_PHASE_RUN) {
        MSG_PABORT_C(textfile_msg, what, borrow(name), suffix.c_str());
    } else {
        MSG_DISPLAY_PERROR_C(textfile_msg, what, borrow(name), suffix.c_str());
    }
}

Text_file *textfile_readable(int32_t id) {
    Text_file *file = textfile_row(id, "READLN");
    if (!file || file->io_id >= 0) [[likely]]
        return file;
    textfile_misuse(*file, "READLN", "attempt to read from a closed file (1)");
    return nullptr;
}

Text_file *textfile_writable(int32_t id, const char *operation, const char *read_only_text) {
    Text_file *file = textfile_row(id, operation);
    if (!file) return nullptr;
    const char *misuse = file->io_id < 0                 ? "attempt to write a closed file"
                         : file->mode == File_mode::READ ? read_only_text
                                                         : nullptr;
    if (!misuse) [[likely]]
        return file;
    textfile_misuse(*file, operation, misuse);
    return nullptr;
}

Open_result textfile_open(Open_kind kind, std::string_view name, int32_t *id) {
    *id = -1;
    for (Text_file &file : text_files) {
        if (file.io_id >= 0) continue;
        int32_t io_id;
        if (open_io(kind, name, &io_id) != 0) return Open_result::FAILED;
        file.mode = kind == Open_kind::READ ? File_mode::READ : File_mode::WRITE;
        file.io_id = io_id;
        file.line = {nullptr, nullptr};
        file.lines_read = 0;
        file.file_name = name;
        file.last = -1;
        file.includer = -1;
        file.loss_told = false;
        *id = id_of(file);
        return Open_result::OPEN;
    }
    return Open_result::TABLE_FULL;
}

int32_t textfile_open_or_abort(Open_kind kind, const char *operation, STRNG name, int32_t *id) {
    const Open_result result = textfile_open(kind, view(name), id);
    if (result != Open_result::TABLE_FULL) return result == Open_result::OPEN;
    MESSAGE_DISPLAY1_C("###################################\n");
    MESSAGE_DISPLAY_F("MAX_OPEN_FILES   =%d\n", MAX_OPEN_FILES);
    for (const Text_file &file : text_files) show_row(file);
    MSG_SET_PROC_C(textfile_msg, operation);
    const std::string limit = std::to_string(MAX_OPEN_FILES);
    MSG_PABORT_C(textfile_msg, "attempt to open more than ", borrow(limit), " files");
    return 0;
}

bool textfile_read_line(Text_file &file) {
    const Line_result result = qorio_read_line(file.io_id, &file.line, &file.read_buffer);
    if (result == Line_result::LINE) [[likely]] {
        // A write to the file would change a line that lies in its buffer.
        if (file.mode == File_mode::WRITE && file.line.next != file.read_buffer.get().data) {
            file.read_buffer.assign(view(file.line));
            const STRNG s = file.read_buffer;
            file.line = {s.data, s.data + s.length};
        }
        ++file.lines_read;
        return true;
    }
    file.line = {nullptr, nullptr};
    if (result == Line_result::END) return false;
    textfile_report("READLN", "error reading file ", file.file_name,
                    result == Line_result::TOO_LONG ? "line too long" : qorio_read_failure(file.io_id));
    return false;
}

void textfile_flush(Text_file &file, const char *operation) {
    std::string reason;
    if (qorio_flush(file.io_id, &reason) || file.mode == File_mode::READ || file.loss_told) return;
    file.loss_told = true;
    textfile_report(operation, WRITE_ERROR, file.file_name, reason);
}

void textfile_flush_all() {
    // Reporting may leave: what can be saved is saved first.
    std::string reason;
    for (const Text_file &file : text_files) {
        if (file.io_id >= 0) qorio_flush(file.io_id, &reason);
    }
    for (Text_file &file : text_files) {
        if (file.io_id >= 0) textfile_flush(file, "FLUSH");
    }
}

bool textfile_is_written(int32_t file, std::string_view name) {
    if (file < 0 || file >= MAX_OPEN_FILES) return false;
    const Text_file &row = text_files[file];
    return row.io_id >= 0 && row.mode == File_mode::WRITE && row.file_name == name;
}

bool textfile_get_position(int32_t file, uint64_t *position) {
    return file >= 0 && file < MAX_OPEN_FILES && qorio_get_position(text_files[file].io_id, position);
}

bool textfile_set_position(int32_t file, uint64_t position) {
    return file >= 0 && file < MAX_OPEN_FILES && qorio_set_position(text_files[file].io_id, position);
}

bool textfile_flushed(int32_t file) {
    std::string reason;
    return file >= 0 && file < MAX_OPEN_FILES && qorio_flush(text_files[file].io_id, &reason);
}

void textfile_show(int32_t file) { show_row(text_files[file]); }

void TEXTFILE_OPEN_APPEND(int32_t *file, STRNG name, int32_t *status) {
    *status = textfile_open_or_abort(Open_kind::APPEND, "OPEN_APPEND", name, file);
}

void textfile_init() {
    static bool done = false;
    if (!first_time(done)) return;
    MSG_CREATE_C(&textfile_msg, "TEXTFILE", 0);
    register_textfile_methods();
}

void textfile_terminate() {
    for (Text_file &file : text_files) {
        if (file.io_id >= 0) close_row(file);
    }
    // A later start includes anew.
    while (!BTYP_list_is_empty(textfile_include_list())) BTYP_remove_first(textfile_include_list());
}

} // namespace qor

using namespace qor;

void TEXTFILE_CREATE(int32_t *file, STRNG name, int32_t *status) {
    *status = textfile_open_or_abort(Open_kind::CREATE, "CREATE", name, file);
}

void TEXTFILE_OPEN(int32_t *file, STRNG name, int32_t *status) {
    *status = textfile_open_or_abort(Open_kind::READ, "OPEN", name, file);
}

void TEXTFILE_REMOVE(STRNG name, int32_t *status) { *status = platform::remove_file(std::string(view(name))); }

void TEXTFILE_CLOSE(int32_t *file) {
    if (*file == -1) return;
    Text_file *row = textfile_row(*file, "CLOSE");
    if (!row || row->io_id < 0) return;
    *file = -1;
    close_row(*row);
}

// A loss is not told here but by the script's own flush or the close: the log is
// flushed after each message, and telling is one.
void TEXTFILE_FLUSH(const int32_t *file) {
    const Text_file *row = textfile_row(*file, "FLUSH");
    if (!row) return;
    if (row->io_id < 0) {
        textfile_misuse(*row, "FLUSH", "attempt to flush a closed file");
        return;
    }
    std::string reason;
    qorio_flush(row->io_id, &reason);
}

void TEXTFILE_READLN(const int32_t *file, STRNG_CURSOR *line, int32_t *status) {
    *status = 0;
    Text_file *row = textfile_readable(*file);
    if (!row || !textfile_read_line(*row)) return;
    *line = row->line;
    *status = 1;
}

void TEXTFILE_WRITE(const int32_t *file, STRNG text) {
    const Text_file *row = textfile_writable(*file, "WRITE", "attempt to write a read only file");
    if (row && text.length > 0) qorio_write_text(row->io_id, view(text));
}

void TEXTFILE_WRITE_C(const int32_t *file, const char *text) { TEXTFILE_WRITE(file, borrow(text)); }

void TEXTFILE_WRITELN(const int32_t *file, STRNG text) {
    const Text_file *row = textfile_writable(*file, "WRITELN", "attempt to write to read only file");
    if (row) QORIO_WRITE_LINE(row->io_id, view(text));
}

void TEXTFILE_WRITELN_C(const int32_t *file, const char *text) { TEXTFILE_WRITELN(file, borrow(text)); }

void TEXTFILE_GET_POS(const int32_t *file, uint32_t *position, int32_t *status) {
    const Text_file *row = textfile_row(*file, "GET_POS");
    *status = row && QORIO_GET_POS(row->io_id, position) == 0;
}

void TEXTFILE_SET_POS(const int32_t *file, uint32_t position, int32_t *status) {
    const Text_file *row = textfile_row(*file, "SET_POS");
    *status = row && QORIO_SET_POS(row->io_id, position) == 0;
}

void TEXTFILE_INSERT(STRNG name, const int32_t *file, int32_t *status) {
    int32_t source;
    TEXTFILE_OPEN(&source, name, status);
    if (!*status) return;
    STRNG_CURSOR line;
    int32_t found;
    for (TEXTFILE_READLN(&source, &line, &found); found; TEXTFILE_READLN(&source, &line, &found)) {
        TEXTFILE_WRITELN(file, borrow(view(line)));
    }
    TEXTFILE_CLOSE(&source);
}

void TEXTFILE_GET_NAME(const int32_t *file, STRNG *name, uint32_t *lines) {
    const Text_file *row = textfile_row(*file, "GET_NAME");
    if (!row) return;
    strng_assign(name, row->file_name);
    *lines = row->lines_read;
}
