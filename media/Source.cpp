#include "media/Source.h"

#include "media/ImageSource.h"
#include "media/SequencePath.h"
#include "media/VideoSource.h"

#include <algorithm>
#include <cctype>

namespace media {

bool isVideoPath(const std::string& path)
{
    static const char* const kVideo[] = {"mp4", "m4v", "mov",  "mkv", "webm", "mxf", "avi", "nut",
                                         "y4m", "mpg", "mpeg", "ts",  "m2ts", "mts", "flv", "ogv"};
    const size_t dot = path.rfind('.');
    const size_t slash = path.rfind('/');
    if (dot == std::string::npos || (slash != std::string::npos && dot < slash))
        return false;
    std::string ext = path.substr(dot + 1);
    std::transform(ext.begin(), ext.end(), ext.begin(), [](unsigned char c) { return std::tolower(c); });
    return std::find(std::begin(kVideo), std::end(kVideo), ext) != std::end(kVideo);
}

std::unique_ptr<Source> openSource(const std::string& path, int64_t first, int64_t last, double fps)
{
    size_t pos = 0, len = 0;
    if (findFrameRun(path, pos, len))
        return openSequence(path, first, last, fps);
    if (isVideoPath(path))
        return openVideo(path);
    return openStill(path);
}

} // namespace media
