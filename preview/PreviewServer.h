// The preview's HTTP side: serves the embedded page, the current frame and a
// small JSON API over a Model (the effect session, which lives elsewhere),
// on one address. Requests are judged by RequestRules (Host, Origin,
// Content-Type) before any route sees them, and every client is held to the
// bounds in HttpLimits.h by the ConnectionGate in front of the routes.
#pragma once

#include "preview/HttpLimits.h"
#include "preview/RequestRules.h"

#include <nlohmann/json.hpp>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>

namespace glfxpreview {

class ConnectionGate;
class RequestRouter;
struct ListenSocket;

// A request the model cannot take (unknown parameter, value of the wrong
// kind): answered 400 with the message.
struct BadRequest : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// What the page is told without asking: each change bumps `seq`.
struct Status {
    uint64_t seq = 0;        // changes so far
    uint64_t generation = 0; // renders done
    uint64_t reloads = 0;    // descriptions reloaded (the panel may have changed)
    bool failed = false;     // the last build failed (the last good frame stays)
    bool busy = false;       // a render has been running for longer than the page waits quietly
};

// What the server shows and changes. Every call may come from any of the
// server's threads; the model keeps its own effect work on its own thread.
class Model {
public:
    virtual ~Model() = default;
    // {"generation", "params": [...], "error", ...}: the panel as last rendered.
    virtual nlohmann::json panel() = 0;
    // The last good frame as PNG bytes, scaled down to at most `maxWidth`
    // pixels across (0: full size); empty before the first one.
    virtual std::string framePng(int maxWidth) = 0;
    // {"errors", "warnings", "diagnostics": [...]} of the description.
    virtual nlohmann::json diagnostics() = 0;
    // A user's change of host parameter `hostIndex` to `value` (text as
    // `glfx render --set` takes it). Queued; throws BadRequest when the
    // parameter does not exist.
    virtual void change(int hostIndex, const std::string& value) = 0;
    // The time to render at, in seconds (0 or more). Queued; a newer time
    // replaces one not yet rendered.
    virtual void seek(double seconds) = 0;
    // The status once its `seq` differs from `seen`, or after `timeout`.
    virtual Status waitStatus(uint64_t seen, std::chrono::milliseconds timeout) = 0;
    // Ends every waitStatus now (the server is stopping).
    virtual void wakeWaiters() = 0;
};

class PreviewServer {
public:
    // Listens on `address`:`port` (0: a free port). Throws std::runtime_error
    // "cannot listen on ADDRESS:PORT: REASON" when it cannot.
    PreviewServer(Model& model, const std::string& address, int port);
    ~PreviewServer();
    PreviewServer(const PreviewServer&) = delete;
    PreviewServer& operator=(const PreviewServer&) = delete;

    int port() const { return port_; }
    // "http://127.0.0.1:PORT/"
    std::string url() const;
    // Serves on the calling thread and limits::kWorkers more until stop().
    void run();
    // Stops at once, whatever the clients do: the listening socket and every
    // connection are closed, and answers in progress end at their next write.
    // Any thread.
    void stop();

private:
    PreviewServer(Model& model, const std::string& address, ListenSocket listening);
    void routes();

    Model& model_;
    std::string address_;
    int port_ = 0;
    RequestRules rules_;                    // set up with the port; read by every request
    std::unique_ptr<RequestRouter> router_; // owned; lives as long as this
    std::unique_ptr<ConnectionGate> gate_;  // owned; lives as long as this
    std::atomic<bool> stopping_{false};     // set by stop(); event streams end on it
    std::atomic<int> streams_{0};           // event streams open now
};

} // namespace glfxpreview
