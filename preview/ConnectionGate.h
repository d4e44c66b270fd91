// The front of the preview server: takes connections from the listening
// socket and holds each, on one thread and without a worker, until its
// request has arrived whole. Only then does a worker get it, so that clients
// that send slowly, or nothing, hold no thread that others need.
//
// It keeps every client to the bounds in HttpLimits.h: the time a request
// may take to arrive and a connection may stay idle, the size of a request,
// and the connections one client address (and all together) may hold. A
// request refused here (too large, too slow, malformed framing) is answered
// with a JSON error and its connection closed.
#pragma once

#include "preview/Connection.h"
#include "preview/ListenSocket.h"

#include <condition_variable>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

namespace glfxpreview {

class ConnectionGate {
public:
    // Takes over the listening socket.
    explicit ConnectionGate(ListenSocket listening);
    ~ConnectionGate();
    ConnectionGate(const ConnectionGate&) = delete;
    ConnectionGate& operator=(const ConnectionGate&) = delete;

    // Accepts and reads on the calling thread until stop(); then closes the
    // listening socket and every connection no worker holds.
    void run();
    // Ends run() at once and shuts down the sockets of the connections being
    // answered, so that no worker stays blocked on a client. Any thread.
    void stop();
    bool stopping() const;

    // For a worker: the next connection whose request has arrived whole
    // (Connection::framer says where it ends); null once stopping.
    std::unique_ptr<Connection> next();
    // For a worker, after answering: wait for the connection's next request
    // (`keep`; its buffer holds what followed the request), or close it.
    void done(std::unique_ptr<Connection> c, bool keep);

private:
    void takeReturned();
    void accept();
    // Counts a new connection against its client's and the total bound,
    // making room by closing the longest-waiting one; false when no room.
    bool admit(const Connection& c);
    // Reads what `c` sent and acts on it; false when `c` is to be closed.
    bool receive(Connection& c);
    // Acts on the request in `c`'s buffer: hands it to the workers when it
    // is whole (leaving `c` null), refuses it, or waits for more.
    void judge(std::unique_ptr<Connection>& c);
    void refuse(Connection& c, int status, const std::string& reason);
    // When `c` is to be acted on if nothing arrives.
    Clock::time_point deadline(const Connection& c) const;
    // Closes `c` and uncounts it; the caller holds mutex_.
    void closeLocked(Connection& c);
    void wake();

    int listenFd_ = -1;          // listening socket; owned, closed when run() ends or by the destructor
    int wakePipe_[2] = {-1, -1}; // stop() and done() wake the poll through it; owned
    std::vector<std::unique_ptr<Connection>> pending_; // waiting for a request; the run() thread's alone

    mutable std::mutex mutex_;                          // guards what follows
    std::condition_variable readyCv_;                   // wakes workers waiting in next()
    std::deque<std::unique_ptr<Connection>> ready_;     // requests arrived whole, not yet taken by a worker
    std::vector<std::unique_ptr<Connection>> returned_; // given back by workers, not yet pending again
    std::set<int> answering_;                           // sockets of connections workers hold
    std::map<std::string, int> perClient_;              // connections held, by client address
    int total_ = 0;                                     // connections held in all
    bool stopping_ = false;                             // stop() was called
};

} // namespace glfxpreview
