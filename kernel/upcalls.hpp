// What the kernel floor calls on floors above it and what no exported header
// declares. As with lifecycle.hpp, the floor that owns the meaning includes this
// header and defines the operation, so that no include points up.
#pragma once

#include <string_view>

#include "qor/types.h"

namespace qor {

enum class Message_channel { DISPLAY, ERROR, STATUS };

// The machine: runs the channel's method of class MESSAGE on the text on top of
// the stack. The current instruction stays what it was, whatever script code
// the method runs.
void run_message_method(Message_channel channel);

// The machine's stack: whether an int lies there with a text above it, which is
// then borrowed, and taking the two off.
bool qorcpu_peek_int_and_text(int32_t *number, std::string_view *text);
void qorcpu_drop_int_and_text();

// Text files.
void TEXTFILE_OPEN_APPEND(int32_t *file, STRNG name, int32_t *status);
void textfile_flush_all();
// Whether the id still stands for a file of this name that is open for writing.
bool textfile_is_written(int32_t file, std::string_view name);

// The compiler and the machine, for the frame.
void READ_SCRIPT_FROM(STRNG name, int32_t parse, int32_t *status);
void IMEM_DISPLAY();
void QORCPU_RUN();

} // namespace qor
