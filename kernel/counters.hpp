// The run counters of class QOR. Scripts count with them as they see fit; the
// kernel itself only adds 1 to error_count for each text of MESSAGE.ERROR.
#pragma once

#include <cstdint>

namespace qor {

extern int32_t input_count;
extern int32_t output_count;
extern int32_t error_count;

// Wraps at the largest int instead of overflowing.
inline void count_one(int32_t &counter) { counter = static_cast<int32_t>(static_cast<uint32_t>(counter) + 1); }

} // namespace qor
