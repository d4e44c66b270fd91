// Which requests the preview takes, judged by their headers alone: the
// address the client asked for (Host), the page that sent a change (Origin)
// and what its body is (Content-Type).
//
// A page of another site can make a browser send requests here. The Host
// check stops such a page from reading answers through a name of its own
// that resolves to this address (DNS rebinding); the Origin check stops it
// from changing anything by sending a request across sites. Requiring JSON
// bodies keeps HTML forms out as well, and makes any cross-site change a
// request that browsers must first ask leave for, which this server never
// gives.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace glfxpreview {

class RequestRules {
public:
    // The server's own address and the port it listens on.
    RequestRules(std::string address, int port);

    // The address as a Host header names it: "127.0.0.1:PORT",
    // "[::1]:PORT"; "localhost:PORT" too on the loopback address; the port
    // may be left out when it is 80.
    bool hostAllowed(std::string_view host) const;
    // "http://" and an allowed host: the preview's own page.
    bool originAllowed(std::string_view origin) const;

    struct Verdict {
        int status = 0;     // 0: the request may go on; else the status to refuse it with
        std::string reason; // why it was refused
    };
    // The verdict on a request with these headers (an absent header is
    // nullopt). Requests that may change state (any method but GET, HEAD and
    // OPTIONS) must come from the preview's own page or from no page at all
    // (no Origin), and carry JSON.
    Verdict judge(std::string_view method, std::string_view host, std::optional<std::string_view> origin,
                  std::optional<std::string_view> contentType) const;

private:
    std::string address_; // the listening address as given; set once
    int port_ = 0;        // the listening port; set once
};

// Whether a Content-Type names JSON ("application/json", any parameters).
bool isJsonType(std::string_view contentType);
// Whether a request with this method may change state.
bool changesState(std::string_view method);

} // namespace glfxpreview
