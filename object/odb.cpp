#include "object/odb.hpp"

#include "kernel/lifecycle.hpp"
#include "kernel/strng.hpp"
#include "platform/platform.hpp"
#include "qor/msg.h"
#include "qor/obj.h"
#include "qor/option.h"
#include "qor/textfile.h"

namespace qor {

namespace {

Strng path;
int32_t file = -1;         // its id as a text file
int64_t end_position = -1; // where the next object goes; -1 until the first one

void create_file() {
    OPTION_GET_TEMP_DIR(&path);
    path.append(platform::SEPARATOR);
    path.append("tmpobj.dat");
    // A failure is seen by the write, which finds no file.
    int32_t status;
    TEXTFILE_CREATE(&file, path, &status);
}

void find_end() {
    uint64_t place;
    if (textfile_get_position(file, &place)) end_position = static_cast<int64_t>(place);
}

} // namespace

void ODB_write_object(QOR_OBJECT *object, int64_t *position) {
    if (end_position < 0) {
        create_file();
        find_end();
    }
    *position = end_position;
    // Also brings a file back that was parked, ready for reading and writing.
    textfile_set_position(file, static_cast<uint64_t>(end_position));
    TEXTFILE_WRITE_OBJECT(&file, object);
    find_end();
}

void ODB_read_object(int64_t position, QOR_OBJECT **variable) {
    int32_t status = 0;
    // Without a file it is the read that aborts.
    if (file < 0 || textfile_set_position(file, static_cast<uint64_t>(position)))
        TEXTFILE_READ_OBJECT(&file, variable, &status);
    if (status || file < 0) return;
    textfile_show(file);
    MESSAGE_ABORT_F("ODB: unable to read from %d:%lld\n", file, static_cast<long long>(position));
}

void odb_init() {
    file = -1;
    end_position = -1;
}

void odb_terminate() {
    if (file < 0) return;
    TEXTFILE_CLOSE(&file);
    int32_t status;
    TEXTFILE_REMOVE(path, &status);
    odb_init();
}

} // namespace qor

using namespace qor;

void OBJ_file_object_value(QOR_OBJECT *) {}
void OBJ_unfile_object_value(QOR_OBJECT *) {}
