// The render command's progress bar on standard error (a terminal only):
// frames done of the total, frames a second, and the time left.
#pragma once

#include <chrono>
#include <cstdint>

namespace glfxcli {

class Progress {
public:
    // `total` < 0 when the count is not known.
    Progress(int64_t total, bool enabled);
    void update(int64_t done);
    // Ends the line (after the last update or a failure).
    void end();

private:
    // All owned by the bar, written by the rendering thread only.
    int64_t total_;
    bool enabled_;
    bool shown_ = false;
    std::chrono::steady_clock::time_point start_;
    std::chrono::steady_clock::time_point lastDraw_;
};

} // namespace glfxcli
