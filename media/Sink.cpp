#include "media/Sink.h"

#include "media/ImageSink.h"
#include "media/SequencePath.h"
#include "media/VideoSink.h"

namespace media {

bool isVideoOutput(const std::string& path, const SourceInfo& input)
{
    if (path == "-")
        return input.video;
    size_t pos = 0, len = 0;
    return !findFrameRun(path, pos, len) && isVideoPath(path);
}

std::unique_ptr<Sink> openSink(const std::string& path, int width, int height, int depth,
                               const VideoSettings& settings)
{
    const SourceInfo none;
    if (isVideoOutput(path, settings.input ? *settings.input : none))
        return openVideoSink(path, width, height, depth, settings);
    return openImageSink(path, depth);
}

} // namespace media
