// The one exception the media library throws: a one-line message that names
// the file, and optional details (a library's own words) for the lines under
// it.
#pragma once

#include <stdexcept>
#include <string>

namespace media {

struct MediaError : std::runtime_error {
    explicit MediaError(const std::string& what, std::string detail = {})
        : std::runtime_error(what), details(std::move(detail))
    {}
    std::string details; // may be empty; several lines allowed
};

} // namespace media
