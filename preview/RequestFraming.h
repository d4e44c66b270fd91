// Where a request ends in the bytes a connection has sent, judged before any
// of it reaches a handler: the request line and headers (to the blank line),
// then the body as Content-Length or chunked transfer coding frames it. A
// request too large, framed ambiguously or malformed in its framing is
// refused here with the status to answer, as soon as that is known: a body
// over the limit is refused from its Content-Length or from the chunk that
// passes the limit, without reading the rest.
//
// The rules follow the line reading of the HTTP library behind the handlers
// (lines end in CRLF; the first empty line after the request line ends the
// headers; no trailers after the last chunk), and are stricter where it is
// lenient, so that a request judged complete here reads the same there.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace glfxpreview {

struct Framing {
    enum class State { NeedMore, Complete, Refused };
    State state = State::NeedMore;
    std::size_t headEnd = 0;      // bytes of the request line and headers, blank line included; 0 until seen
    std::size_t end = 0;          // bytes of the whole request; set once Complete
    std::size_t body = 0;         // body bytes the handler will see (chunks decoded), so far
    bool hasBody = false;         // the headers frame a body of one byte or more
    bool expectsContinue = false; // "Expect: 100-continue"
    int status = 0;               // when Refused: the status to answer with
    std::string reason;           // when Refused: why, said to the client
};

class RequestFramer {
public:
    // Judges the bytes received since the request began. Each call passes
    // the bytes of the call before and maybe more after them; the work done
    // on the earlier ones is not repeated. Once Complete or Refused the
    // result no longer changes.
    const Framing& advance(std::string_view bytes);
    const Framing& result() const { return f_; }
    // Starts over for the next request on the connection.
    void reset() { *this = RequestFramer(); }

private:
    enum class Body { None, Length, Chunked };
    enum class Chunk { SizeLine, Data, DataEnd, Last };

    void refuse(int status, std::string reason);
    // One header line without its CRLF; false when it refused the request.
    bool header(std::string_view line);
    void headDone();
    void chunks(std::string_view bytes);

    Framing f_;
    std::size_t lineStart_ = 0;     // where the head line being read starts
    Body kind_ = Body::None;        // how the headers frame the body
    bool sawLength_ = false;        // a Content-Length header was seen
    bool sawEncoding_ = false;      // a Transfer-Encoding header was seen
    std::size_t length_ = 0;        // the Content-Length
    Chunk chunk_ = Chunk::SizeLine; // where in the chunked body `pos_` is
    std::size_t pos_ = 0;           // next byte of a chunked body to judge
    std::size_t chunkLeft_ = 0;     // data bytes of the current chunk
};

} // namespace glfxpreview
