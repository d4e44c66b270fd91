// Where rendered frames go: an image, an image sequence, a video file or
// standard output. A sink reads the caller's frames at their depth. Nothing
// appears under the output's name until finish() succeeds; a sink destroyed
// before that removes what it wrote.
#pragma once

#include "media/Frame.h"
#include "media/Source.h"

#include <cstdint>
#include <memory>
#include <string>

namespace media {

class Sink {
public:
    virtual ~Sink() = default;
    // Writes frame `index` (its number in the source) shown at `seconds`.
    // Throws MediaError.
    virtual void write(const FrameView& frame, int64_t index, double seconds) = 0;
    // Completes the output. Throws MediaError.
    virtual void finish() = 0;
};

// What a video output is made with; empty and negative fields take the
// container's defaults.
struct VideoSettings {
    std::string codec;   // an FFmpeg encoder name
    int crf = -1;        // constant rate factor (H.264, VP9)
    std::string bitrate; // "8M", "2500k", ...
    double fps = 30.0;   // nominal rate, and the timing without a video input
    // The input's stream, when it is a video: its time base (timestamps are
    // carried), colour tags, layout, and audio streams to carry over.
    const SourceInfo* input = nullptr;
    // Whether every frame of the input is rendered: its audio is then carried
    // whole (priming included); else only the audio of the frames rendered.
    bool wholeInput = true;
};

// Whether `path` (or "-") is written as video.
bool isVideoOutput(const std::string& path, const SourceInfo& input);

// A sink for `path`: a run of '#' makes an image sequence, a video extension
// a video file, "-" standard output (Matroska for video, else PNG), anything
// else one image. `depth` is the depth the frames will have. Checks what it
// can before any frame (format, codec, directory). Throws MediaError.
std::unique_ptr<Sink> openSink(const std::string& path, int width, int height, int depth,
                               const VideoSettings& settings);

} // namespace media
