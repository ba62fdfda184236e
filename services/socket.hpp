// Sockets: blocking TCP connections to a server, for class SOCKET and the
// debugger. Nothing times out.
//
// An id is an index into a table of 255; one outside of it aborts, -1 is the
// error of a closed socket. A status is 1 for success and 0 for failure. What is
// received is read ahead, and all reads of a connection share that.
#pragma once

#include <string_view>

#include "kernel/strng.hpp"

namespace qor {

// Takes the lowest free id, also when connecting to it then fails; a full table
// aborts.
void SOCKET_CONNECT(int32_t *id, STRNG host, int32_t port, int32_t *status);
void SOCKET_DISCONNECT(int32_t *id); // the id becomes -1

// Waits for a byte. Status 0 at the end of the stream alone: a platform error
// gives a zero byte.
void SOCKET_GET_BYTE(const int32_t *id, uint8_t *byte, int32_t *status);
// A line up to a zero byte in it, without its line feed; the rest before the end
// of the stream is one too. Status 0 at the end, and for 100,000 bytes without a
// line feed, which are lost.
void SOCKET_GET_LINE(const int32_t *id, STRNG *line, int32_t *status);

// Whether the peer gets what is written is not told.
void SOCKET_PUT_BYTE(const int32_t *id, uint8_t byte);
void SOCKET_PUT_C(const int32_t *id, const char *text);
void SOCKET_PUT_STRING(const int32_t *id, STRNG text); // up to a zero byte
void SOCKET_PUT_LINE(const int32_t *id, STRNG text);   // likewise, and a line feed
// Any bytes in one send.
void socket_put(const int32_t *id, std::string_view bytes);

} // namespace qor
