// ODBC's wide characters are UTF-16, the kernel's texts UTF-8.
#pragma once

#include <string>
#include <string_view>

namespace db {

// False when the text is not UTF-8.
bool to_utf16(std::string_view text, std::u16string *wide);
// Half of a pair of surrogates becomes U+FFFD.
void append_utf8(std::u16string_view wide, std::string *text);

} // namespace db
