// A kernel that starts again in one process: values that plug-ins left behind go
// on working, their classes are gone, and what they replaced is back.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <string>

#include "qor/qor.h"

namespace {

struct Result {
    int32_t status;
    std::string output;
};

// One life of the kernel.
Result run(const std::string &script) {
    const std::string temp = testing::TempDir();
    const std::string file = temp + "restart_test_" + std::to_string(getpid()) + ".qor";
    std::ofstream(file) << script;
    testing::internal::CaptureStdout();
    QORPROC_INIT();
    QORLIB_LOAD(0, "libqor.so");
    const char *arguments[] = {"restart_test", "-cgi",       "-user_dir", USER_DIR,
                               "-temp_dir",    temp.c_str(), "-script",   file.c_str()};
    OPTION_LOAD_OPTIONS(8, arguments);
    const int32_t status = QORPROC_START();
    QORPROC_TERMINATE();
    std::remove(file.c_str());
    return {status, testing::internal::GetCapturedStdout()};
}

const std::string LIFE = "TALLY_INIT libqor.so\ntally of 7 trimmed by the plug-in\nTALLY_TERMINATE\n";
const std::string LOADS = "|LOAD tally\n' a ' TRIM => VAR.TRIM TALLY.CREATE => VAR.NEW\n"
                          "DISPLAY VAR.NEW,' ',VAR.TRIM\n0 => VAR.NEW\n";

TEST(Restart, OnlyValuesOfAPluginAreLeft) {
    const Result first = run(LOADS + "TALLY.CREATE => VAR.VALUE &CLASSES.TALLY.CREATE => VAR.METHOD\n"
                                     "&CLASSES.TALLY DUP => VAR.CLASS POP\n");
    EXPECT_EQ(first.output, LIFE);
    EXPECT_EQ(first.status, 0);

    const Result without = run("' a ' TRIM => VAR.TRIM VAR.VALUE => VAR.COPY\n"
                               "DISPLAY VAR.TRIM,' ',VAR.COPY\nVAR.METHOD => VAR.COPY\n");
    EXPECT_EQ(without.output, "a tally of 7\n");
    EXPECT_EQ(without.status, 0);
    EXPECT_EQ(run("TALLY.CREATE\n").status, 2) << "its class is gone";

    // Loaded again it is what it was, and more often than there are type ids.
    for (int life = 0; life < 40; ++life) ASSERT_EQ(run(LOADS).output, LIFE) << life;
}

TEST(Restart, ScriptClassOverAnOverriddenOne) {
    const Result first = run("|LOAD tally\nCLASS QOR METHOD TRIM 'by the script' END_METHOD END_CLASS\n"
                             "' a ' QOR.TRIM => VAR.TRIM\n");
    EXPECT_EQ(first.status, 0);
    EXPECT_EQ(run("' a ' TRIM => VAR.TRIM\nDISPLAY VAR.TRIM\n").output, "a\n");
}

} // namespace
