#include "glfx/BuildLog.h"

#include "glfx/ProgramText.h"

#include <algorithm>
#include <cctype>
#include <sstream>

namespace glfxbuildlog {

namespace {

// Reads decimal digits at `at`; false when there are none (or too many).
bool number(const std::string& s, std::size_t& at, int& out)
{
    const std::size_t start = at;
    long long v = 0;
    while (at < s.size() && std::isdigit(static_cast<unsigned char>(s[at])) && at - start < 9)
        v = v * 10 + (s[at++] - '0');
    out = static_cast<int>(v);
    return at > start;
}

// A shader source as the driver numbers it: the text's lines, each with the
// description line it came from.
struct Source {
    int offset = 0;                 // lines before it in the compiled text (the preamble)
    std::vector<std::size_t> width; // characters a line
    const std::vector<int>* origin = nullptr;
};

Source sourceOf(const std::string& text, const std::vector<int>& origin, int offset)
{
    Source s;
    s.offset = offset;
    s.origin = &origin;
    std::size_t start = 0;
    while (start < text.size()) {
        std::size_t end = text.find('\n', start);
        if (end == std::string::npos)
            end = text.size();
        s.width.push_back(end - start);
        start = end + 1;
    }
    return s;
}

// Whether a reference can point into `s`: on one of its lines, at a column
// that line has (drivers count columns from 0 or 1, and the end of the text
// is reported just past a line's last character). The preamble is
// definitions the plug-in writes, so a reference there is taken as one into
// another shader.
bool fits(const Source& s, const LogRef& r)
{
    const int at = r.line - s.offset;
    if (at < 1 || at > static_cast<int>(s.width.size()))
        return false;
    return r.column <= 0 ||
           static_cast<std::size_t>(r.column) <= s.width[static_cast<std::size_t>(at - 1)] + 2;
}

// The description line a reference points at; 0 for the preamble and for
// lines that came from no line of the description.
int lineOf(const Source& s, const LogRef& r)
{
    const int at = std::min(r.line - s.offset, static_cast<int>(s.width.size()));
    if (at < 1 || static_cast<std::size_t>(at) > s.origin->size())
        return 0;
    return (*s.origin)[static_cast<std::size_t>(at - 1)];
}

} // namespace

LogRef readRef(const std::string& logLine)
{
    LogRef r;
    std::size_t at = logLine.find_first_not_of(" \t");
    if (at == std::string::npos)
        return r;
    int file = 0;
    if (!number(logLine, at, file) || at >= logLine.size())
        return r;
    if (logLine[at] == ':') {
        // 0:LINE(COL)
        ++at;
        if (!number(logLine, at, r.line) || at >= logLine.size() || logLine[at] != '(')
            return r;
        ++at;
        if (!number(logLine, at, r.column) || at >= logLine.size() || logLine[at] != ')')
            return r;
        ++at;
    } else if (logLine[at] == '(') {
        // 0(LINE)
        ++at;
        if (!number(logLine, at, r.line) || at >= logLine.size() || logLine[at] != ')')
            return r;
        ++at;
    } else {
        return r;
    }
    const std::size_t colon = logLine.find_first_not_of(' ', at);
    if (colon == std::string::npos || logLine[colon] != ':')
        return r;
    r.found = true;
    r.length = at;
    return r;
}

MappedLog mapBuildLog(const std::string& log, const cglfx& fx, int preambleLines, const std::string& name,
                      const std::string& vertexName)
{
    std::vector<std::string> logLines;
    std::vector<LogRef> refs;
    {
        std::istringstream in(log);
        std::string ln;
        while (std::getline(in, ln)) {
            logLines.push_back(ln);
            refs.push_back(readRef(ln));
        }
    }
    const bool anyRef = std::any_of(refs.begin(), refs.end(), [](const LogRef& r) { return r.found; });
    auto fitsAll = [&refs](const Source& s) {
        return std::all_of(refs.begin(), refs.end(),
                           [&s](const LogRef& r) { return !r.found || fits(s, r); });
    };

    MappedLog out;
    Source chosen;
    static const std::vector<int> kNoLines;
    if (anyRef) {
        // Passes are built in order and the build stops at the first failure,
        // so the log is one shader's: the first pass whose source can hold
        // every reference. A pass running another pass's source built fine
        // if that one did.
        const int passes = std::min(fx.settings.shaders, glfxlimits::kMaxPasses);
        std::vector<std::string> seen;
        for (int i = 0; i < passes && out.pass < 0; ++i) {
            const std::string& text = fx.passSource(i);
            if (std::find(seen.begin(), seen.end(), text) != seen.end())
                continue;
            seen.push_back(text);
            const std::vector<int>& origin =
                static_cast<std::size_t>(i) < fx.shaderLines.size() ? fx.shaderLines[i] : kNoLines;
            // Measured as built: expanded calls make a line longer.
            const Source s = sourceOf(glfxprogram::fragmentSourceAsBuilt(fx, i), origin,
                                      glfxprogram::fragmentOffset(fx, preambleLines));
            if (fitsAll(s)) {
                out.pass = i;
                chosen = s;
            }
        }
        if (out.pass < 0) {
            const Source v =
                sourceOf(glfxprogram::vertexSourceAsBuilt(fx), fx.vertexLines, glfxprogram::vertexOffset(fx));
            if (fitsAll(v)) {
                out.pass = 0;
                out.vertex = true;
                chosen = v;
            }
        }
    }

    for (std::size_t k = 0; k < logLines.size(); ++k) {
        const LogRef& r = refs[k];
        const int line = out.pass >= 0 && r.found ? lineOf(chosen, r) : 0;
        if (r.found)
            out.lines.push_back(line);
        if (line > 0)
            out.text += (out.vertex && !vertexName.empty() ? vertexName : name) + ":" + std::to_string(line) +
                        (r.column > 0 ? ":" + std::to_string(r.column) : std::string()) +
                        logLines[k].substr(r.length);
        else
            out.text += logLines[k];
        out.text += '\n';
    }
    return out;
}

} // namespace glfxbuildlog
