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
// Runs a method in the middle of an instruction, which likewise stays the
// current one: a link's resolver.
void run_within_instruction(QOR_METHOD *method);

// The machine's stack: whether an int lies there with a text above it, which is
// then borrowed, and taking the two off.
bool qorcpu_peek_int_and_text(int32_t *number, std::string_view *text);
void qorcpu_drop_int_and_text();
// On an empty stack these abort with "Stack empty".
bool QORCPU_TOP_IS_DEFINED();
bool QORCPU_TOP_IS_STRING();

// Before the first plug-in is loaded the classes are copied as they are; after the
// last has ended they become so again, and a type that is registered under the
// name of one of theirs gets its id.
void class_keep_natives();
void class_restore_natives();
void obj_release_type_ids();

// Text files.
void TEXTFILE_OPEN_APPEND(int32_t *file, STRNG name, int32_t *status);
void textfile_flush_all();
// Whether the id still stands for a file of this name that is open for writing.
bool textfile_is_written(int32_t file, std::string_view name);

// The codec module, by its bridge: the bytes as base64 in one line; the output's
// text is replaced.
void CODEC_BASE64_ENCODE(STRNG input, STRNG *output);

// The compiler and the machine, for the frame.
void READ_SCRIPT_FROM(STRNG name, int32_t parse, int32_t *status);
void IMEM_DISPLAY();
void QORCPU_RUN();

} // namespace qor
