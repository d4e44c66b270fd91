// Frames from still images: one image that stands for every frame, or an
// image sequence with one file a frame.
#pragma once

#include "media/Source.h"

namespace media {

// One image; its one frame is read once and shown at time 0.
std::unique_ptr<Source> openStill(const std::string& path);

// Files first..last of the sequence `pattern` (a run of '#'), frame f at
// f / fps seconds. The first file's header gives the size every file must
// have.
std::unique_ptr<Source> openSequence(const std::string& pattern, int64_t first, int64_t last, double fps);

} // namespace media
