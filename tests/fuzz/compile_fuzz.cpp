// Scripts: compiles and runs each. One that runs too long is no find, since a
// script may loop; one that compiles too long is. One of 4n bytes compiles with
// the option parse. The scripts of the tests are the seeds.
#include <fstream>

#include "driver.hpp"
#include "qor/qor.h"

namespace {

constexpr char WORDS[] =
    "MAP~END_MAP~=>~PROCEDURE~END_PROCEDURE~CLASS~END_CLASS~METHOD~END_METHOD~IF~THEN~ELSIF~ELSE~END_IF~WHILE~DO~"
    "END_WHILE~FOREACH~END_FOREACH~BREAK~CONTINUE~RETURN~DISPLAY~ERROR~STATUS~->~=~==~<>~<~<=~>~>=~,~.~!~$~|MARKLOT~"
    "|VERSION~TRUE~FALSE~ROOT~ROOT.VAR~&ROOT~&VAR.N~LOCAL.A~THIS~IN~OUT~OPT~SOURCES~CLASSES~NATIVE~PROCEDURES~"
    "DEFAULT~QOR~MESSAGE~VERSION~0~1~-1~2147483647~3000000000~0.5~''~'~'x',VAR.N,$~A..B~\n|INCL input.qor\n~'a b'~\t";

void redefine_word(std::string &s) { s.insert(0, "MAP " + fuzz::any(fuzz::words) + " a => 1 END_MAP\n"); }

// Takes out what would reach beyond the child's folder or only wait.
void tame(std::string &s) {
    for (const char *text : {"OSCALL", "SLEEP", "SOCKET", "DIRECTORY", "RECEIVE_FILE", ".."}) {
        for (size_t i; (i = s.find(text)) != std::string::npos;) s[i] = '_';
    }
    for (size_t i = 0; i < s.size(); ++i) {
        const bool alone = (i == 0 || s[i - 1] <= ' ') && (i + 1 == s.size() || s[i + 1] <= ' ');
        if (s[i] == '/' && !alone) s[i] = '_'; // the operator stays, paths go
    }
}

void run(const std::string &input) {
    std::ofstream("input.qor", std::ios::binary) << input;
    const bool parse = input.size() % 4 == 0; // the trace runs script code while compiling
    const char *arguments[] = {"compile_fuzz", "-cgi", "-temp_dir", ".", "-script", "input.qor", "-parse"};
    OPTION_LOAD_OPTIONS(parse ? 7 : 6, arguments);
    if (QORPROC_COMPILE() == 0) {
        fuzz::may_run_on(200);
        QORPROC_RUN();
    }
    QORPROC_TERMINATE();
}

} // namespace

int main(int argc, char **argv) {
    return fuzz::main(argc, argv, {"compile_fuzz", {".qor", ".inc"}, " ", WORDS, redefine_word, tame, run});
}
