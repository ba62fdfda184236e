// What scripts can not reach of the object streams: lines of any number and
// length, streams that break off anywhere, types of plug-ins, the end of the
// swap file.
#include <sys/resource.h>

#include <csignal>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>

#include "kernel_environment.hpp"
#include "qor/qor.h"
#include "texts.hpp"

namespace {

namespace fs = std::filesystem;

struct Var {
    QOR_OBJECT *object = nullptr;
    ~Var() { OBJ_remove_object(&object); }
};

class Stream : public testing::Test {
  protected:
    void SetUp() override {
        std::string name = (fs::temp_directory_path() / "stream-XXXXXX").string();
        ASSERT_TRUE(mkdtemp(name.data()));
        directory = name;
        path = directory + "/objects";
    }
    void TearDown() override { fs::remove_all(directory); }

    std::string lines_of(QOR_OBJECT *object) {
        int32_t file, status;
        TEXTFILE_CREATE(&file, ::text(path), &status);
        TEXTFILE_WRITE_OBJECT(&file, object);
        TEXTFILE_CLOSE(&file);
        std::ifstream written(path, std::ios::binary);
        return {std::istreambuf_iterator<char>(written), {}};
    }
    // Reads all objects of a text and tells how many; the last one, which did not
    // come whole, and the first one are left in the variables.
    int read_all(const std::string &text, QOR_OBJECT **last = nullptr, QOR_OBJECT **first = nullptr) {
        std::ofstream(path, std::ios::binary) << text;
        int32_t file, status, count = 0;
        TEXTFILE_OPEN(&file, ::text(path), &status);
        for (;; ++count) {
            Var object;
            TEXTFILE_READ_OBJECT(&file, &object.object, &status);
            if (!status && last) std::swap(*last, object.object);
            if (!status) break;
            if (!count && first) std::swap(*first, object.object);
        }
        TEXTFILE_CLOSE(&file);
        return count;
    }
    std::string directory, path;
};

TEST_F(Stream, AnyPrefixReadsAndWritesWhatItHolds) {
    const std::string row = "6\n1\n2\nao\n0\n1\n1\nao\n13\n1\n2\n";
    const std::string objects[] = {
        "0\n1\n7\n",
        "4\n1\nml\nL\nmo\nA\n12\n1\nlo\n3\n1\ntwo words\nlo\n1\n1\n0.500000\nll\nmo\nB\n2\n1\n1\nem\n",
        "8\n1\n2\nao\n3\n1\nF\nao\n3\n1\nG\nml\n\nmo\nK\n" + row + "em\n",
        "10\n1\ntype\n-1\nbid\nkey\n5\n",
        "5\n1\nsa 3\nao\nsr 2\nro\nsl 1\nap 1 1\nlp 0 0 0 0\nlp 1.5 0 0 0\nel\ner\nea\n",
    };
    std::string text;
    for (const std::string &object : objects) text += object;
    for (size_t n = 0; n <= text.size(); ++n) {
        Var last;
        ASSERT_LE(read_all(text.substr(0, n), &last.object), 5);
        if (last.object) lines_of(last.object);
    }
    EXPECT_EQ(read_all(text), 5);
    Var map;
    read_all(objects[1].substr(0, objects[1].size() - 3), &map.object);
    EXPECT_EQ(lines_of(map.object), objects[1]) << "a map that breaks off has the entries that came";
}

TEST_F(Stream, RealsAreWrittenAsTheCLibraryWritesThem) {
    std::mt19937_64 random(1);
    Var list;
    BTYP_create_list(&list.object);
    std::string expected = "12\n1\n";
    for (uint64_t i = 0; i < 20000; ++i) {
        uint64_t bits = random();
        if (i < 8) bits = uint64_t{0x7ff} << 52 | i % 4 << 50 | i / 4 << 63; // infinities and NaNs
        double value;
        std::memcpy(&value, &bits, sizeof value);
        if (i % 2) value = static_cast<double>(static_cast<int32_t>(bits)) / 128e6; // halves in the seventh decimal
        Var real;
        BTYP_create_real(&real.object, value);
        BTYP_append_to_list(list.object, real.object);
        char text[400];
        std::snprintf(text, sizeof text, "lo\n1\n1\n%lf\n", value);
        expected += text;
    }
    EXPECT_TRUE(lines_of(list.object) == expected + "ll\n");
}

TEST_F(Stream, LongLinesKeepTheirPlace) {
    const std::string word(100000, 'w'), medium(20000, 'm');
    Var list;
    BTYP_create_list(&list.object);
    std::string expected = "12\n1\n";
    for (const std::string &text : {medium, medium, word, std::string("short"), word}) {
        Var element;
        BTYP_create_string(&element.object, ::text(text));
        BTYP_append_to_list(list.object, element.object);
        expected += "lo\n3\n1\n" + text + "\n";
    }
    EXPECT_EQ(lines_of(list.object), expected + "ll\n");
    Var back;
    EXPECT_EQ(read_all(expected + "ll\n", nullptr, &back.object), 1);
    EXPECT_EQ(lines_of(back.object), expected + "ll\n");
}

TEST_F(Stream, NestingHasALimit) {
    const std::string levels[] = {"12\n1\nlo\n", "4\n1\nml\n\nmo\nK\n", "6\n1\n1\nao\n", "8\n1\n0\nml\n\nmo\nK\n"};
    for (const std::string &level : levels) {
        std::string text;
        for (int i = 0; i < 450; ++i) text += level; // a table counts twice
        EXPECT_EQ(read_all(text), 0);
        for (int i = 0; i < 20000; ++i) text += level;
        EXPECT_ABORT(read_all(text), "objects nested too deeply");
    }
    std::string rands = "5\n1\n";
    for (int i = 0; i < 20000; ++i) rands += "sr 0\nro\n";
    EXPECT_ABORT(read_all(rands), "objects nested too deeply");
}

// --- a plug-in's type of the name that streams know --------------------------------

QOR_OBJECT *walked = nullptr; // the container being written, which get_table changes
void (*change)() = nullptr;
std::string created;

void ilink_domethod(void *, const char *name) {
    const std::string method = name;
    if (method == "get_table" && change) change();
    if (method == "get_table") QORCPU_PUSHS_C("a table");
    if (method == "get_key") QORCPU_PUSHS_C("a key");
    if (method != "create") return;
    for (const char *mark : {"/", "."}) {
        char text[100];
        QORCPU_POPS_C(text);
        created += text + std::string(mark);
    }
}

int32_t ilink_type() {
    static int32_t type = -1;
    if (type < 0) OBJ_create_type(&type, "ilink");
    OBJ_set_domethod_proc(type, ilink_domethod);
    return type;
}

TEST_F(Stream, AnIlinkIsReadAndWrittenByItsMethods) {
    const std::string text = std::to_string(ilink_type()) + "\n1\na table\na key\n";
    Var ilink;
    read_all(text, nullptr, &ilink.object);
    EXPECT_EQ(created, "a key/a table.");
    EXPECT_EQ(OBJ_object_value_is_defined(ilink.object), 1);
    EXPECT_EQ(lines_of(ilink.object), text);
}

TEST_F(Stream, AMethodMayChangeWhatIsWritten) {
    const std::string ilink = std::to_string(ilink_type()) + "\n1\na table\na key\n";
    const auto fill = [&](Var &map) {
        Var link, number;
        BTYP_create_int(&number.object, 7);
        OBJ_create_object(&link.object, ilink_type());
        int64_t value = 0;
        OBJ_set_object_value_ref(link.object, &value);
        QOR_MAP *handle;
        MAP_CREATE_NONAME(&handle);
        BTYP_create_map_ref(&map.object, handle);
        MAP_INSERT_OBJECT_REF_C(handle, "A", link.object);
        MAP_INSERT_OBJECT_REF_C(handle, "B", number.object);
        MAP_INSERT_OBJECT_REF_C(handle, "C", number.object);
        walked = map.object;
    };
    Var map;
    fill(map);
    change = [] {
        QOR_MAP *handle;
        int32_t status;
        BTYP_read_map_ref(walked, &handle);
        MAP_REMOVE_OBJECT_C(handle, "A", &status);
        MAP_REMOVE_OBJECT_C(handle, "B", &status);
    };
    EXPECT_EQ(lines_of(map.object), "4\n1\nml\n\nmo\nA\n" + ilink + "mo\nC\n0\n1\n7\nem\n");
    fill(map);
    change = [] { OBJ_set_null(walked); };
    EXPECT_EQ(lines_of(map.object), "4\n1\nml\n\nmo\nA\n" + ilink + "em\n");
    change = nullptr;
}

void file_object(const std::string &text) {
    QORCPU_PUSHS_C(text.c_str());
    QORCPU_DO_METHOD_BY_NAME_C("QOR", "FILE_OBJECT");
}

TEST_F(Stream, TheSwapFileGoesWithTheKernel) {
    OPTION_SETOPT_C("temp_dir", ".");
    EXPECT_EXIT(
        {
            fs::current_path(directory);
            file_object("first");
            QORCPU_PUSHS_C("/");
            QORCPU_DO_METHOD_BY_NAME_C("DIRECTORY", "CHANGE");
            const std::string swap = directory + "/tmpobj.dat";
            const bool was_there = fs::exists(swap);
            QORPROC_TERMINATE();
            _exit(was_there && !fs::exists(swap) ? 0 : 1);
        },
        testing::ExitedWithCode(0), "");
}

TEST_F(Stream, TheSwapFileTakesNoObjectThatItCanNotGiveBack) {
    OPTION_SETOPT_C("temp_dir", directory.c_str());
    const char message[] = "ODB: unable to write to 0:10";
    const auto into_a_full_disk = [] {
        file_object("first");
        signal(SIGXFSZ, SIG_IGN);
        const rlimit limit{8192, 8192};
        setrlimit(RLIMIT_FSIZE, &limit);
        file_object(std::string(100000, 'x'));
    };
    EXPECT_ABORT(into_a_full_disk(), message);
    const auto into_another_file = [&] {
        file_object("first");
        int32_t file = 0, status;
        TEXTFILE_CLOSE(&file);
        TEXTFILE_CREATE(&file, ::text(path), &status);
        file_object("second");
    };
    EXPECT_ABORT(into_another_file(), message);
}

} // namespace
