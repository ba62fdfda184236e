// What the kernel uses of the codec module.
#pragma once

#include "qor/types.h"

namespace qor {

// The bytes as base64 in one line; the output's text is replaced.
void CODEC_BASE64_ENCODE(STRNG input, STRNG *output);

} // namespace qor
