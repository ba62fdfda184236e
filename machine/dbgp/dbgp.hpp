// DBGP: the run under a debugger. The kernel connects to a client that listens,
// and executes what its requests say; docs/debugging.md tells the protocol.
//
// Two loops serve requests. That of the session steps through the main program.
// A call runs in a loop of its own (QORCPU_EXECUTE_PROC), which comes here where
// an instruction has its break flag set or a step reaches another line.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "object/object.hpp"

namespace qor {

// --- for the machine -----------------------------------------------------------

// The client is HOST:PORT, or HOST alone for port 9000. Without a connection the
// program runs as it does without a debugger.
void QORCPU_RUN_DBGP(const char *client);

// How a call goes on behind a stop.
enum Break_mode : int32_t {
    BREAK_NONE = -1,
    BREAK_LOST = 0, // the client is gone: the program runs on
    BREAK_RUN = 1,
    BREAK_STEP_OVER = 2,
    BREAK_STEP_INTO = 3,
};
// Tells the client that the call stops at the current instruction, and serves it
// until it lets the call go on.
int32_t DBGP_BREAK();

// --- among the sources of this folder ----------------------------------------------

extern int32_t dbgp_socket;             // -1 while there is none
extern QOR_MAP *dbgp_response;          // its entries become attributes, "content" the body
extern QOR_MAP *dbgp_args;              // kept from request to request: an argument stays until it comes again
extern std::string dbgp_command;        // of the last request
extern std::string dbgp_transaction_id; // of the last request that had one
extern std::string dbgp_request;        // the text of the last request

// While one stands, script code does not stop. The debugger's own messages may run
// a script's class MESSAGE: a stop in there would show messages again, endlessly.
class No_stop {
  public:
    No_stop() { ++depth; }
    ~No_stop() { --depth; }
    No_stop(const No_stop &) = delete;
    No_stop &operator=(const No_stop &) = delete;
    static bool stands() { return depth > 0; }

  private:
    static int depth;
};

// Fill dbgp_command, dbgp_args and dbgp_transaction_id from dbgp_request, and
// execute that. Dispatching gives 0 when the session ends.
void DBGP_PARSE_REQUEST();
int32_t DBGP_DISPATCH();
// As the C library reads an int: no digits give the default, too many the limit.
int32_t dbgp_number(const std::string &text, int32_t default_value = 0);

// Completes the response, sends and clears it.
void DBGP_SEND_RESPONSE();
void DBGP_SEND_PACKET(STRNG document);
// Appends the element that the map stands for; its tag is the map's label.
void DBGP_MAP_TO_XML(QOR_MAP *map, STRNG *out);
void dbgp_set_attribute(const char *name, std::string_view value); // of the response
void dbgp_add_position();                                          // the body of a reply that tells a stop
void dbgp_add_list(const Object_var &element);                     // a body of this element, or of none when nil
Object_var dbgp_element(const char *tag);

std::string dbgp_file_uri(); // of the current instruction's source; file:// alone when it can not be found

} // namespace qor
