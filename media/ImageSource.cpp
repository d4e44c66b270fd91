#include "media/ImageSource.h"

#include "media/ImageFile.h"
#include "media/MediaError.h"
#include "media/Pattern.h"
#include "media/SequencePath.h"

namespace media {

namespace {

class StillSource : public Source {
public:
    explicit StillSource(const std::string& path)
    {
        const ImageHeader h = readImageHeader(path);
        info_.width = h.width;
        info_.height = h.height;
        info_.depth = h.depth;
        info_.alpha = h.alpha;
        info_.still = true;
        info_.frames = 1;
        info_.path = path;
    }
    bool read(const FrameView* to, double& seconds) override
    {
        if (done_)
            return false;
        done_ = true;
        seconds = 0.0;
        if (to)
            readImage(info_.path, *to);
        return true;
    }

private:
    bool done_ = false; // the one frame was read
};

class SequenceSource : public Source {
public:
    SequenceSource(const std::string& pattern, int64_t first, int64_t last, double fps)
        : pattern_(pattern), next_(first), last_(last), fps_(fps)
    {
        if (!findFrameRun(pattern, pos_, len_))
            throw MediaError("'" + pattern + "' has no run of '#' for the frame number");
        const ImageHeader h = readImageHeader(framePath(pattern, pos_, len_, first));
        info_.width = h.width;
        info_.height = h.height;
        info_.depth = h.depth;
        info_.alpha = h.alpha;
        info_.fps = fps;
        info_.frames = last - first + 1;
        info_.timeBaseNum = 1;
        info_.path = pattern;
    }
    bool read(const FrameView* to, double& seconds) override
    {
        if (next_ > last_)
            return false;
        const int64_t f = next_++;
        seconds = double(f) / fps_;
        if (to)
            readImage(framePath(pattern_, pos_, len_, f), *to);
        return true;
    }

private:
    std::string pattern_;
    size_t pos_ = 0, len_ = 0;
    int64_t next_, last_;
    double fps_;
};

class PatternSource : public Source {
public:
    PatternSource(int width, int height)
    {
        if (width <= 0 || height <= 0 || width > kMaxSide || height > kMaxSide)
            throw MediaError("pattern size " + std::to_string(width) + "x" + std::to_string(height) +
                             " is over the limit of " + std::to_string(kMaxSide) + " a side");
        info_.width = width;
        info_.height = height;
        info_.still = true;
        info_.frames = 1;
    }
    bool read(const FrameView* to, double& seconds) override
    {
        if (done_)
            return false;
        done_ = true;
        seconds = 0.0;
        if (to)
            drawPattern(*to);
        return true;
    }

private:
    bool done_ = false;
};

} // namespace

std::unique_ptr<Source> openStill(const std::string& path) { return std::make_unique<StillSource>(path); }

std::unique_ptr<Source> openSequence(const std::string& pattern, int64_t first, int64_t last, double fps)
{
    return std::make_unique<SequenceSource>(pattern, first, last, fps);
}

std::unique_ptr<Source> openPattern(int width, int height)
{
    return std::make_unique<PatternSource>(width, height);
}

} // namespace media
