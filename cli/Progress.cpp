#include "cli/Progress.h"

#include <cstdio>
#include <string>
#include <unistd.h>

namespace glfxcli {

namespace {

constexpr int kBarWidth = 30;
constexpr auto kRedrawEvery = std::chrono::milliseconds(100);

std::string clock(double seconds)
{
    const long s = long(seconds + 0.5);
    char text[32];
    if (s >= 3600)
        std::snprintf(text, sizeof text, "%ld:%02ld:%02ld", s / 3600, s / 60 % 60, s % 60);
    else
        std::snprintf(text, sizeof text, "%ld:%02ld", s / 60, s % 60);
    return text;
}

} // namespace

Progress::Progress(int64_t total, bool enabled)
    : total_(total), enabled_(enabled && total != 1 && isatty(STDERR_FILENO)),
      start_(std::chrono::steady_clock::now()), lastDraw_(start_)
{}

void Progress::update(int64_t done)
{
    if (!enabled_)
        return;
    const auto now = std::chrono::steady_clock::now();
    if (shown_ && now - lastDraw_ < kRedrawEvery && done != total_)
        return;
    lastDraw_ = now;
    shown_ = true;
    const double elapsed = std::chrono::duration<double>(now - start_).count();
    const double fps = elapsed > 0 ? double(done) / elapsed : 0.0;
    std::string line;
    if (total_ > 0) {
        const double part = double(done) / double(total_);
        const int filled = int(part * kBarWidth);
        line = "[" + std::string(filled, '#') + std::string(kBarWidth - filled, ' ') + "] " +
               std::to_string(done) + "/" + std::to_string(total_);
    } else {
        line = "frame " + std::to_string(done);
    }
    char rate[64];
    std::snprintf(rate, sizeof rate, "  %.1f fps", fps);
    line += rate;
    if (total_ > 0 && fps > 0)
        line += "  " + clock(double(total_ - done) / fps) + " left";
    std::fprintf(stderr, "\r%s\033[K", line.c_str());
    std::fflush(stderr);
}

void Progress::end()
{
    if (enabled_ && shown_) {
        std::fputc('\n', stderr);
        std::fflush(stderr);
        shown_ = false;
    }
}

} // namespace glfxcli
