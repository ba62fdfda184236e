// The table of text files, shared by the sources of the module TEXTFILE.
#pragma once

#include <string>

#include "kernel/strng.hpp"
#include "qor/msg.h"

namespace qor {

inline constexpr int32_t MAX_OPEN_FILES = 1024;

enum class File_mode { WRITE, READ };

struct Text_file {
    File_mode mode = File_mode::WRITE;
    int32_t io_id = -1; // -1 while the row is free
    // The last line read. It lies in the file's buffer when the file is only
    // read; otherwise, or when it did not fit there, in read_buffer.
    STRNG_CURSOR line = {nullptr, nullptr};
    Strng read_buffer;
    uint32_t lines_read = 0;
    bool loss_told = false; // that bytes written to the file were lost
    std::string file_name;  // as the caller gave it: the file's identity
    int32_t last = 0;       // -1 from the first open on; only shown
    int32_t includer = -1;  // the file whose |INCL line opened this one
};

extern Text_file text_files[MAX_OPEN_FILES];
extern MSG textfile_msg;

// The names of the operations for the channel are set when there is something
// to show, and not in each of millions of calls.

// The row of an id; null after the abort "invalid fileid".
Text_file *textfile_row(int32_t id, const char *operation);
// Shows the row and aborts.
void textfile_misuse(const Text_file &file, const char *operation, const char *text);
// "what NAME: REASON": an abort, or outside of a run a message alone.
void textfile_report(const char *operation, const char *what, const std::string &name, const std::string &reason);

// The rows that an operation may work on; null after an abort.
Text_file *textfile_readable(int32_t id);
Text_file *textfile_writable(int32_t id, const char *operation, const char *read_only_text);

enum class Open_kind { READ, CREATE, APPEND };
enum class Open_result { OPEN, FAILED, TABLE_FULL };
// Takes the first free row. Without success the id becomes -1.
Open_result textfile_open(Open_kind kind, std::string_view name, int32_t *id);
// As the exported operations: a full table aborts after a display of all rows.
int32_t textfile_open_or_abort(Open_kind kind, const char *operation, STRNG name, int32_t *id);

// Reads into file.line; false at the end.
bool textfile_read_line(Text_file &file);
// Flushes; bytes that were lost are reported once.
void textfile_flush(Text_file &file, const char *operation);

void register_textfile_methods();

} // namespace qor
