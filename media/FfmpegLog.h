// FFmpeg's own log kept off the terminal: its lines are collected (the last
// few) so that a failure can show them under the tool's one line.
#pragma once

#include <string>

namespace media {

// Routes FFmpeg's log here (once; later calls do nothing).
void quietFfmpeg();
// The warnings and errors FFmpeg logged since the last call, oldest first,
// one a line (at most a few), and forgets them.
std::string takeFfmpegLog();
// Text of an FFmpeg error code.
std::string ffmpegError(int code);

} // namespace media
