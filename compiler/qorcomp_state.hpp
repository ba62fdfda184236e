// What the compiler's sources share: the state of the one compilation and the
// operations that call each other across them.
//
// Every READ_ and IS_ operation names itself as the channel's procedure and none
// restores it: the line of an error tells which operation stood last.
#pragma once

#include <string_view>
#include <type_traits>

#include "compiler/imem.hpp"
#include "compiler/qorcomp.hpp"
#include "kernel/strng.hpp"
#include "qor/msg.h"

namespace qor {

extern MSG qorcomp_msg;
extern Strng qorcomp_token;        // the current word
extern Strng qorcomp_class_name;   // of the class being declared
extern QOR_OBJECT *qorcomp_class;  // its map object, counted; nil outside a class
extern Strng qorcomp_version_file; // where the banner's texts stand

// --- the token reader (declarations.cpp) --------------------------------------

int32_t QORCOMP_NEXT_TOKEN(); // 0 at the end of the script
// A next word that must be there: the end of the script aborts. False only when
// that abort came back.
bool expect_word();

// "FILE line N". It stands above every compile error.
void QORCOMP_DISPLAY_POSITION();
// The position and the error in its three forms.
void compile_abort(const char *text);                                         // *** ABORT ***
void compile_abort(const char *prefix, STRNG text);                           // *** ABORT ***
void compile_error_abort(const char *prefix, STRNG text, const char *suffix); // *** ERROR ***
void compile_error(const char *text); // does not abort; the caller sets its status to 0

// A longer key is refused by any map, with an abort that knows no position.
inline constexpr uint32_t MAX_KEY_LENGTH = 1024;
// Shows the position when a map is about to refuse the name.
void announce_refused_key(STRNG key);
// Emits an instruction; where that fills the program and so aborts, the position
// comes first.
template <class... A> void emit(void (*emitter)(A...), std::type_identity_t<A>... arguments) {
    if (IMEM_GET_COUNT() == IMEM_LIMIT - 1) QORCOMP_DISPLAY_POSITION();
    emitter(arguments...);
}

// --- names (names.cpp) -----------------------------------------------------------

// The class being declared; null outside.
QOR_MAP *class_map();
// 1 and the text between the quotes, or 0 and the word.
int32_t IS_CONST(STRNG word, STRNG *text);
// 1 and the full dotted name when the word names something by now.
int32_t IS_COMP(STRNG word, STRNG *name);
// 0 when the word does not start with "&"; else the full name, or an abort.
int32_t IS_REF(STRNG word, STRNG *name);
// Emits the instruction for a word as a value.
void INSERT_VALUE(STRNG word);
// Emits the call of a method that must exist now. The call goes by name through
// the class's entry in the root.
void QORCOMP_EMIT_METHOD_CALL(const char *class_name, const char *method);

// --- statements (statements.cpp) -----------------------------------------------------

// Forgets loops that an aborted compilation left open.
void reset_statements();
// The statement that starts with the current word.
void READ_STATEMENT(int32_t *status);
// Statements up to one of the closing words (a list with commas), which stays
// the current word.
void READ_STATEMENT_BLOCK(std::string_view closing, int32_t *status);

// --- banner (banner.cpp) ---------------------------------------------------------------

void display_banner();

} // namespace qor
