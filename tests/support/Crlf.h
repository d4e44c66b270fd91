// A text with each line ending turned into CR LF, as a description saved on
// Windows has them.
#pragma once

#include <string>

namespace testsupport {

inline std::string crlf(const std::string& text)
{
    std::string out;
    for (char c : text) {
        if (c == '\n')
            out += '\r';
        out += c;
    }
    return out;
}

} // namespace testsupport
