// What the kernel floor calls on floors above it and what no exported header
// declares. As with lifecycle.hpp, the floor that owns the meaning includes this
// header and defines the operation, so that no include points up.
#pragma once

#include "qor/types.h"

namespace qor {

enum class Message_channel { DISPLAY, ERROR, STATUS };

// The machine: runs the channel's method of class MESSAGE on the text on top of
// the stack. The current instruction stays what it was, whatever script code
// the method runs.
void run_message_method(Message_channel channel);

// Text files.
void TEXTFILE_OPEN_APPEND(int32_t *file, STRNG name, int32_t *status);
void textfile_flush_all();

// The compiler and the machine, for the frame.
void READ_SCRIPT_FROM(STRNG name, int32_t parse, int32_t *status);
void IMEM_DISPLAY();
void QORCPU_RUN();

} // namespace qor
