// The plug-in CSV: each input is a file of records. A plain reader, byte by byte,
// says what must come: from the plug-in's reader, whatever its blocks are; and from
// the file that a script makes of the input, record by record. The size of the
// input chooses the syntax.
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <iterator>

#include "driver.hpp"
#include "plugins/csv/reader.hpp"
#include "qor/qor.h"

namespace {

constexpr char SCRIPT[] = R"(|LOAD csv
'input,header=no' . OPT.syntax CSV_OPEN
'output,header=no' . OPT.syntax CSV.CREATE POP => VAR.OUT
WHILE CSV_READ_OBJECT DO VAR.OUT &IN CSV.WRITE END_WHILE
)";

struct Syntax {
    const char *options;
    char delimiter;
    int quote;
};
constexpr Syntax SYNTAXES[] = {{"", ',', '"'},
                               {",delimiter=;", ';', '"'},
                               {",delimiter=tab,quote=none", '\t', csv::NO_QUOTE},
                               {",delimiter=blank,quote=.,end=crlf", ' ', '.'}};

using Record = std::vector<std::string>;
struct File {
    std::vector<Record> records;
    bool is_whole = false; // nothing is damaged
};

File parse(const std::string &s, const Syntax &syntax) {
    const size_t n = s.size();
    const auto ends = [&](size_t i) { return s[i] == '\n' || s[i] == '\r'; };
    const auto quote = [&](size_t i) { return i < n && static_cast<uint8_t>(s[i]) == syntax.quote; };
    File file;
    for (size_t i = s.starts_with(csv::BYTE_ORDER_MARK) ? 3 : 0; i < n;) {
        Record record;
        const size_t width = file.records.empty() ? 0 : file.records[0].size();
        const bool is_empty = ends(i) && width != 1;
        for (bool more = !is_empty; more;) {
            std::string &field = record.emplace_back();
            if (quote(i)) {
                for (++i; !quote(i) || quote(i + 1); field += s[i++]) {
                    if (i >= n) return file;
                    i += quote(i);
                }
                if (++i < n && !ends(i) && s[i] != syntax.delimiter) return file;
            } else {
                for (; i < n && !ends(i) && s[i] != syntax.delimiter; field += s[i++])
                    if (quote(i)) return file;
            }
            more = i < n && s[i] == syntax.delimiter;
            i += more;
        }
        if (i < n) i += s[i] == '\r' && i + 1 < n && s[i + 1] == '\n' ? 2 : 1;
        if (is_empty) continue;
        if (width != 0 && record.size() != width) return file;
        file.records.push_back(std::move(record));
    }
    file.is_whole = true;
    return file;
}

void read_in_blocks(const File &expected, const Syntax &syntax, size_t block) {
    size_t count = 0;
    bool is_whole = true;
    try {
        const auto reader =
            csv::Reader::open("input", csv::parse_options(std::string("input,header=no") + syntax.options), block);
        for (; reader->read(); ++count) {
            const Record record(reader->fields().begin(), reader->fields().end());
            if (count >= expected.records.size() || record != expected.records[count]) std::abort();
        }
    } catch (const csv::Fault &) {
        is_whole = false;
    }
    if (count != expected.records.size() || is_whole != expected.is_whole) std::abort();
}

// Lines and quotes, the more the better.
void mutate(std::string &s) {
    static const std::vector<std::string> PIECES = {"\"", "\"\"", "\r\n", "\r", "\n\n",         ",",
                                                    ";",  "\t",   " ",    ".",  "\xEF\xBB\xBF", "\"\n\""};
    for (size_t n = 1 + fuzz::below(8); n > 0; --n) s.insert(fuzz::below(s.size() + 1), fuzz::any(PIECES));
}

void run(const std::string &input) {
    const Syntax &syntax = SYNTAXES[input.size() % std::size(SYNTAXES)];
    const File expected = parse(input, syntax);
    std::ofstream("input", std::ios::binary) << input;
    for (const size_t block : {size_t{1}, 2 + input.size() % 61, csv::Reader::BLOCK})
        read_in_blocks(expected, syntax, block);

    std::ofstream("run.qor") << SCRIPT;
    // What begins like a mark of the encoding can not be written without quotes.
    const bool is_lost = syntax.quote == csv::NO_QUOTE && !expected.records.empty() &&
                         expected.records[0][0].starts_with(csv::BYTE_ORDER_MARK);
    if (is_lost) return;
    const char *arguments[] = {"csv_fuzz", "-cgi", "-temp_dir", ".", "-syntax", syntax.options, "-script", "run.qor"};
    OPTION_LOAD_OPTIONS(8, arguments);
    if (QORPROC_COMPILE() != 0) _exit(97);
    const bool is_whole = QORPROC_RUN() == 0;
    QORPROC_TERMINATE();
    if (is_whole != expected.is_whole) std::abort();
    std::ifstream in("output", std::ios::binary);
    const std::string output{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    if (const File copy = parse(output, syntax); copy.records != expected.records || !copy.is_whole) std::abort();
}

} // namespace

int main(int argc, char **argv) {
    return fuzz::main(argc, argv,
                      {"csv_fuzz", {".csv"}, ",", "\"a\"~\"\"~\"a,b\"~\"\n\"~x~~,~\r\n", mutate, nullptr, run});
}
