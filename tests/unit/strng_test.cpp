#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <string>
#include <tuple>

#include "qor/conv.h"
#include "qor/storage.h"
#include "qor/strng.h"

namespace {

// A string for one test.
struct Text {
    STRNG s;

    Text() { STRNG_CREATE(&s); }
    explicit Text(const std::string &text) : Text() {
        for (const char c : text) STRNG_APPC(static_cast<uint8_t>(c), &s);
    }
    ~Text() { STRNG_REMOVE(&s); }
    Text(const Text &) = delete;
    Text &operator=(const Text &) = delete;

    std::string str() const { return {reinterpret_cast<const char *>(s.data), s.length}; }
};

STRNG_CURSOR cursor_over(const Text &text) {
    STRNG_CURSOR cursor;
    STRNG2_PREPX(text.s, &cursor);
    return cursor;
}

std::string rest(const STRNG_CURSOR &cursor) { return {cursor.next, cursor.end}; }

TEST(Strng, AppendingByDoublingAndExactly) {
    Text s;
    const auto expect_capacity = [&s](uint32_t capacity) { EXPECT_EQ(s.s.capacity, capacity) << s.str(); };
    STRNG_APPC('a', &s.s);
    expect_capacity(1);
    STRNG_APPC('b', &s.s);
    expect_capacity(4);
    STRNG_APPARR_C("cde", &s.s, 0);
    expect_capacity(10);
    STRNG_APP(Text("123456").s, &s.s);
    expect_capacity(11);
    STRNG_APP(s.s, &s.s); // the source lies in the buffer that is replaced
    EXPECT_EQ(s.str(), "abcde123456abcde123456");
    STRNG_APP(Text().s, &s.s);
    expect_capacity(22);
}

TEST(Strng, ArraysEndAtZeroOrAtTheirHighestIndex) {
    Text s;
    STRNG_FILL(6, "PUSH   xx", &s.s);
    EXPECT_EQ(s.str(), "PUSH   ");
    STRNG_FILL_C("", &s.s);
    EXPECT_TRUE(s.s.length == 0 && s.s.capacity == 7);
    STRNG_APPARR(2, "ab\0", &s.s, 3);
    EXPECT_EQ(STRNG_GET_STAT(), 0);
    STRNG_APPARR(1, "cd", &s.s, 9);
    EXPECT_EQ(STRNG_GET_STAT(), 3);
    EXPECT_EQ(s.str(), std::string("ab\0cd", 5));
    STRNG_FILL(UINT32_MAX, "whole", &s.s);
    EXPECT_EQ(s.str(), "whole");
}

TEST(Strng, StorageIsCountedToTheByte) {
    const int64_t before = Storage_GET_SIZE();
    {
        Text s("some text");
        STRNG_APPINT(1, &s.s, 100);
        STRNG2_TRIM(&s.s);
        STRNG_COPY(s.s, 0, &s.s);
    }
    EXPECT_EQ(Storage_GET_SIZE(), before);
}

TEST(Strng, CopyCutsPadsAndKeepsTheBuffer) {
    Text s("old text");
    const uint8_t *buffer = s.s.data;
    STRNG_COPY(Text("abc").s, 5, &s.s);
    EXPECT_EQ(s.str(), "abc  ");
    STRNG_COPY(Text("abc").s, 2, &s.s);
    STRNG_COPY(s.s, 0, &s.s);
    EXPECT_EQ(s.str(), "ab");
    EXPECT_EQ(s.s.data, buffer);
    STRNG_COPY(Text("0123456789012345678").s, 0, &s.s);
    EXPECT_EQ(s.s.capacity, 19u);

    STRNG_TRNC(&s.s, 20);
    EXPECT_EQ(STRNG_GET_STAT(), 3);
    STRNG_TRNC(&s.s, 4);
    EXPECT_EQ(s.str(), "0123");
    STRNG_SETLGTH(&s.s, 3);
    EXPECT_TRUE(s.s.length == 0 && s.s.capacity == 3);
}

TEST(Strng, ARecordThatWasNeverCreatedIsLeftAlone) {
    STRNG wild = {STRNG_LIMIT + 1, 77, reinterpret_cast<uint8_t *>(1)};
    const STRNG before = wild;
    STRNG_CURSOR cursor = {nullptr, nullptr};
    STRNG_APPC('x', &wild);
    EXPECT_EQ(STRNG_GET_STAT(), 2);
    STRNG_APPINT(1, &wild, 9);
    STRNG_APPLREAL(1.0, &wild, 2);
    STRNG2_EXTRTOKEN_C(&cursor, &wild, ",");
    STRNG_ALIGN(&wild, 100);
    STRNG_REMOVE(&wild);
    EXPECT_EQ(STRNG_GET_STAT(), 2);
    EXPECT_EQ(std::memcmp(&wild, &before, sizeof wild), 0);
}

TEST(Strng, ComparisonUsesTheLow16BitsOfTheLength) {
    const std::string most(32768, 'x'), wrapped(65536 + 2, 'x'), other = "xx" + std::string(65536, 'y');
    EXPECT_FALSE(STRNG_MATCH(Text(most).s, Text(most.substr(1) + "y").s));
    EXPECT_TRUE(STRNG_MATCH(Text(most + "a").s, Text(most + "b").s)); // beyond, nothing is compared
    EXPECT_TRUE(STRNG_MATCH(Text(wrapped).s, Text(other).s));
    const std::tuple<std::string, std::string, int> orders[] = {
        {"ab", "abc", 0}, {"a\xe4", "az", 2}, {"", "", 1}, {"xxz" + wrapped, wrapped + "yyy", 2}, {wrapped, other, 1}};
    for (const auto &[a, b, expected] : orders) {
        uint8_t order;
        STRNG_COMPARE(Text(a).s, Text(b).s, &order);
        EXPECT_EQ(order, expected) << a.substr(0, 9);
    }
}

TEST(Strng, LiteralsMatchWithoutTheirTrailingBlanks) {
    EXPECT_TRUE(STRNG2_MATCHA_C(Text("THEN").s, "THEN "));
    EXPECT_FALSE(STRNG2_MATCHA_C(Text("THEN ").s, "THEN"));
    EXPECT_FALSE(STRNG2_MATCHA_C(Text("THEN").s, "THENX"));
    EXPECT_FALSE(STRNG2_MATCHA_C(Text().s, ""));
    EXPECT_TRUE(STRNG2_MATCHA(Text("AB").s, 3, "AB  "));
    EXPECT_TRUE(STRNG2_MATCHA(Text("ABCD").s, 3, "ABCDE"));
    EXPECT_FALSE(STRNG2_MATCHA(Text("ABCDE").s, 3, "ABCDE"));
}

TEST(Strng, CursorsCoverAndTake) {
    Text s("abcdef"), taken;
    STRNG_CURSOR cursor;
    STRNG_PREPX(s.s, 1, 3, &cursor);
    EXPECT_EQ(rest(cursor), "bcd");
    STRNG_PREPX(s.s, 4, UINT32_MAX, &cursor);
    EXPECT_EQ(rest(cursor), "ef");
    STRNG_PREPX(s.s, 9, UINT32_MAX, &cursor);
    EXPECT_TRUE(STRNG_EOX(&cursor));
    STRNG_PREPX(Text().s, 0, 5, &cursor);
    EXPECT_EQ(cursor.next, nullptr);
    STRNG2_PREP_LAST(s.s, 2, &cursor);
    EXPECT_EQ(rest(cursor), "ef");
    STRNG_EXTRSTR(&cursor, 5, &taken.s);
    EXPECT_EQ(taken.str(), "ef");
    uint8_t c = 'x';
    EXPECT_EQ(STRNG_NEXT_BYTE(&cursor, &c), 0);
    EXPECT_EQ(c, 'x');
    STRNG_EXTRC(&cursor, &c);
    EXPECT_EQ(c, ' ');
    EXPECT_EQ(STRNG_GET_STAT(), 0);
}

template <class Operation, class... Arguments> std::string appended(Operation operation, Arguments... arguments) {
    Text s;
    operation(&s.s, arguments...);
    return s.str();
}

TEST(Strng, TextInColumns) {
    Text source("abc  "), s("x");
    const STRNG_CURSOR cursor = cursor_over(source);
    STRNG_APPX(&cursor, &s.s, 7);
    EXPECT_EQ(s.str(), "xabc    ");
    STRNG_APPXRJ(&cursor, &s.s, 4);
    EXPECT_EQ(s.str(), "xabc     abc");
    STRNG_APPXRJ(&cursor, &s.s, 2);
    EXPECT_EQ(s.str(), "xabc     abcab");
    EXPECT_EQ(s.s.capacity, 14u);
    STRNG_ALIGN(&s.s, 15);
    STRNG_ALIGN(&s.s, 3);
    STRNG_SUBSBL(&s.s, '.');
    EXPECT_EQ(s.str(), "xabc.....abcab.");
    STRNG_FILL_C("", &s.s);
    STRNG_APPRJ_C("12345", 3, &s.s, 4);
    EXPECT_EQ(STRNG_GET_STAT(), 0);
    STRNG_APPRJ_C("12345", 0, &s.s, 4);
    EXPECT_EQ(STRNG_GET_STAT(), 4);
    EXPECT_EQ(s.str(), " 1231234");
    STRNG_APPX(&cursor, &s.s, 0);
    EXPECT_EQ(s.str(), " 1231234abc  ");
}

TEST(Strng, NumbersInFields) {
    const auto as_int = [](STRNG *s, int32_t n, uint32_t width) { STRNG_APPINT(n, s, width); };
    EXPECT_EQ(appended(as_int, -5, 4), "  -5");
    EXPECT_EQ(appended(as_int, INT32_MIN, 3), "-2147483648");
    EXPECT_EQ(appended([](STRNG *s) { STRNG_APPLOI((int64_t{7} << 32) - 1, s, 0); }), "-1");
    const auto hex = [](STRNG *s, int32_t n, uint32_t width) { STRNG_APPHEX(n, s, width); };
    EXPECT_EQ(appended(hex, 255, 4), "00FF");
    EXPECT_EQ(appended(hex, -1, 2), "FF");
    EXPECT_EQ(appended(hex, -255, 6), "  FF01");
    EXPECT_EQ(appended(hex, 0x12345, 2), "12345");
    EXPECT_EQ(appended(hex, INT32_MIN, 0), "80000000");
    const auto real = [](STRNG *s, double x, uint32_t decimals) { STRNG_APPLREAL(x, s, decimals); };
    EXPECT_EQ(appended(real, 2.5, 0), "2");
    EXPECT_EQ(appended(real, -0.125, 2), "-0.12");
    EXPECT_EQ(appended(real, 1.0, UINT32_MAX), "1.000000");
    EXPECT_EQ(appended(real, -std::numeric_limits<double>::max(), 2000000000).size(), 1 + 309 + 1 + 1074u);
}

// What a reader makes of texts: the number, the status, what it left.
template <class Number>
void expect_reads(void (*read)(STRNG_CURSOR *, Number *),
                  std::initializer_list<std::pair<std::string, const char *>> cases) {
    for (const auto &[text, expected] : cases) {
        const Text s(text);
        STRNG_CURSOR cursor = cursor_over(s);
        Number number = 99;
        read(&cursor, &number);
        EXPECT_EQ(std::to_string(number) + "/" + std::to_string(STRNG_GET_STAT()) + "/" + rest(cursor), expected)
            << text;
    }
}

TEST(Strng, WholeNumbersAtACursor) {
    expect_reads(STRNG_EXTRLOI, {{" \t12abc", "12/0/abc"},
                                 {"-", "0/0/"},
                                 {"+-1", "0/0/-1"},
                                 {"2147483648x", "0/4/x"},
                                 {"-2147483648", "-2147483648/0/"},
                                 {"99999999999999999999999 ", "0/4/ "}});
    expect_reads(STRNG_EXTRIN, {{"   ", "0/5/"}, {"32768", "0/4/"}, {"-32768", "-32768/0/"}});
    expect_reads(STRNG_EXTRCA, {{"-65535", "65535/0/"}, {"65536", "0/4/"}});
    expect_reads(STRNG_EXTRCARD, {{"4294967295", "4294967295/0/"}, {"4294967296", "0/4/"}});
    // The last one wraps to a positive number.
    expect_reads(STRNG_EXTRLONG, {{"-9223372036854775807", "-9223372036854775807/0/"},
                                  {"-9223372036854775808", "0/4/"},
                                  {"20000000000000000000", "0/4/"}});
    expect_reads(STRNG_EXTRHE, {{" fFx1", "255/0/1"}, {"123456", "65535/0/"}});
    expect_reads<int32_t>([](STRNG_CURSOR *c, int32_t *n) { *n = STRNG_GET_LOI(c, n) ? *n : -1; },
                          {{"  7,8", "7/0/,8"}, {"  x", "-1/0/x"}, {" 2147483648", "-1/4/2147483648"}});
}

TEST(Strng, RealsAtACursor) {
    expect_reads(
        STRNG_EXTRLRE,
        {{"-12.25e3", "-12.250000/0/e3"}, {"", "0.000000/5/"}, {"9" + std::string(38, '0') + ".5;", "0.000000/4/;"}});
    expect_reads(STRNG_EXTRRE, {{".5.", "0.500000/0/."}});
    const Text text("0.3");
    STRNG_CURSOR cursor = cursor_over(text);
    double x;
    STRNG_EXTRLRE(&cursor, &x);
    EXPECT_EQ(x, 3 * 0.1); // not the real next to 0.3
}

// The item, the status unless all is well, and what is left behind the item.
void expect_cuts(void (*reader)(STRNG_CURSOR *, STRNG *),
                 std::initializer_list<std::pair<const char *, const char *>> cases) {
    for (const auto &[text, expected] : cases) {
        const Text s(text);
        Text item("former content");
        STRNG_CURSOR cursor = cursor_over(s);
        reader(&cursor, &item.s);
        const std::string status = STRNG_GET_STAT() ? std::to_string(STRNG_GET_STAT()) : "";
        EXPECT_EQ(item.str() + "|" + status + "|" + rest(cursor), expected) << text;
    }
}

TEST(Strng, WordsAndTokens) {
    expect_cuts([](auto *c, auto *s) { STRNG_EXTRWD(c, 0, s); }, {{"\t ab c", "ab|| c"}, {" \n", "|5|"}});
    expect_cuts([](auto *c, auto *s) { STRNG_EXTRWD(c, 3, s); }, {{" abcd", "ab||cd"}});
    expect_cuts([](auto *c, auto *s) { STRNG_EXTRWDSBL(c, 0, s, '_'); }, {{"a_b_ c", "a b || c"}});
    expect_cuts([](auto *c, auto *s) { STRNG2_EXTRTOKEN_C(c, s, ",;"); },
                {{"  a;b", "a||b"}, {"a ,b", "a||,b"}, {",b", "||b"}, {"", "||"}});
    expect_cuts([](auto *c, auto *s) { STRNG2_EXTRTOK_C(c, s, ",", 0, 1); }, {{" a b,c", "a b||c"}});
    expect_cuts([](auto *c, auto *s) { STRNG2_EXTRTOK_C(c, s, ",", 0, 0); }, {{",,b", ",||b"}});
    expect_cuts([](auto *c, auto *s) { STRNG2_EXTRTOKEN_LAST(c, s, 1, "."); },
                {{"a.b.c  ", "c||a.b"}, {"a.b.", "||a.b"}, {"abc", "abc||"}});
}

template <class Operation> std::string changed(const std::string &text, Operation operation) {
    Text s(text);
    operation(&s.s);
    return s.str();
}

TEST(Strng, SearchAndUtilities) {
    const Text s("abcabd");
    uint32_t position;
    STRNG_FIND(s.s, Text("abd").s, &position);
    EXPECT_EQ(position, 3u);
    STRNG_FIND(s.s, Text("").s, &position);
    EXPECT_EQ(position, 6u);
    STRNG_CURSOR cursor = cursor_over(s);
    STRNG_FINDX(&cursor, Text("x").s);
    EXPECT_TRUE(STRNG_EOX(&cursor));

    EXPECT_EQ(changed("a[z{\xe4", STRNG2_TO_UPPER), "A[Z{\xe4");
    EXPECT_EQ(changed("\t a b\x7f\xa0 \n", STRNG2_TRIM), "a b\x7f\xa0");
    EXPECT_EQ(changed("   ", STRNG2_TRIM), "");
    EXPECT_EQ(changed(std::string(" a\tb \0c", 7), STRNG2_REMOVE_BLANKS), "ab");
    EXPECT_EQ(changed("aaa", [](STRNG *t) { STRNG2_REPLACE(t, Text("aa").s, Text().s); }), "a");
    EXPECT_EQ(changed("aba", [](STRNG *t) { STRNG2_REPLACE(t, *t, *t); }), "aba");
    EXPECT_EQ(changed("A\x84\x81\xb3", STRNG2_DOS_TO_WIN), "A\xe4\xfc?");
    EXPECT_EQ(changed("\xe4\x80\x81\xff", STRNG2_WIN_TO_DOS), "\x84??\x98");
}

TEST(Conv, RoundingNeverLeavesTheType) {
    EXPECT_EQ(CONV_LIROUNDL(-2.5), -2);
    EXPECT_EQ(CONV_LIROUNDL(1e300), INT32_MAX);
    EXPECT_EQ(CONV_LIROUNDL(-2147483648.4), INT32_MIN);
    EXPECT_EQ(CONV_LIROUNDL(std::numeric_limits<double>::quiet_NaN()), 0);
}

} // namespace
