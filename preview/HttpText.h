// Small text helpers for reading HTTP header fields.
#pragma once

#include <cctype>
#include <string_view>

namespace glfxpreview {

// Equal but for the case of ASCII letters (header names, tokens).
inline bool sameText(std::string_view a, std::string_view b)
{
    if (a.size() != b.size())
        return false;
    for (std::size_t i = 0; i < a.size(); ++i)
        if (std::tolower(static_cast<unsigned char>(a[i])) != std::tolower(static_cast<unsigned char>(b[i])))
            return false;
    return true;
}

// Without the spaces and tabs around it (a header value).
inline std::string_view trimmed(std::string_view s)
{
    while (!s.empty() && (s.front() == ' ' || s.front() == '\t'))
        s.remove_prefix(1);
    while (!s.empty() && (s.back() == ' ' || s.back() == '\t'))
        s.remove_suffix(1);
    return s;
}

} // namespace glfxpreview
