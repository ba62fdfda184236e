// Writes records that a reader with the same options gives back as they were.
#pragma once

#include <array>

#include "modules/owners.hpp"
#include "options.hpp"

namespace csv {

class Writer {
  public:
    // Adopts the file, an id of TEXTFILE.
    Writer(int32_t file, const Options &options);
    Writer(const Writer &) = delete;
    Writer &operator=(const Writer &) = delete;

    // What is written goes to the file at once or when its buffer is full; both may
    // end the run, and script code may run on that way.
    void write_header(); // with names that the script gave, when it gave any
    void write(QOR_MAP *record);
    void close();

  private:
    void take_names(QOR_MAP *record);
    void append_field(std::string_view text);
    void write_line();

    const Options options_;
    int32_t file_;
    std::vector<std::string> names_;
    std::array<bool, 256> is_special_{}; // bytes that only quotes can hold
    std::string line_;                   // the record that is put together
    bool is_first_ = true;               // whether nothing was written yet
};

} // namespace csv
