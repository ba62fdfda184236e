// The codec module: base64, by the library nettle.
#include <nettle/base64.h>

#include "qor/msg.h"
#include "qor/strng.h"

QOR_BEGIN_C

QOR_API void CODEC_INIT(const char *) {}
QOR_API void CODEC_TERMINATE(void) {}

// One line without breaks, with padding (RFC 4648, section 4). The input may be
// the output's own bytes.
QOR_API void CODEC_BASE64_ENCODE(STRNG input, STRNG *output) {
    const size_t length = BASE64_ENCODE_RAW_LENGTH(size_t{input.length});
    if (length > STRNG_LIMIT) {
        MESSAGE_ABORT1_C("CODEC_BASE64_ENCODE: text too long\n");
        return;
    }
    STRNG encoded;
    STRNG_CREATE(&encoded);
    STRNG_SETLGTH(&encoded, static_cast<uint32_t>(length));
    base64_encode_raw(reinterpret_cast<char *>(encoded.data), input.length, input.data);
    encoded.length = static_cast<uint32_t>(length);
    STRNG_REMOVE(output);
    *output = encoded;
}

QOR_END_C
