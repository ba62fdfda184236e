// What the compiler may do with the lexer beyond the exported interface.
#pragma once

namespace qor {

// Forgets what is left of the current line: lines were read from LEX2_GET_FILE
// since.
void lex2_drop_line();

} // namespace qor
