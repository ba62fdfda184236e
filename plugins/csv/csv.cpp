// The plug-in CSV: a source class for transfers, and class CSV for files that a
// script reads and writes by itself.
#include <cerrno>
#include <cstring>
#include <memory>
#include <utility>

#include "modules/owners.hpp"
#include "plugins/methods.hpp"
#include "reader.hpp"
#include "writer.hpp"

namespace csv {

using namespace owners;

namespace {

MSG channel = nullptr;

// What an id of class CSV leads to: one of the two, or none for an id that is free.
// Shared, since a message may run script code that closes the file in use.
struct File {
    std::shared_ptr<Reader> reader;
    std::shared_ptr<Writer> writer;
};
std::vector<File> files;

// Of the sources that are open: a transfer may run inside of another one.
std::vector<std::shared_ptr<Reader>> sources;

// The abort comes back when the run is being left already.
template <typename Work> bool run(const char *procedure, Work work) {
    try {
        work();
        return true;
    } catch (const Fault &fault) {
        MSG_SET_PROC_C(channel, procedure);
        MSG_PABORT_C(channel, "", borrow(fault.text), "");
        return false;
    }
}

Options pop_options() {
    Text text;
    QORCPU_POPS(&text.value);
    return parse_options(view(text.value));
}

// Looked for where TEXTFILE.OPEN looks. Null, with the reason in errno.
std::shared_ptr<Reader> open(const Options &options) {
    Text path;
    const bool is_found = QORIO_EXPAND_QOR_PATH(borrow(options.file), &path.value);
    errno = EINVAL;
    if (options.file.find('\0') != options.file.npos) return nullptr;
    // The platform tells what is wrong with a file that was not found.
    return Reader::open(is_found ? std::string(view(path.value)) : options.file, options);
}

// Fills the map with the next record; false at the end.
bool read_into(Reader &reader, QOR_MAP *map) {
    if (!reader.read()) return false;
    const std::vector<std::string> &names = reader.names();
    const std::vector<std::string_view> &fields = reader.fields();
    for (size_t i = 0; i < names.size(); ++i) MAP_INSERT_SVALUE(map, borrow(names[i]), borrow(fields[i]));
    return true;
}

// --- the source class ------------------------------------------------------------------

// [s parameter][]
void source_open() {
    run("CSV_OPEN", [] {
        const Options options = pop_options();
        std::shared_ptr<Reader> reader = open(options);
        if (!reader) throw Fault{"can not open file " + options.file + ": " + std::strerror(errno)};
        sources.push_back(std::move(reader));
    });
}

// [][b status]
void source_read_object() {
    bool found = false;
    const bool done = run("CSV_READ_OBJECT", [&found] {
        if (sources.empty()) throw Fault{"no file is open"};
        QOR_MAP *in;
        int32_t status;
        MAP_GET_MAP_BY_NAME_C(&in, "IN", &status);
        if (!status) throw Fault{"there is no map IN"};
        found = read_into(*sources.back(), in);
    });
    if (done) QORCPU_PUSHB(found);
}

// [][]
void source_close() {
    if (!sources.empty()) sources.pop_back();
}

// --- class CSV -------------------------------------------------------------------------

int32_t add_file(File &&file) {
    size_t id = 0;
    while (id < files.size() && (files[id].reader || files[id].writer)) ++id;
    if (id == files.size()) files.emplace_back();
    files[id] = std::move(file);
    return static_cast<int32_t>(id);
}

File &file_of(int32_t id) {
    const bool is_known = id >= 0 && static_cast<size_t>(id) < files.size() && (files[id].reader || files[id].writer);
    if (!is_known) throw Fault{"invalid fileid " + std::to_string(id)};
    return files[id];
}

bool is_being_read(const std::string &name) {
    for (const File &file : files)
        if (file.reader && file.reader->file() == name) return true;
    for (const auto &source : sources)
        if (source->file() == name) return true;
    return false;
}

// [s file][i id,b status]
void method_open() {
    File file;
    if (!run("OPEN", [&file] { file.reader = open(pop_options()); })) return;
    const bool is_open = file.reader != nullptr;
    if (is_open) QORCPU_PUSHI(add_file(std::move(file)));
    QORCPU_PUSHB(is_open);
}

// [i id,m map][b status]
void method_read() {
    bool found = false;
    const bool done = run("READ", [&found] {
        Object map;
        int32_t id;
        QORCPU_POP_OBJ(&map.value);
        QORCPU_POPI(&id);
        QOR_MAP *target;
        BTYP_read_map_ref(map.value, &target);
        const std::shared_ptr<Reader> reader = file_of(id).reader;
        if (!reader) throw Fault{"file " + std::to_string(id) + " is not open for reading"};
        found = read_into(*reader, target);
    });
    if (done) QORCPU_PUSHB(found);
}

// [s file][i id,b status]
void method_create() {
    File file;
    int32_t status = 0;
    const bool done = run("CREATE", [&file, &status] {
        const Options options = pop_options();
        if (is_being_read(options.file)) throw Fault{"file " + options.file + " is open for reading"};
        int32_t id;
        TEXTFILE_CREATE(&id, borrow(options.file), &status);
        if (!status) return;
        file.writer = std::make_shared<Writer>(id, options);
        file.writer->write_header();
    });
    if (!done) return;
    if (status) QORCPU_PUSHI(add_file(std::move(file)));
    QORCPU_PUSHB(status);
}

// [i id,m map][]
void method_write() {
    run("WRITE", [] {
        Object map;
        int32_t id;
        QORCPU_POP_OBJ(&map.value);
        QORCPU_POPI(&id);
        QOR_MAP *record;
        BTYP_read_map_ref(map.value, &record);
        const std::shared_ptr<Writer> writer = file_of(id).writer;
        if (!writer) throw Fault{"file " + std::to_string(id) + " is not open for writing"};
        writer->write(record);
    });
}

// [i id][]
void method_close() {
    run("CLOSE", [] {
        int32_t id;
        QORCPU_POPI(&id);
        const File file = std::exchange(file_of(id), File());
        if (file.writer) file.writer->close();
    });
}

constexpr plugins::Method_row METHODS[] = {
    {"PROCEDURES", "CSV_OPEN", source_open, 1, 0, "[s parameter][]"},
    {"PROCEDURES", "CSV_READ_OBJECT", source_read_object, 0, 1, "[][b status]"},
    {"PROCEDURES", "CSV_CLOSE", source_close, 0, 0, "[][]"},
    {"CSV", "OPEN", method_open, 1, 2, "[s file][i id,b status]"},
    {"CSV", "READ", method_read, 2, 1, "[i id,m map][b status]"},
    {"CSV", "CREATE", method_create, 1, 2, "[s file][i id,b status]"},
    {"CSV", "WRITE", method_write, 2, 0, "[i id,m map][]"},
    {"CSV", "CLOSE", method_close, 1, 0, "[i id][]"},
};

} // namespace

} // namespace csv

extern "C" QOR_API void CSV_INIT(const char *) {
    int32_t status;
    MSG_CREATE_C(&csv::channel, "CSV", 0);
    CLASS_CREATE_CLASS_C("CSV", "1.0.0", &status);
    plugins::create_methods(csv::METHODS);
}

// Closes what an ended run left open.
extern "C" QOR_API void CSV_TERMINATE() {
    csv::sources.clear();
    for (const csv::File &file : std::exchange(csv::files, {}))
        if (file.writer) file.writer->close();
    MSG_REMOVE(&csv::channel);
}
