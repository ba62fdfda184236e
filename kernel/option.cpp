#include "qor/option.h"

#include <algorithm>

#include "kernel/lifecycle.hpp"
#include "kernel/option.hpp"
#include "kernel/strng.hpp"
#include "platform/platform.hpp"
#include "qor/map.h"
#include "qor/msg.h"
#include "qor/obj.h"
#include "qor/textfile.h"

namespace qor {

namespace {

const char *(*temp_dir_supplier)() = nullptr;

constexpr size_t LONGEST_NAME = 1024; // the longest key of a map
constexpr std::string_view SYSTEM = "/system";
static_assert(platform::SEPARATOR == '/', "the texts of this file hold the separator");

// --- the map OPT -----------------------------------------------------------------

// Looked up each time: scripts can put another map in its place, or none.
QOR_MAP *options() {
    QOR_MAP *map;
    int32_t status;
    MAP_GET_MAP_BY_NAME_C(&map, "OPT", &status);
    return status ? map : nullptr;
}

QOR_MAP *options_for_writing() {
    QOR_MAP *map = options();
    if (!map) MAP_CREATE_C(&map, "OPT");
    return map;
}

bool is_set(STRNG name) { return MAP_TEST_KEY(options(), name) != 0; }

// A counted reference to the option's object, nil when it is not set. A default
// object of the map is no option.
struct Found_option {
    QOR_OBJECT *object = nullptr;
    explicit Found_option(STRNG name) {
        int32_t status;
        if (is_set(name)) MAP_MAP_OBJECT_REF(options(), name, &object, &status);
    }
    ~Found_option() {
        if (object) OBJ_remove_object(&object);
    }
    Found_option(const Found_option &) = delete;
    Found_option &operator=(const Found_option &) = delete;
};

void set_option(std::string_view name, std::string_view value) {
    if (name.size() > LONGEST_NAME) {
        MESSAGE_DISPLAY_ERROR_F("option name is longer than %d characters: %.40s...\n", static_cast<int>(LONGEST_NAME),
                                std::string(name).c_str());
        return;
    }
    if (!name.empty()) MAP_INSERT_SVALUE(options_for_writing(), borrow(name), borrow(value));
}

void clear_option(std::string_view name) {
    int32_t status;
    if (!name.empty() && name.size() <= LONGEST_NAME) {
        MAP_REMOVE_OBJECT(options_for_writing(), borrow(name), &status);
    }
}

// --- reading -----------------------------------------------------------------------

std::string_view trimmed(std::string_view text) {
    const auto is_blank = [](char c) { return static_cast<uint8_t>(c) <= ' '; };
    while (!text.empty() && is_blank(text.front())) text.remove_prefix(1);
    while (!text.empty() && is_blank(text.back())) text.remove_suffix(1);
    return text;
}

// Lines of a name, a blank and the value. They go into the map as they stand:
// no comments, no dashes, and an opt line reads no further file.
void read_option_file(const std::string &name) {
    int32_t file, status;
    TEXTFILE_OPEN(&file, borrow(name), &status);
    if (!status) {
        MESSAGE_DISPLAY_F("unable to open option-file %s\n", name.c_str());
        return;
    }
    STRNG_CURSOR cursor;
    for (TEXTFILE_READLN(&file, &cursor, &status); status; TEXTFILE_READLN(&file, &cursor, &status)) {
        const std::string_view line = trimmed(view(cursor));
        const size_t blank = line.find_first_of(" \t");
        set_option(line.substr(0, blank), blank == line.npos ? "" : trimmed(line.substr(blank)));
    }
    TEXTFILE_CLOSE(&file);
}

// A name stays current after its value: in "-x a b" the value b replaces a, and
// "-opt a b" reads both files. What stands before the first name is dropped.
void read_command_line(int32_t argc, const char *const *argv) {
    std::string name;
    for (int32_t i = 1; i < argc; ++i) {
        const std::string_view argument = argv[i];
        if (argument.starts_with("--")) {
            name = argument.substr(2);
            clear_option(name);
        } else if (argument.starts_with("-")) {
            name = argument.substr(1);
            set_option(name, "");
        } else if (!name.empty()) {
            set_option(name, argument);
            if (name == "opt") read_option_file(std::string(argument));
        }
    }
}

// --- directories ---------------------------------------------------------------------

// Takes the quotes off and the separators at the end.
std::string normalize_dir(std::string directory) {
    if (directory.starts_with('"')) {
        directory.erase(0, 1);
        directory.resize(std::min(directory.find('"'), directory.size()));
    }
    while (directory.ends_with(platform::SEPARATOR)) directory.pop_back();
    return directory;
}

bool given(const char *name, std::string *directory) {
    if (!option_text(name, directory)) return false;
    *directory = normalize_dir(*directory);
    return true;
}

// The path up to the first occurrence of the pattern and the kept bytes of it.
bool cut_at(const std::string &path, std::string_view pattern, size_t kept, std::string *directory) {
    const size_t position = path.find(pattern);
    if (position == path.npos) return false;
    *directory = path.substr(0, position + kept);
    return true;
}

std::string find_system_dir() {
    const std::string program = platform::executable_path();
    std::string directory;
    // The order matters: the first pattern that occurs anywhere decides.
    if (cut_at(program, "/system/bin/", SYSTEM.size(), &directory) ||
        cut_at(program, "/system/bin64/", SYSTEM.size(), &directory) || cut_at(program, "/bin/", 0, &directory) ||
        cut_at(program, "/bin64/", 0, &directory)) {
        return normalize_dir(directory);
    }
    return "";
}

std::string find_exe_dir() {
    const std::string program = platform::executable_path();
    std::string directory;
    if (!cut_at(program, "/system/bin/", sizeof "/system/bin" - 1, &directory)) {
        cut_at(program, "/system/bin64/", sizeof "/system/bin64" - 1, &directory);
    }
    return directory;
}

// What stands before "/system" in the system directory, with a suffix; the
// system directory itself when it holds none.
std::string beside_system(const char *suffix) {
    const std::string system = option_system_dir();
    const size_t position = system.find(SYSTEM);
    return position == system.npos ? system : system.substr(0, position) + suffix;
}

std::string data_dir() {
    std::string directory;
    return given("data_dir", &directory) ? directory : option_root_dir() + "/data";
}

std::string jre_dir() {
    std::string directory;
    return given("jre_dir", &directory) ? directory : beside_system("/jre");
}

std::string temp_dir() {
    std::string directory;
    if (given("temp_dir", &directory)) return directory;
    const std::string user = option_user_dir();
    return (user == option_system_dir() ? user : data_dir()) + "/temp";
}

// Each value replaces what the user gave, so that a later look-up finds a final
// one.
void store_directories() {
    set_option("system_dir", option_system_dir());
    set_option("user_dir", option_user_dir());
    set_option("data_dir", data_dir());
    const char *supplied = temp_dir_supplier && !OPTION_ISOPT_C("temp_dir") ? temp_dir_supplier() : nullptr;
    set_option("temp_dir", supplied ? normalize_dir(supplied) : temp_dir());
    set_option("jre_dir", jre_dir());
    set_option("bin_dir", option_system_dir() + "/bin");
    set_option("bin64_dir", option_system_dir() + "/bin64");
    set_option("root_dir", option_root_dir());
    set_option("exe_dir", find_exe_dir());
    set_option("qor_command", find_exe_dir() + "/qor");
}

// The first argument may simply be the script.
void try_bare_script(int32_t argc, const char *const *argv) {
    if (argc < 2 || OPTION_ISOPT_C("script")) return;
    const std::string name = normalize_dir(argv[1]);
    int32_t file, status;
    TEXTFILE_OPEN(&file, borrow(name), &status);
    if (!status) return;
    TEXTFILE_CLOSE(&file);
    set_option("script", name);
}

void make_temp_dir() {
    const std::string directory = temp_dir();
    if (platform::file_info(directory).is_directory || platform::make_directory(directory)) return;
    MESSAGE_DISPLAY_ERROR_F("temp directory <%s> exists not and can not be created !\n", directory.c_str());
    MESSAGE_DISPLAY_ERROR_S(borrow(directory));
}

void copy_out(const std::string &text, char *buffer) { std::memcpy(buffer, text.c_str(), text.size() + 1); }

} // namespace

bool option_text(const std::string &name, std::string *value) {
    value->clear();
    const Found_option option(borrow(name));
    if (!option.object) return false;
    // Scripts store what they like under OPT.
    if (OBJ_object_value_is_defined(option.object)) {
        Strng text;
        OBJ_to_string(option.object, &text);
        value->assign(text.text());
    }
    return true;
}

std::string option_system_dir() {
    std::string directory;
    return given("system_dir", &directory) && !directory.empty() ? directory : find_system_dir();
}

std::string option_user_dir() {
    std::string directory;
    return given("user_dir", &directory) ? directory : beside_system("/user");
}

std::string option_root_dir() {
    std::string directory;
    return given("root_dir", &directory) || given("qor_root_dir", &directory) ? directory : beside_system("");
}

void option_init() {
    static bool done = false;
    if (first_time(done)) options_for_writing();
}

void option_terminate() { temp_dir_supplier = nullptr; }

} // namespace qor

using namespace qor;

void OPTION_LOAD_OPTIONS(int32_t argc, const char *const *argv) {
    QOR_MAP *map = options_for_writing();
    MAP_CLEAR(&map);
    read_command_line(argc, argv);
    store_directories();
    try_bare_script(argc, argv);
    make_temp_dir();
}

void OPTION_SET_TEMP_DIR_SUPPLIER(const char *(*supplier)(void)) { temp_dir_supplier = supplier; }

int32_t OPTION_ISOPT_C(const char *name) { return is_set(borrow(name)); }

int32_t OPTION_GETOPT_C(const char *name, char *value) {
    std::string text;
    const bool found = option_text(name, &text);
    copy_out(text, value);
    return found;
}

int32_t OPTION_GETOPT(uint32_t high, const char *name, STRNG *value) {
    std::string text;
    const bool found = option_text(std::string(name, strnlen(name, size_t{high} + 1)), &text);
    strng_assign(value, text);
    return found;
}

int32_t OPTION_GETOPT_OBJ(STRNG name, QOR_OBJECT **value) {
    const Found_option option(name);
    if (!option.object) return 0;
    OBJ_copy_object(option.object, value);
    return 1;
}

void OPTION_SETOPT_C(const char *name, const char *value) { MAP_INSERT_VALUE_C(options_for_writing(), name, value); }

void OPTION_SETOPT_OBJ(STRNG name, QOR_OBJECT *value) { MAP_INSERT_OBJECT(options_for_writing(), name, value); }

void OPTION_GET_SYSTEM_DIR_C(char *directory) { copy_out(option_system_dir(), directory); }
void OPTION_GET_USER_DIR_C(char *directory) { copy_out(option_user_dir(), directory); }
void OPTION_GET_ROOT_DIR_C(char *directory) { copy_out(option_root_dir(), directory); }
void OPTION_GET_SYSTEM_BIN_DIR_C(char *directory) { copy_out(option_system_dir() + "/bin", directory); }
void OPTION_GET_SYSTEM_BIN_DIR(STRNG *directory) { strng_assign(directory, option_system_dir() + "/bin"); }
// Not the same name as above: modules are looked for in this one.
void OPTION_GET_USER_BIN_DIR_C(char *directory) { copy_out(option_user_dir() + "/bin64", directory); }
void OPTION_GET_USER_BIN_DIR(STRNG *directory) { strng_assign(directory, option_user_dir() + "/bin64"); }
void OPTION_GET_TEMP_DIR_C(char *directory) { copy_out(temp_dir(), directory); }
void OPTION_GET_TEMP_DIR(STRNG *directory) { strng_assign(directory, temp_dir()); }
