// What can be seen in the text of a statement without knowing the database.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "session.hpp"

namespace db {

// A statement whose marks :NAME became ?, and the names in the order of the marks.
struct Named_marks {
    std::string text;
    std::vector<std::string> names;
};
// Marks in texts, quoted names, comments and dollar quotes are none, nor are casts
// (value::type).
Named_marks take_names(std::string_view statement);

enum class Command { NONE, BEGIN, COMMIT, ROLLBACK };
// A statement that begins or ends a transaction and says nothing more.
Command command_of(std::string_view statement);

// The length of the name at the begin of a text: a plain word, or what stands in
// double quotes. 0 when there is none.
size_t name_length(std::string_view text);
// The name that one part means, as the database knows it: a plain word, of letters,
// digits and _, in the database's own case; one in double quotes, or with other
// characters, as it stands.
std::string name_of(std::string_view part, Case plain_case);
std::string quoted(std::string_view name);
// TABLE or SCHEMA.TABLE.
Table_name table_name_of(std::string_view dotted, Case plain_case);
std::string quoted(const Table_name &table);

} // namespace db
