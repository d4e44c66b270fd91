// Rendered frames encoded to a video file with FFmpeg's libraries, the
// codec chosen by the file's extension unless named.
#pragma once

#include "media/Sink.h"

namespace media {

// Throws MediaError: unknown container, codec not found or not allowed in
// the container, a pipe given a container that needs to seek.
std::unique_ptr<Sink> openVideoSink(const std::string& path, int width, int height, int depth,
                                    const VideoSettings& settings);

// The muxer name a path is written with ("mp4", "mov", "matroska", ...);
// empty when FFmpeg knows none for it.
std::string videoFormatFor(const std::string& path);

} // namespace media
