// What the frame sets of the message layer from the start options.
#pragma once

#include <string_view>

namespace qor {

void message_set_silent(bool silent);
// Closes the log and creates the named one; the empty name opens none.
void message_set_log(std::string_view name);
// Nothing happens when the name is that of the present log.
void message_append_log(std::string_view name);

} // namespace qor
