#include "glfx/IsfPreamble.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <set>

namespace glfxisf {

namespace {

const char kDefaultVersion[] = "#version 150 compatibility";

bool identChar(char c) { return std::isalnum(static_cast<unsigned char>(c)) || c == '_'; }

std::string trim(const std::string& s)
{
    const std::size_t b = s.find_first_not_of(" \t\r\n");
    if (b == std::string::npos)
        return std::string();
    const std::size_t e = s.find_last_not_of(" \t\r\n");
    return s.substr(b, e - b + 1);
}

// The line of a #version directive: its start and end in `source`; npos
// when there is none.
std::pair<std::size_t, std::size_t> versionDirective(const std::string& source)
{
    std::size_t start = 0;
    while (start < source.size()) {
        std::size_t end = source.find('\n', start);
        if (end == std::string::npos)
            end = source.size();
        std::size_t at = source.find_first_not_of(" \t", start);
        if (at < end && source[at] == '#') {
            at = source.find_first_not_of(" \t", at + 1);
            if (at < end && source.compare(at, 7, "version") == 0)
                return {start, end};
        }
        start = end + 1;
    }
    return {std::string::npos, std::string::npos};
}

const char* const kCalls[] = {"IMG_THIS_NORM_PIXEL", "IMG_THIS_PIXEL", "IMG_NORM_PIXEL", "IMG_PIXEL",
                              "IMG_SIZE"};

// An IMG_* call at `at`: its name, and the position just past its name
// (before the parenthesis); empty when none starts there.
std::string callAt(const std::string& s, std::size_t at)
{
    if (at > 0 && identChar(s[at - 1]))
        return std::string();
    for (const char* c : kCalls) {
        const std::size_t n = std::char_traits<char>::length(c);
        if (s.compare(at, n, c) == 0 && (at + n >= s.size() || !identChar(s[at + n])))
            return c;
    }
    return std::string();
}

// The arguments of a call whose '(' is at or after `at` (blanks allowed
// before it): split at top-level commas; `end` is set past the ')'. False
// when there is no well-formed argument list.
bool arguments(const std::string& s, std::size_t at, std::vector<std::string>& args, std::size_t& end)
{
    at = s.find_first_not_of(" \t\r\n", at);
    if (at == std::string::npos || s[at] != '(')
        return false;
    int depth = 0;
    std::size_t from = at + 1;
    for (std::size_t i = at; i < s.size(); ++i) {
        const char c = s[i];
        if (c == '(' || c == '[') {
            ++depth;
        } else if (c == ')' || c == ']') {
            if (--depth == 0) {
                args.push_back(s.substr(from, i - from));
                end = i + 1;
                return true;
            }
        } else if (c == ',' && depth == 1) {
            args.push_back(s.substr(from, i - from));
            from = i + 1;
        }
    }
    return false;
}

// Expands the IMG_* calls of `s`, arguments included. The expansions follow
// the ISF reference renderer where it and the specification's wording
// differ: IMG_PIXEL divides its pixel coordinate by RENDERSIZE (the pass's
// size, not the image's), and IMG_THIS_PIXEL and IMG_THIS_NORM_PIXEL both
// sample at isf_FragNormCoord. The two agree whenever the image has the
// pass's size.
std::string expand(const std::string& s)
{
    std::string out;
    out.reserve(s.size());
    std::size_t i = 0;
    while (i < s.size()) {
        const std::string call = s[i] == 'I' ? callAt(s, i) : std::string();
        std::vector<std::string> args;
        std::size_t end = 0;
        if (call.empty() || !arguments(s, i + call.size(), args, end)) {
            out += s[i++];
            continue;
        }
        for (std::string& a : args)
            a = expand(a);
        const std::string img = trim(args[0]);
        std::string with;
        if ((call == "IMG_THIS_PIXEL" || call == "IMG_THIS_NORM_PIXEL") && args.size() == 1)
            with = "texture2D(" + args[0] + ", isf_FragNormCoord)";
        else if (call == "IMG_PIXEL" && args.size() == 2)
            with = "texture2D(" + args[0] + ", (" + args[1] + ") / RENDERSIZE)";
        else if (call == "IMG_NORM_PIXEL" && args.size() == 2)
            with = "isf_sampleByNorm(" + args[0] + ", _" + img + "_imgRect, _" + img + "_imgSize, _" + img +
                   "_flip, " + args[1] + ")";
        else if (call == "IMG_SIZE" && args.size() == 1)
            with = "_" + img + "_imgSize";
        if (with.empty() || !std::all_of(img.begin(), img.end(), identChar)) {
            out += s[i++]; // left for the compiler to report
            continue;
        }
        // Line breaks inside the call stay, so that lines keep their numbers.
        const std::string span = s.substr(i, end - i);
        const auto breaks =
            std::count(span.begin(), span.end(), '\n') - std::count(with.begin(), with.end(), '\n');
        out += with;
        out.append(static_cast<std::size_t>(std::max<std::ptrdiff_t>(breaks, 0)), '\n');
        i = end;
    }
    return out;
}

std::string uniformType(const glfxpar& p)
{
    switch (p.type) {
    case GLFX_FLOAT:
    case GLFX_ANGLE: return p.components == 1 ? "float" : "";
    case GLFX_INT:
    case GLFX_POPUP: return p.components == 1 ? "int" : "";
    case GLFX_CHECK:
    case GLFX_EVENT: return p.components == 1 ? "bool" : "";
    case GLFX_COLOR: return p.components == 4 ? "vec4" : p.components == 3 ? "vec3" : "";
    case GLFX_POINT:
    case GLFX_FLOAT2: return "vec2";
    default: return "";
    }
}

// Uniforms and samplers both stages declare alike.
std::string commonDeclarations(const cglfx& fx)
{
    std::string d = "uniform int PASSINDEX;\n"
                    "uniform vec2 RENDERSIZE;\n"
                    "uniform float TIME;\n"
                    "uniform float TIMEDELTA;\n"
                    "uniform int FRAMEINDEX;\n"
                    "uniform vec4 DATE;\n"
                    "varying vec2 isf_FragNormCoord;\n";
    const int count = std::clamp(fx.settings.params, 0, glfxlimits::kMaxParams);
    for (int i = 1; i < count; ++i) {
        const glfxpar& p = fx.par[i];
        const std::string type = uniformType(p);
        if (!type.empty() && !p.uniform.empty())
            d += "uniform " + type + " " + p.uniform + ";\n";
        if (p.type == GLFX_FLOAT2)
            ++i; // the next parameter is its second value
    }
    for (const std::string& name : samplerSet(fx))
        d += "uniform sampler2D " + name + ";\n" + "uniform vec4 _" + name + "_imgRect;\n" +
             "uniform vec2 _" + name + "_imgSize;\n" + "uniform bool _" + name + "_flip;\n" +
             "varying vec2 _" + name + "_normTexCoord;\n" + "varying vec2 _" + name + "_texCoord;\n";
    return d;
}

} // namespace

std::string defaultVertexMain() { return "void main()\n{\n    isf_vertShaderInit();\n}\n"; }

bool isIsfVarying(const std::string& name)
{
    if (name == "isf_FragNormCoord")
        return true;
    auto ends = [&name](const std::string& tail) {
        return name.size() > tail.size() + 1 && name[0] == '_' &&
               name.compare(name.size() - tail.size(), tail.size(), tail) == 0;
    };
    return ends("_texCoord") || ends("_normTexCoord");
}

std::vector<ImageUse> imageUses(const std::string& s)
{
    std::vector<ImageUse> uses;
    int line = 1;
    bool lineIsDefine = false;
    bool continued = false; // the previous line ended in a backslash inside a #define
    std::size_t lineStart = 0;
    for (std::size_t i = 0; i < s.size(); ++i) {
        if (i == lineStart) {
            const std::size_t at = s.find_first_not_of(" \t", i);
            lineIsDefine = continued || (at != std::string::npos && s[at] == '#');
        }
        const char c = s[i];
        if (c == '\n') {
            continued = lineIsDefine && i > 0 && s[i - 1] == '\\';
            ++line;
            lineStart = i + 1;
            continue;
        }
        if (c == '/' && i + 1 < s.size() && s[i + 1] == '/') {
            const std::size_t nl = s.find('\n', i);
            i = (nl == std::string::npos ? s.size() : nl) - 1;
            continue;
        }
        if (c == '/' && i + 1 < s.size() && s[i + 1] == '*') {
            const std::size_t close = s.find("*/", i + 2);
            const std::size_t stop = close == std::string::npos ? s.size() : close + 2;
            for (std::size_t k = i; k < stop; ++k)
                if (s[k] == '\n') {
                    ++line;
                    lineStart = k + 1;
                }
            i = stop - 1;
            continue;
        }
        const std::string call = c == 'I' ? callAt(s, i) : std::string();
        if (call.empty())
            continue;
        std::vector<std::string> args;
        std::size_t end = 0;
        if (arguments(s, i + call.size(), args, end))
            uses.push_back({call, trim(args[0]), line, lineIsDefine});
        i += call.size() - 1;
    }
    return uses;
}

std::vector<std::string> samplerSet(const cglfx& fx)
{
    std::vector<std::string> names;
    const int passes = std::clamp(fx.settings.shaders, 0, glfxlimits::kMaxPasses);
    for (int p = 0; p < passes && static_cast<std::size_t>(p) < fx.samplerNames.size(); ++p)
        for (const std::string& n : fx.samplerNames[static_cast<std::size_t>(p)])
            if (!n.empty() && std::find(names.begin(), names.end(), n) == names.end())
                names.push_back(n);
    return names;
}

std::string versionLine(const std::string& source)
{
    const auto [start, end] = versionDirective(source);
    if (start == std::string::npos)
        return kDefaultVersion;
    std::string rest = source.substr(start, end - start);
    rest = trim(rest.substr(rest.find("version") + 7));
    const int number = std::atoi(rest.c_str());
    const bool es = rest.find("es") != std::string::npos || number == 100;
    if (es) {
        // GLSL ES versions, as the nearest desktop version that keeps the
        // older built-ins (texture2D, gl_FragColor) too.
        if (number >= 320)
            return "#version 450 compatibility";
        if (number >= 310)
            return "#version 430 compatibility";
        if (number >= 300)
            return "#version 330 compatibility";
        return kDefaultVersion;
    }
    if (number >= 150)
        return "#version " + std::to_string(number) + " compatibility";
    if (number >= 110)
        return "#version " + std::to_string(number);
    return kDefaultVersion;
}

std::string convertSource(const std::string& source)
{
    std::string s = source;
    const auto [start, end] = versionDirective(s);
    if (start != std::string::npos)
        s.erase(start, end - start);
    return expand(s);
}

std::string fragmentDeclarations(const cglfx& fx)
{
    return commonDeclarations(fx) +
           // Sampling by pixel and by normalized coordinate within an image's
           // rectangle, flipped when the image is stored upside down.
           "vec4 isf_sampleByPixel(sampler2D image, vec4 rect, vec2 size, bool flip, vec2 at)\n"
           "{\n"
           "    vec2 uv = at / size * rect.zw + rect.xy;\n"
           "    if (flip)\n"
           "        uv.y = rect.w - at.y / size.y * rect.w + rect.y;\n"
           "    return texture2D(image, uv);\n"
           "}\n"
           "vec4 isf_sampleByNorm(sampler2D image, vec4 rect, vec2 size, bool flip, vec2 at)\n"
           "{\n"
           "    return isf_sampleByPixel(image, rect, size, flip, at * size);\n"
           "}\n";
}

std::string vertexDeclarations(const cglfx& fx)
{
    return commonDeclarations(fx) + "void isf_vertShaderInit();\n";
}

std::string vertexInitFunction(const cglfx& fx)
{
    // The pass's quad is drawn in pixels with texture coordinates 0..1,
    // (0, 0) at the bottom-left of what the pass renders.
    std::string f = "void isf_vertShaderInit()\n"
                    "{\n"
                    "    gl_Position = ftransform();\n"
                    "    gl_TexCoord[0] = gl_MultiTexCoord0;\n"
                    "    isf_FragNormCoord = gl_MultiTexCoord0.xy;\n"
                    "    vec2 isf_fragCoord = floor(isf_FragNormCoord * RENDERSIZE);\n";
    for (const std::string& n : samplerSet(fx))
        f += "    _" + n + "_texCoord = isf_fragCoord / _" + n + "_imgSize * _" + n + "_imgRect.zw + _" + n +
             "_imgRect.xy;\n" + "    _" + n + "_normTexCoord = isf_FragNormCoord * _" + n +
             "_imgRect.zw + _" + n + "_imgRect.xy;\n";
    return f + "}\n";
}

} // namespace glfxisf
