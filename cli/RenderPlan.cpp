#include "cli/RenderPlan.h"

#include "cli/Commands.h"
#include "media/Frame.h"
#include "media/SequencePath.h"
#include "media/Sink.h"

#include <cerrno>
#include <climits>
#include <cmath>
#include <cstdlib>
#include <fstream>

namespace glfxcli {

namespace {

// Worlds a render holds at once (inputs and outputs in flight), and the
// float copies and textures the plug-in makes of a frame: what memory one
// frame size asks for, roughly.
constexpr uint64_t kWorldsHeld = 6;
constexpr uint64_t kFloatCopies = 4;

uint64_t availableMemory()
{
    std::ifstream in("/proc/meminfo");
    std::string key;
    uint64_t kb = 0;
    std::string unit;
    while (in >> key >> kb >> unit)
        if (key == "MemAvailable:")
            return kb * 1024;
    return 0; // not known
}

void checkFits(int w, int h, int depth)
{
    if (media::frameBytes(w, h, media::kDepth32) > media::kMaxFrameBytes)
        throw CommandError(std::to_string(w) + "x" + std::to_string(h) +
                           " frames cannot be rendered: the effect's float copy of a frame would pass 4 GiB");
    const uint64_t need = media::frameBytes(w, h, depth) * kWorldsHeld +
                          media::frameBytes(w, h, media::kDepth32) * kFloatCopies;
    const uint64_t have = availableMemory();
    if (have > 0 && need > have)
        throw CommandError(std::to_string(w) + "x" + std::to_string(h) + " frames at depth " +
                           std::to_string(depth) + " need about " + std::to_string(need >> 20) +
                           " MiB of memory; " + std::to_string(have >> 20) + " MiB are available");
}

} // namespace

void parseSize(const std::string& text, int& w, int& h)
{
    const size_t x = text.find_first_of("xX");
    char* end = nullptr;
    bool ok = x != std::string::npos && x > 0;
    if (ok) {
        errno = 0;
        const long a = std::strtol(text.c_str(), &end, 10);
        ok = end == text.c_str() + x;
        const long b = ok ? std::strtol(text.c_str() + x + 1, &end, 10) : 0;
        ok = ok && errno == 0 && *end == '\0' && x + 1 < text.size() && a > 0 && b > 0 &&
             a <= media::kMaxSide && b <= media::kMaxSide;
        w = static_cast<int>(a);
        h = static_cast<int>(b);
    }
    if (!ok)
        throw CommandError("--size '" + text + "': expected WIDTHxHEIGHT, each 1.." +
                           std::to_string(media::kMaxSide));
    if (media::frameBytes(w, h, media::kDepth32) > media::kMaxFrameBytes)
        throw CommandError("--size " + text +
                           ": frames that large cannot be rendered (the effect's float copy "
                           "of a frame would pass 4 GiB)");
}

void parseFrames(const std::string& text, int64_t& first, int64_t& last)
{
    auto number = [](const char* s, char** end, bool& ok) {
        errno = 0;
        const long long v = std::strtoll(s, end, 10);
        ok = ok && *end != s && errno == 0 && v >= 0 && (*s >= '0' && *s <= '9');
        return int64_t(v);
    };
    bool ok = true;
    char* end = nullptr;
    first = number(text.c_str(), &end, ok);
    if (ok && *end == '-') {
        const char* second = end + 1;
        last = number(second, &end, ok);
        ok = ok && *end == '\0' && last >= first;
    } else {
        last = first;
        ok = ok && *end == '\0';
    }
    if (!ok)
        throw CommandError("--frames '" + text +
                           "': expected FIRST-LAST with 0 <= FIRST <= LAST <= " + std::to_string(INT64_MAX));
}

RenderPlan planRender(const RenderOptions& o, const Given& given)
{
    const bool premiere = o.host.host == "premiere";
    if (premiere && given.depth && o.depth != 8)
        throw CommandError("--host premiere renders 8-bit BGRA only; --depth " + std::to_string(o.depth) +
                           " needs --host ae");
    if (!(o.fps > 0.0) || !std::isfinite(o.fps) || o.fps > 1000.0)
        throw CommandError("--fps must be above 0 and at most 1000");
    if (!std::isfinite(o.time) || o.time < 0)
        throw CommandError("--time must be a number of seconds, 0 or more");

    int64_t first = 0, last = 0;
    if (given.frames)
        parseFrames(o.frames, first, last);
    size_t pos = 0, len = 0;
    const bool inSequence = !o.input.empty() && media::findFrameRun(o.input, pos, len);
    const bool outPattern = o.output != "-" && media::findFrameRun(o.output, pos, len);

    RenderPlan plan;
    if (o.input.empty()) {
        int w = 0, h = 0;
        parseSize(o.size, w, h);
        plan.source = media::openPattern(w, h);
    } else if (inSequence) {
        if (!given.frames)
            throw CommandError("input '" + o.input +
                               "' is a sequence: give its frames with --frames FIRST-LAST");
        plan.source = media::openSource(o.input, first, last, o.fps);
    } else {
        plan.source = media::openSource(o.input);
    }
    const media::SourceInfo& info = plan.source->info();
    plan.depth = premiere ? 8 : given.depth ? o.depth : info.depth;
    checkFits(info.width, info.height, plan.depth);
    const bool outVideo = media::isVideoOutput(o.output, info);

    FrameSelection& sel = plan.selection;
    sel.fps = o.fps;
    if (info.video) {
        if (given.frames) {
            sel.first = first;
            sel.last = last;
        } else if (given.time) {
            // The frame shown at that time: the last one that starts by then.
            auto scan = media::openSource(o.input);
            double t = 0.0;
            int64_t shown = -1;
            while (scan->read(nullptr, t) && t <= o.time + 1e-9)
                ++shown;
            if (shown < 0)
                throw CommandError("--time " + std::to_string(o.time) + ": '" + o.input +
                                   "' shows no frame then");
            sel.first = sel.last = shown;
        } else {
            sel.first = 0;
            sel.last = outVideo || outPattern ? INT64_MAX : 0;
        }
        if (info.frames > 0) {
            const int64_t end = std::min(sel.last, info.frames - 1);
            plan.total = end >= sel.first ? end - sel.first + 1 : 0;
        }
    } else if (inSequence) {
        sel.first = first;
        sel.last = last;
    } else if (given.frames) {
        sel.first = first;
        sel.last = last;
    } else {
        sel.fixedTime = true;
        sel.time = o.time;
        const double f = std::round(o.time * o.fps);
        if (f > double(INT64_MAX / 2))
            throw CommandError("--time " + std::to_string(o.time) + " is too far");
        sel.first = sel.last = int64_t(f);
    }
    if (!info.video) {
        // The count without overflow: a range may span every int64_t.
        const uint64_t count = uint64_t(sel.last) - uint64_t(sel.first) + 1;
        plan.total = count > uint64_t(INT64_MAX) ? -1 : int64_t(count);
    }
    if (!info.video) {
        // The host's clock counts 1/10000 s in 32 bits.
        const double lastSeconds = sel.fixedTime ? sel.time : double(sel.last) / o.fps;
        if (lastSeconds * glfxhost::Session::kTimeUnitsPerSecond >= double(INT32_MAX))
            throw CommandError(std::string(given.frames ? "--frames " + o.frames : "--time") +
                               ": frame times pass " +
                               std::to_string(INT32_MAX / glfxhost::Session::kTimeUnitsPerSecond) +
                               " s, the end of the host's clock");
    }
    const bool several = sel.last > sel.first;
    if (several && !outPattern && !outVideo)
        throw CommandError(
            "rendering several frames needs a video output or an output pattern with '#' for the "
            "frame number, e.g. out.####.png");
    return plan;
}

} // namespace glfxcli
