// The reader of the plug-in CSV. A record may end, begin or be damaged wherever a
// block ends: each file is read in blocks of every small size.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <string>

#include "plugins/csv/reader.hpp"

namespace {

const std::string PATH = testing::TempDir() + "csv_reader_test_" + std::to_string(getpid());

// The names, then the records, fields between < and >; what is wrong behind them.
std::string read_all(const std::string &parameter, size_t block) {
    std::string shown;
    const auto show = [&shown](const auto &fields) {
        for (const auto &field : fields) shown.append("<").append(field).append(">");
    };
    try {
        const csv::Options options = csv::parse_options(parameter);
        const auto reader = csv::Reader::open(PATH, options, block);
        show(reader->names());
        while (reader->read()) {
            shown += "\n";
            show(reader->fields());
        }
    } catch (const csv::Fault &fault) {
        shown += "!" + fault.text;
    }
    return shown;
}

void expect(const std::string &text, const std::string &parameter, const std::string &expected) {
    std::ofstream(PATH, std::ios::binary) << text;
    for (size_t block = 1; block < 40; ++block)
        ASSERT_EQ(read_all(parameter, block), expected) << "block " << block << " of " << text;
    ASSERT_EQ(read_all(parameter, csv::Reader::BLOCK), expected) << text;
    std::remove(PATH.c_str());
}

using namespace std::string_literals;

TEST(CsvReader, Records) {
    expect("A,B\n1,2\n3,4", "f", "<A><B>\n<1><2>\n<3><4>");
    expect("A,B\r\n,\r\"x\",\"\"\n\"\",\" y \"\r", "f", "<A><B>\n<><>\n<x><>\n<>< y >");
    expect("A,B\n\"1,\r\n\n2\",\"say \"\"hi\"\"\"\n\"\"\"\"\"\",z\n", "f",
           "<A><B>\n<1,\r\n\n2><say \"hi\">\n<\"\"><z>");
    expect("A\0,B\n\0001,\"\0002\0\"\n"s, "f", "<A\0><B>\n<\0001><\0002\0>"s);
    // A mark of the encoding goes in front of the file alone, also before a quote.
    expect("\xEF\xBB\xBF\"A\",B\n\xEF\xBB\xBF,2\n", "f", "<A><B>\n<\xEF\xBB\xBF><2>");
    expect("\xEF\xBB", "f", "<\xEF\xBB>");
}

TEST(CsvReader, EmptyLinesAndFiles) {
    expect("\n\r\nA,B\n\n1,2\n\n\n", "f", "<A><B>\n<1><2>");
    expect("A\n\n1\r\n\r\n\n", "f", "<A>\n<>\n<1>\n<>\n<>");
    for (const char *empty : {"", "\n\n"}) expect(empty, "f", "");
    expect("A,B", "f", "<A><B>");
}

TEST(CsvReader, Options) {
    expect("1;2,5\n", "f,delimiter=;,header=no", "\n<1><2,5>");
    expect("x\ty\n1\t'\t'\n", "f, delimiter=tab ,quote=',fields=P",
           "<P>!f, line 1, record 1: the number of fields is 2, not 1");
    expect("x\ty\n1\t'\t'\n", "f,delimiter=tab,fields=P, Q ,\"R,\"\"S\"\"\",header=yes,quote='",
           "<P><Q><R,\"S\">!f, line 2, record 1: the number of fields is 2, not 3");
    expect("5\" pipe, \"\n\"x\n", "f,quote=none,fields=A,B",
           "<A><B>\n<5\" pipe>< \">!f, line 2, record 2: the number of fields is 1, not 2");
    expect("a b\n", "\"odd,\"\"name\"\"\" ,delimiter=blank", "<a><b>");
    EXPECT_EQ(csv::parse_options("\"odd,\"\"name\"\"\",end=crlf").file, "odd,\"name\"");
    for (const char *bad : {"f,delimiter=", "f,delimiter=ab", "f,quote=\n", "f,header=maybe", "f,end=cr", "f,fields",
                            "f,x", "f,delimiter=\",quote=\"", "f,fields=A,,B", "f,fields=A,DEFAULT", "f,fields=A,B,A"})
        EXPECT_THROW(csv::parse_options(bad), csv::Fault) << bad;
}

TEST(CsvReader, Damage) {
    expect("A,B\n1,2\n\n3\n", "f", "<A><B>\n<1><2>!f, line 4, record 2: the number of fields is 1, not 2");
    expect("A,B\n\"1\n\n\",2\n3,4,5\n", "f",
           "<A><B>\n<1\n\n><2>!f, line 5, record 2: the number of fields is 3, not 2");
    expect("A,B\n1,2\n\"a\nb\",\"c\nd", "f",
           "<A><B>\n<1><2>!f, line 4, record 2: the quote before field 2 has no partner");
    expect("A,B\n\"a\nb\"c,1\n", "f", "<A><B>!f, line 3, record 1: there is text behind the closing quote of field 1");
    expect("A,B\n1,c\"d\n", "f",
           "<A><B>!f, line 2, record 1: there is a quote in field 2, which does not begin with one");
    expect("A,,B\n", "f", "!f, line 1, header: field 2 has no name");
    expect("\nA,B,A\n", "f", "!f, line 2, header: two fields have the name A");
    expect("A,\"B\n", "f", "!f, line 1, header: the quote before field 2 has no partner");
}

TEST(CsvReader, ManyBlocks) {
    std::ofstream file(PATH, std::ios::binary);
    for (int i = 0; i < 100'000; ++i) file << i << ",\"" << i % 7 << "\n\"\"\",text of some length\n";
    file.close();
    const auto reader = csv::Reader::open(PATH, csv::parse_options("f,fields=A,B,C"));
    int count = 0;
    for (; reader->read(); ++count) {
        ASSERT_EQ(reader->fields()[0], std::to_string(count));
        ASSERT_EQ(reader->fields()[1], std::to_string(count % 7) + "\n\"");
    }
    EXPECT_EQ(count, 100'000);
    std::remove(PATH.c_str());
}

} // namespace
