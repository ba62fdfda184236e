// From a real to an integer without an undefined case.
#pragma once

#include <cmath>
#include <limits>

namespace qor {

// Cuts towards zero. The nearest value of the type when x does not fit, 0 for
// NaN.
template <class Integer> Integer saturate(double x) {
    using Limits = std::numeric_limits<Integer>;
    if (std::isnan(x)) return 0;
    // Both bounds are exact as reals: a power of two, and the one below it.
    if (x <= static_cast<double>(Limits::min())) return Limits::min();
    if (x >= -static_cast<double>(Limits::min())) return Limits::max();
    return static_cast<Integer>(x);
}

} // namespace qor
