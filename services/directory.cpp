// Class DIRECTORY. Names are read up to a zero byte.
#include <string>
#include <vector>

#include "kernel/lifecycle.hpp"
#include "object/class.hpp"
#include "platform/platform.hpp"
#include "services/arguments.hpp"
#include "services/qorio.hpp"

namespace qor {

namespace {

std::string pop_name() { return pop_text().c_str(); }

void method_create() { QORCPU_PUSHB(platform::make_directory(pop_name())); }
void method_remove() { QORCPU_PUSHB(platform::remove_directory(pop_name())); }

// The name is a pattern, and what it finds first decides. Behind a separator at
// its end it finds nothing: other than TEXTFILE.IS_DIRECTORY, and kept so.
void method_exists() {
    const std::string pattern = pop_name();
    const std::vector<std::string> found = platform::find_files(pattern);
    const std::string directory = pattern.substr(0, pattern.rfind(platform::SEPARATOR) + 1);
    QORCPU_PUSHB(!found.empty() && platform::file_info(directory + found.front()).is_directory);
}

void method_change() {
    const std::string name = pop_name();
    qorio_make_names_absolute();
    QORCPU_PUSHB(platform::change_directory(name));
}

void method_current() { QORCPU_PUSHS(borrow(platform::current_directory())); }

constexpr Native_method METHODS[] = {
    {"CREATE", method_create, 1, 1, 'P', "[s directory][b state]"},
    {"REMOVE", method_remove, 1, 1, 'P', "[s directory][b state]"},
    {"EXISTS", method_exists, 1, 1, 'P', "[s directory][b state]"},
    {"CHANGE", method_change, 1, 1, 'P', "[s directory][b state]"},
    {"CURRENT", method_current, 0, 1, 'P', "[][s directory]"},
};

} // namespace

void directory_init() {
    static bool done = false;
    if (!first_time(done)) return;
    int32_t status;
    CLASS_CREATE_CLASS_C("DIRECTORY", "1.0.0", &status);
    register_methods("DIRECTORY", METHODS);
}

} // namespace qor
