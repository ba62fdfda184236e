// RECEIVE_FILE: the file that a web client sends, on the standard input.
#include <cstdio>
#include <string>

#include "machine/methods/methods.hpp"
#include "services/qorio.hpp"

namespace qor {

namespace {

constexpr size_t BLOCK = 65536;

// The stream's own buffer is used: it is filled with what is there, never waiting
// for more as a block of a fixed size would, and what stands behind an upload
// remains for the next one.

// Up to the first line that holds nothing but white space.
void skip_header() {
    bool empty = true;
    for (int c; (c = std::getc(stdin)) != EOF;) {
        if (c == '\n') {
            if (empty) return;
            empty = true;
        } else if (c != '\r' && c != ' ' && c != '\t') {
            empty = false;
        }
    }
}

// The body ends at the first run of three dashes, whatever that is part of: a
// kept property. It is meant for the begin of the closing boundary, and the
// line end before that belongs to the file. Without such a run all of it is taken.
bool copy_body(int32_t file) {
    std::string block;
    bool written = true;
    int dashes = 0;
    for (int c; dashes < 3 && (c = std::getc(stdin)) != EOF;) {
        if (c == '-') {
            ++dashes;
            continue;
        }
        block.append(static_cast<size_t>(dashes), '-');
        block += static_cast<char>(c);
        dashes = 0;
        if (block.size() < BLOCK) continue;
        written &= QORIO_WRITE_BINARY(file, block.data(), static_cast<uint32_t>(block.size())) == 0;
        block.clear();
    }
    if (dashes < 3) block.append(static_cast<size_t>(dashes), '-');
    written &= QORIO_WRITE_BINARY(file, block.data(), static_cast<uint32_t>(block.size())) == 0;
    return written && !std::ferror(stdin);
}

void receive_file() {
    Strng name;
    QORCPU_POPS(&name);
    skip_header();
    int32_t file;
    if (QORIO_CREATE_BINARY_C(&file, name.c_str()) != 0) {
        qorcpu_push_boolean(false);
        return;
    }
    const bool copied = copy_body(file);
    const bool closed = QORIO_CLOSE(&file) == 0;
    qorcpu_push_boolean(copied && closed);
}

constexpr Native_method METHODS[] = {
    {"RECEIVE_FILE", receive_file, 1, 1, 'P', "[s fname][b status]"},
};

} // namespace

void register_upload_methods() { register_methods("QOR", METHODS); }

} // namespace qor
