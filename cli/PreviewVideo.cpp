#include "cli/PreviewVideo.h"

#include "cli/Commands.h"

#include <utility>

namespace glfxcli {

namespace {

// Times from the page and presentation times are both rounded: a frame
// counts as shown at a time this close before it.
constexpr double kSlack = 1e-4;

} // namespace

VideoFrames::VideoFrames(const std::string& path, int depth, bool bgra)
    : path_(path), depth_(depth), bgra_(bgra)
{
    open();
}

void VideoFrames::open()
{
    source_ = media::openSource(path_);
    const media::SourceInfo& in = source_->info();
    current_ = media::FrameBuffer(in.width, in.height, depth_, bgra_);
    next_ = media::FrameBuffer(in.width, in.height, depth_, bgra_);
    haveNext_ = false;
    ended_ = false;
    if (!source_->read(&current_.view(), currentSeconds_))
        throw CommandError("'" + path_ + "' has no frame");
}

bool VideoFrames::readNext()
{
    if (ended_)
        return false;
    haveNext_ = source_->read(&next_.view(), nextSeconds_);
    ended_ = !haveNext_;
    return haveNext_;
}

double VideoFrames::frameAt(double seconds, const media::FrameView& to)
{
    if (seconds + kSlack < currentSeconds_)
        open(); // back: from the start again
    while ((haveNext_ || readNext()) && nextSeconds_ <= seconds + kSlack) {
        std::swap(current_, next_);
        currentSeconds_ = nextSeconds_;
        haveNext_ = false;
    }
    media::copyFrame(current_.view(), to);
    return currentSeconds_;
}

} // namespace glfxcli
