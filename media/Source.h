// Where frames come from: a still image, an image sequence, a video file or
// the generated pattern. A source fills frames the caller owns, at the
// caller's depth, in presentation order.
#pragma once

#include "media/Frame.h"

#include <cstdint>
#include <memory>
#include <string>

namespace media {

// Colour description of a stream, in the codes of ISO/IEC 23091-2 that
// FFmpeg also uses (2: unspecified). The range is 1 limited, 2 full, 0 not
// said.
struct ColorTags {
    static constexpr int kUnspecified = 2;
    int matrix = kUnspecified;
    int primaries = kUnspecified;
    int transfer = kUnspecified;
    int range = 0;
};

struct SourceInfo {
    int width = 0, height = 0; // as shown (after a rotation of the stream)
    int depth = kDepth8;       // the world depth that keeps the source's precision
    bool video = false;        // a video file (timestamps, colour tags, maybe audio)
    bool still = false;        // one image that stands for every frame
    double fps = 0.0;          // nominal frames a second; 0 when not known
    int64_t frames = -1;       // frame count when known
    double duration = 0.0;     // video: the file's duration in seconds when it tells one, else 0
    int timeBaseNum = 1;       // the stream's time base, for timestamps carried to the output
    int timeBaseDen = 1;
    double startSeconds = 0.0; // the video stream's first timestamp in the file (frames count from it)
    ColorTags color;           // video only; the values the frames were converted with
    bool yuv = false;          // video stored as Y'CbCr
    int log2ChromaW = 0;       // its chroma subsampling
    int log2ChromaH = 0;
    bool alpha = false; // the source has an alpha channel
    std::string path;
};

class Source {
public:
    virtual ~Source() = default;
    const SourceInfo& info() const { return info_; }
    // The next frame into `to` (the source's size; any depth); with a null
    // `to` the frame is passed over without converting it. `seconds` gets its
    // presentation time from the start of the source. False at the end.
    // Throws MediaError.
    virtual bool read(const FrameView* to, double& seconds) = 0;

protected:
    SourceInfo info_;
};

// Opens a video file, a still image, or (a path with a run of '#') the image
// sequence of frames first..last, timed at `fps`. Sizes are checked against
// the limits from the header before any pixel is read. Throws MediaError
// naming the file.
std::unique_ptr<Source> openSource(const std::string& path, int64_t first = 0, int64_t last = 0,
                                   double fps = 30.0);

// Whether a path names a video file by its extension (what openSource then
// opens with FFmpeg rather than as an image).
bool isVideoPath(const std::string& path);

// The generated test pattern as a source of one still frame.
std::unique_ptr<Source> openPattern(int width, int height);

} // namespace media
