#include "statement_text.hpp"

#include <algorithm>

namespace db {

namespace {

bool is_word_byte(char c) {
    const auto byte = static_cast<uint8_t>(c);
    return (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z') || (byte >= '0' && byte <= '9') ||
           byte == '_' || byte >= 0x80;
}
bool is_digit(char c) { return c >= '0' && c <= '9'; }

// Walks over a statement in pieces that are a whole: a quoted text, a comment, or
// one byte.
class Scanner {
  public:
    explicit Scanner(std::string_view text) : text_(text) {}

    bool at_end() const { return position_ >= text_.size(); }
    size_t position() const { return position_; }
    char byte(size_t ahead = 0) const { return position_ + ahead < text_.size() ? text_[position_ + ahead] : '\0'; }
    void skip(size_t bytes) { position_ = std::min(position_ + bytes, text_.size()); }

    // Passes over what begins here if it is a quoted text or a comment.
    bool skip_quoted() {
        switch (byte()) {
        case '\'': skip_quote('\'', follows_escape_letter()); return true;
        case '"':
        case '`': skip_quote(byte(), false); return true;
        case '-':
            if (byte(1) != '-') return false;
            skip_behind("\n", 2);
            return true;
        case '/':
            if (byte(1) != '*') return false;
            skip_behind("*/", 2);
            return true;
        case '$': return skip_dollar_quote();
        default: return false;
        }
    }

    std::string_view word(size_t ahead) const {
        const size_t begin = position_ + ahead;
        size_t end = begin;
        while (end < text_.size() && is_word_byte(text_[end])) ++end;
        return text_.substr(std::min(begin, text_.size()), end - begin);
    }

  private:
    bool follows_word() const { return position_ > 0 && is_word_byte(text_[position_ - 1]); }

    // E'...', in which a backslash takes the meaning of the byte behind it.
    bool follows_escape_letter() const {
        if (position_ == 0 || (text_[position_ - 1] | 0x20) != 'e') return false;
        return position_ == 1 || !is_word_byte(text_[position_ - 2]);
    }

    // A doubled quote ends one text and begins another.
    void skip_quote(char quote, bool has_escapes) {
        for (skip(1); !at_end() && byte() != quote; skip(1))
            if (has_escapes && byte() == '\\') skip(1);
        skip(1);
    }

    void skip_behind(std::string_view end, size_t from) {
        const size_t found = text_.find(end, position_ + from);
        position_ = found == text_.npos ? text_.size() : found + end.size();
    }

    // $$...$$ or $tag$...$tag$.
    bool skip_dollar_quote() {
        const std::string_view tag = word(1);
        if (follows_word() || byte(1 + tag.size()) != '$' || (!tag.empty() && is_digit(tag[0]))) return false;
        const size_t size = tag.size() + 2;
        skip_behind(text_.substr(position_, size), size);
        return true;
    }

    const std::string_view text_;
    size_t position_ = 0;
};

std::string_view trimmed(std::string_view text, std::string_view bytes) {
    const size_t first = text.find_first_not_of(bytes);
    if (first == text.npos) return {};
    return text.substr(first, text.find_last_not_of(bytes) - first + 1);
}

} // namespace

Named_marks take_names(std::string_view statement) {
    Named_marks marks;
    Scanner scanner(statement);
    while (!scanner.at_end()) {
        const size_t begin = scanner.position();
        if (scanner.skip_quoted()) {
            marks.text.append(statement.substr(begin, scanner.position() - begin));
            continue;
        }
        const std::string_view name = scanner.byte() == ':' ? scanner.word(1) : std::string_view();
        if (scanner.byte() == ':' && scanner.byte(1) == ':') {
            marks.text += "::";
            scanner.skip(2);
        } else if (!name.empty() && !is_digit(name[0])) {
            marks.text += '?';
            marks.names.emplace_back(name);
            scanner.skip(1 + name.size());
        } else {
            marks.text += scanner.byte();
            scanner.skip(1);
        }
    }
    return marks;
}

Command command_of(std::string_view statement) {
    constexpr struct {
        std::string_view words;
        Command command;
    } COMMANDS[] = {{"begin", Command::BEGIN},
                    {"start transaction", Command::BEGIN},
                    {"commit", Command::COMMIT},
                    {"end", Command::COMMIT},
                    {"rollback", Command::ROLLBACK}};
    constexpr size_t LONGEST = 64;
    statement = trimmed(statement, " \t\r\n;");
    if (statement.size() > LONGEST) return Command::NONE;
    // One blank between the words, and no word that says nothing.
    std::string words;
    for (size_t end; !statement.empty(); statement = trimmed(statement.substr(end), " \t\r\n")) {
        end = std::min(statement.find_first_of(" \t\r\n"), statement.size());
        if (!words.empty()) words += ' ';
        words += lower(statement.substr(0, end));
    }
    for (const auto &c : COMMANDS)
        for (const char *rest : {"", " transaction", " work"})
            if (words == std::string(c.words) + rest) return c.command;
    return Command::NONE;
}

size_t name_length(std::string_view text) {
    if (!text.starts_with('"')) return Scanner(text).word(0).size();
    Scanner scanner(text);
    while (scanner.byte() == '"') scanner.skip_quoted();
    const std::string_view name = text.substr(0, scanner.position());
    return name.size() > 2 && quoted(name_of(name, Case::KEPT)) == name ? name.size() : 0;
}

std::string name_of(std::string_view part, Case plain_case) {
    if (part.size() >= 2 && part.front() == '"' && part.back() == '"') {
        std::string name;
        for (size_t i = 1; i + 1 < part.size(); ++i) {
            name += part[i];
            if (part[i] == '"' && part[i + 1] == '"') ++i;
        }
        return name;
    }
    std::string name(part);
    if (plain_case == Case::KEPT || name_length(part) != part.size()) return name;
    name = lower(part);
    if (plain_case == Case::UPPER)
        for (char &c : name)
            if (c >= 'a' && c <= 'z') c = static_cast<char>(c - ('a' - 'A'));
    return name;
}

std::string quoted(std::string_view name) {
    std::string text = "\"";
    for (const char c : name) {
        if (c == '"') text += c;
        text += c;
    }
    return text + '"';
}

Table_name table_name_of(std::string_view dotted, Case plain_case) {
    const size_t first = name_length(dotted);
    if (first == 0 || first >= dotted.size() || dotted[first] != '.') return {"", name_of(dotted, plain_case)};
    return {name_of(dotted.substr(0, first), plain_case), name_of(dotted.substr(first + 1), plain_case)};
}

std::string quoted(const Table_name &table) {
    return table.schema.empty() ? quoted(table.table) : quoted(table.schema) + "." + quoted(table.table);
}

} // namespace db
