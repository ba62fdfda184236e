// The text form of objects: each input is read as a file, object by object; what
// comes is displayed, copied, written and read again. Every third input is
// declared in a script instead. The objects and version files of the tests are
// the seeds.
#include <unistd.h>

#include <fstream>

#include "driver.hpp"
#include "qor/qor.h"

namespace {

constexpr char READ[] = R"(
PROCEDURE USE
  => VAR.O
  &VAR.O SERIAL.DISPLAY_OBJECT
  'output' &VAR.O SERIAL.SAVE_OBJECT POP
  IF 'output' SERIAL.LOAD_OBJECT THEN => VAR.AGAIN VAR.OUT &VAR.AGAIN SERIAL.WRITE_OBJECT END_IF
  &VAR.O CHECK &VAR.O DUP => VAR.COPY
END_PROCEDURE
'all' TEXTFILE.CREATE POP => VAR.OUT
'input' TEXTFILE.OPEN POP => VAR.IN
TRUE => VAR.MORE
WHILE VAR.MORE DO
  IF VAR.IN SERIAL.READ_OBJECT THEN USE ELSIF VAR.IN TEXTFILE.READLN THEN POP ELSE FALSE => VAR.MORE END_IF
END_WHILE
)";

// In the declared form the input is the version file of the banner as well.
constexpr char DECLARED[] = "\nEND_OBJECT\n&X SERIAL.DISPLAY_OBJECT\n";

// A container around all, often enough to reach the limit; or another ending.
void mutate(std::string &s) {
    static const std::vector<std::string> BEGINS = {"LIST\n", "MAP\nK ", "ORDER\nDEFAULT ", "LIST\nMAP\nA LIST\n"};
    if (fuzz::below(4) == 0) return s.resize(s.size() - fuzz::below(s.size()));
    const std::string begin = fuzz::any(BEGINS);
    for (size_t n = fuzz::below(10) ? 1 : fuzz::below(1100); n > 0 && s.size() < fuzz::MAX_INPUT; --n)
        s = begin + s + "\n}";
}

void run(const std::string &input) {
    const bool declared = input.size() % 3 == 0;
    std::ofstream("input", std::ios::binary) << input;
    std::ofstream("run.qor", std::ios::binary) << (declared ? "|VERSION input\nOBJECT X\n" + input + DECLARED : READ);
    const char *arguments[] = {"serial_fuzz", "-temp_dir", ".", "-script", "run.qor"};
    OPTION_LOAD_OPTIONS(5, arguments);
    if (QORPROC_COMPILE() == 0)
        QORPROC_RUN();
    else if (!declared)
        _exit(97);
    QORPROC_TERMINATE();
}

} // namespace

int main(int argc, char **argv) {
    const char *words =
        "STRING~INT~LONG~REAL~BOOLEAN~LIST~MAP~NULL~}~MODEL~PRODUCT~USER~JOB~SESSION~META~!~true~'NULL'~'~''~"
        "'a b'~DEFAULT~LINK~POINT~-1e5~99999999999~\t~\n~\r\n~1.5~\n|INCL input\n~KEY";
    return fuzz::main(argc, argv, {"serial_fuzz", {".txt", ".ver"}, " ", words, mutate, nullptr, run});
}
