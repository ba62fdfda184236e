// Class TEXTFILE. In all methods that end in a status, what stands before it is
// pushed only on success: a failed call leaves the status alone.

#include <cmath>

#include "object/class.hpp"
#include "platform/platform.hpp"
#include "services/arguments.hpp"
#include "services/qorio.hpp"
#include "services/textfile.hpp"
#include "services/textfile_table.hpp"

namespace qor {

namespace {

Strng work; // the text of the method that writes

void push_new(QOR_OBJECT *object) { QORCPU_PUSH_OBJ_REF(object); }

// --- opening and closing -------------------------------------------------------

// Whether the name, as it is written, is open in the mode that forbids the call.
const Text_file *find_conflict(const std::string &name, File_mode mode) {
    for (const Text_file &file : text_files) {
        if (file.io_id >= 0 && file.mode == mode && file.file_name == name) return &file;
    }
    return nullptr;
}

void refuse(const char *operation, const std::string &name, const std::string &why) {
    MSG_SET_PROC_C(textfile_msg, operation);
    MSG_PABORT_C(textfile_msg, "file ", borrow(name), why.c_str());
}

void open_and_push(Open_kind kind, const char *operation, const std::string &name) {
    int32_t id;
    const int32_t status = textfile_open_or_abort(kind, operation, borrow(name), &id);
    if (status) QORCPU_PUSHI(id);
    QORCPU_PUSHB(status);
}

void method_open() {
    const std::string name = pop_text();
    if (const Text_file *open = find_conflict(name, File_mode::WRITE)) {
        return refuse("OPEN", name,
                      " is open for write operations " + std::to_string(open - text_files) + "." +
                          std::to_string(open->io_id));
    }
    open_and_push(Open_kind::READ, "OPEN", name);
}

void method_open_append() {
    const std::string name = pop_text();
    if (find_conflict(name, File_mode::READ)) return refuse("OPEN_APPEND", name, " is open for read operations");
    open_and_push(Open_kind::APPEND, "OPEN_APPEND", name);
}

void method_create() {
    const std::string name = pop_text();
    if (find_conflict(name, File_mode::READ)) return refuse("CREATE", name, " is already open");
    open_and_push(Open_kind::CREATE, "CREATE", name);
}

void method_close() {
    int32_t id = pop_int();
    TEXTFILE_CLOSE(&id);
}

void method_flush() {
    const int32_t id = pop_int();
    Text_file *file = textfile_row(id, "FLUSH");
    if (!file) return;
    if (file->io_id < 0) return textfile_misuse(*file, "FLUSH", "attempt to flush a closed file");
    textfile_flush(*file, "FLUSH");
}

// --- reading and writing ---------------------------------------------------------

// The hottest call of most scripts: from the file's buffer the line is copied
// once, into the string that is pushed.
void method_readln() {
    Text_file *file = textfile_readable(pop_int());
    if (!file) return;
    const bool found = textfile_read_line(*file);
    if (found) QORCPU_PUSHS(borrow(view(file->line)));
    QORCPU_PUSHB(found);
}

void method_read_byte() {
    Text_file *file = textfile_row(pop_int(), "READ_BYTE");
    if (!file) return;
    if (file->io_id < 0) return textfile_misuse(*file, "READ_BYTE", "attempt to read from a closed file (2)");
    if (file->mode == File_mode::WRITE) {
        return textfile_misuse(*file, "READ_BYTE", "attempt to read a write only file");
    }
    file->line = {nullptr, nullptr};
    uint8_t byte;
    const bool found = QORIO_READ(file->io_id, &byte) == 0;
    if (!found) {
        const std::string reason = qorio_read_failure(file->io_id);
        if (!reason.empty()) return textfile_report("READ_BYTE", "error reading file ", file->file_name, reason);
    }
    if (found) QORCPU_PUSHI(byte);
    QORCPU_PUSHB(found);
}

void method_write() {
    QORCPU_POPS(&work);
    const int32_t id = pop_int();
    TEXTFILE_WRITE(&id, work);
}

// The usual case, a file that may be written: the text goes from the stack to
// the file's buffer. Nothing is shown on the way.
bool write_top_line() {
    int32_t id;
    std::string_view text;
    if (!qorcpu_peek_int_and_text(&id, &text) || id < 0 || id >= MAX_OPEN_FILES) return false;
    const Text_file &file = text_files[id];
    if (file.io_id < 0 || file.mode != File_mode::WRITE) return false;
    QORIO_WRITE_LINE(file.io_id, text);
    qorcpu_drop_int_and_text();
    return true;
}

void method_writeln() {
    if (write_top_line()) return;
    QORCPU_POPS(&work);
    const int32_t id = pop_int();
    TEXTFILE_WRITELN(&id, work);
}

void method_write_object() {
    const Object_var object = pop_object();
    const int32_t id = pop_int();
    if (object) TEXTFILE_WRITE_OBJECT(&id, object);
}

void method_read_object() {
    const int32_t id = pop_int();
    Object_var object;
    int32_t status;
    TEXTFILE_READ_OBJECT(&id, &object, &status);
    if (status) push_new(object);
    QORCPU_PUSHB(status);
}

void method_set_pos() {
    Object_var object;
    QORCPU_POP_OBJ(&object);
    int64_t position;
    BTYP_read_long(object, &position);
    const Text_file *file = textfile_row(pop_int(), "SET_POS");
    if (file) QORCPU_PUSHB(qorio_set_position(file->io_id, static_cast<uint64_t>(position)));
}

void method_get_pos() {
    const Text_file *file = textfile_row(pop_int(), "GET_POS");
    if (!file) return;
    uint64_t position;
    const bool found = qorio_get_position(file->io_id, &position);
    if (found) {
        Object_var object;
        BTYP_create_long(&object, static_cast<int64_t>(position));
        push_new(object);
    }
    QORCPU_PUSHB(found);
}

// --- files by name -----------------------------------------------------------------

void method_exists() { QORCPU_PUSHB(platform::is_readable_file(pop_text())); }
void method_remove() { QORCPU_PUSHB(platform::remove_file(pop_text())); }

void method_get_files() {
    const std::string pattern = pop_text();
    Object_var list;
    BTYP_create_list(&list);
    for (const std::string &name : platform::find_files(pattern)) {
        Object_var element;
        BTYP_create_string(&element, borrow(name));
        BTYP_append_to_list(list, element);
    }
    push_new(list);
}

// The name is a pattern: what it finds first decides.
void method_is_directory() {
    std::string name = pop_text();
    while (name.size() > 1 && name.ends_with(platform::SEPARATOR)) name.pop_back();
    const size_t last = name.rfind(platform::SEPARATOR) + 1;
    if (name.find_first_of("*?", last) != name.npos) {
        const std::vector<std::string> found = platform::find_files(name);
        name = found.empty() ? "" : name.substr(0, last) + found.front();
    }
    QORCPU_PUSHB(platform::file_info(name).is_directory);
}

// Rounded up, so that a file of one byte has the size 1 in any unit; -1 when
// there is none.
void push_size(const std::string &name, std::string_view units) {
    const platform::File_info info = platform::file_info(name);
    if (!info.exists) return QORCPU_PUSHI(-1);
    const double divisor = units == "KB" ? 1024 : units == "MB" ? 1048576 : 1;
    const double size = std::ceil(static_cast<double>(info.size) / divisor);
    QORCPU_PUSHI(size < INT32_MAX ? static_cast<int32_t>(size) : INT32_MAX);
}

void method_get_filesize() { push_size(pop_text(), "B"); }

void method_get_filesize2() {
    const std::string units = pop_text();
    push_size(pop_text(), units);
}

// The time as HHMMSS first, then the date as YYYYMMDD; both -1 without a file.
void push_date(const platform::File_info &info, int64_t seconds) {
    if (!info.exists) {
        QORCPU_PUSHI(-1);
        QORCPU_PUSHI(-1);
        return;
    }
    const platform::Calendar c = platform::local_time(seconds);
    QORCPU_PUSHI(c.hour * 10000 + c.minute * 100 + c.second);
    QORCPU_PUSHI(c.year * 10000 + c.month * 100 + c.day);
}

void method_get_filedate() {
    const platform::File_info info = platform::file_info(pop_text());
    push_date(info, info.written);
}

void method_get_filecreatedate() {
    const platform::File_info info = platform::file_info(pop_text());
    push_date(info, info.created);
}

// Files have no hidden attribute here: the file stays as it is.
void method_set_hidden() { pop_text(); }

constexpr Native_method METHODS[] = {
    {"OPEN", method_open, 1, 2, 'P', "[s file][i fileid,b status]"},
    {"OPEN_APPEND", method_open_append, 1, 2, 'P', "[s file][i fileid,b status]"},
    {"EXISTS", method_exists, 1, 1, 'P', "[s file][b status]"},
    {"CREATE", method_create, 1, 2, 'P', "[s file][i fileid,b status]"},
    {"REMOVE", method_remove, 1, 1, 'P', "[s file][b status]"},
    {"CLOSE", method_close, 1, 0, 'P', "[i fileid][]"},
    {"FLUSH", method_flush, 1, 0, 'P', "[i fileid][]"},
    {"READLN", method_readln, 1, 2, 'P', "[i fileid][s line,b status]"},
    {"WRITE", method_write, 2, 0, 'P', "[i fileid,s line][]"},
    {"WRITELN", method_writeln, 2, 0, 'P', "[i fileid,s line][]"},
    {"WRITE_OBJECT", method_write_object, 2, 0, 'P', "[i fileid,o obj][]"},
    {"READ_OBJECT", method_read_object, 1, 2, 'P', "[i fileid][o obj,b status]"},
    {"GET_FILES", method_get_files, 1, 1, 'P', "[s searchpattern][li namelist]"},
    {"IS_DIRECTORY", method_is_directory, 1, 1, 'P', "[s file][b status]"},
    {"GET_FILESIZE", method_get_filesize, 1, 1, 'P', "[s file][i size]"},
    {"GET_FILESIZE2", method_get_filesize2, 2, 1, 'P', "[s file, s units][i size]"},
    {"GET_FILEDATE", method_get_filedate, 1, 2, 'P', "[s file][i time, i date]"},
    {"GET_FILECREATEDATE", method_get_filecreatedate, 1, 2, 'P', "[s file][i time, i date]"},
    {"SET_HIDDEN", method_set_hidden, 1, 0, 'P', "[s file][]"},
    {"SET_POS", method_set_pos, 2, 1, 'P', "[i fileid,i pos][b state]"},
    {"GET_POS", method_get_pos, 1, 2, 'P', "[i fileid][i pos,b state]"},
    {"READ_BYTE", method_read_byte, 1, 2, 'P', "[i fileid][i byte,b status]"},
};

} // namespace

void register_textfile_methods() {
    int32_t status;
    CLASS_CREATE_CLASS_C("TEXTFILE", "1.0.0", &status);
    register_methods("TEXTFILE", METHODS);
}

} // namespace qor
