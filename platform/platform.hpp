// The operating system behind one small interface. A port supplies one source
// file that implements all of this; nothing else asks for the platform.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace qor::platform {

inline constexpr char LIBRARY_SUFFIX[] = ".so";
inline constexpr char SEPARATOR = '/';

// --- libraries ---------------------------------------------------------------

void *load_library(const std::string &name); // null on failure
void *find_symbol(void *library, const char *name);
bool unload_library(void *library);
std::string library_error(); // the platform's text for the last failure

// --- files -------------------------------------------------------------------

// Unbuffered handles; -1 is none. Children do not inherit them. A directory can
// not be opened, nor can a path that holds a zero byte.
enum class Open_mode { READ, CREATE, APPEND, READ_WRITE };
int open_file(const std::string &path, Open_mode mode);
// Whether the last open failed because too many handles are open.
bool out_of_handles();
// Whether opening for reading would work. Nothing is opened: looking at a pipe
// or a device must not take anything from it.
bool is_readable_file(const std::string &path);
int64_t read_file(int handle, void *bytes, size_t count);     // -1 on failure, 0 at the end
bool write_file(int handle, const void *bytes, size_t count); // all of it, or false
int64_t seek_file(int handle, int64_t offset, bool from_end); // the new position, -1 on failure
bool close_file(int handle);
bool remove_file(const std::string &path);

struct File_info {
    bool exists = false;
    bool is_directory = false;
    uint64_t size = 0;
    int64_t written = 0; // seconds since the epoch
    int64_t created = 0; // birth time, else the last status change
};
File_info file_info(const std::string &path);
bool is_same_file(const std::string &path, const std::string &other); // both exist and are one
// Names in the pattern's directory that match its last component (* and ?),
// sorted bytewise, without the directory part. "." and ".." come when they match.
std::vector<std::string> find_files(const std::string &pattern);
bool make_directory(const std::string &path); // one level
// A new directory that only its owner may enter, under $TMPDIR or /tmp; empty
// on failure.
std::string make_private_directory();
bool remove_directory_tree(const std::string &path);

std::string current_directory();
std::string executable_path();

// The last failure of a call of this layer, as a text.
std::string last_error();

// --- process ---------------------------------------------------------------------

// Fills the places of the standard streams that the caller closed, so that no
// file that is opened later lands there and receives the program's output.
void reserve_standard_handles();
// Runs a procedure when a closed pipe ends the program, which then ends as a
// closed pipe ends it.
void on_broken_pipe(void (*procedure)());

// --- time ----------------------------------------------------------------------

struct Calendar {
    int year, month, day, hour, minute, second;
};
Calendar local_time(int64_t seconds);

} // namespace qor::platform
