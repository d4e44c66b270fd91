// The preview's listening socket. Bound without SO_REUSEPORT, so that a port
// another process listens on is an error here rather than a port shared by
// two servers that answer in turn.
#pragma once

#include <string>

namespace glfxpreview {

struct ListenSocket {
    int fd = -1;  // listening, non-blocking; owned by whoever asked for it
    int port = 0; // the port it listens on (the one chosen when 0 was asked for)
};

// Listens on `address` (an address or a name of this machine) and `port`
// (0: a free one). Throws std::runtime_error
// "cannot listen on ADDRESS:PORT: REASON" with the system's reason.
ListenSocket listenOn(const std::string& address, int port);

// "ADDRESS:PORT", with an IPv6 address in brackets.
std::string hostAndPort(const std::string& address, int port);

} // namespace glfxpreview
