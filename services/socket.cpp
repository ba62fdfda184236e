#include "services/socket.hpp"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <memory>
#include <vector>

#include "kernel/lifecycle.hpp"
#include "object/class.hpp"
#include "platform/platform.hpp"
#include "qor/blob.h"
#include "qor/btyp.h"
#include "qor/msg.h"
#include "services/arguments.hpp"

namespace qor {

namespace {

constexpr int32_t MAX_OPEN_SOCKETS = 255;
constexpr size_t READLN_MAX = 100000;
constexpr size_t READ_AHEAD = 65536;
constexpr size_t KEPT_BYTES = 1 << 20; // of a blob's storage, for the next one
// A code by which another platform tells that the peer is gone.
constexpr size_t RESET_CODE = 10054;

struct Socket {
    int32_t server = 0;               // 1 would be a listening socket: nothing makes one
    int handle = -1;                  // -1 while the record is free
    std::unique_ptr<uint8_t[]> ahead; // received and not read yet: from next to end
    size_t next = 0;
    size_t end = 0;
};

Socket sockets[MAX_OPEN_SOCKETS];
MSG socket_msg = nullptr;
Strng work; // a line that is put together of several receives; the text of a method that writes

// --- records -------------------------------------------------------------------

void error(const char *operation, const char *text) {
    MSG_SET_PROC_C(socket_msg, operation);
    MSG_DISPLAY_ERROR2_C(socket_msg, text);
}

// Null after the abort of an id that is none, or after the error of a closed one.
Socket *record_of(int32_t id, const char *operation, const char *closed_text) {
    if (id >= 0 && id < MAX_OPEN_SOCKETS) return &sockets[id];
    if (id == -1) {
        error(operation, closed_text);
        return nullptr;
    }
    MSG_SET_PROC_C(socket_msg, operation);
    MSG_ABORT_F(socket_msg, "invalid socketid %d", id);
    return nullptr;
}

// Reading from a free record is not refused: the platform fails then.
Socket *readable(int32_t id, const char *operation) {
    Socket *s = record_of(id, operation, "attempt to read from a closed file");
    if (!s || !s->server) return s;
    error(operation, "attempt to read from a server socket");
    return nullptr;
}

const Socket *writable(int32_t id, const char *operation) {
    constexpr const char *CLOSED = "attempt to write a closed socket";
    const Socket *s = record_of(id, operation, CLOSED);
    if (!s || (s->handle >= 0 && !s->server)) return s;
    error(operation, s->server ? "attempt to write to a server socket" : CLOSED);
    return nullptr;
}

void close_record(Socket &s) {
    if (s.handle >= 0) platform::close_socket(s.handle);
    s = Socket{};
}

void table_is_full(const char *operation) {
    MESSAGE_DISPLAY1_C("###################################\n");
    MESSAGE_DISPLAY_F("MAX_OPEN_SOCKETS   =%d\n", MAX_OPEN_SOCKETS);
    for (int32_t id = 0; id < MAX_OPEN_SOCKETS; ++id)
        MESSAGE_DISPLAY_F("%d: s=%d server=%d\n", id, sockets[id].handle, sockets[id].server);
    MSG_SET_PROC_C(socket_msg, operation);
    const std::string limit = std::to_string(MAX_OPEN_SOCKETS);
    MSG_PABORT_C(socket_msg, "attempt to open more than ", borrow(limit), " sockets");
}

bool open_record(const char *operation, STRNG host, int32_t port, int32_t *id) {
    Socket *s = std::find_if(sockets, std::end(sockets), [](const Socket &each) { return each.handle < 0; });
    if (s == std::end(sockets)) {
        *id = -1;
        table_is_full(operation);
        return false;
    }
    *id = static_cast<int32_t>(s - sockets);
    if (port < 0 || port > UINT16_MAX) return false;
    std::fflush(stdout);
    const int handle = platform::connect_socket(std::string(view(host)), static_cast<uint16_t>(port));
    if (handle < 0) return false;
    *s = Socket{};
    s->handle = handle;
    return true;
}

void close_by_id(int32_t id, const char *operation) {
    if (Socket *s = record_of(id, operation, "attempt to close a closed socket")) close_record(*s);
}

// --- reading ---------------------------------------------------------------------

// As the platform's. Who waits for a peer sees what was shown so far.
int64_t receive(const Socket &s, uint8_t *bytes, size_t count) {
    std::fflush(stdout);
    return platform::receive(s.handle, bytes, count);
}

// Waits for bytes when none are left; as receive.
int64_t fill(Socket &s) {
    if (s.next != s.end) return static_cast<int64_t>(s.end - s.next);
    if (!s.ahead) s.ahead = std::make_unique_for_overwrite<uint8_t[]>(READ_AHEAD);
    const int64_t n = receive(s, s.ahead.get(), READ_AHEAD);
    s.next = 0;
    s.end = n > 0 ? static_cast<size_t>(n) : 0;
    return n;
}

// What was read ahead first, the rest without a detour.
int64_t take(Socket &s, uint8_t *bytes, size_t count) {
    if (s.next == s.end) return receive(s, bytes, count);
    const size_t n = std::min(count, s.end - s.next);
    std::memcpy(bytes, &s.ahead[s.next], n);
    s.next += n;
    return static_cast<int64_t>(n);
}

// False at the end of the stream alone. A platform error counts as a zero byte
// that was received: kept, the status has never told more than the end.
bool read_byte(Socket &s, uint8_t *byte) {
    const int64_t n = fill(s);
    *byte = n > 0 ? s.ahead[s.next++] : 0;
    return n != 0;
}

// The line is valid until the next read.
bool read_line(Socket &s, std::string_view *line) {
    work.clear();
    while (fill(s) > 0) {
        const char *begin = reinterpret_cast<const char *>(&s.ahead[s.next]);
        const size_t room = READLN_MAX - work.text().size();
        const size_t n = std::min(s.end - s.next, room);
        const auto *line_feed = static_cast<const char *>(std::memchr(begin, '\n', n));
        const std::string_view part(begin, line_feed ? static_cast<size_t>(line_feed - begin) : n);
        s.next += part.size() + (line_feed ? 1 : 0);
        if (line_feed && work.empty()) {
            *line = c_text(part);
            return true;
        }
        if (!line_feed && n == room) return false;
        work.append(part);
        if (line_feed) break;
    }
    *line = c_text(work.text());
    return !work.empty();
}

// Exactly so many bytes. Storage grows as they come: the size is the script's
// word, and the peer may send less.
bool read_bytes(Socket &s, size_t size, std::vector<uint8_t> &bytes) {
    size_t total = 0;
    while (total < size) {
        if (total == bytes.size()) bytes.resize(std::min(size, std::max(2 * total, READ_AHEAD)));
        const int64_t n = take(s, &bytes[total], std::min(bytes.size(), size) - total);
        // A blob of just this size can not be read: kept, the code has always been
        // held against the size instead of against what was received.
        if (n <= 0 || size == RESET_CODE) return false;
        total += static_cast<size_t>(n);
    }
    return true;
}

// --- writing ---------------------------------------------------------------------

void put(int32_t id, const char *operation, std::string_view bytes) {
    if (const Socket *s = writable(id, operation)) platform::send_all(s->handle, bytes.data(), bytes.size());
}

void put_byte(int32_t id, const char *operation, uint8_t byte) {
    put(id, operation, {reinterpret_cast<const char *>(&byte), 1});
}

void put_line(int32_t id, const char *operation, std::string_view text) {
    work.assign(c_text(text));
    work.append('\n');
    put(id, operation, work.text());
}

} // namespace

// --- operations --------------------------------------------------------------------

void SOCKET_CONNECT(int32_t *id, STRNG host, int32_t port, int32_t *status) {
    *status = open_record("CONNECT", host, port, id);
}

void SOCKET_DISCONNECT(int32_t *id) {
    close_by_id(*id, "DISCONNECT");
    *id = -1;
}

void SOCKET_GET_BYTE(const int32_t *id, uint8_t *byte, int32_t *status) {
    Socket *s = readable(*id, "GET_BYTE");
    *status = s && read_byte(*s, byte);
}

void SOCKET_GET_LINE(const int32_t *id, STRNG *line, int32_t *status) {
    Socket *s = readable(*id, "GET_LINE");
    std::string_view text;
    *status = s && read_line(*s, &text);
    if (*status) strng_assign(line, text);
}

void SOCKET_PUT_BYTE(const int32_t *id, uint8_t byte) { put_byte(*id, "PUT_BYTE", byte); }
void SOCKET_PUT_C(const int32_t *id, const char *text) { put(*id, "PUT_C", text); }
void SOCKET_PUT_STRING(const int32_t *id, STRNG text) { put(*id, "PUT_STRING", c_text(view(text))); }
void SOCKET_PUT_LINE(const int32_t *id, STRNG text) { put_line(*id, "PUT_LINE", view(text)); }
void socket_put(const int32_t *id, std::string_view bytes) { put(*id, "PUT", bytes); }

// --- class SOCKET --------------------------------------------------------------------

namespace {

void method_open() {
    const int32_t port = pop_int();
    QORCPU_POPS(&work);
    int32_t id;
    const bool open = open_record("OPEN", work, port, &id);
    if (open) QORCPU_PUSHI(id);
    QORCPU_PUSHB(open);
}

void method_close() { close_by_id(pop_int(), "CLOSE"); }

void method_read_byte() {
    Socket *s = readable(pop_int(), "READ_BYTE");
    uint8_t byte;
    const bool found = s && read_byte(*s, &byte);
    if (found) QORCPU_PUSHI(byte);
    QORCPU_PUSHB(found);
}

void method_read_blob() {
    static std::vector<uint8_t> bytes;
    const auto size = static_cast<uint32_t>(std::max(pop_int(), 0));
    Socket *s = readable(pop_int(), "READ_BLOB");
    const bool found = s && read_bytes(*s, size, bytes);
    if (found) {
        QOR_BLOB *blob;
        BLOB_CREATE(&blob, bytes.data(), size);
        Object_var object;
        BTYP_create_blob_ref(&object, blob);
        QORCPU_PUSH_OBJ_REF(object);
    }
    QORCPU_PUSHB(found);
    if (bytes.size() > KEPT_BYTES) bytes = {};
}

void method_readln_string() {
    Socket *s = readable(pop_int(), "READLN_STRING");
    std::string_view line;
    const bool found = s && read_line(*s, &line);
    if (found) QORCPU_PUSHS(borrow(line));
    QORCPU_PUSHB(found);
}

void method_write_byte() {
    const auto byte = static_cast<uint8_t>(pop_int());
    put_byte(pop_int(), "WRITE_BYTE", byte);
}

void method_write_string() {
    QORCPU_POPS(&work);
    put(pop_int(), "WRITE_STRING", c_text(work.text()));
}

void method_writeln_string() {
    QORCPU_POPS(&work);
    put_line(pop_int(), "WRITELN_STRING", work.text());
}

// The texts promise a status that the writing methods do not push: scripts know.
constexpr Native_method METHODS[] = {
    {"OPEN", method_open, 2, 2, 'P', "[s address,i port][i socket,b status]"},
    {"CLOSE", method_close, 1, 0, 'P', "[i socket][]"},
    {"READ_BYTE", method_read_byte, 1, 2, 'P', "[i socket][i byte,b status]"},
    {"READ_BLOB", method_read_blob, 1, 2, 'P', "[i socket,i size][blob blob,b status]"},
    {"READLN_STRING", method_readln_string, 1, 2, 'P', "[i socket][s string,b status]"},
    {"WRITE_BYTE", method_write_byte, 2, 1, 'P', "[i socket,i byte][b status]"},
    {"WRITE_STRING", method_write_string, 2, 1, 'P', "[i socket,s string][b status]"},
    {"WRITELN_STRING", method_writeln_string, 2, 1, 'P', "[i socket,s string][b status]"},
};

} // namespace

void socket_init() {
    static bool done = false;
    if (!first_time(done)) return;
    MSG_CREATE_C(&socket_msg, "SOCKET", 0);
    int32_t status;
    CLASS_CREATE_CLASS_C("SOCKET", "1.0.0", &status);
    register_methods("SOCKET", METHODS);
}

void socket_terminate() {
    for (Socket &s : sockets) close_record(s);
    work = Strng();
}

} // namespace qor
