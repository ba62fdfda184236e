#include "bridges/module.hpp"

#include <cstdio>

#include "bridges/forward.hpp"
#include "platform/platform.hpp"

int64_t bridge_not_connected() { return 0; }

namespace qor {

Outside_module::Outside_module(const char *name, std::span<const Module_entry> entries)
    : file_(std::string(name) + platform::LIBRARY_SUFFIX), entries_(entries) {}

bool Outside_module::load(const std::string &second_directory) {
    library_ = platform::load_library(file_);
    const std::string second = second_directory + platform::SEPARATOR + file_;
    // A file that is not there must not hide why the first one could not be loaded.
    if (!library_ && !second_directory.empty() && platform::file_info(second).exists)
        library_ = platform::load_library(second);
    if (!library_) std::printf("GetLastError:\n%s\n", platform::library_error().c_str());
    return library_ != nullptr;
}

bool Outside_module::start() {
    bool complete = true;
    for (const Module_entry &entry : entries_) {
        if (void *symbol = platform::find_symbol(library_, entry.name)) {
            *entry.pointer = symbol;
        } else {
            std::printf("unable to load proc %s from library %s\n", entry.name, file_.c_str());
            complete = false;
        }
    }
    if (!complete) return false;
    const std::string kernel = std::string("libqor") + platform::LIBRARY_SUFFIX;
    as_procedure<void (*)(const char *)> (*entries_[entries_.size() - 2].pointer)(kernel.c_str());
    return true;
}

void Outside_module::disconnect() {
    if (!library_) return;
    as_procedure<void (*)()> (*entries_.back().pointer)();
    for (const Module_entry &entry : entries_) *entry.pointer = reinterpret_cast<void *>(bridge_not_connected);
    if (!platform::unload_library(library_)) std::printf("unable to disconnect from module %s\n", file_.c_str());
    library_ = nullptr;
}

} // namespace qor
