// A video file's first video stream decoded with FFmpeg's libraries into
// frames at the caller's depth.
#pragma once

#include "media/Source.h"

#include <memory>

namespace media {

// Throws MediaError naming the file: not found, not a media file, no video
// stream, no decoder, a size over the limits.
std::unique_ptr<Source> openVideo(const std::string& path);

} // namespace media
