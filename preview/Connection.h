// One client connection of the preview server, passed whole between the
// gate (while its next request arrives) and a worker (while that request is
// answered); whoever holds it is its only user.
#pragma once

#include "preview/RequestFraming.h"

#include <chrono>
#include <string>

namespace glfxpreview {

using Clock = std::chrono::steady_clock;

struct Connection {
    int fd = -1;             // the socket, non-blocking; closed by the gate when it lets the connection go
    std::string peer;        // the client's address: connections are counted per address
    int peerPort = 0;        // the client's port
    std::string in;          // bytes received and not yet answered: the request, maybe the start of the next
    RequestFramer framer;    // where the request at the front of `in` ends
    Clock::time_point since; // when the wait began: accepted, given back, or the request's first byte
    bool started = false;    // a byte of the request being waited for has arrived
    bool continued = false;  // "100 Continue" was sent for this request
    int served = 0;          // requests answered on this connection
    bool lingering = false;  // refused: read and dropped until `since` + the linger time, then closed
};

} // namespace glfxpreview
