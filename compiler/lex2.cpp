#include "qor/lex2.h"

#include <algorithm>

#include "compiler/lex2.hpp"
#include "kernel/lifecycle.hpp"
#include "kernel/strng.hpp"
#include "qor/textfile.h"

using namespace qor;

namespace {

constexpr uint8_t COMMENT = '!';
constexpr uint8_t QUOTE = '\'';

bool lex2_eof = false;
int32_t lex2_file = -1;
// The current line in a buffer of its own: between two tokens the compiler shows
// messages, and script code that receives them may read or close any file.
Strng lex2_line;
STRNG_CURSOR lex2_cursor{nullptr, nullptr}; // what is left of lex2_line

// A tab counts as a blank everywhere, also inside a quote.
uint8_t without_tab(uint8_t c) { return c == '\t' ? ' ' : c; }

bool read_line() {
    STRNG_CURSOR line;
    int32_t status = 0;
    TEXTFILE_READ_SOURCE_LINE(&lex2_file, &line, &status);
    if (!status) return false;
    lex2_line.assign(view(line));
    STRNG2_PREPX(lex2_line, &lex2_cursor);
    return true;
}

enum class Cut { WORD, ITEM };

// Takes the first character whatever it is, and what follows up to the
// delimiter, which is consumed. A word also starts behind blanks and ends at a
// blank or the comment character. Between quotes nothing ends it but the end of
// the text. A comment character behind a word is consumed like a delimiter, so
// it ends the word alone and not the line: scripts rely on that.
int32_t cut(STRNG_CURSOR *cursor, STRNG *out, uint8_t delimiter, Cut what) {
    if (lex2_eof) return 0;
    const bool word = what == Cut::WORD;
    const uint8_t *p = cursor->next, *const end = cursor->end;
    if (word) {
        while (p != end && without_tab(*p) == ' ') ++p;
    }
    if (p == end || (word && *p == COMMENT)) {
        cursor->next = p == end ? end : p + 1;
        return 0;
    }
    const uint8_t *const begin = p;
    bool quoted = false, tabs = false;
    do {
        if (*p == QUOTE) quoted = !quoted;
        tabs |= *p == '\t';
        ++p;
        if (p == end) break;
        const uint8_t c = without_tab(*p);
        if (!quoted && (c == delimiter || (word && (c == ' ' || c == COMMENT)))) break;
    } while (true);
    strng_assign(out, view(STRNG_CURSOR{begin, p}));
    if (tabs) std::replace(out->data, out->data + out->length, uint8_t{'\t'}, uint8_t{' '});
    cursor->next = p == end ? end : p + 1;
    return 1;
}

} // namespace

void LEX2_OPEN(void *, STRNG name, int32_t *status) {
    LEX2_RESET();
    lex2_cursor = {nullptr, nullptr};
    TEXTFILE_OPEN(&lex2_file, name, status);
    if (!*status) return;
    if (!read_line()) {
        LEX2_CLOSE();
        *status = 0;
    }
}

int32_t LEX2_READ_NEXT_TOKEN(STRNG *token) {
    while (!lex2_eof) {
        if (cut(&lex2_cursor, token, ' ', Cut::WORD)) return 1;
        if (!read_line()) lex2_eof = true;
    }
    return 0;
}

int32_t LEX2_SKIP(uint8_t byte) {
    bool quoted = false;
    while (!lex2_eof) {
        while (lex2_cursor.next != lex2_cursor.end) {
            const uint8_t c = without_tab(*lex2_cursor.next++);
            if (c == COMMENT && !quoted) break;
            if (c == QUOTE) quoted = !quoted;
            if (c == byte) return 1;
        }
        quoted = false; // a quote never spans lines
        if (!read_line()) lex2_eof = true;
    }
    return 0;
}

void LEX2_CLOSE() { TEXTFILE_CLOSE(&lex2_file); }

int32_t LEX2_GET_FILE() { return lex2_file; }

void LEX2_GET_POSITION(STRNG *name, uint32_t *line) { TEXTFILE_GET_NAME(&lex2_file, name, line); }

void LEX2_RESET() { lex2_eof = false; }

int32_t LEX2_NEXT_WORD(STRNG_CURSOR *cursor, STRNG *word, uint8_t delimiter) {
    return cut(cursor, word, delimiter, Cut::WORD);
}

int32_t LEX2_NEXT_ITEM(STRNG_CURSOR *cursor, STRNG *item, uint8_t delimiter) {
    return cut(cursor, item, delimiter, Cut::ITEM);
}

namespace qor {

void lex2_drop_line() { lex2_cursor = {nullptr, nullptr}; }

void lex2_init() { LEX2_RESET(); }

void lex2_terminate() {
    STRNG_REMOVE(&lex2_line);
    lex2_drop_line();
}

} // namespace qor
