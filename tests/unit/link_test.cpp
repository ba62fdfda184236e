// Links for a host: native resolvers, a resolver without end, and what a stop
// of the system leaves of it. Database links without their module.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>

#include "qor/qor.h"
#include "texts.hpp"

namespace {

std::string rendered(QOR_OBJECT *object, void (*render)(QOR_OBJECT *, STRNG *) = OBJ_to_string) {
    return text_by([&](STRNG *out) { render(object, out); });
}

int calls = 0;

// The target of number 3 is an int, any other number has none.
void find_int() {
    ++calls;
    QORCPU_POP();
    int32_t number;
    QORCPU_POPI(&number);
    if (number == 3) QORCPU_PUSHI(300);
    QORCPU_PUSHB(number == 3);
}

void set_resolver(QOR_PROC procedure) {
    int32_t status;
    QOR_OBJECT *method = nullptr;
    CLASS_CREATE_CLASS_C("HOST", "1.0.0", &status);
    CLASS_CREATE_METHOD_C("HOST", "FIND", procedure, 2, 2, 'P', "", &status);
    MAP_MAP_OBJECT_REF_C(MAP_ROOT(), "HOST", &method, &status);
    QOR_OBJECT *find = nullptr;
    OBJ_index_object(method, text("FIND"), &find, &status);
    BTYP_set_link_resolver(text("any"), find);
    OBJ_remove_object(&find);
    OBJ_remove_object(&method);
    CLASS_REMOVE_CLASS_C("HOST", &status); // the resolver goes on
}

class Link : public testing::Test {
  protected:
    Link() { QORPROC_INIT(); }
    ~Link() override {
        OBJ_remove_object(&link);
        OBJ_remove_object(&target);
        QORPROC_TERMINATE();
    }
    int32_t resolve() {
        int32_t status;
        BTYP_get_link_object(link, &target, &status);
        return status;
    }

    QOR_OBJECT *link = nullptr;
    QOR_OBJECT *target = nullptr;
};

TEST_F(Link, FieldsOfAnyLength) {
    const std::string longest(70000, 'k');
    BTYP_create_link(&link, text("t"), 4000000000u, text("b"), text(longest), -5);
    EXPECT_EQ(rendered(link, BTYP_get_link_key), longest);
    EXPECT_EQ(rendered(link, BTYP_get_link_type), "t");
    EXPECT_EQ(rendered(link), ("t:-294967296:b:" + longest).substr(0, 65535));
    BTYP_create_link(&link, text("t"), 1, text(""), text("key"), 7);
    BTYP_set_link_bid(link, text("bid"));
    BTYP_set_link_orderpos(link, 9);
    int32_t number, orderpos;
    BTYP_get_link_number(link, &number);
    BTYP_get_link_orderpos(link, &orderpos);
    EXPECT_TRUE(number == 1 && orderpos == 9);
    EXPECT_EQ(rendered(link), "t:1:bid:key:9");
}

TEST_F(Link, GivesCopiesOfItsTarget) {
    set_resolver(find_int);
    calls = 0;
    BTYP_create_link(&link, text(""), 3, text(""), text(""), 0);
    ASSERT_EQ(resolve(), 1);
    BTYP_write_int(target, 1); // a copy
    ASSERT_EQ(resolve(), 1);
    EXPECT_EQ(rendered(target), "300");
    EXPECT_EQ(calls, 1);
    BTYP_create_link(&link, text(""), 4, text(""), text(""), 0);
    EXPECT_EQ(resolve() + resolve(), 0);
    EXPECT_EQ(calls, 3);
    BTYP_set_link_resolver(text(""), nullptr);
    EXPECT_EQ(resolve(), 0);
    EXPECT_EQ(calls, 3);
}

// Fails by the limit of calls; the resolver does not outlive the stop.
TEST_F(Link, EndsARecursionAndForgetsItsResolver) {
    const auto file = std::filesystem::temp_directory_path() / ("qor_link_test_" + std::to_string(getpid()) + ".qor");
    std::ofstream(file) << "PROCEDURE FIND\n  POP POP\n  VAR.L.NAME TRUE\nEND_PROCEDURE\n"
                           "'' &PROCEDURES.FIND SET_LINK_RESOLVER\n"
                           "'key' 1 CREATE_LINK => VAR.L\n"
                           "VAR.L.NAME\n";
    const std::string name = file.string();
    const char *arguments[] = {"link_test", "-cgi", "-script", name.c_str()};
    OPTION_LOAD_OPTIONS(4, arguments);
    testing::internal::CaptureStdout();
    EXPECT_EQ(QORPROC_START(), 3);
    std::fflush(stdout);
    EXPECT_EQ(testing::internal::GetCapturedStdout().substr(0, 48), "*** ABORT *** QORCPU(ENTER_FRAME) PStack Overflo");
    std::filesystem::remove(file);
    QORPROC_TERMINATE();
    QORPROC_INIT();
    BTYP_create_link(&link, text(""), 0, text(""), text("key"), 0);
    EXPECT_EQ(resolve(), 0);
}

TEST_F(Link, ADatabaseLinkWithoutValueStandsForNothing) {
    OBJ_create_object(&link, BTYP_dblink_tidf());
    OBJ_copy_object(link, &target);
    EXPECT_EQ(rendered(target), "NULL");
    int32_t status;
    OBJ_index_object(target, text("key"), &link, &status);
    EXPECT_EQ(status, 0);
}

} // namespace
