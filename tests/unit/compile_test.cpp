// Limits of the compiler that need scripts too large to be written down. Each
// compiles and runs in a child process, since a program is only appended to.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <fstream>
#include <string>

#include "qor/qor.h"

namespace {

struct Result {
    int status;
    std::string output;
};

std::string repeated(const std::string &text, int count) {
    std::string s;
    for (int i = 0; i < count; ++i) s += text;
    return s;
}

Result run(const std::string &script) {
    const std::string file = testing::TempDir() + "compile_test.qor";
    std::ofstream(file) << script;
    std::array<int, 2> ends;
    if (pipe(ends.data()) != 0) return {-1, "no pipe"};
    const pid_t pid = fork();
    if (pid == 0) {
        dup2(ends[1], STDOUT_FILENO);
        QORPROC_INIT();
        const char *arguments[] = {"compile_test", "-cgi", "-script", file.c_str()};
        OPTION_LOAD_OPTIONS(4, arguments);
        const int32_t status = QORPROC_START();
        QORPROC_TERMINATE();
        std::fflush(stdout);
        _exit(status);
    }
    close(ends[1]);
    Result result{-1, ""};
    std::array<char, 4096> block;
    for (ssize_t n; (n = read(ends[0], block.data(), block.size())) > 0;) result.output.append(block.data(), n);
    close(ends[0]);
    int status = 0;
    waitpid(pid, &status, 0);
    if (WIFEXITED(status)) result.status = WEXITSTATUS(status);
    std::remove(file.c_str());
    // The script's place on this machine is no part of what is compared.
    for (size_t i; (i = result.output.find(file)) != std::string::npos;)
        result.output.replace(i, file.size(), "SCRIPT");
    return result;
}

TEST(Compile, program_limit) {
    // GOTO, two for each assignment, three for the rest, PEND: 79,999.
    const std::string script =
        repeated("! a comment\n", 200000) + repeated("0 => VAR.N\n", 39997) + "DISPLAY 'end'\n0\n";
    Result full = run(script);
    EXPECT_EQ(full.status, 0);
    EXPECT_EQ(full.output, "end\n");
    full = run(script + "0\n");
    EXPECT_EQ(full.status, 2);
    EXPECT_EQ(full.output, "SCRIPT line 240000\n*** ABORT *** IMEM(IMEM_EMIT) program too large\n");
}

TEST(Compile, words_of_any_length) {
    const std::string name(3000, 'N'), text(100000, 't');
    EXPECT_EQ(run("'" + text + "' => VAR.S\nDISPLAY VAR.S\n").output, text + "\n");
    EXPECT_EQ(run("MAP " + std::string(130, 'M') + " a => 1 END_MAP\nDISPLAY " + std::string(120, 'M') + ".a\n").output,
              "1\n");
    EXPECT_EQ(run("\n" + name + "\n").output,
              "SCRIPT line 2\n*** ERROR *** QORCOMP(IS_COMP) unknown keyword " + name + "\n");
    // No map takes a key of 1,025 bytes; where it happened comes first.
    for (const std::string &script : {"MAP M " + name + " => 1 END_MAP", "PROCEDURE " + name, "CLASS " + name}) {
        const Result refused = run(script);
        EXPECT_EQ(refused.status, 2);
        EXPECT_EQ(refused.output.rfind("SCRIPT line 1\nmap key is longer than 1024 characters", 0), 0u)
            << refused.output;
    }
}

TEST(Compile, message_class_with_an_error) {
    // The class can not show what is wrong with it; the one that it replaces does.
    const std::string head = "CLASS MESSAGE\nMETHOD DISPLAY\n'> ' NATIVE.MESSAGE.DISPLAY ";
    EXPECT_EQ(run(head + "NOWHERE END_METHOD\nEND_CLASS\n").output,
              "SCRIPT line 3\n*** ERROR *** QORCOMP(IS_COMP) unknown keyword NOWHERE\n");
    EXPECT_EQ(run(head + "END_METHOD\n").output, "*** ABORT *** QOR(COMPILE_SCRIPT) error reading script SCRIPT\n");
}

} // namespace
