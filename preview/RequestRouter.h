// The preview's routes, on cpp-httplib's Server, which here only routes and
// answers: the gate (ConnectionGate) accepts connections and reads each
// request whole, and a worker then hands it to answer(). The library never
// reads from a client itself, so none can hold its threads, and no request
// larger than the gate lets through ever reaches it.
#pragma once

#include "preview/Connection.h"

#include <httplib.h>

#include <atomic>

namespace glfxpreview {

class RequestRouter : public httplib::Server {
public:
    RequestRouter();

    // Answers the request at the front of `c` (its framer says where it
    // ends) and takes it out of `c`'s buffer. Returns whether the
    // connection may carry another request: not after a request with a
    // body, one the library did not read to its end, or a failed write.
    bool answer(Connection& c);

    // Ends the answers in progress at their next turn: event streams stop,
    // and writes that wait for the client give up.
    void stop();

private:
    std::atomic<bool> stopping_{false}; // set once by stop()
};

} // namespace glfxpreview
