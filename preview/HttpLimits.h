// The preview server's HTTP status codes and the bounds it holds every client
// to, in one place: how large a request may be, how long it may take to
// arrive, and how many connections a client may hold.
#pragma once

#include <chrono>
#include <cstddef>

namespace glfxpreview {

// HTTP status codes the server answers with.
namespace status {
constexpr int kContinue = 100;
constexpr int kOk = 200;
constexpr int kAccepted = 202;
constexpr int kBadRequest = 400;
constexpr int kForbidden = 403;
constexpr int kNotFound = 404;
constexpr int kMethodNotAllowed = 405;
constexpr int kRequestTimeout = 408;
constexpr int kPayloadTooLarge = 413;
constexpr int kUnsupportedMediaType = 415;
constexpr int kHeadersTooLarge = 431;
constexpr int kUnavailable = 503;
} // namespace status

// The reason phrase of a status code above ("Bad Request").
inline const char* statusText(int code)
{
    switch (code) {
    case status::kContinue: return "Continue";
    case status::kOk: return "OK";
    case status::kAccepted: return "Accepted";
    case status::kBadRequest: return "Bad Request";
    case status::kForbidden: return "Forbidden";
    case status::kNotFound: return "Not Found";
    case status::kMethodNotAllowed: return "Method Not Allowed";
    case status::kRequestTimeout: return "Request Timeout";
    case status::kPayloadTooLarge: return "Payload Too Large";
    case status::kUnsupportedMediaType: return "Unsupported Media Type";
    case status::kHeadersTooLarge: return "Request Header Fields Too Large";
    case status::kUnavailable: return "Service Unavailable";
    }
    return "Error";
}

namespace limits {
// Largest request body, however it is framed: a parameter change is a few
// dozen bytes.
constexpr std::size_t kMaxBody = 64 * 1024;
// Largest chunked body as sent, its framing included: many tiny chunks may
// carry a small body in many more bytes, but not without end.
constexpr std::size_t kMaxChunkedBody = 4 * kMaxBody;
// Longest chunk-size line (the size in hex and any extensions).
constexpr std::size_t kMaxChunkLine = 256;
// Largest request line and headers together.
constexpr std::size_t kMaxHead = 16 * 1024;
// Longest value text a parameter change may carry.
constexpr std::size_t kMaxValueText = 1024;
// Host parameter indices a change may name (1 up to this); the model says
// which of them exist.
constexpr long long kMaxParamIndex = 100000;
// Latest time the page may ask for: a day.
constexpr double kMaxSeconds = 86400.0;

// How long a connection may wait, silent, for its next request (the first
// one included) before it is closed without a word.
constexpr std::chrono::seconds kIdleTimeout{5};
// How long a request may take to arrive once its first byte has: its
// headers and body together. A client that trickles it is answered 408.
constexpr std::chrono::seconds kRequestTimeout{3};
// How long an answer may wait for the client to take more of it.
constexpr std::chrono::seconds kWriteTimeout{5};
// How long a refused request's connection is read and dropped after the
// answer, so that a client still sending sees the answer rather than a
// reset (what it sends meanwhile is never kept).
constexpr std::chrono::milliseconds kLinger{1000};

// Connections one client address may hold, waiting or being answered. At
// the limit a new connection takes the place of that client's connection
// that has waited longest for its request; if none is waiting, the new one
// is refused.
constexpr int kMaxConnectionsPerClient = 32;
// Connections all clients together may hold, with the same rule.
constexpr int kMaxConnections = 128;
// Requests answered on one connection before it is closed.
constexpr int kMaxRequestsPerConnection = 1000;
// Threads answering requests whose bytes have all arrived; requests still
// arriving hold none.
constexpr int kWorkers = 8;
// Event streams open at once: each holds one of the workers, and the rest
// must stay free for the page's other requests.
constexpr int kMaxStreams = 4;
// Connections taken from the listening socket in one round of the gate.
constexpr int kAcceptBurst = 64;
// Connections the kernel queues before the gate takes them.
constexpr int kListenBacklog = 128;
} // namespace limits

} // namespace glfxpreview
