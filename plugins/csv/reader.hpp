// Reads a file of records as RFC 4180 describes them. Nothing but the record that
// is read is kept in memory.
#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>

#include "options.hpp"

namespace csv {

class Reader {
  public:
    static constexpr size_t BLOCK = 1 << 18;

    // Null when the file can not be opened; errno tells why. The path is where the
    // file is, the name in the options is what messages show. The file is read by
    // blocks; a record that is longer takes one of its own size.
    static std::unique_ptr<Reader> open(const std::string &path, const Options &options, size_t block = BLOCK);
    ~Reader();
    Reader(const Reader &) = delete;
    Reader &operator=(const Reader &) = delete;

    // The next record; false at the end. A record that is damaged or has another
    // number of fields is a Fault, which tells where it stands.
    bool read();

    const std::string &file() const { return options_.file; }
    const std::vector<std::string> &names() const { return names_; }
    // Of the record read last, valid until the next read.
    const std::vector<std::string_view> &fields() const { return fields_; }

  private:
    enum class Result { RECORD, INCOMPLETE, END };

    Reader(std::FILE *file, const Options &options, size_t block);
    void read_names();
    bool next_record();
    Result parse();
    void parse_plain(size_t line_end);
    Result parse_quoted();
    void fill();
    size_t find(int64_t *place, int byte) const;
    bool is_whole(size_t line_end) const;
    size_t behind(size_t line_end) const;
    void undouble(std::string_view *field) const;
    std::string place(uint64_t line) const;
    [[noreturn]] void damaged(size_t at, const std::string &what) const;

    const Options options_;
    std::FILE *const file_;
    const size_t block_;
    bool at_end_ = false; // of the file: the buffer holds all that remains
    std::vector<std::string> names_;
    std::vector<std::string_view> fields_;
    std::vector<size_t> doubled_; // the numbers of those with a doubled quote in them

    char *buffer_ = nullptr;
    size_t capacity_ = 0;
    size_t begin_ = 0; // of the record that is parsed
    size_t next_ = 0;  // behind it
    size_t end_ = 0;   // of what was read
    // The first of these bytes at or behind begin_, end_ when there is none; below
    // begin_: not known. A block is searched once for a byte that it does not hold.
    int64_t line_feed_ = -1;
    int64_t carriage_return_ = -1;
    int64_t quote_ = -1;

    bool in_header_ = false;
    uint64_t record_ = 1;      // the number of the next one, without the header
    uint64_t line_ = 1;        // where it begins
    uint64_t record_line_ = 1; // where the record read last began
};

} // namespace csv
