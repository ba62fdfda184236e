#include "services/qorio.hpp"

#include <algorithm>

#include "kernel/lifecycle.hpp"
#include "object/class.hpp"
#include "platform/platform.hpp"
#include "qor/blob.h"
#include "qor/msg.h"
#include "services/arguments.hpp"

namespace qor {

namespace {

constexpr int32_t FILE_LIMIT = 1024;
// Platform handles open at once; what is beyond is parked.
constexpr uint32_t MAX_LIVE_HANDLES = 512;
constexpr uint32_t BUFFER_SIZE = 65536;

enum class Mode : uint8_t { R, W_PLUS, A, R_PLUS, RB, WB_PLUS, RB_PLUS };

struct Mode_row {
    platform::Open_mode open;
    bool reads, writes, text;
};

// ORDER MODE. Text modes fold CR LF to LF when reading.
constexpr Mode_row MODES[] = {
    {platform::Open_mode::READ, true, false, true},       // r
    {platform::Open_mode::CREATE, true, true, true},      // w+
    {platform::Open_mode::APPEND, false, true, true},     // a
    {platform::Open_mode::READ_WRITE, true, true, true},  // r+
    {platform::Open_mode::READ, true, false, false},      // rb
    {platform::Open_mode::CREATE, true, true, false},     // wb+
    {platform::Open_mode::READ_WRITE, true, true, false}, // rb+
};

// The buffer holds either bytes that were read, 0 to end, of which those from
// next on are still to be taken; or, when dirty, bytes 0 to next that wait to be
// written, and end is 0. In both the file's place is base + next: a raw offset,
// whatever was folded on the way.
struct Record {
    bool in_use = false;
    bool dirty = false;
    Mode mode = Mode::R; // of the latest platform open
    int handle = -1;     // -1 while parked
    uint32_t next = 0;
    uint32_t end = 0;
    // The first LF and CR at or behind next, end when there is none; below next:
    // not known. A buffer is searched once for a byte that it does not hold.
    int64_t line_feed = -1;
    int64_t carriage_return = -1;
    uint64_t base = 0;      // the file's offset of the buffer's first byte
    uint64_t handle_at = 0; // where the platform's handle stands
    uint64_t position = 0;  // the place of a parked file
    uint64_t open_stamp = 0;
    std::string name;
    std::string read_failure;
    std::string write_failure; // bytes were lost: nothing is written behind a gap
};

Record records[FILE_LIMIT];
// Static, so that no file competes for a buffer; the pages of one that was
// never used are never touched.
alignas(4096) uint8_t buffers[FILE_LIMIT][BUFFER_SIZE];

constexpr uint64_t NOWHERE = UINT64_MAX;

uint32_t live_handles = 0;
uint64_t open_counter = 0;
MSG qorio_msg = nullptr;

Record *find(int32_t id) {
    if (id < 0 || id >= FILE_LIMIT || !records[id].in_use) return nullptr;
    return &records[id];
}

uint8_t *buffer_of(const Record &r) { return buffers[&r - records]; }
const Mode_row &mode_of(const Record &r) { return MODES[static_cast<int>(r.mode)]; }
uint64_t place_of(const Record &r) { return r.handle < 0 ? r.position : r.base + r.next; }

void empty_buffer(Record &r) {
    r.next = r.end = 0;
    r.line_feed = r.carriage_return = -1;
    r.dirty = false;
}

bool seek(Record &r, uint64_t offset) {
    if (r.handle_at == offset) return true; // also on a pipe, which can not seek
    if (offset > INT64_MAX || platform::seek_file(r.handle, static_cast<int64_t>(offset), false) < 0) return false;
    r.handle_at = offset;
    return true;
}

// Writes at base and moves base behind it.
bool write_through(Record &r, const void *bytes, size_t count) {
    // A handle open for appending writes at the end, wherever it stands.
    if ((r.mode != Mode::A && !seek(r, r.base)) || !platform::write_file(r.handle, bytes, count)) {
        r.write_failure = platform::last_error();
        r.handle_at = NOWHERE;
        return false;
    }
    r.base += count;
    r.handle_at = r.base;
    return true;
}

// False when this or an earlier write was lost.
bool flush(Record &r) {
    if (r.dirty) {
        const uint32_t waiting = r.next;
        empty_buffer(r);
        write_through(r, buffer_of(r), waiting);
    }
    return r.write_failure.empty();
}

// The next bytes of a file whose buffer is used up; false at the end.
bool fill(Record &r) {
    r.base += r.end;
    empty_buffer(r);
    r.read_failure.clear();
    int64_t n = -1;
    if (seek(r, r.base)) n = platform::read_file(r.handle, buffer_of(r), BUFFER_SIZE);
    if (n < 0) r.read_failure = platform::last_error();
    if (n <= 0) return false;
    r.handle_at = r.base + static_cast<uint64_t>(n);
    r.end = static_cast<uint32_t>(n);
    return true;
}

bool close_handle(Record &r) {
    flush(r);
    const bool closed = platform::close_file(r.handle);
    if (!closed && r.write_failure.empty() && mode_of(r).writes) r.write_failure = platform::last_error();
    r.handle = -1;
    --live_handles;
    return closed;
}

// Files open for writing go first, by the age of the last open, not of the last
// use. False when no file has a handle.
bool park_one() {
    Record *victim = nullptr;
    for (Record &r : records) {
        if (r.handle < 0) continue;
        const bool better =
            !victim || ((r.mode == Mode::R) == (victim->mode == Mode::R) ? r.open_stamp < victim->open_stamp
                                                                         : victim->mode == Mode::R);
        if (better) victim = &r;
    }
    if (!victim) return false;
    victim->position = place_of(*victim);
    close_handle(*victim);
    return true;
}

// The one place that opens a file. A failure leaves the record as it is.
bool open_handle(Record &r, const std::string &path, Mode mode) {
    if (live_handles >= MAX_LIVE_HANDLES) park_one();
    const platform::Open_mode how = MODES[static_cast<int>(mode)].open;
    int handle = platform::open_file(path, how);
    // The platform may allow fewer.
    while (handle < 0 && platform::out_of_handles() && park_one()) handle = platform::open_file(path, how);
    if (handle < 0) return false;
    ++live_handles;
    r.in_use = true;
    r.handle = handle;
    r.mode = mode;
    r.open_stamp = open_counter++;
    r.base = r.handle_at = 0;
    empty_buffer(r);
    if (&path != &r.name) r.name = path;
    return true;
}

// Moves a live file to an offset.
bool move_to(Record &r, uint64_t offset) {
    flush(r);
    if (!seek(r, offset)) return false;
    empty_buffer(r);
    r.base = offset;
    return true;
}

bool prepare_read(Record &r) {
    if (!mode_of(r).reads) return false;
    return !r.dirty || flush(r);
}

// Reading brings a parked file back where it was.
Record *find_for_reading(int32_t id) {
    Record *r = find(id);
    if (!r) return nullptr;
    if (r->handle < 0 && (!open_handle(*r, r->name, Mode::R) || !move_to(*r, r->position))) {
        r->read_failure = platform::last_error();
        return nullptr;
    }
    return prepare_read(*r) ? r : nullptr;
}

bool prepare_write(Record &r) {
    if (!r.write_failure.empty()) return false;
    if (!mode_of(r).writes) {
        r.write_failure = "not open for writing";
        return false;
    }
    if (r.dirty) return true;
    r.base += r.next;
    empty_buffer(r);
    if (r.mode == Mode::A) {
        const int64_t end = platform::seek_file(r.handle, 0, true);
        if (end >= 0) r.base = static_cast<uint64_t>(end);
    }
    return true;
}

// Writing brings a parked text file back for appending.
Record *find_for_writing(int32_t id) {
    Record *r = find(id);
    if (!r) return nullptr;
    if (r->handle < 0 && !open_handle(*r, r->name, Mode::A)) {
        if (r->write_failure.empty()) r->write_failure = platform::last_error();
        return nullptr;
    }
    return prepare_write(*r) ? r : nullptr;
}

// Block operations bring a parked file back at its start: a kept property.
// Callers with that many files open set the position first.
Record *find_for_block(int32_t id) {
    Record *r = find(id);
    if (!r || (r->handle < 0 && !open_handle(*r, r->name, Mode::RB_PLUS))) return nullptr;
    return r;
}

bool write(Record &r, const void *bytes, size_t count) {
    if (count == 0) return true; // bytes may be null
    if (count > BUFFER_SIZE - r.next) {
        if (!flush(r)) return false;
        if (count >= BUFFER_SIZE) return write_through(r, bytes, count);
    }
    std::memcpy(buffer_of(r) + r.next, bytes, count);
    r.next += static_cast<uint32_t>(count);
    r.dirty = r.next > 0;
    return true;
}

bool read_byte(Record &r, uint8_t *byte) {
    if (r.next == r.end && !fill(r)) return false;
    const uint8_t *buffer = buffer_of(r);
    *byte = buffer[r.next++];
    if (*byte == '\r' && mode_of(r).text && (r.next < r.end || fill(r)) && buffer[r.next] == '\n')
        *byte = buffer[r.next++];
    return true;
}

bool read_block(Record &r, uint8_t *bytes, uint32_t count) {
    if (mode_of(r).text) {
        while (count > 0 && read_byte(r, bytes)) ++bytes, --count;
        return count == 0;
    }
    while (count > 0) {
        if (r.next == r.end && !fill(r)) return false;
        const uint32_t n = std::min(count, r.end - r.next);
        std::memcpy(bytes, buffer_of(r) + r.next, n);
        r.next += n;
        bytes += n;
        count -= n;
    }
    return true;
}

void find_next(const Record &r, char byte, int64_t *place) {
    if (*place >= r.next) return;
    const uint8_t *buffer = buffer_of(r);
    const void *found = std::memchr(buffer + r.next, byte, r.end - r.next);
    *place = found ? static_cast<const uint8_t *>(found) - buffer : r.end;
}

// The offset in the buffer of the first line end at or behind next, or end.
uint32_t find_line_end(Record &r) {
    find_next(r, '\n', &r.line_feed);
    find_next(r, '\r', &r.carriage_return);
    return static_cast<uint32_t>(std::min(r.line_feed, r.carriage_return));
}

int32_t open_new(int32_t *id, const std::string &name, Mode mode) {
    for (Record &r : records) {
        if (r.in_use) continue;
        if (!open_handle(r, name, mode)) return 1;
        *id = static_cast<int32_t>(&r - records);
        return 0;
    }
    return 1;
}

// --- class QORIO -------------------------------------------------------------------

void method_create_binary() {
    int32_t id;
    const bool created = open_new(&id, pop_text(), Mode::WB_PLUS) == 0;
    if (created) QORCPU_PUSHI(id);
    QORCPU_PUSHB(created);
}

void method_write_blob() {
    const Object_var object = pop_object();
    const int32_t id = pop_int();
    QOR_BLOB *blob = nullptr;
    BTYP_read_blob_ref(object, &blob);
    const uint8_t *bytes;
    BLOB_READ_BYTES_REF(blob, &bytes);
    uint32_t size;
    BLOB_SIZE(blob, &size);
    QORCPU_PUSHB(QORIO_WRITE_BINARY(id, bytes, size) == 0);
}

void method_close() {
    int32_t id = pop_int();
    const Record *r = find(id);
    if (!r) return;
    const std::string name = r->name;
    std::string reason;
    if (qorio_close(&id, &reason) || reason.empty()) return;
    MSG_SET_PROC_C(qorio_msg, "CLOSE");
    MSG_PABORT_C(qorio_msg, "error writing file ", borrow(name), (": " + reason).c_str());
}

// The counts and signature of CLOSE are those of CREATE_BINARY, though it takes
// an id and leaves nothing; WRITE_BLOB takes a blob and leaves a boolean. The
// help listing is kept as it is known.
constexpr Native_method METHODS[] = {
    {"CREATE_BINARY", method_create_binary, 1, 2, 'P', "[s file][i fileid,b status]"},
    {"WRITE_BLOB", method_write_blob, 2, 0, 'P', "[i fileid,s line][]"},
    {"CLOSE", method_close, 1, 2, 'P', "[s file][i fileid,b status]"},
};

} // namespace

bool qorio_get_position(int32_t id, uint64_t *position) {
    const Record *r = find(id);
    if (!r) return false;
    *position = place_of(*r);
    return true;
}

bool qorio_set_position(int32_t id, uint64_t position) {
    Record *r = find(id);
    if (!r) return false;
    if (r->handle < 0) {
        const bool binary = r->mode == Mode::WB_PLUS || r->mode == Mode::RB_PLUS;
        if (!open_handle(*r, r->name, binary ? Mode::RB_PLUS : Mode::R_PLUS)) return false;
    }
    if (!move_to(*r, position)) return false;
    r->position = position;
    return true;
}

int32_t qorio_write_text(int32_t id, std::string_view text) {
    Record *r = find_for_writing(id);
    return !r || !write(*r, text.data(), text.size());
}

int32_t QORIO_WRITE_LINE(int32_t id, std::string_view text) {
    Record *r = find_for_writing(id);
    if (!r) return 1;
    if (text.size() < BUFFER_SIZE - r->next) [[likely]] {
        uint8_t *place = buffer_of(*r) + r->next;
        copy_text(place, text.data(), text.size());
        place[text.size()] = '\n';
        r->next += static_cast<uint32_t>(text.size()) + 1;
        r->dirty = true;
        return 0;
    }
    return !write(*r, text.data(), text.size()) || !write(*r, "\n", 1);
}

Line_result qorio_read_line(int32_t id, STRNG_CURSOR *line, STRNG *rest) {
    Record *r = find_for_reading(id);
    if (!r) return qorio_read_failure(id).empty() ? Line_result::END : Line_result::FAILED;
    const uint8_t *buffer = buffer_of(*r);
    rest->length = 0;
    for (;;) {
        if (r->next == r->end && !fill(*r)) {
            if (!r->read_failure.empty()) return Line_result::FAILED;
            if (rest->length == 0) return Line_result::END;
            break;
        }
        const uint32_t line_end = find_line_end(*r);
        const uint8_t *start = buffer + r->next;
        const uint32_t length = line_end - r->next;
        const bool is_cr = line_end < r->end && buffer[line_end] == '\r';
        // Whether a LF follows a CR at the buffer's end shows the next fill,
        // before which the line must leave the buffer.
        const bool is_split = line_end == r->end || (is_cr && line_end + 1 == r->end);
        if (!is_split && rest->length == 0) {
            r->next = line_end + 1;
            if (is_cr && buffer[r->next] == '\n') ++r->next;
            *line = {start, start + length};
            return Line_result::LINE;
        }
        if (length > STRNG_LIMIT - rest->length) return Line_result::TOO_LONG;
        strng_append(rest, {reinterpret_cast<const char *>(start), length});
        r->next = line_end;
        if (line_end == r->end) continue;
        ++r->next;
        if (is_cr && (r->next < r->end || fill(*r)) && buffer[r->next] == '\n') ++r->next;
        break;
    }
    *line = {rest->data, rest->data + rest->length};
    return Line_result::LINE;
}

std::string qorio_read_failure(int32_t id) {
    const Record *r = find(id);
    return r ? r->read_failure : "";
}

bool qorio_flush(int32_t id, std::string *reason) {
    Record *r = find(id);
    if (!r) return false;
    const bool flushed = flush(*r);
    *reason = r->write_failure;
    return flushed;
}

bool qorio_close(int32_t *id, std::string *reason) {
    Record *r = find(*id);
    if (!r) return false;
    *id = -1;
    const bool closed = r->handle < 0 || close_handle(*r);
    *reason = r->write_failure;
    *r = Record();
    return closed && reason->empty();
}

void qorio_make_names_absolute() {
    const std::string directory = platform::current_directory();
    if (directory.empty()) return;
    for (Record &r : records) {
        if (r.in_use && !r.name.starts_with(platform::SEPARATOR)) r.name.insert(0, directory + platform::SEPARATOR);
    }
}

void qorio_init() {
    static bool done = false;
    if (!first_time(done)) return;
    MSG_CREATE_C(&qorio_msg, "QORIO", 0);
    int32_t status;
    CLASS_CREATE_CLASS_C("QORIO", "1.0.0", &status);
    register_methods("QORIO", METHODS);
}

void qorio_terminate() {
    for (int32_t i = 0; i < FILE_LIMIT; ++i) {
        const std::string name = records[i].name;
        int32_t id = i;
        std::string reason;
        qorio_close(&id, &reason);
        if (reason.empty()) continue;
        MSG_SET_PROC_C(qorio_msg, "CLOSE");
        MSG_DISPLAY_PERROR_C(qorio_msg, "error writing file ", borrow(name), (": " + reason).c_str());
    }
    live_handles = 0;
    open_counter = 0;
}

} // namespace qor

using namespace qor;

int32_t QORIO_CREATE(int32_t *id, const char *name, uint32_t length) {
    return open_new(id, std::string(name, length), Mode::W_PLUS);
}

int32_t QORIO_CREATE_BINARY_C(int32_t *id, const char *name) { return open_new(id, name, Mode::WB_PLUS); }

int32_t QORIO_OPEN(int32_t *id, const char *name, uint32_t length) {
    std::string path;
    return !qorio_expand_path({name, length}, &path) || open_new(id, path, Mode::R);
}

int32_t QORIO_OPEN_BINARY_C(int32_t *id, const char *name) { return open_new(id, name, Mode::RB); }

int32_t QORIO_OPEN_APPEND(int32_t *id, const char *name, uint32_t length) {
    return open_new(id, std::string(name, length), Mode::A);
}

int32_t QORIO_EXISTS(const char *name) { return platform::is_readable_file(name); }

int32_t QORIO_REMOVE(const char *name) { return !platform::remove_file(name); }

int32_t QORIO_CLOSE(int32_t *id) {
    std::string reason;
    return !qorio_close(id, &reason);
}

int32_t QORIO_READ(int32_t id, uint8_t *byte) {
    Record *r = find_for_reading(id);
    return !r || !read_byte(*r, byte);
}

int32_t QORIO_WRITE(int32_t id, uint8_t byte) {
    Record *r = find_for_writing(id);
    return !r || !write(*r, &byte, 1);
}

int32_t QORIO_READ_BINARY(int32_t id, void *bytes, uint32_t count) {
    Record *r = find_for_block(id);
    return !r || !prepare_read(*r) || !read_block(*r, static_cast<uint8_t *>(bytes), count);
}

int32_t QORIO_WRITE_BINARY(int32_t id, const void *bytes, uint32_t count) {
    Record *r = find_for_block(id);
    return !r || !prepare_write(*r) || !write(*r, bytes, count);
}

int32_t QORIO_GET_POS(int32_t id, uint32_t *position) {
    uint64_t place;
    if (!qorio_get_position(id, &place)) return 1;
    *position = static_cast<uint32_t>(place);
    return 0;
}

int32_t QORIO_SET_POS(int32_t id, uint32_t position) { return !qorio_set_position(id, position); }

int32_t QORIO_FLUSH(int32_t id) {
    std::string reason;
    return !qorio_flush(id, &reason);
}
