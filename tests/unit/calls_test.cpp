// Native methods that a host registers, called from a script: the stack's
// pushes and pops, aborts across native frames, start and stop.
#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>

#include "qor/qor.h"

namespace {

std::string log_of_calls;

void native_types() {
    double x, y, z;
    QORCPU_POPP(&x, &y, &z);
    int32_t yes, number;
    QORCPU_POPB(&yes);
    double real;
    QORCPU_POPR(&real);
    char text[32];
    QORCPU_POPS_C(text);
    QORCPU_POPI(&number);
    char line[128];
    std::snprintf(line, sizeof line, "%d %s %.2f %d %.0f/%.0f;", number, text, real, yes, x, y);
    log_of_calls += line;
    QORCPU_PUSHI(number + 1);
    QORCPU_PUSHS_C("back");
}

void native_map() {
    QOR_MAP *map = nullptr;
    QORCPU_POPM(&map);
    int32_t value = 0;
    int32_t status = 0;
    MAP_MAP_IVALUE_C(map, "N", &value, &status);
    log_of_calls += "map " + std::to_string(value) + ";";
    MAP_REMOVE(&map); // the stack held the last reference
}

struct Scope {
    ~Scope() { log_of_calls += "left;"; }
};

// Script code below a native method aborts: the frames in between are left in
// order.
void native_calls_back() {
    const Scope scope;
    QORCPU_CALL_QOR_PROC_C("FAIL");
    log_of_calls += "not reached;";
}

int32_t run(const std::string &script) {
    const auto file = std::filesystem::temp_directory_path() / ("qor_calls_test_" + std::to_string(getpid()) + ".qor");
    std::ofstream(file) << script;
    const std::string name = file.string();
    const char *arguments[] = {"calls_test", "-cgi", "-silent", "-script", name.c_str()};
    OPTION_LOAD_OPTIONS(5, arguments);
    const int32_t status = QORPROC_START();
    std::filesystem::remove(file);
    return status;
}

// One program for the process: the whole is one run.
TEST(Calls, ARunWithNativeMethods) {
    QORPROC_INIT();
    QORPROC_INIT();
    EXPECT_EQ(QORLIB_LOAD(0, "libqor.so"), 1);
    EXPECT_STREQ(QORLIB_GET_MAINLIB(), "libqor.so");
    int32_t status = 0;
    CLASS_CREATE_CLASS_C("HOST", "1.0.0", &status);
    CLASS_CREATE_METHOD_C("HOST", "TYPES", native_types, 5, 2, 'P', "", &status);
    CLASS_CREATE_METHOD_C("HOST", "MAP_ARGUMENT", native_map, 1, 0, 'P', "", &status);
    CLASS_CREATE_METHOD_C("HOST", "CALL_BACK", native_calls_back, 0, 0, 'P', "", &status);
    EXPECT_EQ(status, 1);
    CLASS_CREATE_METHOD_C("NO_SUCH_CLASS", "X", native_map, 0, 0, 'P', "", &status);
    EXPECT_EQ(status, 0);
    QOR_METHOD *method = nullptr;
    CLASS_GET_METHOD_C("HOST", "VERSION", &method, &status);
    EXPECT_EQ(status, 0) << "an entry that is no method";

    EXPECT_EQ(run("PROCEDURE FAIL\n"
                  "  1 2 3 VAR.UNKNOWN\n"
                  "END_PROCEDURE\n"
                  "PROCEDURE POINT\n"
                  "  7 'seven' 7.25 TRUE PLACE HOST.TYPES => VAR.TEXT => VAR.NUMBER\n"
                  "END_PROCEDURE\n"
                  "5 => VAR.BEFORE\n"
                  "MAPCREATE => VAR.M 12 => VAR.M.N VAR.M.N POP\n"
                  "MAPCREATE DUP 'N' 12 MAPINS\n"
                  "HOST.CALL_BACK\n"),
              2)
        << "PLACE is not known";
    EXPECT_EQ(QORPROC_RUN(), 0) << "nothing is run after a failed compilation";
    QORPROC_TERMINATE();
    QORPROC_TERMINATE();
}

// A stopped system starts again: nothing of the script before is left in it.
TEST(Calls, StartsAgain) {
    QORPROC_INIT();
    EXPECT_EQ(run("CLASS MESSAGE\n"
                  "  METHOD DISPLAY\n    POP\n  END_METHOD\n"
                  "END_CLASS\n"
                  "CLASS OWN\n  METHOD FAIL\n    5 VAR.UNKNOWN\n  END_METHOD\nEND_CLASS\n"
                  "PROCEDURE OLD_INITIALIZE\n  1 => VAR.OLD\nEND_PROCEDURE\n"
                  "OWN.FAIL\n"),
              3);
    EXPECT_EQ(QORPROC_RUN(), 3) << "a broken-off run is not taken up again";
    QORPROC_TERMINATE();
    QORPROC_INIT();
    EXPECT_EQ(run("OWN.FAIL\n"), 2) << "its class is gone";
    QORPROC_TERMINATE();
    QORPROC_INIT();
    EXPECT_EQ(run("QORCPU.GET_STACK_SIZE => VAR.OLD\n1 => LOCAL.A\nDISPLAY LOCAL.A\n"), 0);
    QOR_MAP *var = nullptr;
    int32_t status = 0;
    MAP_GET_MAP_BY_NAME_C(&var, "VAR", &status);
    int32_t old = 1;
    MAP_MAP_IVALUE_C(var, "OLD", &old, &status);
    EXPECT_EQ(old, 0);
    QORPROC_TERMINATE();
}

TEST(Calls, AbortsLeaveNativeFramesInOrder) {
    EXPECT_EXIT(
        {
            QORPROC_INIT();
            int32_t status = 0;
            CLASS_CREATE_CLASS_C("HOST", "1.0.0", &status);
            CLASS_CREATE_METHOD_C("HOST", "MAP_ARGUMENT", native_map, 1, 0, 'P', "", &status);
            CLASS_CREATE_METHOD_C("HOST", "CALL_BACK", native_calls_back, 0, 0, 'P', "", &status);
            const int32_t result = run("PROCEDURE FAIL\n"
                                       "  1 2 3 VAR.UNKNOWN\n"
                                       "END_PROCEDURE\n"
                                       "MAPCREATE RDUP 'N' 12 MAPINS HOST.MAP_ARGUMENT\n"
                                       "HOST.CALL_BACK\n");
            std::exit(result == 3 && log_of_calls == "map 12;left;" ? 42 : 1);
        },
        testing::ExitedWithCode(42), "");
}

TEST(Calls, ArgumentsOfEveryType) {
    EXPECT_EXIT(
        {
            QORPROC_INIT();
            int32_t status = 0;
            CLASS_CREATE_CLASS_C("HOST", "1.0.0", &status);
            CLASS_CREATE_METHOD_C("HOST", "TYPES", native_types, 5, 2, 'P', "", &status);
            CLASS_CREATE_METHOD_C(
                "HOST", "PLACE", [] { QORCPU_PUSHP(3, 4, GEOM_NO_HEIGHT); }, 0, 1, 'P', "", &status);
            const int32_t result = run("7 'seven' 7.25 'TRUE' HOST.PLACE HOST.TYPES => VAR.TEXT => VAR.NUMBER\n");
            STRNG text;
            STRNG_CREATE(&text);
            QOR_MAP *var = nullptr;
            MAP_GET_MAP_BY_NAME_C(&var, "VAR", &status);
            MAP_MAP_VALUE_C(var, "TEXT", &text, &status);
            int32_t number = 0;
            MAP_MAP_IVALUE_C(var, "NUMBER", &number, &status);
            const bool right = STRNG2_MATCHA_C(text, "back") && number == 8 && log_of_calls == "7 seven 7.25 1 3/4;";
            std::exit(result == 0 && right ? 42 : 1);
        },
        testing::ExitedWithCode(42), "");
}

} // namespace
