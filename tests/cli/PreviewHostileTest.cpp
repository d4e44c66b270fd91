// glfx preview against hostile clients, over raw sockets on the loopback
// address: pages of other sites posting changes, bodies without end, clients
// that send their headers a line at a time or never, many idle connections,
// and Ctrl-C while such clients hang on. Normal requests must go on being
// answered and the process must stop when told.
#include "CliRun.h"
#include "PreviewProcess.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <arpa/inet.h>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>
#include <vector>

using namespace clitest;
using Json = nlohmann::json;
using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

namespace {

const char* const kEffect =
    "[settings]\nname=Hostile\n"
    "[par1]\nname=Gain\nparam=gain\ntype=float\nmin=0\nmax=2\ndefault=1\n"
    "[par2]\nname=Tint\nparam=tint\ntype=float\nmin=0\nmax=1\ndefault=1\n"
    "[ps0]\nuniform sampler2D in0;\nuniform float gain;\nuniform float tint;\n"
    "void main() { gl_FragColor = texture2D(in0, gl_TexCoord[0].st) * gain * tint; }\n";

// A connected socket to 127.0.0.1:port, or -1.
int connectTo(int port)
{
    const int s = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in addr{};
    addr.sin_family = AF_INET;
    addr.sin_port = htons(static_cast<uint16_t>(port));
    addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (s < 0 || connect(s, reinterpret_cast<sockaddr*>(&addr), sizeof addr) != 0) {
        if (s >= 0)
            close(s);
        return -1;
    }
    return s;
}

bool sendAll(int fd, const std::string& text)
{
    for (std::size_t at = 0; at < text.size();) {
        const ssize_t n = send(fd, text.data() + at, text.size() - at, MSG_NOSIGNAL);
        if (n <= 0)
            return false;
        at += static_cast<std::size_t>(n);
    }
    return true;
}

// Everything the peer sends until it closes or `limit` passes.
std::string readAll(int fd, milliseconds limit)
{
    std::string got;
    const auto deadline = Clock::now() + limit;
    for (;;) {
        const auto left = std::chrono::duration_cast<milliseconds>(deadline - Clock::now()).count();
        pollfd p = {fd, POLLIN, 0};
        if (left <= 0 || poll(&p, 1, static_cast<int>(left)) <= 0)
            return got;
        char buf[4096];
        const ssize_t n = recv(fd, buf, sizeof buf, 0);
        if (n <= 0)
            return got;
        got.append(buf, static_cast<std::size_t>(n));
    }
}

// Whether the server has closed `fd` (end of file or reset) within `limit`;
// whatever it sent before is read and dropped.
bool closedByServer(int fd, milliseconds limit)
{
    const auto deadline = Clock::now() + limit;
    for (;;) {
        const auto left = std::chrono::duration_cast<milliseconds>(deadline - Clock::now()).count();
        pollfd p = {fd, POLLIN, 0};
        if (left <= 0 || poll(&p, 1, static_cast<int>(left)) <= 0)
            return false;
        char buf[4096];
        if (recv(fd, buf, sizeof buf, 0) <= 0)
            return true;
    }
}

int statusOf(const std::string& reply)
{
    return reply.rfind("HTTP/1.1 ", 0) == 0 ? std::atoi(reply.c_str() + 9) : -1;
}

Json bodyOf(const std::string& reply)
{
    const std::size_t at = reply.find("\r\n\r\n");
    return at == std::string::npos ? Json() : Json::parse(reply.substr(at + 4), nullptr, false);
}

// One request on a fresh connection ("Connection: close"): the whole reply,
// or "" when none came within `limit`.
std::string ask(int port, const std::string& method, const std::string& path, const std::string& headers,
                const std::string& body = "", milliseconds limit = milliseconds(3000))
{
    const int s = connectTo(port);
    if (s < 0)
        return "";
    std::string request = method + " " + path + " HTTP/1.1\r\n" + headers + "Connection: close\r\n";
    if (headers.find("Transfer-Encoding") == std::string::npos && method == "POST")
        request += "Content-Length: " + std::to_string(body.size()) + "\r\n";
    request += "\r\n" + body;
    std::string reply = sendAll(s, request) ? readAll(s, limit) : "";
    close(s);
    return reply;
}

// `count` chunks of `data`, chunked transfer coding.
std::string repeatedChunks(int count, const std::string& data)
{
    char size[16];
    std::snprintf(size, sizeof size, "%zx\r\n", data.size());
    std::string out;
    for (int i = 0; i < count; ++i)
        out += size + data + "\r\n";
    return out;
}

// The peak resident size of process `pid` so far, in KiB.
long peakRssKiB(pid_t pid)
{
    std::ifstream in("/proc/" + std::to_string(pid) + "/status");
    for (std::string line; std::getline(in, line);)
        if (line.rfind("VmHWM:", 0) == 0)
            return std::atol(line.c_str() + 6);
    return -1;
}

// Clients that send a request's header lines one at a time every `every`,
// never finishing, each on its own connection; records when the server
// closed each one.
class SlowClients {
public:
    SlowClients(int port, int count, milliseconds every) : every_(every)
    {
        for (int i = 0; i < count; ++i) {
            Slow s;
            s.fd = connectTo(port);
            s.opened = Clock::now();
            if (s.fd >= 0)
                sendAll(s.fd, "GET /api/panel HTTP/1.1\r\n");
            slow_.push_back(s);
        }
        thread_ = std::thread([this] { trickle(); });
    }
    ~SlowClients()
    {
        stop_ = true;
        if (thread_.joinable())
            thread_.join();
        for (const Slow& s : slow_)
            if (s.fd >= 0)
                close(s.fd);
    }
    // How long the server kept each connection open; -1 for one still open.
    std::vector<double> heldSeconds()
    {
        stop_ = true;
        if (thread_.joinable())
            thread_.join();
        std::vector<double> held;
        for (const Slow& s : slow_)
            held.push_back(s.closed ? std::chrono::duration<double>(s.closedAt - s.opened).count() : -1.0);
        return held;
    }

private:
    struct Slow {
        int fd = -1;
        Clock::time_point opened, closedAt;
        bool closed = false;
    };
    void trickle()
    {
        for (int line = 0; !stop_; ++line) {
            const auto next = Clock::now() + every_;
            while (!stop_ && Clock::now() < next) {
                for (Slow& s : slow_)
                    if (!s.closed && s.fd >= 0 && closedByServer(s.fd, milliseconds(0))) {
                        s.closed = true;
                        s.closedAt = Clock::now();
                    }
                std::this_thread::sleep_for(milliseconds(20));
            }
            for (Slow& s : slow_)
                if (!s.closed && s.fd >= 0 &&
                    !sendAll(s.fd, "X-Line-" + std::to_string(line) + ": slow\r\n")) {
                    s.closed = true;
                    s.closedAt = Clock::now();
                }
        }
    }
    milliseconds every_;
    std::vector<Slow> slow_; // owned; written by the trickling thread until it is joined
    std::atomic<bool> stop_{false};
    std::thread thread_; // joined by heldSeconds() or the destructor
};

class PreviewHostile : public ::testing::Test {
protected:
    void SetUp() override
    {
        NEED_PLUGIN();
        proc = std::make_unique<PreviewProcess>("--size 64x32 --effect " + q(dir.write("h.glfx", kEffect)));
        ASSERT_GT(proc->port(), 0) << proc->url();
        port = proc->port();
        own = "127.0.0.1:" + std::to_string(port);
    }
    std::string hostHeader() const { return "Host: " + own + "\r\n"; }
    // The panel's current value of parameter `uniform`.
    double current(const std::string& uniform)
    {
        const Json p = bodyOf(ask(port, "GET", "/api/panel", hostHeader()));
        for (const Json& q : p.value("params", Json::array()))
            if (q.value("uniform", "") == uniform)
                return q.value("current", -1.0);
        return -1.0;
    }

    Scratch dir;
    std::unique_ptr<PreviewProcess> proc;
    int port = 0;
    std::string own;
};

// Pages of other sites, form posts, chunked bodies small and endless, and
// indices that do not fit: refused with the reason, nothing changed.
TEST_F(PreviewHostile, CrossSiteAndOversizedChangesAreRefused)
{
    const std::string json = "Content-Type: application/json\r\n";
    const std::string change = R"({"index":1,"value":"0"})"; // gain to 0 if it got through
    const std::string self = "Origin: http://" + own + "\r\n";
    const struct {
        const char* what;
        std::string path, headers, body;
        int status;
        const char* inError; // a word the error names
    } cases[] = {
        // Accepted: the page itself, a local tool without an Origin, a small
        // chunked body. They set gain to 0.5, and the refused ones below
        // would set it to 0.
        {"the page", "/api/param", self + json, R"({"index":1,"value":"0.5"})", 202, nullptr},
        {"a local tool", "/api/param", "Content-Type: application/json; charset=UTF-8\r\n",
         R"({"index":1,"value":"0.5"})", 202, nullptr},
        {"chunked", "/api/param", json + "Transfer-Encoding: chunked\r\n",
         "a\r\n{\"index\":1\r\nf\r\n,\"value\":\"0.5\"}\r\n0\r\n\r\n", 202, nullptr},
        {"another site's page", "/api/param", "Origin: https://evil.example\r\n" + json, change, 403,
         "Origin"},
        {"another site's form", "/api/param", "Origin: https://evil.example\r\nContent-Type: text/plain\r\n",
         change, 403, "Origin"},
        {"a sandboxed page", "/api/param", "Origin: null\r\n" + json, change, 403, "Origin"},
        {"another port here", "/api/param", "Origin: http://127.0.0.1:1\r\n" + json, change, 403, "Origin"},
        {"another scheme here", "/api/param", "Origin: https://" + own + "\r\n" + json, change, 403,
         "Origin"},
        {"a seek from another site", "/api/time", "Origin: http://evil.example\r\n" + json,
         R"({"seconds":1})", 403, "Origin"},
        {"text, no origin", "/api/param", "Content-Type: text/plain\r\n", change, 415, "JSON"},
        {"a form's encoding", "/api/param", self + "Content-Type: application/x-www-form-urlencoded\r\n",
         change, 415, "JSON"},
        {"no content type", "/api/param", self, change, 415, "JSON"},
        {"a JSON look-alike", "/api/param", "Content-Type: application/jsonp\r\n", change, 415, "JSON"},
        {"index of 64 bits", "/api/param", json, R"({"index":18446744073709551615,"value":"0"})", 400,
         "no parameter 18446744073709551615"},
        {"index below any", "/api/param", json, R"({"index":-9223372036854775808,"value":"0"})", 400,
         "no parameter -9223372036854775808"},
        {"index past 64 bits", "/api/param", json, R"({"index":18446744073709551616,"value":"0"})", 400,
         "integer"},
        {"chunk size not a number", "/api/param", json + "Transfer-Encoding: chunked\r\n",
         "zz\r\n{}\r\n0\r\n\r\n", 400, "chunk"},
        {"chunks past the limit", "/api/param", json + "Transfer-Encoding: chunked\r\n",
         "10000\r\n" + std::string(65536, ' ') + "\r\n10\r\n" + std::string(16, ' ') + "\r\n0\r\n\r\n", 413,
         "large"},
        {"two lengths", "/api/param", json + "Content-Length: 3\r\n", change, 400, "Content-Length"},
    };
    for (const auto& c : cases) {
        const std::string reply = ask(port, "POST", c.path, hostHeader() + c.headers, c.body);
        EXPECT_EQ(statusOf(reply), c.status) << c.what << ": " << reply;
        const Json body = bodyOf(reply);
        if (c.inError) {
            EXPECT_NE(body.value("error", "").find(c.inError), std::string::npos) << c.what << ": " << reply;
        }
    }
    // By name: the page opened as localhost.
    const std::string byName = "localhost:" + std::to_string(port);
    EXPECT_EQ(statusOf(ask(port, "POST", "/api/param",
                           "Host: " + byName + "\r\nOrigin: http://" + byName + "\r\n" + json,
                           R"({"index":2,"value":"0.25"})")),
              202);
    // The accepted changes landed and none of the refused ones: the marker
    // change (tint) is applied together with or after anything queued before it.
    for (int i = 0; i < 200 && current("tint") != 0.25; ++i)
        std::this_thread::sleep_for(milliseconds(25));
    EXPECT_EQ(current("tint"), 0.25);
    EXPECT_EQ(current("gain"), 0.5);
}

// A chunked body without end is cut off at the body limit: 413 before much
// of it is sent, and the server's memory does not follow it.
TEST_F(PreviewHostile, AnEndlessChunkedBodyIsCutOff)
{
    const long rssBefore = peakRssKiB(proc->pid());
    const int s = connectTo(port);
    ASSERT_GE(s, 0);
    ASSERT_TRUE(sendAll(s, "POST /api/param HTTP/1.1\r\n" + hostHeader() +
                               "Content-Type: application/json\r\nTransfer-Encoding: chunked\r\n\r\n"));
    fcntl(s, F_SETFL, O_NONBLOCK);
    const std::string chunk = "4000\r\n" + std::string(0x4000, ' ') + "\r\n";
    const std::size_t total = 64u << 20; // 64 MiB offered
    std::size_t sent = 0;
    std::string reply;
    const auto deadline = Clock::now() + std::chrono::seconds(20);
    while (sent < total && Clock::now() < deadline) {
        pollfd p = {s, POLLIN | POLLOUT, 0};
        if (poll(&p, 1, 1000) <= 0)
            continue;
        if (p.revents & (POLLIN | POLLHUP | POLLERR))
            break; // the server answered or closed
        const ssize_t n =
            send(s, chunk.data() + sent % chunk.size(), chunk.size() - sent % chunk.size(), MSG_NOSIGNAL);
        if (n < 0 && errno != EAGAIN)
            break;
        if (n > 0)
            sent += static_cast<std::size_t>(n);
    }
    fcntl(s, F_SETFL, 0);
    reply = readAll(s, milliseconds(3000));
    close(s);
    EXPECT_EQ(statusOf(reply), 413) << reply;
    EXPECT_LT(sent, std::size_t(16) << 20) << "the server read on long past the limit";
    EXPECT_LT(peakRssKiB(proc->pid()) - rssBefore, 16 * 1024) << "the body was buffered";

    // A client that sends its whole body before it reads still gets the
    // answer, not a reset, and the body is not kept either.
    const std::string bulk = repeatedChunks(256, std::string(0x4000, ' ')); // 4 MiB
    EXPECT_EQ(statusOf(ask(port, "POST", "/api/param",
                           hostHeader() + "Content-Type: application/json\r\nTransfer-Encoding: chunked\r\n",
                           bulk + "0\r\n\r\n")),
              413);
    EXPECT_LT(peakRssKiB(proc->pid()) - rssBefore, 16 * 1024) << "the body was buffered";
    // And the server goes on.
    EXPECT_EQ(statusOf(ask(port, "GET", "/api/panel", hostHeader())), 200);
}

// Eight clients that send a header line now and then hold no server thread:
// fifteen normal requests among them are answered at once, and the slow
// connections are closed once the time for a request's headers is up.
TEST_F(PreviewHostile, SlowAndIdleClientsDoNotStarveOthers)
{
    SlowClients slow(port, 8, milliseconds(400));
    int answered = 0;
    double worst = 0;
    for (int i = 0; i < 15; ++i) {
        const auto start = Clock::now();
        if (statusOf(ask(port, "GET", "/api/panel", hostHeader(), "", milliseconds(3000))) == 200)
            ++answered;
        worst = std::max(worst, std::chrono::duration<double>(Clock::now() - start).count());
        std::this_thread::sleep_for(milliseconds(300));
    }
    EXPECT_EQ(answered, 15);
    EXPECT_LT(worst, 2.0);
    for (double held : slow.heldSeconds()) {
        EXPECT_GE(held, 0.0) << "a slow client still holds its connection";
        EXPECT_LT(held, 6.0);
    }

    // Hundreds of idle connections from one client: most are closed at once,
    // and a normal request still gets through.
    std::vector<int> idle;
    for (int i = 0; i < 300; ++i)
        idle.push_back(connectTo(port));
    const auto start = Clock::now();
    EXPECT_EQ(statusOf(ask(port, "GET", "/api/panel", hostHeader())), 200);
    EXPECT_LT(Clock::now() - start, std::chrono::seconds(2));
    int held = 0;
    for (int fd : idle) {
        EXPECT_GE(fd, 0);
        if (fd >= 0 && !closedByServer(fd, milliseconds(held < 100 ? 50 : 0)))
            ++held;
        close(fd);
    }
    EXPECT_LE(held, 64) << "one client holds too many connections";
}

// Ctrl-C while clients trickle headers, stall in a body, never read their
// answers and hold event streams: the process exits within a second.
TEST_F(PreviewHostile, CtrlCStopsItWhateverTheClientsDo)
{
    SlowClients slow(port, 3, milliseconds(300));
    std::vector<int> stalled;
    // A body promised and never sent.
    stalled.push_back(connectTo(port));
    sendAll(stalled.back(), "POST /api/param HTTP/1.1\r\n" + hostHeader() +
                                "Content-Type: application/json\r\nContent-Length: 1000\r\n\r\n{\"index\":");
    // Answers asked for and never read: the server's writes fill the socket.
    stalled.push_back(connectTo(port));
    const int small = 4096;
    setsockopt(stalled.back(), SOL_SOCKET, SO_RCVBUF, &small, sizeof small);
    std::string many;
    for (int i = 0; i < 2000; ++i)
        many += "GET /preview.js HTTP/1.1\r\n" + hostHeader() + "\r\n";
    const int pipelined = stalled.back();
    fcntl(pipelined, F_SETFL, O_NONBLOCK);
    send(pipelined, many.data(), many.size(), MSG_NOSIGNAL);
    // Event streams, never read.
    for (int i = 0; i < 2; ++i) {
        stalled.push_back(connectTo(port));
        sendAll(stalled.back(), "GET /api/events HTTP/1.1\r\n" + hostHeader() + "\r\n");
    }
    std::this_thread::sleep_for(milliseconds(1500));

    const auto start = Clock::now();
    const int status = proc->signalAndWait(SIGINT, milliseconds(5000));
    const double took = std::chrono::duration<double>(Clock::now() - start).count();
    EXPECT_EQ(status, 0);
    EXPECT_LT(took, 1.0);
    for (int fd : stalled)
        close(fd);
}

// A port another process listens on, or one this process may not take, is
// one error line with the system's reason, and nothing is served.
TEST(PreviewListen, APortItCannotTakeIsOneErrorLineWithTheReason)
{
    NEED_PLUGIN();
    PreviewProcess first("--size 16x8");
    ASSERT_GT(first.port(), 0);
    const std::string port = std::to_string(first.port());
    // Root may take any port; without the capability it may not.
    const std::string unprivileged = getuid() == 0 ? "setpriv --bounding-set -net_bind_service " : "";
    const struct {
        const char* what;
        std::string args, prefix, error;
    } cases[] = {
        {"in use", "--port " + port, "",
         "glfx: cannot listen on 127.0.0.1:" + port + ": " + strerror(EADDRINUSE)},
        {"privileged", "--port 1", unprivileged,
         "glfx: cannot listen on 127.0.0.1:1: " + std::string(strerror(EACCES))},
        {"not this machine's address", "--listen 192.0.2.1 --port 5000", "",
         "glfx: cannot listen on 192.0.2.1:5000: " + std::string(strerror(EADDRNOTAVAIL))},
    };
    for (const auto& c : cases) {
        const Result r = glfx("preview --size 16x8 " + c.args, c.prefix, 20);
        EXPECT_EQ(r.status, 1) << c.what;
        EXPECT_EQ(r.out, "") << c.what;
        EXPECT_EQ(r.err, c.error + "\n") << c.what;
    }
    EXPECT_EQ(first.stop(), 0);
}

} // namespace
