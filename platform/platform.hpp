// The operating system behind one small interface. A port supplies sources that
// implement all of this; nothing else asks for the platform.
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
bool remove_directory(const std::string &path); // an empty one
bool remove_directory_tree(const std::string &path);

std::string current_directory(); // empty when it does not exist any more
bool change_directory(const std::string &path);
std::string executable_path();

// The last failure of a call of this layer, as a text.
std::string last_error();

// --- sockets -------------------------------------------------------------------

// Blocking TCP connections over IPv4; -1 is none. Children do not inherit them,
// and a peer that is gone raises no signal.
int connect_socket(const std::string &host, uint16_t port);
int64_t receive(int socket, void *bytes, size_t count);     // waits for a first byte; 0 at the end, -1 on failure
bool send_all(int socket, const void *bytes, size_t count); // all of them, or false
void close_socket(int socket);

// --- process ---------------------------------------------------------------------

// Fills the places of the standard streams that the caller closed, so that no
// file that is opened later lands there and receives the program's output.
void reserve_standard_handles();
// Runs a procedure when a closed pipe ends the program, which then ends as a
// closed pipe ends it.
void on_broken_pipe(void (*procedure)());
// Removes a file and then its directory, when the directory is empty by then,
// should a signal from outside end the program. Ignored signals stay ignored.
void remove_when_killed(const std::string &directory, const std::string &file);
// Runs a program and waits for its end: its exit code, 128 + n when signal n
// ended it, -1 when it could not be started. The first word is the program, found
// through PATH. It has the standard streams, and signals as this program was
// started with them, but that a closed pipe ends it. While it runs, an interrupt
// from the terminal is for it alone.
int32_t run_program(const std::vector<std::string> &words);
int32_t run_command(const std::string &command); // the same, by the shell

// --- machine and user ----------------------------------------------------------

std::string system_version(); // major.minor
bool is_64_bit_machine();
std::string computer_name();
std::string user_name(); // empty when the user has none
// The language code of the user's locale as it stands there, "de" of
// "de_CH.UTF-8"; empty for the neutral locale.
std::string language_code();
bool random_bytes(void *bytes, size_t count);

// --- time ----------------------------------------------------------------------

struct Calendar {
    int year, month, day, hour, minute, second;
};
Calendar local_time(int64_t seconds);
// The seconds of a local time that is told in standard time, also in summer. The
// fields may lie outside of their ranges; a year's must fit into 31 bits.
int64_t seconds_of_standard_time(const Calendar &time);

} // namespace qor::platform
