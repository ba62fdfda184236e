// From the name that a script gives to the path of a file that is there.

#include "kernel/option.hpp"
#include "platform/platform.hpp"
#include "services/qorio.hpp"

namespace qor {

namespace {

std::string joined(std::string_view directory, std::string_view name) {
    std::string path(directory);
    if (!path.ends_with(platform::SEPARATOR)) path += platform::SEPARATOR;
    path += name;
    return path;
}

bool exists(const std::string &path) { return platform::is_readable_file(path); }

bool try_in(const std::string &directory, std::string_view name, std::string *path) {
    if (directory.empty()) return false;
    *path = joined(directory, name);
    return exists(*path);
}

// As it stands, then in the directories of the installation.
bool expand_plain(std::string_view name, std::string *path) {
    *path = name;
    if (exists(*path)) {
        if (name.find(platform::SEPARATOR) == name.npos) *path = joined(platform::current_directory(), name);
        return true;
    }
    return try_in(option_user_dir(), name, path) || try_in(option_system_dir(), name, path) ||
           try_in(option_root_dir(), name, path);
}

// Beside the main script; then, when that stands below the user directory, at
// the same place below the system directory.
bool expand_beside_script(std::string_view name, std::string *path) {
    std::string script;
    if (!option_text("script", &script) || name == script || !expand_plain(script, path)) return false;
    std::string directory = path->substr(0, path->rfind(platform::SEPARATOR));
    const std::string_view last = name.substr(name.rfind(platform::SEPARATOR) + 1);
    *path = joined(directory, last);
    if (exists(*path)) return true;
    const std::string user = option_user_dir();
    if (user.empty() || !path->starts_with(joined(user, ""))) return false;
    path->replace(0, user.size(), option_system_dir());
    return exists(*path);
}

} // namespace

bool qorio_expand_path(std::string_view name, std::string *path) {
    if (expand_plain(name, path) || expand_beside_script(name, path)) return true;
    path->clear();
    return false;
}

} // namespace qor

using namespace qor;

int32_t QORIO_EXPAND_QOR_PATH_C(const char *name, char *path) {
    std::string expanded;
    const bool found = qorio_expand_path(name, &expanded);
    std::memcpy(path, expanded.c_str(), expanded.size() + 1);
    return found;
}

int32_t QORIO_EXPAND_QOR_PATH(STRNG name, STRNG *path) {
    std::string expanded;
    const bool found = qorio_expand_path(view(name), &expanded);
    strng_assign(path, expanded);
    return found;
}
