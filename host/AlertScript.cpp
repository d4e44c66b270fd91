// Reading the scripts an effect runs: this host knows alert('...') only.
#include "host/AlertScript.h"

#include <cctype>
#include <cstdlib>

namespace glfxhost {

bool parseAlertScript(const std::string& s, std::vector<std::string>& messages, std::string& error)
{
    size_t i = 0;
    auto skipSpace = [&] {
        while (i < s.size() && std::isspace(static_cast<unsigned char>(s[i])))
            ++i;
    };
    skipSpace();
    if (i == s.size()) {
        error = "empty script";
        return false;
    }
    while (i < s.size()) {
        if (s.compare(i, 5, "alert") != 0) {
            error = "unsupported statement at offset " + std::to_string(i);
            return false;
        }
        i += 5;
        skipSpace();
        if (i >= s.size() || s[i] != '(') {
            error = "expected ( after alert";
            return false;
        }
        ++i;
        skipSpace();
        if (i >= s.size() || (s[i] != '\'' && s[i] != '"')) {
            error = "alert expects a string literal";
            return false;
        }
        const char quote = s[i++];
        std::string msg;
        bool closed = false;
        while (i < s.size()) {
            char c = s[i++];
            if (c == quote) {
                closed = true;
                break;
            }
            if (c == '\n' || c == '\r') {
                error = "line break inside a string literal";
                return false;
            }
            if (c != '\\') {
                msg += c;
                continue;
            }
            if (i >= s.size())
                break;
            char e = s[i++];
            switch (e) {
            case 'n': msg += '\n'; break;
            case 'r': msg += '\r'; break;
            case 't': msg += '\t'; break;
            case 'b': msg += '\b'; break;
            case 'f': msg += '\f'; break;
            case 'v': msg += '\v'; break;
            case '0': msg += '\0'; break;
            case 'x':
            case 'u': {
                const size_t n = e == 'x' ? 2 : 4;
                if (i + n > s.size()) {
                    error = "bad escape";
                    return false;
                }
                unsigned long v = std::strtoul(s.substr(i, n).c_str(), nullptr, 16);
                i += n;
                if (v < 0x80)
                    msg += static_cast<char>(v);
                else if (v < 0x800) {
                    msg += static_cast<char>(0xC0 | (v >> 6));
                    msg += static_cast<char>(0x80 | (v & 0x3F));
                } else {
                    msg += static_cast<char>(0xE0 | (v >> 12));
                    msg += static_cast<char>(0x80 | ((v >> 6) & 0x3F));
                    msg += static_cast<char>(0x80 | (v & 0x3F));
                }
                break;
            }
            default: msg += e; break; // \' \" \\ and any other character stand for themselves
            }
        }
        if (!closed) {
            error = "unterminated string literal";
            return false;
        }
        skipSpace();
        if (i >= s.size() || s[i] != ')') {
            error = "expected ) after the alert text";
            return false;
        }
        ++i;
        skipSpace();
        if (i < s.size() && s[i] == ';')
            ++i;
        skipSpace();
        messages.push_back(msg);
    }
    return true;
}

} // namespace glfxhost
