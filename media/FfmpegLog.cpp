#include "media/FfmpegLog.h"

extern "C" {
#include <libavutil/error.h>
#include <libavutil/log.h>
}

#include <cstdio>
#include <deque>
#include <mutex>

namespace media {

namespace {

constexpr size_t kKeptLines = 8;

std::mutex logMutex;          // guards kept
std::deque<std::string> kept; // the latest warning and error lines, process-wide
std::string partial;          // a line FFmpeg sent in pieces (under logMutex)

void collect(void* avcl, int level, const char* fmt, va_list args)
{
    if (level > AV_LOG_WARNING)
        return;
    char line[1024];
    int prefix = 1;
    av_log_format_line(avcl, level, fmt, args, line, sizeof line, &prefix);
    std::lock_guard<std::mutex> lock(logMutex);
    partial += line;
    size_t nl;
    while ((nl = partial.find('\n')) != std::string::npos) {
        if (nl > 0)
            kept.push_back(partial.substr(0, nl));
        partial.erase(0, nl + 1);
        if (kept.size() > kKeptLines)
            kept.pop_front();
    }
}

} // namespace

void quietFfmpeg()
{
    static std::once_flag once;
    std::call_once(once, [] { av_log_set_callback(collect); });
}

std::string takeFfmpegLog()
{
    std::lock_guard<std::mutex> lock(logMutex);
    std::string text;
    for (const std::string& l : kept)
        text += (text.empty() ? "" : "\n") + l;
    kept.clear();
    partial.clear();
    return text;
}

std::string ffmpegError(int code)
{
    char text[AV_ERROR_MAX_STRING_SIZE] = {};
    av_strerror(code, text, sizeof text);
    return text;
}

} // namespace media
