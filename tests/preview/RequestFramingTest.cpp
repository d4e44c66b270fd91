// Where the preview's gate sees a request end, and which it refuses before
// reading on: bodies past the limit however they are framed, ambiguous or
// malformed framing, heads without end. Each request is judged whole and
// again as it would arrive from a slow client, in small pieces: the verdict
// must not depend on how the bytes came.
#include "preview/RequestFraming.h"
#include "preview/HttpLimits.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>

using namespace glfxpreview;

namespace {

constexpr auto kNeedMore = Framing::State::NeedMore;
constexpr auto kComplete = Framing::State::Complete;
constexpr auto kRefused = Framing::State::Refused;

const std::string kHead = "POST /api/param HTTP/1.1\r\nHost: 127.0.0.1:8080\r\n";

std::string chunked(const std::string& chunks)
{
    return kHead + "Transfer-Encoding: chunked\r\n\r\n" + chunks;
}

std::string chunk(std::size_t size)
{
    char hex[16];
    std::snprintf(hex, sizeof hex, "%zx", size);
    return hex + std::string("\r\n") + std::string(size, 'x') + "\r\n";
}

std::string repeated(const std::string& s, std::size_t n)
{
    std::string out;
    for (std::size_t i = 0; i < n; ++i)
        out += s;
    return out;
}

TEST(RequestFraming, EndsAndRefusalsDoNotDependOnHowTheBytesArrive)
{
    const std::string get = "GET / HTTP/1.1\r\nHost: h\r\n\r\n";
    const std::size_t max = limits::kMaxBody;
    const struct {
        const char* what;
        std::string bytes;
        Framing::State state;
        int status;       // when refused
        std::size_t end;  // when complete (0: all the bytes)
        std::size_t body; // when complete
    } cases[] = {
        {"no body", get, kComplete, 0, 0, 0},
        {"the next request after it", get + get, kComplete, 0, get.size(), 0},
        {"a length", kHead + "Content-Length: 5\r\n\r\nhello", kComplete, 0, 0, 5},
        {"a length, body to come", kHead + "Content-Length: 5\r\n\r\nhel", kNeedMore, 0, 0, 0},
        {"a length of zero", kHead + "Content-Length: 0\r\n\r\n", kComplete, 0, 0, 0},
        {"the largest length", kHead + "Content-Length: 65536\r\n\r\n" + std::string(max, '{'), kComplete, 0,
         0, max},
        {"a length past the limit", kHead + "Content-Length: 65537\r\n\r\n", kRefused, 413, 0, 0},
        {"a length past 64 bits", kHead + "Content-Length: 99999999999999999999\r\n\r\n", kRefused, 400, 0,
         0},
        {"a signed length", kHead + "Content-Length: +5\r\n\r\nhello", kRefused, 400, 0, 0},
        {"two lengths", kHead + "Content-Length: 5\r\ncontent-length: 5\r\n\r\nhello", kRefused, 400, 0, 0},
        {"a length and chunks", kHead + "Content-Length: 5\r\nTransfer-Encoding: chunked\r\n\r\n", kRefused,
         400, 0, 0},
        {"chunks", chunked("a;x=1\r\n{\"index\":1\r\nf\r\n,\"value\":\"0.5\"}\r\n0\r\n\r\n"), kComplete, 0, 0,
         25},
        {"chunks in any case", kHead + "transfer-encoding: CHUNKED\r\n\r\n0\r\n\r\n", kComplete, 0, 0, 0},
        {"chunks to the limit", chunked(chunk(max - 1) + chunk(1) + "0\r\n\r\n"), kComplete, 0, 0, max},
        {"a chunk past the limit, its data unsent", chunked(chunk(max) + "1\r\n"), kRefused, 413, 0, 0},
        {"one chunk past the limit", chunked("10001\r\n"), kRefused, 413, 0, 0},
        {"tiny chunks without end", chunked(repeated("1\r\nx\r\n", limits::kMaxChunkedBody / 6 + 1)),
         kRefused, 413, 0, 0},
        {"chunks to come", chunked(chunk(3)), kNeedMore, 0, 0, 0},
        {"a chunk size in C", chunked("0x10\r\n"), kRefused, 400, 0, 0},
        {"a chunk size after a space", chunked(" 10\r\n"), kRefused, 400, 0, 0},
        {"a signed chunk size", chunked("+1\r\nx\r\n0\r\n\r\n"), kRefused, 400, 0, 0},
        {"a chunk size of nine digits", chunked("000000001\r\nx\r\n0\r\n\r\n"), kRefused, 400, 0, 0},
        {"a chunk size line without end", chunked(std::string(300, '0')), kRefused, 400, 0, 0},
        {"chunk data too long", chunked("1\r\nxy\r\n0\r\n\r\n"), kRefused, 400, 0, 0},
        {"trailers", chunked("0\r\nX-Sum: 1\r\n\r\n"), kRefused, 400, 0, 0},
        {"another coding", kHead + "Transfer-Encoding: gzip, chunked\r\n\r\n", kRefused, 400, 0, 0},
        {"a header without a colon", kHead + "Host\r\n\r\n", kRefused, 400, 0, 0},
        {"a space before the colon", kHead + "Content-Length : 5\r\n\r\nhello", kRefused, 400, 0, 0},
        {"a folded header", kHead + "X-A: 1\r\n 2\r\n\r\n", kRefused, 400, 0, 0},
        {"a bare line feed", "GET / HTTP/1.1\r\nHost: h\n\r\n", kRefused, 400, 0, 0},
        {"headers without end", kHead + repeated("X-Pad: 0123456789abcdef\r\n", 700), kRefused, 431, 0, 0},
        {"a line without end", kHead + "X-Pad: " + std::string(limits::kMaxHead, 'a'), kRefused, 431, 0, 0},
    };
    for (const auto& c : cases) {
        RequestFramer whole;
        const Framing f = whole.advance(c.bytes);
        EXPECT_EQ(f.state, c.state) << c.what << ": " << f.reason;
        if (c.state == kRefused) {
            EXPECT_EQ(f.status, c.status) << c.what << ": " << f.reason;
            EXPECT_FALSE(f.reason.empty()) << c.what;
        }
        if (c.state == kComplete) {
            EXPECT_EQ(f.end, c.end ? c.end : c.bytes.size()) << c.what;
            EXPECT_EQ(f.body, c.body) << c.what;
            EXPECT_EQ(f.hasBody, f.end > f.headEnd) << c.what;
        }
        // As a slow client sends it: the same verdict, reached as soon as
        // the bytes that decide it are in.
        RequestFramer slow;
        const std::size_t step = c.bytes.size() > 4096 ? 997 : 1;
        for (std::size_t at = 0; at < c.bytes.size() && slow.result().state == kNeedMore;)
            slow.advance(std::string_view(c.bytes).substr(0, at += std::min(step, c.bytes.size() - at)));
        EXPECT_EQ(slow.result().state, f.state) << c.what;
        EXPECT_EQ(slow.result().status, f.status) << c.what;
        EXPECT_EQ(slow.result().end, f.end) << c.what;
        EXPECT_EQ(slow.result().body, f.body) << c.what;
    }
}

TEST(RequestFraming, AClientThatExpectsToContinueIsToldWhenItsHeadIsIn)
{
    const std::string head = kHead + "Expect: 100-continue\r\nContent-Length: 4\r\n\r\n";
    RequestFramer f;
    EXPECT_EQ(f.advance(head.substr(0, head.size() - 2)).headEnd, 0u);
    EXPECT_EQ(f.advance(head).state, kNeedMore);
    EXPECT_EQ(f.result().headEnd, head.size());
    EXPECT_TRUE(f.result().expectsContinue);
    EXPECT_EQ(f.advance(head + "{}{}").state, kComplete);
    // The next request on the connection starts over.
    f.reset();
    EXPECT_EQ(f.advance("GET / HTTP/1.1\r\n\r\n").state, kComplete);
    EXPECT_FALSE(f.result().expectsContinue);
}

} // namespace
