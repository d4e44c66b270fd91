// Names of image sequences: a run of '#' in the file name stands for the
// frame number, zero-padded to the run's length (shot.####.exr).
#pragma once

#include <cstdint>
#include <string>

namespace media {

// Finds the one run of '#' in the file name part of `path`; false when there
// is none. Throws MediaError when there are two runs.
bool findFrameRun(const std::string& path, size_t& pos, size_t& len);

// The path of one frame (negative numbers are refused by the callers).
std::string framePath(const std::string& pattern, size_t pos, size_t len, int64_t frame);

} // namespace media
