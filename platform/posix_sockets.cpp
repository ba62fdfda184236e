// The sockets of platform.hpp.
#include "platform/platform.hpp"

#include <cerrno>

#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace qor::platform {

namespace {

// The first address of a host's name.
bool resolve(const std::string &host, uint16_t port, sockaddr_in *address) {
    addrinfo hints = {};
    hints.ai_family = AF_INET;
    hints.ai_socktype = SOCK_STREAM;
    addrinfo *found = nullptr;
    if (getaddrinfo(host.c_str(), nullptr, &hints, &found) != 0) return false;
    *address = *reinterpret_cast<const sockaddr_in *>(found->ai_addr);
    address->sin_port = htons(port);
    freeaddrinfo(found);
    return true;
}

bool connect_to(int socket, const sockaddr_in &address) {
    if (connect(socket, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0) return true;
    if (errno != EINTR) return false;
    // Interrupted, the connecting goes on: it must be waited for, not repeated.
    pollfd connected = {socket, POLLOUT, 0};
    while (poll(&connected, 1, -1) < 0) {
        if (errno != EINTR) return false;
    }
    int error = 0;
    socklen_t size = sizeof error;
    return getsockopt(socket, SOL_SOCKET, SO_ERROR, &error, &size) == 0 && error == 0;
}

} // namespace

int connect_socket(const std::string &host, uint16_t port) {
    sockaddr_in address;
    if (!resolve(host, port, &address)) return -1;
    const int handle = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, IPPROTO_TCP);
    if (handle < 0) return -1;
    if (!connect_to(handle, address)) {
        close(handle);
        return -1;
    }
    // A request in two sends must not wait for the answer to the first.
    const int yes = 1;
    setsockopt(handle, IPPROTO_TCP, TCP_NODELAY, &yes, sizeof yes);
    return handle;
}

int64_t receive(int socket, void *bytes, size_t count) {
    ssize_t n;
    do {
        n = recv(socket, bytes, count, 0);
    } while (n < 0 && errno == EINTR);
    return n;
}

bool send_all(int socket, const void *bytes, size_t count) {
    const char *next = static_cast<const char *>(bytes);
    while (count > 0) {
        const ssize_t n = send(socket, next, count, MSG_NOSIGNAL);
        if (n < 0) {
            if (errno == EINTR) continue;
            return false;
        }
        next += n;
        count -= static_cast<size_t>(n);
    }
    return true;
}

void close_socket(int socket) { close(socket); }

} // namespace qor::platform
