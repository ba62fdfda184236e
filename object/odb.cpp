#include "object/odb.hpp"

#include "kernel/lifecycle.hpp"
#include "kernel/strng.hpp"
#include "kernel/upcalls.hpp"
#include "platform/platform.hpp"
#include "qor/msg.h"
#include "qor/obj.h"
#include "qor/option.h"
#include "qor/textfile.h"

namespace qor {

namespace {

Strng path;
std::string directory;     // the current one when the file was made, where a relative path begins
int32_t file = -1;         // its id as a text file
int64_t end_position = -1; // where the next object goes; -1 until the first one

void create_file() {
    OPTION_GET_TEMP_DIR(&path);
    path.append(platform::SEPARATOR);
    path.append("tmpobj.dat");
    directory = platform::current_directory();
    // A failure is seen by the write, which finds no file.
    int32_t status;
    TEXTFILE_CREATE(&file, path, &status);
}

void find_end() {
    uint64_t place;
    if (textfile_get_position(file, &place)) end_position = static_cast<int64_t>(place);
}

// Also brings a file back that was parked, ready for reading and writing. A script
// may close any file by its id, this one too, and open another under the id.
bool move_to(int64_t position) {
    return textfile_is_written(file, path.text()) && textfile_set_position(file, static_cast<uint64_t>(position));
}

void refuse(const char *what, int64_t position) {
    if (file < 0) return;
    textfile_show(file);
    MESSAGE_ABORT_F("ODB: unable to %s %d:%lld\n", what, file, static_cast<long long>(position));
}

} // namespace

void ODB_write_object(QOR_OBJECT *object, int64_t *position) {
    if (end_position < 0) {
        create_file();
        find_end();
    }
    *position = end_position;
    const bool ready = move_to(end_position);
    // Without a file it is the write that aborts.
    if (ready || file < 0) TEXTFILE_WRITE_OBJECT(&file, object);
    if (!ready || !textfile_flushed(file)) return refuse("write to", end_position);
    find_end();
}

void ODB_read_object(int64_t position, QOR_OBJECT **variable) {
    int32_t status = 0;
    // Without a file it is the read that aborts.
    if (file < 0 || move_to(position)) TEXTFILE_READ_OBJECT(&file, variable, &status);
    if (!status) refuse("read from", position);
}

void odb_init() {
    file = -1;
    end_position = -1;
}

void odb_terminate() {
    if (file < 0) return;
    if (textfile_is_written(file, path.text())) TEXTFILE_CLOSE(&file);
    std::string name(path.text());
    if (!name.starts_with(platform::SEPARATOR)) name.insert(0, directory + platform::SEPARATOR);
    platform::remove_file(name);
    odb_init();
}

} // namespace qor

using namespace qor;

void OBJ_file_object_value(QOR_OBJECT *) {}
void OBJ_unfile_object_value(QOR_OBJECT *) {}
