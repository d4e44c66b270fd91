// Fuzzes how the preview reads and judges a request, and checks what the
// server relies on: the framer gives one verdict however the bytes arrive
// (whole, or in pieces of the sizes the first input byte picks), never frames
// past what it was given nor lets a body over the limit through; the header
// rules let a change through only from the server's own page; and the API
// takes only indices, values and times within their bounds.
//
// Input: one byte choosing the piece size and the server's address, then the
// bytes a client sends.
#include "preview/ApiRequests.h"
#include "preview/HttpLimits.h"
#include "preview/HttpText.h"
#include "preview/RequestFraming.h"
#include "preview/RequestRules.h"

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>

using namespace glfxpreview;

namespace {

void check(bool ok)
{
    if (!ok)
        std::abort();
}

bool sameVerdict(const Framing& a, const Framing& b)
{
    if (a.state != b.state)
        return false;
    if (a.state == Framing::State::Complete)
        return a.end == b.end && a.headEnd == b.headEnd && a.body == b.body && a.hasBody == b.hasBody;
    if (a.state == Framing::State::Refused)
        return a.status == b.status && a.reason == b.reason;
    return true;
}

void checkFraming(const Framing& f, std::size_t size)
{
    switch (f.state) {
    case Framing::State::Complete:
        check(f.headEnd > 0 && f.headEnd <= f.end && f.end <= size);
        check(f.headEnd <= limits::kMaxHead);
        check(f.body <= limits::kMaxBody && f.body <= f.end - f.headEnd);
        check(f.end - f.headEnd <= limits::kMaxChunkedBody + limits::kMaxBody);
        check(f.hasBody == (f.end > f.headEnd));
        break;
    case Framing::State::Refused:
        check(f.status == status::kBadRequest || f.status == status::kPayloadTooLarge ||
              f.status == status::kHeadersTooLarge);
        check(!f.reason.empty());
        break;
    case Framing::State::NeedMore: break;
    }
}

// The first value of header `name` in a framed head, as the library reads it.
std::optional<std::string_view> headerValue(std::string_view head, std::string_view name)
{
    std::size_t at = head.find("\r\n");
    while (at != std::string_view::npos && at + 2 < head.size()) {
        const std::size_t start = at + 2, end = head.find("\r\n", start);
        if (end == std::string_view::npos)
            break;
        const std::string_view line = head.substr(start, end - start);
        const std::size_t colon = line.find(':');
        if (colon != std::string_view::npos && sameText(line.substr(0, colon), name))
            return trimmed(line.substr(colon + 1));
        at = end;
    }
    return std::nullopt;
}

void checkRules(std::string_view head, uint8_t choice)
{
    static const RequestRules rules[] = {{"127.0.0.1", 8080}, {"::1", 80}, {"192.168.1.5", 46003}};
    const RequestRules& r = rules[choice % 3];
    const std::string_view method = head.substr(0, head.find(' '));
    const std::string_view host = headerValue(head, "Host").value_or("");
    const auto origin = headerValue(head, "Origin");
    const auto type = headerValue(head, "Content-Type");
    const RequestRules::Verdict v = r.judge(method, host, origin, type);
    if (v.status != 0) {
        check(v.status == status::kForbidden || v.status == status::kUnsupportedMediaType);
        return;
    }
    check(r.hostAllowed(host));
    if (changesState(method)) {
        check(!origin || (origin->substr(0, 7) == "http://" && r.hostAllowed(origin->substr(7))));
        check(type && isJsonType(*type));
    }
}

void checkApi(const std::string& body)
{
    ParamChange change;
    if (!parseParamChange(body, change))
        check(change.index >= 1 && change.index <= limits::kMaxParamIndex &&
              change.value.size() <= limits::kMaxValueText);
    else
        check(change.index == 0 && change.value.empty());
    double seconds = -1.0;
    if (!parseSeek(body, seconds))
        check(std::isfinite(seconds) && seconds >= 0.0 && seconds <= limits::kMaxSeconds);
    else
        check(seconds == -1.0);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size == 0)
        return 0;
    const uint8_t choice = data[0];
    const std::string_view bytes(reinterpret_cast<const char*>(data + 1), size - 1);

    RequestFramer whole;
    const Framing all = whole.advance(bytes);
    checkFraming(all, bytes.size());

    RequestFramer pieces;
    const std::size_t step = 1 + choice % 97;
    for (std::size_t at = 0; at < bytes.size() && pieces.result().state == Framing::State::NeedMore;) {
        at = std::min(bytes.size(), at + step);
        checkFraming(pieces.advance(bytes.substr(0, at)), at);
    }
    if (bytes.empty())
        pieces.advance(bytes);
    check(sameVerdict(all, pieces.result()));

    if (all.state == Framing::State::Complete) {
        checkRules(bytes.substr(0, all.headEnd), choice);
        checkApi(std::string(bytes.substr(all.headEnd, all.end - all.headEnd)));
    }
    checkApi(std::string(bytes));
    return 0;
}
