// The word cutter on texts of a caller's own, and skipping in a script.
#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

#include "qor/qor.h"

namespace {

STRNG borrow(std::string &s) {
    const auto n = static_cast<uint32_t>(s.size());
    return {n, n, reinterpret_cast<uint8_t *>(s.data())};
}

template <class Cutter> std::vector<std::string> cut(Cutter cutter, std::string text, char delimiter) {
    std::vector<std::string> parts;
    STRNG_CURSOR cursor;
    STRNG2_PREPX(borrow(text), &cursor);
    STRNG part;
    STRNG_CREATE(&part);
    LEX2_RESET();
    while (cutter(&cursor, &part, static_cast<uint8_t>(delimiter))) {
        parts.emplace_back(reinterpret_cast<char *>(part.data), part.length);
    }
    STRNG_REMOVE(&part);
    return parts;
}

using Parts = std::vector<std::string>;

class Lex2 : public testing::Test {
  protected:
    static void SetUpTestSuite() { QORPROC_INIT(); }
};

TEST_F(Lex2, words) {
    const auto words = [](const std::string &text, char delimiter) { return cut(LEX2_NEXT_WORD, text, delimiter); };
    EXPECT_EQ(words("  a b\tc ", ' '), (Parts{"a", "b", "c"}));
    EXPECT_EQ(words("abc'd e'f g", ' '), (Parts{"abc'd e'f", "g"}));
    EXPECT_EQ(words("'a,b',c d,e", ','), (Parts{"'a,b'", "c", "d", "e"}));
    // The first character is taken whatever it is; a blank ends like a comma.
    EXPECT_EQ(words("a,,b, ,c", ','), (Parts{"a", ",b", ",c"}));
    EXPECT_EQ(words("a!b ! c", ' '), (Parts{"a", "b"}));
    EXPECT_EQ(words("'a!\tb", ' '), (Parts{"'a! b"}));
    EXPECT_EQ(words(std::string("a\0b", 3), ' '), (Parts{std::string("a\0b", 3)}));
    EXPECT_EQ(words("", ' '), Parts{});
}

TEST_F(Lex2, items_keep_blanks) {
    const auto items = [](const std::string &text) { return cut(LEX2_NEXT_ITEM, text, ','); };
    EXPECT_EQ(items(" a b , c!,'d,e'"), (Parts{" a b ", " c!", "'d,e'"}));
    EXPECT_EQ(items("a,"), (Parts{"a"}));
}

TEST_F(Lex2, skips_over_lines_and_comments) {
    const std::string file = testing::TempDir() + "lex2_skip.qor";
    std::ofstream(file) << "a ! x in a comment\n'! x' b\ny\n";
    std::string name = file;
    int32_t status = 0;
    LEX2_OPEN(nullptr, borrow(name), &status);
    ASSERT_EQ(status, 1);
    EXPECT_EQ(LEX2_SKIP('x'), 1); // the one between the quotes
    STRNG token, position;
    STRNG_CREATE(&token);
    STRNG_CREATE(&position);
    uint32_t line = 0;
    LEX2_GET_POSITION(&position, &line);
    EXPECT_EQ(line, 2u);
    EXPECT_EQ(std::string(reinterpret_cast<char *>(position.data), position.length), file);
    EXPECT_EQ(LEX2_SKIP('x'), 0);
    EXPECT_EQ(LEX2_READ_NEXT_TOKEN(&token), 0);
    LEX2_CLOSE();
    EXPECT_EQ(LEX2_GET_FILE(), -1);
    STRNG_REMOVE(&token);
    STRNG_REMOVE(&position);
    std::remove(file.c_str());
}

} // namespace
