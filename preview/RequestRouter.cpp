#include "preview/RequestRouter.h"

#include "preview/HttpLimits.h"

#include <arpa/inet.h>
#include <cerrno>
#include <limits>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>

namespace glfxpreview {

namespace {

// How often a write waiting for the client looks whether the server stops.
constexpr int kWriteSliceMs = 100;

// One request as the library reads it: the bytes the gate received, then
// the end; the answer goes to the socket.
class BufferedStream : public httplib::Stream {
public:
    BufferedStream(const Connection& c, std::size_t end, const std::atomic<bool>& stopping)
        : c_(c), end_(end), stopping_(stopping)
    {}

    using httplib::Stream::write;

    bool is_readable() const override { return read_ < end_; }
    bool is_writable() const override { return waitWritable(); }

    ssize_t read(char* ptr, size_t size) override
    {
        const std::size_t n = std::min(size, end_ - read_);
        c_.in.copy(ptr, n, read_);
        read_ += n;
        return static_cast<ssize_t>(n);
    }

    ssize_t write(const char* ptr, size_t size) override
    {
        for (std::size_t done = 0; done < size;) {
            if (!waitWritable())
                return -1;
            const ssize_t n = send(c_.fd, ptr + done, size - done, MSG_NOSIGNAL);
            if (n < 0 && errno != EAGAIN && errno != EWOULDBLOCK && errno != EINTR)
                return -1;
            if (n > 0)
                done += static_cast<std::size_t>(n);
        }
        return static_cast<ssize_t>(size);
    }

    void get_remote_ip_and_port(std::string& ip, int& port) const override
    {
        ip = c_.peer;
        port = c_.peerPort;
    }

    void get_local_ip_and_port(std::string& ip, int& port) const override
    {
        sockaddr_storage a{};
        socklen_t size = sizeof a;
        char text[INET6_ADDRSTRLEN] = {};
        port = -1;
        if (getsockname(c_.fd, reinterpret_cast<sockaddr*>(&a), &size) != 0)
            return;
        if (a.ss_family == AF_INET6) {
            const auto* v6 = reinterpret_cast<const sockaddr_in6*>(&a);
            inet_ntop(AF_INET6, &v6->sin6_addr, text, sizeof text);
            port = ntohs(v6->sin6_port);
        } else {
            const auto* v4 = reinterpret_cast<const sockaddr_in*>(&a);
            inet_ntop(AF_INET, &v4->sin_addr, text, sizeof text);
            port = ntohs(v4->sin_port);
        }
        ip = text;
    }

    socket_t socket() const override { return c_.fd; }

    std::size_t consumed() const { return read_; }

private:
    // Whether the client takes more within the write timeout; false at once
    // when the server stops.
    bool waitWritable() const
    {
        const auto deadline = Clock::now() + limits::kWriteTimeout;
        while (!stopping_) {
            pollfd p = {c_.fd, POLLOUT, 0};
            const int ready = poll(&p, 1, kWriteSliceMs);
            if (ready > 0)
                return (p.revents & (POLLERR | POLLHUP | POLLNVAL)) == 0;
            if ((ready < 0 && errno != EINTR) || Clock::now() >= deadline)
                return false;
        }
        return false;
    }

    const Connection& c_;
    const std::size_t end_;             // where the request ends in c_.in
    std::size_t read_ = 0;              // bytes of it the library has read
    const std::atomic<bool>& stopping_; // the router's
};

} // namespace

RequestRouter::RequestRouter()
{
    // The library's own listening socket is never opened; its marker of a
    // running server (any value but INVALID_SOCKET; this one no socket has)
    // is what keeps response streams going until stop().
    svr_sock_ = std::numeric_limits<socket_t>::max();
    set_payload_max_length(limits::kMaxBody);
    set_keep_alive_timeout(std::chrono::duration_cast<std::chrono::seconds>(limits::kIdleTimeout).count());
    set_keep_alive_max_count(limits::kMaxRequestsPerConnection);
}

void RequestRouter::stop()
{
    stopping_ = true;
    svr_sock_ = INVALID_SOCKET;
}

bool RequestRouter::answer(Connection& c)
{
    const Framing& f = c.framer.result();
    BufferedStream stream(c, f.end, stopping_);
    const bool last = f.hasBody || c.served + 1 >= limits::kMaxRequestsPerConnection;
    bool closed = false;
    const bool written = process_request(stream, last, closed, nullptr);
    ++c.served;
    const bool keep = written && !last && !closed && stream.consumed() == f.end && !stopping_;
    c.in.erase(0, f.end);
    c.framer.reset();
    return keep;
}

} // namespace glfxpreview
