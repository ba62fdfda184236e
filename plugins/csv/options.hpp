// What a script says about a file: its name, and how its records are written.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace csv {

// What is wrong with a file or with what a script said about it: the text of the
// message that ends the run.
struct Fault {
    std::string text;
};

constexpr int NO_QUOTE = -1;
constexpr std::string_view BYTE_ORDER_MARK = "\xEF\xBB\xBF";

struct Options {
    std::string file;
    char delimiter = ',';
    int quote = '"';                 // a byte, or NO_QUOTE
    std::optional<bool> has_header;  // whether the first record holds the names
    std::vector<std::string> fields; // names that the script gives
    std::string line_end = "\n";     // of what is written
};

// The file's name, then options, separated by commas, as docs/plugins.md lists
// them. A name in double quotes may hold commas.
Options parse_options(std::string_view text);

// Names must be keys of a map, each its own.
void check_names(const std::vector<std::string> &names);

} // namespace csv
