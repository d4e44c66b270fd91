#include "media/SequencePath.h"

#include "media/MediaError.h"

namespace media {

bool findFrameRun(const std::string& path, size_t& pos, size_t& len)
{
    const size_t slash = path.rfind('/');
    const size_t start = slash == std::string::npos ? 0 : slash + 1;
    pos = path.find('#', start);
    if (pos == std::string::npos)
        return false;
    len = path.find_first_not_of('#', pos);
    len = (len == std::string::npos ? path.size() : len) - pos;
    if (path.find('#', pos + len) != std::string::npos)
        throw MediaError("'" + path + "': use one run of '#' for the frame number");
    return true;
}

std::string framePath(const std::string& pattern, size_t pos, size_t len, int64_t frame)
{
    std::string digits = std::to_string(frame);
    if (digits.size() < len)
        digits.insert(0, len - digits.size(), '0');
    return pattern.substr(0, pos) + digits + pattern.substr(pos + len);
}

} // namespace media
