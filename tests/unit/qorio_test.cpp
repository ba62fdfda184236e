// What scripts can not reach of the lowest file layer: parking, reopening, raw
// positions, binary files; and path expansion with directories of its own.
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <stdlib.h>
#include <sys/resource.h>

#include "kernel_environment.hpp"
#include "qor/qor.h"

namespace {

namespace fs = std::filesystem;

std::string read_all(const std::string &path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

void write_all(const std::string &path, const std::string &text) { std::ofstream(path, std::ios::binary) << text; }

class Qorio : public testing::Test {
  protected:
    void SetUp() override {
        std::string name = (fs::temp_directory_path() / "qorio-XXXXXX").string();
        ASSERT_TRUE(mkdtemp(name.data()));
        directory = fs::canonical(name).string() + "/";
        write_all(path("many"), "0123\r\n67\r\n");
    }
    void TearDown() override {
        close_many();
        fs::remove_all(directory);
    }

    std::string path(const std::string &name) const { return directory + name; }
    int32_t open(const std::string &name, decltype(QORIO_OPEN) *procedure = QORIO_OPEN) {
        int32_t id = -1;
        const std::string full = path(name);
        procedure(&id, full.data(), static_cast<uint32_t>(full.size()));
        return id;
    }
    // Files enough to park what was opened before.
    void open_many(int count = 512) {
        for (int i = 0; i < count; ++i) many.push_back(open("many"));
        ASSERT_GE(many.back(), 0);
    }
    void close_many() {
        for (int32_t &id : many) QORIO_CLOSE(&id);
        many.clear();
    }

    std::string directory;
    std::vector<int32_t> many;
};

void write(int32_t id, const std::string &text) {
    for (const char c : text) ASSERT_EQ(QORIO_WRITE(id, static_cast<uint8_t>(c)), 0);
}

std::string read(int32_t id, int count) {
    std::string text;
    uint8_t byte;
    while (count-- > 0 && QORIO_READ(id, &byte) == 0) text += static_cast<char>(byte);
    return text;
}

uint32_t position(int32_t id) {
    uint32_t place = 0;
    EXPECT_EQ(QORIO_GET_POS(id, &place), 0);
    return place;
}

TEST_F(Qorio, ReadFilesGoOnWhereTheyWere) {
    open_many(600); // the first are parked by the last
    for (const int32_t id : many) EXPECT_EQ(read(id, 3), "012");
    for (const int32_t id : many) {
        EXPECT_EQ(read(id, 2), "3\n");
        EXPECT_EQ(position(id), 6u); // two bytes for the folded line end
    }
    for (const int32_t id : many) EXPECT_EQ(read(id, 9), "67\n");
}

TEST_F(Qorio, ParkedTextFiles) {
    int32_t written = open("written", QORIO_CREATE), placed = open("placed", QORIO_CREATE),
            read_back = open("read", QORIO_CREATE);
    for (const int32_t id : {written, placed, read_back}) write(id, "abc");
    EXPECT_EQ(QORIO_SET_POS(placed, 1), 0);
    open_many();
    EXPECT_EQ(read_all(path("written")), "abc"); // parking writes what waited
    EXPECT_EQ(position(written), 3u);
    EXPECT_EQ(position(placed), 1u);
    EXPECT_EQ(QORIO_FLUSH(placed), 0);
    // Written again: back for appending.
    write(written, "d");
    uint8_t byte;
    EXPECT_NE(QORIO_READ(written, &byte), 0);
    // Placed: back for both.
    EXPECT_EQ(QORIO_SET_POS(placed, 2), 0);
    write(placed, "C");
    EXPECT_EQ(QORIO_SET_POS(placed, 0), 0);
    EXPECT_EQ(read(placed, 9), "abC");
    // Read: back where it was, and for reading alone: a lost write is told.
    EXPECT_EQ(read(read_back, 1), "");
    EXPECT_EQ(position(read_back), 3u);
    EXPECT_NE(QORIO_WRITE(read_back, 'x'), 0);
    EXPECT_NE(QORIO_CLOSE(&read_back), 0);
    EXPECT_EQ(read_back, -1);
    EXPECT_EQ(QORIO_CLOSE(&written), 0);
    EXPECT_EQ(QORIO_CLOSE(&placed), 0);
    EXPECT_EQ(read_all(path("written")), "abcd");
    EXPECT_EQ(read_all(path("placed")), "abC");
}

TEST_F(Qorio, BinaryFiles) {
    int32_t id, reader;
    ASSERT_EQ(QORIO_CREATE_BINARY_C(&id, path("b").c_str()), 0);
    EXPECT_EQ(QORIO_WRITE_BINARY(id, "a\r\nb", 4), 0);
    const std::string large(200000, 'l');
    EXPECT_EQ(QORIO_WRITE_BINARY(id, large.data(), 200000), 0);
    EXPECT_EQ(QORIO_SET_POS(id, 1), 0);
    std::string block(5, ' ');
    EXPECT_EQ(QORIO_READ_BINARY(id, block.data(), 5), 0);
    EXPECT_EQ(block, "\r\nbll");
    open_many();
    // A block operation finds a parked file at its start.
    EXPECT_EQ(QORIO_WRITE_BINARY(id, "A", 1), 0);
    EXPECT_EQ(position(id), 1u);
    EXPECT_EQ(QORIO_CLOSE(&id), 0);
    EXPECT_EQ(read_all(path("b")), "A\r\nb" + large);
    ASSERT_EQ(QORIO_OPEN_BINARY_C(&reader, path("b").c_str()), 0);
    std::string whole(200004, ' ');
    EXPECT_EQ(QORIO_READ_BINARY(reader, whole.data(), 200004), 0);
    EXPECT_EQ(whole, "A\r\nb" + large);
    EXPECT_NE(QORIO_READ_BINARY(reader, whole.data(), 1), 0);
    EXPECT_EQ(QORIO_CLOSE(&reader), 0);
}

TEST_F(Qorio, AParkedFileThatVanished) {
    int32_t id = open("many");
    EXPECT_EQ(read(id, 2), "01");
    write_all(path("other"), "");
    for (int i = 0; i < 512; ++i) many.push_back(open("other"));
    fs::rename(path("many"), path("away"));
    uint8_t byte;
    EXPECT_NE(QORIO_READ(id, &byte), 0);
    fs::rename(path("away"), path("many"));
    EXPECT_EQ(read(id, 1), "2");
    EXPECT_EQ(QORIO_CLOSE(&id), 0);
}

TEST_F(Qorio, LimitsAndMisuse) {
    rlimit before, low = {64, 0};
    getrlimit(RLIMIT_NOFILE, &before);
    low.rlim_max = before.rlim_max;
    setrlimit(RLIMIT_NOFILE, &low); // fewer handles than the layer would keep
    open_many(1024);
    setrlimit(RLIMIT_NOFILE, &before);
    EXPECT_EQ(open("many"), -1);
    for (const int32_t id : many) EXPECT_EQ(read(id, 1), "0");
    close_many();
    int32_t id = 5;
    EXPECT_EQ(QORIO_CLOSE(&id), 1);
    EXPECT_EQ(id, 5);
    for (const int32_t bad : {-1, 5, 1024}) {
        uint32_t place;
        uint8_t byte;
        EXPECT_EQ(QORIO_GET_POS(bad, &place), 1);
        EXPECT_EQ(QORIO_SET_POS(bad, 0), 1);
        EXPECT_EQ(QORIO_READ(bad, &byte), 1);
        EXPECT_EQ(QORIO_WRITE(bad, 0), 1);
        EXPECT_EQ(QORIO_FLUSH(bad), 1);
    }
    EXPECT_EQ(QORIO_EXISTS(directory.c_str()), 0);
    EXPECT_EQ(QORIO_EXISTS(path("many").c_str()), 1);
}

TEST_F(Qorio, PathExpansion) {
    for (const char *name : {"user/job/script.qor", "user/job/beside", "user/u", "system/s", "system/job/mirrored",
                             "root/r", "root/u", "cwd/here", "cwd/beside"}) {
        fs::create_directories(fs::path(path(name)).parent_path());
        write_all(path(name), "");
    }
    const fs::path before = fs::current_path();
    fs::current_path(path("cwd"));
    for (const char *name : {"user", "system", "root"}) {
        OPTION_SETOPT_C((std::string(name) + "_dir").c_str(), path(name).c_str());
    }
    OPTION_SETOPT_C("script", path("user/job/script.qor").c_str());
    const auto expand = [](const char *name) -> std::string {
        char buffer[4096];
        if (!QORIO_EXPAND_QOR_PATH_C(name, buffer)) return "not found";
        return buffer;
    };
    EXPECT_EQ(expand("here"), path("cwd/here"));
    EXPECT_EQ(expand("./here"), "./here");
    EXPECT_EQ(expand("beside"), path("cwd/beside")); // before the one beside the script
    fs::current_path(before);
    EXPECT_EQ(expand("u"), path("user/u")); // before that of the root directory
    EXPECT_EQ(expand("s"), path("system/s"));
    EXPECT_EQ(expand("r"), path("root/r"));
    EXPECT_EQ(expand("job/script.qor"), path("user/job/script.qor"));
    EXPECT_EQ(expand("beside"), path("user/job/beside"));
    EXPECT_EQ(expand("any/where/beside"), path("user/job/beside"));
    EXPECT_EQ(expand("mirrored"), path("system/job/mirrored"));
    for (const char *name : {"nowhere", "", "job"}) EXPECT_EQ(expand(name), "not found");
    OPTION_SETOPT_C("script", "gone.qor");
    for (const char *name : {"gone.qor", "mirrored"}) EXPECT_EQ(expand(name), "not found");
}

} // namespace
