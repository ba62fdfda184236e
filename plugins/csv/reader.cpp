#include "reader.hpp"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <new>

#include "qor/types.h"

namespace csv {

namespace {

// A record with its line end: as long as a text may be, so that every field fits
// one, and a missing quote does not take in all the rest of a large file.
constexpr size_t MAX_RECORD = STRNG_LIMIT;

// Programs that a script starts do not inherit the file.
constexpr char READ_MODE[] = "rbe";

} // namespace

std::unique_ptr<Reader> Reader::open(const std::string &path, const Options &options, size_t block) {
    std::FILE *file = std::fopen(path.c_str(), READ_MODE);
    if (!file) return nullptr;
    std::unique_ptr<Reader> reader(new Reader(file, options, block));
    reader->read_names();
    return reader;
}

Reader::Reader(std::FILE *file, const Options &options, size_t block)
    : options_(options), file_(file), block_(block), names_(options.fields) {
    std::setvbuf(file_, nullptr, _IONBF, 0); // the buffer is here
}

Reader::~Reader() {
    std::fclose(file_);
    std::free(buffer_);
}

void Reader::read_names() {
    while (!at_end_ && end_ < BYTE_ORDER_MARK.size()) fill();
    if (std::string_view(buffer_, end_).starts_with(BYTE_ORDER_MARK)) begin_ = BYTE_ORDER_MARK.size();
    if (!options_.has_header.value_or(names_.empty())) return;
    in_header_ = true;
    if (next_record() && names_.empty()) {
        names_.assign(fields_.begin(), fields_.end());
        try {
            check_names(names_);
        } catch (const Fault &fault) {
            throw Fault{place(record_line_) + fault.text};
        }
    }
    in_header_ = false;
}

bool Reader::read() {
    if (!next_record()) return false;
    if (names_.empty()) {
        while (names_.size() < fields_.size())
            names_.push_back(std::string("F").append(std::to_string(names_.size() + 1)));
    }
    if (fields_.size() != names_.size()) {
        throw Fault{place(record_line_) + "the number of fields is " + std::to_string(fields_.size()) + ", not " +
                    std::to_string(names_.size())};
    }
    ++record_;
    return true;
}

bool Reader::next_record() {
    for (;;) {
        fields_.clear();
        doubled_.clear();
        const Result result = parse();
        if (result == Result::END) return false;
        if (result == Result::RECORD) break;
        fill();
    }
    for (const size_t i : doubled_) undouble(&fields_[i]);
    begin_ = next_;
    return true;
}

// An empty line is no record, except where a record is one field.
Reader::Result Reader::parse() {
    for (;; begin_ = next_, ++line_) {
        if (begin_ == end_) return at_end_ ? Result::END : Result::INCOMPLETE;
        const size_t line_end = std::min(find(&line_feed_, '\n'), find(&carriage_return_, '\r'));
        if (options_.quote != NO_QUOTE && find(&quote_, options_.quote) < line_end) return parse_quoted();
        if (!is_whole(line_end)) return Result::INCOMPLETE;
        next_ = behind(line_end);
        if (line_end > begin_ || names_.size() == 1) {
            parse_plain(line_end);
            record_line_ = line_++;
            return Result::RECORD;
        }
    }
}

void Reader::parse_plain(size_t line_end) {
    const char *field = buffer_ + begin_, *const end = buffer_ + line_end;
    while (const void *found = std::memchr(field, options_.delimiter, static_cast<size_t>(end - field))) {
        const auto *delimiter = static_cast<const char *>(found);
        fields_.emplace_back(field, delimiter - field);
        field = delimiter + 1;
    }
    fields_.emplace_back(field, end - field);
}

Reader::Result Reader::parse_quoted() {
    const auto number = [this] { return std::to_string(fields_.size() + 1); };
    size_t at = begin_;
    for (;; ++at) {
        if (at < end_ && static_cast<uint8_t>(buffer_[at]) == options_.quote) {
            const size_t start = ++at;
            bool doubled = false;
            for (;; ++at, doubled = true) {
                const void *found = std::memchr(buffer_ + at, options_.quote, end_ - at);
                if (!found) {
                    if (at_end_) damaged(start, "the quote before field " + number() + " has no partner");
                    return Result::INCOMPLETE;
                }
                at = static_cast<size_t>(static_cast<const char *>(found) - buffer_) + 1;
                if (at == end_ && !at_end_) return Result::INCOMPLETE;
                if (at == end_ || static_cast<uint8_t>(buffer_[at]) != options_.quote) break;
            }
            if (doubled) doubled_.push_back(fields_.size());
            const std::string_view field(buffer_ + start, at - 1 - start);
            if (at < end_ && buffer_[at] != options_.delimiter && buffer_[at] != '\n' && buffer_[at] != '\r')
                damaged(at, "there is text behind the closing quote of field " + number());
            fields_.push_back(field);
        } else {
            const size_t start = at;
            while (at < end_ && buffer_[at] != options_.delimiter && buffer_[at] != '\n' && buffer_[at] != '\r') {
                if (static_cast<uint8_t>(buffer_[at]) == options_.quote)
                    damaged(at, "there is a quote in field " + number() + ", which does not begin with one");
                ++at;
            }
            fields_.emplace_back(buffer_ + start, at - start);
        }
        if (at < end_ && buffer_[at] == options_.delimiter) continue;
        if (!is_whole(at)) return Result::INCOMPLETE;
        break;
    }
    next_ = behind(at);
    record_line_ = line_;
    line_ += static_cast<uint64_t>(std::count(buffer_ + begin_, buffer_ + next_, '\n')) + (buffer_[next_ - 1] == '\r');
    return Result::RECORD;
}

// Whether a record that ends here is in the buffer with all of its line end.
bool Reader::is_whole(size_t line_end) const {
    return at_end_ || (line_end < end_ && (buffer_[line_end] == '\n' || line_end + 1 < end_));
}

size_t Reader::behind(size_t line_end) const {
    if (line_end == end_) return end_;
    const bool is_pair = buffer_[line_end] == '\r' && line_end + 1 < end_ && buffer_[line_end + 1] == '\n';
    return line_end + (is_pair ? 2 : 1);
}

size_t Reader::find(int64_t *place, int byte) const {
    if (*place < static_cast<int64_t>(begin_)) {
        const void *found = std::memchr(buffer_ + begin_, byte, end_ - begin_);
        *place = found ? static_cast<const char *>(found) - buffer_ : static_cast<int64_t>(end_);
    }
    return static_cast<size_t>(*place);
}

// Moves what is not read yet to the front of the buffer and adds to it. The buffer
// grows when one record fills it.
void Reader::fill() {
    if (begin_ > 0) std::memmove(buffer_, buffer_ + begin_, end_ - begin_);
    end_ -= begin_;
    begin_ = 0;
    line_feed_ = carriage_return_ = quote_ = -1;
    if (end_ == capacity_) {
        if (end_ == MAX_RECORD) damaged(0, "the record is longer than " + std::to_string(MAX_RECORD) + " bytes");
        const size_t larger = std::min(std::max(block_, 2 * capacity_), MAX_RECORD);
        void *resized = std::realloc(buffer_, larger);
        if (!resized) throw std::bad_alloc();
        buffer_ = static_cast<char *>(resized);
        capacity_ = larger;
    }
    const size_t wanted = capacity_ - end_;
    const size_t n = std::fread(buffer_ + end_, 1, wanted, file_);
    if (n < wanted && std::ferror(file_)) throw Fault{"error reading file " + file() + ": " + std::strerror(errno)};
    end_ += n;
    at_end_ = n < wanted;
}

void Reader::undouble(std::string_view *field) const {
    char *const first = buffer_ + (field->data() - buffer_);
    char *to = first;
    for (size_t i = 0; i < field->size(); ++i) {
        *to++ = first[i];
        if (static_cast<uint8_t>(first[i]) == options_.quote) ++i;
    }
    *field = {first, static_cast<size_t>(to - first)};
}

std::string Reader::place(uint64_t line) const {
    const std::string what = in_header_ ? "header" : "record " + std::to_string(record_);
    return file() + ", line " + std::to_string(line) + ", " + what + ": ";
}

void Reader::damaged(size_t at, const std::string &what) const {
    const auto lines = static_cast<uint64_t>(std::count(buffer_ + begin_, buffer_ + at, '\n'));
    throw Fault{place(line_ + lines) + what};
}

} // namespace csv
