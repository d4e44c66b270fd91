#include "preview/ConnectionGate.h"

#include "preview/HttpLimits.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <arpa/inet.h>
#include <cerrno>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace glfxpreview {

namespace {

// Bytes read from a socket at a time.
constexpr std::size_t kReadChunk = 16 * 1024;
// Most bytes a connection's buffer holds: enough for the framer to judge
// any request (a chunked body may be judged only with its last chunk's data
// in), and a little of the next.
constexpr std::size_t kMaxBuffered =
    limits::kMaxHead + limits::kMaxChunkedBody + limits::kMaxBody + kReadChunk;
// Most bytes a lingering connection has dropped in one round of the gate.
constexpr std::size_t kLingerRound = 256 * 1024;
// Longest the poll sleeps with nothing due, so that a missed wake costs little.
constexpr int kMaxPollMs = 1000;

// Writes what the socket takes now; an answer to a client that is being let
// go is not waited for.
void sendNow(int fd, const std::string& text) { (void)send(fd, text.data(), text.size(), MSG_NOSIGNAL); }

std::string errorAnswer(int code, const std::string& reason)
{
    const std::string body = nlohmann::json{{"error", reason}}.dump();
    return "HTTP/1.1 " + std::to_string(code) + " " + statusText(code) +
           "\r\nContent-Type: application/json\r\nContent-Length: " + std::to_string(body.size()) +
           "\r\nConnection: close\r\n\r\n" + body;
}

std::string addressText(const sockaddr_storage& a, int& port)
{
    char text[INET6_ADDRSTRLEN] = {};
    if (a.ss_family == AF_INET6) {
        const auto* v6 = reinterpret_cast<const sockaddr_in6*>(&a);
        inet_ntop(AF_INET6, &v6->sin6_addr, text, sizeof text);
        port = ntohs(v6->sin6_port);
    } else {
        const auto* v4 = reinterpret_cast<const sockaddr_in*>(&a);
        inet_ntop(AF_INET, &v4->sin_addr, text, sizeof text);
        port = ntohs(v4->sin_port);
    }
    return text;
}

} // namespace

ConnectionGate::ConnectionGate(ListenSocket listening) : listenFd_(listening.fd)
{
    if (pipe2(wakePipe_, O_NONBLOCK | O_CLOEXEC) != 0)
        wakePipe_[0] = wakePipe_[1] = -1;
}

ConnectionGate::~ConnectionGate()
{
    stop();
    if (listenFd_ >= 0)
        close(listenFd_);
    std::lock_guard<std::mutex> lock(mutex_);
    for (auto& c : pending_)
        closeLocked(*c);
    for (auto& c : ready_)
        closeLocked(*c);
    for (auto& c : returned_)
        closeLocked(*c);
    for (int fd : wakePipe_)
        if (fd >= 0)
            close(fd);
}

bool ConnectionGate::stopping() const
{
    std::lock_guard<std::mutex> lock(mutex_);
    return stopping_;
}

void ConnectionGate::stop()
{
    {
        std::lock_guard<std::mutex> lock(mutex_);
        stopping_ = true;
        // Workers blocked writing to these return at once; each socket
        // leaves the set under this lock before it is closed, so none is
        // shut down after its number was given to another file.
        for (int fd : answering_)
            shutdown(fd, SHUT_RDWR);
    }
    readyCv_.notify_all();
    wake();
}

void ConnectionGate::wake()
{
    if (wakePipe_[1] >= 0)
        (void)write(wakePipe_[1], "w", 1);
}

std::unique_ptr<Connection> ConnectionGate::next()
{
    std::unique_lock<std::mutex> lock(mutex_);
    readyCv_.wait(lock, [this] { return stopping_ || !ready_.empty(); });
    if (stopping_)
        return nullptr;
    std::unique_ptr<Connection> c = std::move(ready_.front());
    ready_.pop_front();
    return c;
}

void ConnectionGate::done(std::unique_ptr<Connection> c, bool keep)
{
    {
        std::lock_guard<std::mutex> lock(mutex_);
        answering_.erase(c->fd);
        if (!keep || stopping_)
            return closeLocked(*c);
        returned_.push_back(std::move(c));
    }
    wake();
}

void ConnectionGate::closeLocked(Connection& c)
{
    if (c.fd < 0)
        return;
    close(c.fd);
    c.fd = -1;
    if (--perClient_[c.peer] <= 0)
        perClient_.erase(c.peer);
    --total_;
}

void ConnectionGate::run()
{
    std::vector<pollfd> fds;
    for (;;) {
        {
            std::lock_guard<std::mutex> lock(mutex_);
            if (stopping_)
                break;
        }
        takeReturned();
        const Clock::time_point now = Clock::now();
        int waitMs = kMaxPollMs;
        fds.assign({{wakePipe_[0], POLLIN, 0}, {listenFd_, POLLIN, 0}});
        for (const auto& c : pending_) {
            fds.push_back({c->fd, POLLIN, 0});
            const auto left =
                std::chrono::duration_cast<std::chrono::milliseconds>(deadline(*c) - now).count();
            waitMs = static_cast<int>(std::clamp<long long>(left + 1, 0, waitMs));
        }
        if (poll(fds.data(), fds.size(), waitMs) < 0 && errno != EINTR)
            break;
        if (fds[0].revents) {
            char drain[64];
            while (read(wakePipe_[0], drain, sizeof drain) > 0) {}
        }
        // Pending connections first: accepting may close some of them.
        const std::size_t polled = fds.size() - 2;
        for (std::size_t i = 0; i < polled; ++i) {
            std::unique_ptr<Connection>& c = pending_[i];
            if (fds[i + 2].revents && !receive(*c)) {
                std::lock_guard<std::mutex> lock(mutex_);
                closeLocked(*c);
                c.reset();
            } else if (fds[i + 2].revents && !c->lingering) {
                judge(c);
            }
        }
        const Clock::time_point later = Clock::now();
        for (std::unique_ptr<Connection>& c : pending_) {
            if (!c || later < deadline(*c))
                continue;
            if (c->started && !c->lingering) {
                refuse(*c, status::kRequestTimeout, "the request did not arrive in time");
                continue;
            }
            std::lock_guard<std::mutex> lock(mutex_);
            closeLocked(*c);
            c.reset();
        }
        pending_.erase(std::remove(pending_.begin(), pending_.end(), nullptr), pending_.end());
        if (fds[1].revents)
            accept();
    }
    std::lock_guard<std::mutex> lock(mutex_);
    close(listenFd_);
    listenFd_ = -1;
    for (auto& c : pending_)
        closeLocked(*c);
    pending_.clear();
}

void ConnectionGate::takeReturned()
{
    std::vector<std::unique_ptr<Connection>> back;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        back.swap(returned_);
    }
    for (std::unique_ptr<Connection>& c : back) {
        c->since = Clock::now();
        c->started = !c->in.empty();
        c->continued = false;
        pending_.push_back(std::move(c));
        if (pending_.back()->started)
            judge(pending_.back()); // the next request may have come with the last one
    }
    pending_.erase(std::remove(pending_.begin(), pending_.end(), nullptr), pending_.end());
}

void ConnectionGate::accept()
{
    for (int i = 0; i < limits::kAcceptBurst; ++i) {
        sockaddr_storage from{};
        socklen_t size = sizeof from;
        const int fd =
            accept4(listenFd_, reinterpret_cast<sockaddr*>(&from), &size, SOCK_NONBLOCK | SOCK_CLOEXEC);
        if (fd < 0)
            return; // none left, or the client gave up first
        auto c = std::make_unique<Connection>();
        c->fd = fd;
        c->peer = addressText(from, c->peerPort);
        c->since = Clock::now();
        if (!admit(*c)) {
            sendNow(fd, errorAnswer(status::kUnavailable, "this client holds too many connections"));
            close(fd);
            continue;
        }
        pending_.push_back(std::move(c));
    }
}

bool ConnectionGate::admit(const Connection& c)
{
    std::lock_guard<std::mutex> lock(mutex_);
    const bool clientFull = perClient_[c.peer] >= limits::kMaxConnectionsPerClient;
    if (clientFull || total_ >= limits::kMaxConnections) {
        // The connection of that client (or of any) that has waited longest
        // for its request makes room; one being answered never does.
        auto victim = pending_.end();
        for (auto it = pending_.begin(); it != pending_.end(); ++it)
            if ((!clientFull || (*it)->peer == c.peer) &&
                (victim == pending_.end() || (*it)->since < (*victim)->since))
                victim = it;
        if (victim == pending_.end()) {
            if (perClient_[c.peer] == 0)
                perClient_.erase(c.peer);
            return false;
        }
        closeLocked(**victim);
        pending_.erase(victim);
    }
    ++perClient_[c.peer];
    ++total_;
    return true;
}

bool ConnectionGate::receive(Connection& c)
{
    char buf[kReadChunk];
    std::size_t dropped = 0; // while lingering, this round
    for (;;) {
        const std::size_t room = c.lingering ? sizeof buf : std::min(sizeof buf, kMaxBuffered - c.in.size());
        if (room == 0)
            return true; // full: the framer judges it now, and has all it needs to
        const ssize_t n = recv(c.fd, buf, room, 0);
        if (n == 0)
            return false; // the client closed
        if (n < 0)
            return errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR;
        if (c.lingering) {
            // Dropped; and the gate's other connections get their turn.
            dropped += static_cast<std::size_t>(n);
            if (dropped >= kLingerRound)
                return true;
            continue;
        }
        if (!c.started) {
            c.started = true;
            c.since = Clock::now();
        }
        c.in.append(buf, static_cast<std::size_t>(n));
    }
}

void ConnectionGate::judge(std::unique_ptr<Connection>& c)
{
    const Framing& f = c->framer.advance(c->in);
    switch (f.state) {
    case Framing::State::Complete: {
        {
            std::lock_guard<std::mutex> lock(mutex_);
            answering_.insert(c->fd);
            ready_.push_back(std::move(c));
        }
        readyCv_.notify_one();
        return;
    }
    case Framing::State::Refused: return refuse(*c, f.status, f.reason);
    case Framing::State::NeedMore:
        if (f.headEnd != 0 && f.expectsContinue && !c->continued) {
            sendNow(c->fd, "HTTP/1.1 100 " + std::string(statusText(status::kContinue)) + "\r\n\r\n");
            c->continued = true;
        }
        return;
    }
}

void ConnectionGate::refuse(Connection& c, int status, const std::string& reason)
{
    sendNow(c.fd, errorAnswer(status, reason));
    // Half-closed, and read for a while: closing with unread bytes would
    // reset the connection, and the client could lose the answer.
    shutdown(c.fd, SHUT_WR);
    c.lingering = true;
    c.since = Clock::now();
    c.in.clear();
    c.in.shrink_to_fit();
}

Clock::time_point ConnectionGate::deadline(const Connection& c) const
{
    if (c.lingering)
        return c.since + limits::kLinger;
    return c.since + (c.started ? std::chrono::duration_cast<Clock::duration>(limits::kRequestTimeout)
                                : std::chrono::duration_cast<Clock::duration>(limits::kIdleTimeout));
}

} // namespace glfxpreview
