#include "preview/RequestFraming.h"

#include "preview/HttpLimits.h"
#include "preview/HttpText.h"

#include <cctype>

namespace glfxpreview {

namespace {

constexpr std::string_view kCrlf = "\r\n";
// Hex digits a chunk size may have: more could only say more than the limit.
constexpr std::size_t kMaxChunkDigits = 8;
// Decimal digits a Content-Length may have before it could overflow.
constexpr std::size_t kMaxLengthDigits = 18;

// A header name's characters (a token).
bool tokenChar(char c)
{
    return std::isalnum(static_cast<unsigned char>(c)) ||
           std::string_view("!#$%&'*+-.^_`|~").find(c) != std::string_view::npos;
}

int hexDigit(char c)
{
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    return -1;
}

std::string tooLarge() { return "the body is larger than " + std::to_string(limits::kMaxBody) + " bytes"; }

} // namespace

void RequestFramer::refuse(int status, std::string reason)
{
    f_.state = Framing::State::Refused;
    f_.status = status;
    f_.reason = std::move(reason);
}

const Framing& RequestFramer::advance(std::string_view bytes)
{
    while (f_.state == Framing::State::NeedMore && f_.headEnd == 0) {
        const std::size_t nl = bytes.find('\n', lineStart_);
        if (nl == std::string_view::npos || nl >= limits::kMaxHead) {
            if (bytes.size() > limits::kMaxHead)
                refuse(status::kHeadersTooLarge, "the request line and headers are larger than " +
                                                     std::to_string(limits::kMaxHead) + " bytes");
            return f_;
        }
        const std::string_view line = bytes.substr(lineStart_, nl + 1 - lineStart_);
        if (line.size() < 2 || line[line.size() - 2] != '\r') {
            refuse(status::kBadRequest, "a line of the request does not end in CRLF");
            return f_;
        }
        const bool first = lineStart_ == 0;
        lineStart_ = nl + 1;
        if (first)
            continue; // the request line: the library judges it
        if (line == kCrlf) {
            f_.headEnd = lineStart_;
            headDone();
        } else if (!header(line.substr(0, line.size() - 2))) {
            return f_;
        }
    }
    if (f_.state != Framing::State::NeedMore)
        return f_;
    if (kind_ == Body::Length && bytes.size() >= f_.headEnd + length_) {
        f_.end = f_.headEnd + length_;
        f_.body = length_;
        f_.state = Framing::State::Complete;
    } else if (kind_ == Body::Chunked) {
        chunks(bytes);
    }
    return f_;
}

bool RequestFramer::header(std::string_view line)
{
    const std::size_t colon = line.find(':');
    const std::string_view name = line.substr(0, colon);
    bool token = !name.empty() && colon != std::string_view::npos;
    for (char c : name)
        token = token && tokenChar(c);
    if (!token) {
        refuse(status::kBadRequest, "a header line is not a name, a colon and a value");
        return false;
    }
    const std::string_view value = trimmed(line.substr(colon + 1));
    if (sameText(name, "Content-Length")) {
        bool digits = !value.empty() && value.size() <= kMaxLengthDigits && !sawLength_;
        length_ = 0;
        for (char c : value) {
            digits = digits && c >= '0' && c <= '9';
            length_ = length_ * 10 + static_cast<std::size_t>(c - '0');
        }
        if (!digits) {
            refuse(status::kBadRequest, sawLength_ ? "more than one Content-Length header"
                                                   : "the Content-Length is not a number of bytes");
            return false;
        }
        sawLength_ = true;
    } else if (sameText(name, "Transfer-Encoding")) {
        if (sawEncoding_ || !sameText(value, "chunked")) {
            refuse(status::kBadRequest, "only one Transfer-Encoding, chunked, is taken");
            return false;
        }
        sawEncoding_ = true;
    } else if (sameText(name, "Expect")) {
        f_.expectsContinue = sameText(value, "100-continue");
    }
    return true;
}

void RequestFramer::headDone()
{
    if (sawLength_ && sawEncoding_)
        return refuse(status::kBadRequest, "both a Content-Length and a Transfer-Encoding");
    if (sawEncoding_) {
        kind_ = Body::Chunked;
        f_.hasBody = true;
        pos_ = f_.headEnd;
    } else if (sawLength_ && length_ > limits::kMaxBody) {
        refuse(status::kPayloadTooLarge, tooLarge());
    } else if (sawLength_ && length_ > 0) {
        kind_ = Body::Length;
        f_.hasBody = true;
    } else {
        f_.end = f_.headEnd;
        f_.state = Framing::State::Complete;
    }
}

void RequestFramer::chunks(std::string_view bytes)
{
    while (f_.state == Framing::State::NeedMore) {
        if (pos_ - f_.headEnd > limits::kMaxChunkedBody)
            return refuse(status::kPayloadTooLarge, tooLarge() + " as chunks");
        switch (chunk_) {
        case Chunk::SizeLine: {
            const std::size_t nl = bytes.find('\n', pos_);
            if (nl == std::string_view::npos || nl - pos_ >= limits::kMaxChunkLine) {
                if (bytes.size() - pos_ > limits::kMaxChunkLine)
                    refuse(status::kBadRequest, "a chunk-size line is too long");
                return;
            }
            const std::string_view line = bytes.substr(pos_, nl + 1 - pos_);
            std::size_t digits = 0, size = 0;
            while (digits < line.size() && hexDigit(line[digits]) >= 0) {
                size = size * 16 + static_cast<std::size_t>(hexDigit(line[digits]));
                ++digits;
            }
            const char after = digits < line.size() ? line[digits] : '\0';
            const bool ends = line.size() >= 2 && line[line.size() - 2] == '\r';
            const bool alone = after == ';' || (after == '\r' && digits + 2 == line.size());
            if (digits == 0 || digits > kMaxChunkDigits || !ends || !alone)
                return refuse(status::kBadRequest,
                              "a chunk size is not a hexadecimal number on its own line");
            pos_ = nl + 1;
            if (size == 0) {
                chunk_ = Chunk::Last;
                break;
            }
            f_.body += size;
            if (f_.body > limits::kMaxBody)
                return refuse(status::kPayloadTooLarge, tooLarge());
            chunkLeft_ = size;
            chunk_ = Chunk::Data;
            break;
        }
        case Chunk::Data:
            if (bytes.size() - pos_ < chunkLeft_)
                return;
            pos_ += chunkLeft_;
            chunk_ = Chunk::DataEnd;
            break;
        case Chunk::DataEnd:
        case Chunk::Last:
            if (bytes.size() - pos_ < kCrlf.size())
                return;
            if (bytes.substr(pos_, kCrlf.size()) != kCrlf)
                return refuse(status::kBadRequest, chunk_ == Chunk::Last
                                                       ? "trailers after the last chunk are not taken"
                                                       : "a chunk does not end in CRLF");
            pos_ += kCrlf.size();
            if (chunk_ == Chunk::Last) {
                f_.end = pos_;
                f_.state = Framing::State::Complete;
            }
            chunk_ = Chunk::SizeLine;
            break;
        }
    }
}

} // namespace glfxpreview
