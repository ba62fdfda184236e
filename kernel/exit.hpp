// The run: its phase, its script and the one non-local exit.
#pragma once

#include <cstdint>
#include <string_view>

namespace qor {

// The phase doubles as the status of an abort.
enum Phase : int32_t {
    QORPROC_PHASE_OPTIONS = 1,
    QORPROC_PHASE_COMPILE = 2,
    QORPROC_PHASE_RUN = 3,
    QORPROC_PHASE_IDLE = 4, // nothing may run: messages go to the standard output
    QORPROC_PHASE_DONE = 5,
};
inline constexpr int32_t QORPROC_STATUS_EXIT = 6;

extern int32_t qorproc_phase;

// The main script as it was found; empty when there is none.
std::string_view qorproc_script_name();

// What HALT, EXIT and every abort throw. Only QORPROC_COMPILE and QORPROC_RUN
// catch it.
struct Qor_exit {
    int32_t status;
};

// The abort path behind a shown message: in a run it displays the source line
// and both stacks; then it leaves. Returns only while the halt latch is set.
void QORPROC_ABORT();

// An abort that happens while one is on its way can not be shown by script
// code again: it ends the run at once. True when an abort is on its way.
bool qorproc_abort_on_its_way();
// Marks the begin of an abort, before its message is shown.
void qorproc_begin_abort();
// Marks that the abort on its way was given up.
void qorproc_end_abort();
// Leaves with the status of the phase without showing anything.
void qorproc_leave_now();

} // namespace qor
