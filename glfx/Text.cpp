#include "glfx/Text.h"

#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <sstream>
#include <vector>

void strReplace(std::string& text, const std::string& search, const std::string& repl)
{
    const std::size_t searchLen = search.size();
    const std::size_t replLen = repl.size();
    if (searchLen == 0)
        return;
    std::size_t pos = text.find(search);
    if (pos == std::string::npos)
        return;
    // Searching again after each inserted replacement means the matches are
    // exactly the non-overlapping occurrences in the original text, left to
    // right; the result is built in one pass, so that many occurrences in a
    // long text cost linear time rather than one tail move each.
    std::string out;
    out.reserve(text.size());
    std::size_t from = 0;
    while (pos != std::string::npos) {
        out.append(text, from, pos - from);
        out.append(repl, 0, replLen);
        from = pos + searchLen;
        pos = text.find(search, from);
    }
    out.append(text, from, std::string::npos);
    text.swap(out);
}

std::string intToString(int value)
{
    std::ostringstream out;
    out << value;
    return out.str();
}

std::string decodeString(const std::string& stored)
{
    if (stored.empty())
        return std::string();
    std::string out = stored.substr(1);
    if (stored[0] != '?')
        return out;
    for (std::size_t i = 0; i < out.size(); ++i) {
        const int c = static_cast<unsigned char>(out[i]);
        // Control characters, DEL and bytes above ASCII are stored as they are.
        if (c < 32 || c >= 127)
            continue;
        int v = c - 4 * static_cast<int>(i % 3);
        if (v < 32)
            v += 95;
        out[i] = static_cast<char>(v);
    }
    return out;
}

std::string loadFile(const std::string& path)
{
    if (path.empty())
        return std::string();
    FILE* file = std::fopen(path.c_str(), "r");
    if (!file)
        return std::string();
    std::string result;
    // A directory opens too, and reports a size of up to the largest offset;
    // it is no file to read.
    struct stat info;
    if (fstat(fileno(file), &info) != 0 || S_ISDIR(info.st_mode)) {
        std::fclose(file);
        return result;
    }
    if (std::fseek(file, 0, SEEK_END) == 0) {
        const long size = std::ftell(file);
        if (size > 0 && std::fseek(file, 0, SEEK_SET) == 0) {
            try {
                std::vector<char> buffer(static_cast<std::size_t>(size) + 1, '\0');
                const std::size_t got = std::fread(buffer.data(), 1, static_cast<std::size_t>(size), file);
                buffer[got] = '\0';
                result = buffer.data(); // stops at the first zero byte
            } catch (const std::exception&) {
                result.clear(); // too large to hold: as unreadable
            }
        }
    }
    std::fclose(file);
    return result;
}

std::string GetUserPath()
{
    const char* xdg = std::getenv("XDG_CONFIG_HOME");
    if (xdg && *xdg)
        return std::string(xdg) + "/";
    std::string home;
    if (const char* env = std::getenv("HOME"); env && *env) {
        home = env;
    } else if (const passwd* pw = getpwuid(getuid()); pw && pw->pw_dir) {
        home = pw->pw_dir;
    } else {
        home = ".";
    }
    return home + "/.config/";
}
