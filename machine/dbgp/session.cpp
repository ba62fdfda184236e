// The connection to the client and the two loops that serve it.
#include <cstdio>

#include "kernel/lifecycle.hpp"
#include "machine/dbgp/dbgp.hpp"
#include "machine/qorcpu.hpp"
#include "qor/map.h"
#include "services/socket.hpp"

namespace qor {

int32_t dbgp_socket = -1;
QOR_MAP *dbgp_response = nullptr;
QOR_MAP *dbgp_args = nullptr;
std::string dbgp_command;
std::string dbgp_transaction_id;
std::string dbgp_request;

int No_stop::depth = 0;

namespace {

constexpr int32_t DEFAULT_PORT = 9000;
constexpr size_t REQUEST_LIMIT = 1023;

void forget_session() {
    qorcpu_debugged = false;
    MAP_REMOVE(&dbgp_response);
    MAP_REMOVE(&dbgp_args);
    for (std::string *text : {&dbgp_command, &dbgp_transaction_id, &dbgp_request}) text->clear();
    dbgp_socket = -1;
}

void end_session() {
    SOCKET_DISCONNECT(&dbgp_socket);
    forget_session();
}

void do_init() {
    const No_stop talking;
    MESSAGE_DISPLAY1_C(">>> do_init()\n");
    if (dbgp_socket < 0) return;
    Strng document(
        "<init xmlns=\"urn:debugger_protocol_v1\" xmlns:xdebug=\"https://xdebug.org/dbgp/xdebug\" fileuri=\"");
    document.append(dbgp_file_uri());
    // Clients look for a language that they know and for the engine of one.
    document.append("\" language=\"PHP\" protocol_version=\"1.0\" appid=\"160\" idekey=\"20481632647296\">"
                    "<engine version=\"1.0.0\">XDebug for QorScript</engine>"
                    "<author>Brantor</author>"
                    "<url>https://qorscript.example</url>"
                    "<copyright>Copyright (c) 2007 by Brantor</copyright></init>");
    DBGP_SEND_PACKET(document);
    MESSAGE_DISPLAY1_C("<<< do_init()\n");
}

// Waits as long as the client is silent. 0 when there is no request any more: the
// client is gone, or its request is empty or too long.
int32_t DBGP_READ_REQUEST() {
    const No_stop talking;
    std::fflush(stdout); // what the program has shown so far
    dbgp_request.clear();
    for (;;) {
        uint8_t byte;
        int32_t status;
        SOCKET_GET_BYTE(&dbgp_socket, &byte, &status);
        if (!status) return 0;
        if (byte == 0) break;
        if (dbgp_request.size() == REQUEST_LIMIT) return 0;
        dbgp_request += static_cast<char>(byte);
    }
    if (dbgp_request.empty()) return 0;
    MESSAGE_DISPLAY_F(">>> request %s\n", dbgp_request.c_str());
    return 1;
}

// A client that is lost leaves all as it is; the program stays where it stopped.
void serve() {
    while (DBGP_READ_REQUEST()) {
        DBGP_PARSE_REQUEST();
        if (!DBGP_DISPATCH()) return end_session();
    }
}

int32_t DBGP_SESSION(const std::string &host, int32_t port) {
    forget_session();
    MAP_CREATE_NONAME(&dbgp_response);
    MAP_CREATE_NONAME(&dbgp_args);
    int32_t connected;
    SOCKET_CONNECT(&dbgp_socket, borrow(host), port, &connected);
    qorcpu_debugged = connected != 0;
    // Without a connection this reports the closed socket, and nothing is read.
    do_init();
    try {
        serve();
    } catch (...) {
        end_session(); // nobody may stop in what the host runs later
        throw;
    }
    return connected;
}

} // namespace

void QORCPU_RUN_DBGP(const char *client) {
    const std::string_view address(client);
    const std::string host(address.substr(0, address.find(':')));
    const int32_t port =
        host.size() < address.size() ? dbgp_number(client + host.size() + 1, DEFAULT_PORT) : DEFAULT_PORT;
    MESSAGE_DISPLAY_F("DBGp: connecting to client %s:%d ...\n", host.c_str(), port);
    qorcpu_begin_stepping();
    if (DBGP_SESSION(host, port)) return;
    MESSAGE_DISPLAY_F("DBGp: unable to connect to client %s:%d\n", host.c_str(), port);
    QORCPU_RUN_PROGRAM();
}

int32_t DBGP_BREAK() {
    // Nobody to tell: the session has ended, or it is the debugger that shows.
    if (dbgp_socket < 0 || No_stop::stands()) return BREAK_LOST;
    // The answer to the request that let the program run, under the number of the
    // last request.
    dbgp_set_attribute("status", "break");
    dbgp_set_attribute("reason", "ok");
    dbgp_add_position();
    DBGP_SEND_RESPONSE();
    while (DBGP_READ_REQUEST()) {
        DBGP_PARSE_REQUEST();
        if (dbgp_command == "run") return BREAK_RUN;
        if (dbgp_command == "step_over") return BREAK_STEP_OVER;
        if (dbgp_command == "step_into") return BREAK_STEP_INTO;
        DBGP_DISPATCH();
    }
    return BREAK_LOST;
}

void dbgp_terminate() { forget_session(); }

} // namespace qor
