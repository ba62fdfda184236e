// Options as a host and a plug-in see them.
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "kernel_environment.hpp"
#include "qor/qor.h"

namespace {

int asked = 0;
const char *supplied = nullptr;

const char *supply() {
    ++asked;
    return supplied;
}

void load(std::vector<const char *> arguments) {
    arguments.insert(arguments.begin(), "program");
    OPTION_SET_TEMP_DIR_SUPPLIER(supply);
    OPTION_LOAD_OPTIONS(static_cast<int32_t>(arguments.size()), arguments.data());
}

std::string value(const char *name) {
    char buffer[4096];
    if (!OPTION_GETOPT_C(name, buffer)) return "not set";
    return buffer;
}

STRNG key(const char *text) {
    const auto n = static_cast<uint32_t>(strlen(text));
    return {n, n, reinterpret_cast<uint8_t *>(const_cast<char *>(text))};
}

TEST(Option, DirectoriesFollowTheSystemDirectory) {
    supplied = "/tmp/";
    load({"-system_dir", "\"/opt/kit/system/\" rest", "lost", "-system_dir", "\"/opt/kit/system/\" rest"});
    EXPECT_EQ(value("system_dir"), "/opt/kit/system");
    EXPECT_EQ(value("user_dir"), "/opt/kit/user");
    EXPECT_EQ(value("data_dir"), "/opt/kit/data");
    EXPECT_EQ(value("jre_dir"), "/opt/kit/jre");
    EXPECT_EQ(value("root_dir"), "/opt/kit");
    EXPECT_EQ(value("bin64_dir"), "/opt/kit/system/bin64");
    EXPECT_EQ(value("temp_dir"), "/tmp");
    EXPECT_EQ(value("script"), "not set");
    // Derived anew at each call: the two differ in their names on purpose.
    OPTION_SETOPT_C("user_dir", "/else");
    char buffer[4096];
    OPTION_GET_USER_BIN_DIR_C(buffer);
    EXPECT_STREQ(buffer, "/else/bin64");
    OPTION_GET_SYSTEM_BIN_DIR_C(buffer);
    EXPECT_STREQ(buffer, "/opt/kit/system/bin");
}

TEST(Option, TheSupplierIsAskedOnlyWhenNeeded) {
    std::string name = (std::filesystem::temp_directory_path() / "option-XXXXXX").string();
    ASSERT_TRUE(mkdtemp(name.data()));
    asked = 0;
    load({"-temp_dir", "/tmp"});
    EXPECT_EQ(asked, 0);
    supplied = nullptr;
    load({"-system_dir", "/a/system", "-user_dir", "/a", "-data_dir", name.c_str()});
    EXPECT_EQ(asked, 1);
    EXPECT_EQ(value("temp_dir"), name + "/temp"); // the user directory is not the system's
    EXPECT_TRUE(std::filesystem::remove(name + "/temp"));
    load({"-system_dir", name.c_str(), "-user_dir", (name + "/").c_str(), "-data_dir", "/a"});
    EXPECT_EQ(value("temp_dir"), name + "/temp"); // it is
    EXPECT_EQ(std::filesystem::remove_all(name), 2u);
}

TEST(Option, ValuesOfAnyKindAndLength) {
    const std::string longest(5000, 'v');
    const std::string too_long = "-" + std::string(1025, 'n');
    load({"-temp_dir", "/tmp", "-a", longest.c_str(), "-", "lost", too_long.c_str(), "x", "--", "y", "-DEFAULT", "z"});
    STRNG text;
    STRNG_CREATE(&text);
    EXPECT_EQ(OPTION_GETOPT(0, "abc", &text), 1); // the name is the first byte alone
    EXPECT_EQ(text.length, 5000u);
    STRNG_REMOVE(&text);
    EXPECT_EQ(OPTION_ISOPT_C("never"), 0); // the map's default is no option
    EXPECT_EQ(value("never"), "not set");

    QOR_OBJECT *object = nullptr;
    BTYP_create_int(&object, 42);
    OPTION_SETOPT_OBJ(key("n"), object);
    BTYP_write_int(object, 43);
    EXPECT_EQ(value("n"), "42"); // a copy, and a text of any type
    BTYP_create_undef_string(&object);
    OPTION_SETOPT_OBJ(key("n"), object);
    EXPECT_EQ(value("n"), "");
    EXPECT_EQ(OPTION_GETOPT_OBJ(key("a"), &object), 1);
    EXPECT_EQ(OPTION_GETOPT_OBJ(key("b"), &object), 0);
    OBJ_remove_object(&object);
    load({"-temp_dir", "/tmp"});
    EXPECT_EQ(value("a"), "not set"); // loading starts anew
}

} // namespace
