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

// Classes and types of plug-ins. Before the first one is loaded both are copied
// as they are; after the last is unloaded they become so again, but for what
// others registered meanwhile. Methods and types whose code is gone do nothing
// dangerous from then on, wherever a value of theirs is left.
void class_keep_natives();
void obj_keep_types();
void class_forget_unloaded(bool (*is_unloaded)(const void *code));
void obj_forget_unloaded(bool (*is_unloaded)(const void *code));

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
