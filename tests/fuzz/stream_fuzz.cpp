// Object streams: each input is read as a file, object by object, and as a
// string. What comes is displayed, checked, written again and copied. Half of
// the inputs go to the string first, since an abort ends a run. The stream files
// of the tests are the seeds.
#include <unistd.h>

#include <fstream>

#include "driver.hpp"
#include "qor/qor.h"

namespace {

constexpr char SCRIPT[] = R"(
PROCEDURE USE
  => VAR.O
  DISPLAY VAR.O
  &VAR.O CHECK VAR.OUT &VAR.O TEXTFILE.WRITE_OBJECT
  &VAR.O FILE_OBJECT UNFILE_OBJECT POP
  IF &VAR.O PACK UNPACK THEN POP END_IF VAR.O POP
  IF &VAR.O 'K' INDEX_WITH_TEST THEN POP END_IF
END_PROCEDURE
PROCEDURE FILE
  'input' TEXTFILE.OPEN POP => VAR.IN
  WHILE VAR.IN TEXTFILE.READ_OBJECT DO USE END_WHILE
END_PROCEDURE
PROCEDURE STRING
  '' => VAR.TEXT 'input' TEXTFILE.OPEN POP => VAR.IN
  WHILE VAR.IN TEXTFILE.READLN DO => VAR.LINE &VAR.TEXT VAR.LINE APP VAR.LF APP POP END_WHILE
  IF VAR.TEXT UNPACK THEN USE END_IF
END_PROCEDURE
10 CHR => VAR.LF
'output' TEXTFILE.CREATE POP => VAR.OUT
)";

// An object around all, often enough to reach the limit; or an impossible number.
void mutate(std::string &s) {
    static const std::vector<std::string> BEGINS = {
        "4\n1\nml\nlabel\nmo\nkey\n", "12\n1\nlo\n",    "6\n1\n3\nao\n",
        "6\n1\n4000000000\nao\n",     "6\n1\n-1\nao\n", "8\n1\n1\nao\n3\n1\nF\nml\n\nmo\nkey\n",
        "5\n1\nsa 1\nao\nsr 2\nro\n"};
    const std::string begin = fuzz::any(BEGINS);
    for (size_t n = fuzz::below(10) ? 1 : fuzz::below(1100); n > 0 && s.size() < fuzz::MAX_INPUT; --n)
        s.insert(0, begin);
}

void run(const std::string &input) {
    std::ofstream("input", std::ios::binary) << input;
    std::ofstream("run.qor") << SCRIPT << (input.size() % 2 ? "FILE STRING" : "STRING FILE");
    const char *arguments[] = {"stream_fuzz", "-cgi", "-temp_dir", ".", "-script", "run.qor"};
    OPTION_LOAD_OPTIONS(6, arguments);
    if (QORPROC_COMPILE() != 0) _exit(97);
    QORPROC_RUN();
    QORPROC_TERMINATE();
}

} // namespace

int main(int argc, char **argv) {
    const char *words =
        "0~1~2~3~4~5~6~7~8~9~10~12~13~14~31~99999~-1~ml~mo~em~lo~ll~ao~4000000000~sl 7~el~sr 7~ro~er~sa 7~ea~"
        "p 1.5 -2 3 4~ap 1~lp 1~DEFAULT~1e308~-.5~two words~~nan~lp 1.5 2.5 -99999999.999999 3";
    return fuzz::main(argc, argv, {"stream_fuzz", {".stream"}, "\n", words, mutate, nullptr, run});
}
