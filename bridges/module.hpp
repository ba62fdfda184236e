// What the bridges share: an outside module is loaded by its name, its entries are
// found, and what is missing is told. These texts go straight to the standard
// output: there may be no channel yet.
#pragma once

#include <span>
#include <string>

namespace qor {

struct Module_entry {
    const char *name;
    void **pointer; // leads to bridge_not_connected while there is no module
};

class Outside_module {
  public:
    // The last two entries are the module's start and its end.
    Outside_module(const char *name, std::span<const Module_entry> entries);

    const std::string &file() const { return file_; }
    // By the plain name; else from the directory, where the file is there.
    bool load(const std::string &second_directory = "");
    // Finds all entries and calls the module's start. False when one is missing; all
    // that are missing are told in one run.
    bool start();
    // Nothing happens when the module was not loaded.
    void disconnect();

  private:
    const std::string file_;
    const std::span<const Module_entry> entries_;
    void *library_ = nullptr;
};

template <typename Procedure> Procedure as_procedure(void *entry) { return reinterpret_cast<Procedure>(entry); }

} // namespace qor
