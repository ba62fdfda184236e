// Options and directories without a bound on their lengths.
#pragma once

#include <string>

namespace qor {

// False, and the text empty, when the option is not set.
bool option_text(const std::string &name, std::string *value);

// Derived from the present options, without a separator at the end; empty when
// the program stands in no bin directory and nothing is set.
std::string option_system_dir();
std::string option_user_dir();
std::string option_root_dir();

} // namespace qor
