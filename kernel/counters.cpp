#include "kernel/counters.hpp"

namespace qor {

int32_t input_count;
int32_t output_count;
int32_t error_count;

} // namespace qor
