// The machine's displays: class QORCPU and what an abort shows.
#pragma once

#include <cstdint>

#include "compiler/imem.hpp"

namespace qor {

extern Instruction *qorcpu_return[];
extern uint32_t qorcpu_entry[];

// Shows both stacks and halts. The method ABORT of class QOR during a run.
void qorcpu_abort();

void register_trace_methods();

} // namespace qor
