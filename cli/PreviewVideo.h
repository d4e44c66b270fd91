// A video input for glfx preview: the frame shown at a time is the last one
// whose presentation time is not after it, so that the time slider walks the
// video's own frames. Frames are read forward; going back opens the file
// again and reads up to the frame asked for.
#pragma once

#include "media/Frame.h"
#include "media/Source.h"

#include <memory>
#include <string>

namespace glfxcli {

class VideoFrames {
public:
    // Opens `path` and reads its first frame at `depth` (BGRA order when
    // `bgra`). Throws media::MediaError, or CommandError for a file with no
    // frame.
    VideoFrames(const std::string& path, int depth, bool bgra);

    const media::SourceInfo& info() const { return source_->info(); }
    // The frame shown at `seconds` copied into `to` (the video's size, the
    // depth given); returns its presentation time. Times before the first
    // frame show the first, times past the last the last.
    double frameAt(double seconds, const media::FrameView& to);

private:
    void open();
    // Reads the frame after `current_` into `next_`; false at the end.
    bool readNext();

    std::string path_;
    int depth_;
    bool bgra_;
    std::unique_ptr<media::Source> source_; // owned; replaced when going back
    media::FrameBuffer current_;            // the frame shown now
    double currentSeconds_ = 0.0;
    media::FrameBuffer next_; // the frame after it, read ahead
    double nextSeconds_ = 0.0;
    bool haveNext_ = false;
    bool ended_ = false; // no frame after next_ (or current_)
};

} // namespace glfxcli
