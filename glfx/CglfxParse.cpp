// cglfx::parse: reads an effect description (INI-like sections, key=value
// lines and raw shader text) into the model. The parser never fails: unknown
// sections, keys and values are ignored, numbers are read with atoi/atof, and
// indices outside the fixed tables are never written.
#include "glfx/Cglfx.h"

#include "glfx/CglfxKeys.h"
#include "glfx/IsfBundle.h"
#include "glfx/IsfPreamble.h"
#include "glfx/IsfRead.h"
#include "glfx/Strings.h"
#include "glfx/Text.h"

#include <algorithm>
#include <cstdlib>
#include <sstream>

namespace {

using glfxlimits::kMaxInputs;
using glfxlimits::kMaxParams;
using glfxlimits::kMaxPasses;

// "@@" expansion never grows the text beyond this size (a block whose uses
// would take it further is not expanded), so that a small description cannot
// exhaust memory.
constexpr std::size_t kMaxExpandedSize = std::size_t(16) << 20;

bool startsWith(const std::string& s, const char* prefix) { return s.rfind(prefix, 0) == 0; }

int atoiFrom(const std::string& s, std::size_t pos)
{
    return pos < s.size() ? std::atoi(s.c_str() + pos) : 0;
}

float atofOf(const std::string& s) { return static_cast<float>(std::atof(s.c_str())); }

// "a|b|c" -> 3 values; "a|b" -> (a, b, b); "a" -> (a, a, a).
void splitValues(const std::string& value, float out[3])
{
    const std::size_t bar = value.find('|');
    if (bar == std::string::npos) {
        out[0] = out[1] = out[2] = atofOf(value);
        return;
    }
    out[0] = atofOf(value.substr(0, bar));
    const std::string rest = value.substr(bar + 1);
    const std::size_t bar2 = rest.find('|');
    if (bar2 == std::string::npos) {
        out[1] = out[2] = atofOf(rest);
    } else {
        out[1] = atofOf(rest.substr(0, bar2));
        out[2] = atofOf(rest.substr(bar2 + 1));
    }
}

// Popup items: split at every "|", keeping empty pieces except a last one.
void splitItems(const std::string& value, std::vector<std::string>& items)
{
    items.clear();
    std::size_t start = 0;
    while (true) {
        const std::size_t bar = value.find('|', start);
        if (bar == std::string::npos) {
            if (start < value.size())
                items.push_back(value.substr(start));
            return;
        }
        items.push_back(value.substr(start, bar - start));
        start = bar + 1;
    }
}

// Size of `text` once every occurrence of `use` (searched as strReplace
// does) is replaced by `bodySize` characters; a text that does not grow
// counts as its own size, and a growth past the limit as the limit plus one.
std::size_t expandedSize(const std::string& text, const std::string& use, std::size_t bodySize)
{
    if (bodySize <= use.size())
        return text.size();
    const std::size_t growth = bodySize - use.size();
    std::size_t size = text.size();
    for (std::size_t at = text.find(use); at != std::string::npos; at = text.find(use, at + use.size())) {
        if (size > kMaxExpandedSize || growth > kMaxExpandedSize - size)
            return kMaxExpandedSize + 1;
        size += growth;
    }
    return size;
}

// Every occurrence of `use` in `text` replaced by `body`, as strReplace
// does, with `origin` (one entry a character of text) kept alongside:
// inserted characters take the origins of the body's characters.
void replaceTraced(std::string& text, std::vector<int>& origin, const std::string& use,
                   const std::string& body, const std::vector<int>& bodyOrigin)
{
    std::string out;
    std::vector<int> outOrigin;
    std::size_t from = 0;
    for (std::size_t at = text.find(use); at != std::string::npos; at = text.find(use, from)) {
        out.append(text, from, at - from);
        outOrigin.insert(outOrigin.end(), origin.begin() + static_cast<std::ptrdiff_t>(from),
                         origin.begin() + static_cast<std::ptrdiff_t>(at));
        out += body;
        outOrigin.insert(outOrigin.end(), bodyOrigin.begin(), bodyOrigin.end());
        from = at + use.size();
    }
    if (from == 0)
        return;
    out.append(text, from, std::string::npos);
    outOrigin.insert(outOrigin.end(), origin.begin() + static_cast<std::ptrdiff_t>(from), origin.end());
    text.swap(out);
    origin.swap(outOrigin);
}

// Cuts "@@name body@@" blocks out of the text and replaces every "@@name"
// after them by the body. `origin`, when given, holds the source line of
// each character and is kept in step with the text.
void expandBlocks(std::string& text, std::vector<int>* origin)
{
    std::size_t at;
    while ((at = text.find("@@")) != std::string::npos) {
        const std::size_t nameStart = at + 2;
        const std::size_t delim = text.find_first_of(" \r\n", nameStart);
        if (delim == std::string::npos) {
            // A name with nothing after it: the definition runs to the end.
            text.erase(at);
            if (origin)
                origin->resize(at);
            continue;
        }
        const std::string name = text.substr(nameStart, delim - nameStart);
        const std::size_t close = text.find("@@", delim + 1);
        const std::size_t end = close == std::string::npos ? text.size() : close;
        const std::string body = text.substr(delim + 1, end - delim - 1);
        std::vector<int> bodyOrigin;
        if (origin) {
            const auto o = origin->begin();
            bodyOrigin.assign(o + static_cast<std::ptrdiff_t>(delim + 1),
                              o + static_cast<std::ptrdiff_t>(end));
            origin->erase(o + static_cast<std::ptrdiff_t>(at),
                          close == std::string::npos ? origin->end()
                                                     : o + static_cast<std::ptrdiff_t>(close + 2));
        }
        if (close == std::string::npos)
            text.erase(at);
        else
            text.erase(at, close + 2 - at);
        const std::string use = "@@" + name;
        if (expandedSize(text, use, body.size()) > kMaxExpandedSize)
            continue;
        if (origin)
            replaceTraced(text, *origin, use, body, bodyOrigin);
        else
            strReplace(text, use, body);
    }
}

class Parser {
public:
    explicit Parser(cglfx& fx) : fx_(fx), set_(fx.settings) {}

    // One line of the expanded text; `origin` is its line in the text as
    // given.
    void line(const std::string& ln, int origin);
    void finish();

private:
    void header(const std::string& name);
    void settingsKey(const std::string& key, const std::string& value);
    void routingKey(const std::string& key, const std::string& value);
    void paramKey(const std::string& key, const std::string& value);
    void presetLine(const std::string& ln);
    int findUniform(const std::string& uniform) const;

    cglfx& fx_;
    glfxsettings& set_;
    std::string section_;
    glfxkeys::Pending pending_; // routes to images and audio inputs, resolved at the end
    int current_ = -1;          // current parameter index
    int presetPar_ = -1;        // controlling parameter of the current preset
    int presetNumber_ = -1;
};

int Parser::findUniform(const std::string& uniform) const
{
    const int count = std::min(set_.params, kMaxParams);
    for (int i = 0; i < count; ++i)
        if (fx_.par[i].uniform == uniform)
            return i;
    return -1;
}

void Parser::header(const std::string& name)
{
    section_ = name;
    if (glfxkeys::isPassSection(name) || name == "images")
        return;
    if (startsWith(name, "par")) {
        const std::string digits = name.substr(3, 2);
        const int n = std::atoi(digits.c_str());
        if (!digits.empty() && n <= glfxlimits::kMaxParams)
            current_ = n;
        else
            current_ = current_ + 1;
        if (current_ >= 0 && current_ < kMaxParams) {
            fx_.par[current_].name = name;
            fx_.par[current_].uniform = name;
        }
    } else if (startsWith(name, "ps")) {
        const int n = atoiFrom(name, 2);
        if (n >= 0 && n < kMaxPasses) {
            set_.shaders = std::max(set_.shaders, n + 1);
            fx_.shaders[static_cast<std::size_t>(n)].clear();
            fx_.shaderLines[static_cast<std::size_t>(n)].clear();
        }
    } else if (startsWith(name, "vs")) {
        // Only the exact name "vs" collects vertex shader lines.
    } else if (startsWith(name, "preset")) {
        if (name.size() <= 7)
            return;
        const std::string rest = name.substr(7);
        const std::size_t underscore = rest.find('_');
        if (underscore == std::string::npos)
            return; // lines keep going to the previous preset
        presetPar_ = findUniform(rest.substr(0, underscore));
        presetNumber_ = atoiFrom(rest, underscore + 1);
    }
}

void Parser::settingsKey(const std::string& key, const std::string& value)
{
    if (key == "name")
        set_.name = value.substr(0, glfxlimits::kMaxNameLength);
    else if (key == "description")
        set_.description = value;
    else if (key == "category")
        set_.category = value;
    else if (key == "uniqueid" || key == "matchname")
        set_.matchname = value;
    else if (key == "version")
        set_.version = value;
    else if (key == "fast")
        set_.fast = (value == "1");
    else if (key == "interp")
        set_.interp = std::atoi(value.c_str());
    else if (key == "repeat" || key == "edge_repeat" || key == "edgeRepeat")
        set_.repeat = std::atoi(value.c_str());
    else if (key == "params")
        set_.params = std::atoi(value.c_str());
    else if (key == "shaders")
        set_.shaders = std::atoi(value.c_str());
    else if (key == "noinput")
        set_.noinput = std::atoi(value.c_str());
    else if (key == "cellsx")
        set_.cellsx = std::atoi(value.c_str());
    else if (key == "cellsy")
        set_.cellsy = std::atoi(value.c_str());
    else
        glfxkeys::settingsKey(set_, key, value);
}

void Parser::routingKey(const std::string& key, const std::string& value)
{
    // Key form: ps<pass>_in<input>.
    if (!startsWith(key, "ps"))
        return;
    const std::string rest = key.substr(2);
    const std::size_t underscore = rest.find('_');
    if (underscore == std::string::npos)
        return;
    const int pass = std::atoi(rest.substr(0, underscore).c_str());
    const int input = atoiFrom(rest, underscore + 3);
    int source;
    if (glfxkeys::pendingRoute(pending_, key, value))
        return;
    if (startsWith(value, "layer"))
        source = glfxroute::layer(atoiFrom(value, 5));
    else if (startsWith(value, "ps"))
        source = atoiFrom(value, 2);
    else
        return;
    if (source >= glfxroute::kSourceLimit)
        return;
    if (pass < 0 || pass >= kMaxPasses || input < 0 || input >= kMaxInputs)
        return;
    set_.routing[pass][input] = source;
}

void Parser::paramKey(const std::string& key, const std::string& value)
{
    if (current_ < 0 || current_ >= kMaxParams)
        return;
    set_.params = std::max(set_.params, current_ + 1);
    glfxpar& p = fx_.par[current_];

    if (key == "name" || key == "display" || key == "name0") {
        p.name = value;
    } else if (key.size() == 5 && startsWith(key, "name") && key[4] >= '1' && key[4] <= '4') {
        p.names[key[4] - '1'] = value;
    } else if (key == "param") {
        p.uniform = value;
        if (p.name == "par")
            p.name = value;
    } else if (key == "text" || key == "popup") {
        p.itemtext = value;
        splitItems(value, p.items);
        if (p.type == GLFX_POPUP) {
            p.max = static_cast<float>(static_cast<int>(p.items.size()) - 1);
            p.min = 0.f;
        }
    } else if (key == "type") {
        p.components = 1;
        static const struct {
            const char* word;
            int code;
        } kTypes[] = {
            {"float", GLFX_FLOAT},
            {"int", GLFX_INT},
            {"none", GLFX_NONE},
            {"check", GLFX_CHECK},
            {"popup", GLFX_POPUP},
            {"layer", GLFX_LAYER},
            {"color", GLFX_COLOR},
            {"angle", GLFX_ANGLE},
            {"point", GLFX_POINT},
            {"float2", GLFX_FLOAT2},
            {"topic_start", GLFX_TOPIC_START},
            {"topic_end", GLFX_TOPIC_END},
        };
        for (const auto& t : kTypes)
            if (value == t.word)
                p.type = t.code;
        glfxkeys::typeWord(p, value);
        if (value == "color") {
            p.components = 3;
        } else if (value == "point") {
            p.components = 2;
        } else if (value == "layer") {
            p.components = 0;
            if (current_ >= 1 && set_.layerCount <= glfxlimits::kMaxLayers)
                ++set_.layerCount;
        }
    } else if (key == "time") {
        p.def[0] = atofOf(value);
    } else if (key == "default") {
        std::string v = value;
        strReplace(v, "true", "1.0");
        strReplace(v, "false", "0.0");
        splitValues(v, p.def);
        p.coldef[0] = p.def[0];
        p.coldef[1] = p.def[1];
        p.coldef[2] = p.def[2];
        p.coldef[3] = p.def[0];
        glfxkeys::defaultAlpha(p, v);
    } else if (key == "disabled") {
        p.visibility = 1;
    } else if (key == "hidden") {
        p.visibility = 2;
    } else if (key == "visibility") {
        p.visibility = std::atoi(value.c_str());
    } else if (key == "group" || key == "group0") {
        p.group[0] = std::atoi(value.c_str());
    } else if (key.size() == 6 && startsWith(key, "group") && key[5] >= '1' && key[5] <= '4') {
        p.group[key[5] - '0'] = std::atoi(value.c_str());
    } else if (key == "groupswitch") {
        // Negated with wrap-around, so that the most negative number stays
        // itself instead of overflowing.
        p.group[0] = static_cast<int>(0u - static_cast<unsigned>(std::atoi(value.c_str())));
    } else if (key == "min") {
        p.min = atofOf(value);
    } else if (key == "max") {
        p.max = atofOf(value);
    } else if (key == "flags") {
        p.flags = std::atoi(value.c_str());
        if (p.type == GLFX_POPUP && p.flags >= glfxflags::kIntegerDefine)
            p.components = 0;
    } else {
        glfxkeys::paramKey(p, key, value);
    }
}

void Parser::presetLine(const std::string& ln)
{
    if (presetPar_ < 0)
        return;
    const std::size_t eq = ln.find('=');
    if (eq == std::string::npos || eq == 0)
        return;
    const int target = findUniform(ln.substr(0, eq));
    if (target < 0)
        return;
    glfxdef def;
    splitValues(ln.substr(eq + 1), def.v);
    set_.presets[{presetPar_, presetNumber_}].values[target] = def;
}

void Parser::line(const std::string& raw, int origin)
{
    if (raw.empty() || raw == "\r" || raw == "\n")
        return;
    std::string ln = raw;
    while (!ln.empty() && (ln.back() == '\r' || ln.back() == '\n'))
        ln.pop_back();

    const bool inPass = startsWith(section_, "ps");
    if (!ln.empty() && (ln[0] == ';' || ln[0] == '/') && !inPass)
        return;

    if (!ln.empty() && ln[0] == '[') {
        header(ln.size() >= 2 ? ln.substr(1, ln.size() - 2) : std::string());
        return;
    }

    if (section_ == "vs") {
        fx_.vertex += ln;
        fx_.vertex += '\n';
        fx_.vertexLines.push_back(origin);
        return;
    }
    if (inPass) {
        const int n = atoiFrom(section_, 2);
        if (n >= 0 && n < kMaxPasses) {
            std::string& src = fx_.shaders[static_cast<std::size_t>(n)];
            src += ln;
            src += '\n';
            fx_.shaderLines[static_cast<std::size_t>(n)].push_back(origin);
        }
        return;
    }
    if (startsWith(section_, "preset")) {
        presetLine(ln);
        return;
    }

    const std::size_t eq = ln.find('=');
    if (eq == std::string::npos || eq == 0)
        return;
    const std::string key = ln.substr(0, eq);
    const std::string value = ln.substr(eq + 1);
    if (glfxkeys::isPassSection(section_))
        glfxkeys::passKey(fx_, atoiFrom(section_, 4), key, value, origin);
    else if (section_ == "images")
        glfxkeys::imageKey(fx_, key, value, origin);
    else if (section_ == "routing")
        routingKey(key, value);
    else if (section_ == "settings")
        settingsKey(key, value);
    else
        paramKey(key, value);
}

void Parser::finish()
{
    glfxkeys::resolve(fx_, pending_);
    applyDefaultRouting(fx_);

    // The parser's own sources come from no line of the description.
    const auto lineCount = [](const std::string& src) {
        return static_cast<std::size_t>(std::count(src.begin(), src.end(), '\n')) + 1;
    };
    if (fx_.vertex.empty()) {
        fx_.vertex = set_.dialect == glfxdialect::kIsf ? glfxisf::defaultVertexMain()
                                                       : glfxtext::defaultVertexShader();
        fx_.vertexLines.assign(lineCount(fx_.vertex), 0);
    }
    if (fx_.shaders[0].empty()) {
        fx_.shaders[0] = glfxtext::defaultFragmentShader();
        fx_.shaderLines[0].assign(lineCount(fx_.shaders[0]), 0);
    }

    // A pass whose source is "ps<N>" runs the program of pass N.
    const int passes = std::min(set_.shaders, kMaxPasses);
    for (int i = 1; i < passes; ++i) {
        const std::string& src = fx_.shaders[static_cast<std::size_t>(i)];
        if (!startsWith(src, "ps"))
            continue;
        const int n = atoiFrom(src, 2);
        if (n >= 0 && n < set_.shaders && n < kMaxPasses) {
            fx_.shaders[static_cast<std::size_t>(i)] = fx_.shaders[static_cast<std::size_t>(n)];
            fx_.shaderLines[static_cast<std::size_t>(i)] = fx_.shaderLines[static_cast<std::size_t>(n)];
        }
    }
}

} // namespace

void applyDefaultRouting(cglfx& fx)
{
    // Extra layer inputs reach pass 0 as inputs 1, 2, ... unless routed.
    glfxsettings& s = fx.settings;
    const int layers = std::min(s.layerCount, kMaxInputs);
    for (int i = 0; i < layers; ++i)
        if (s.routing[0][i] == glfxlimits::kRouteNone)
            s.routing[0][i] = glfxroute::layer(i);
}

void cglfx::parse(std::string& text)
{
    // Full reset first, so that parsing again (after the description file
    // was edited) leaves nothing of the previous description behind.
    for (glfxpar& p : par)
        p = glfxpar();
    shaders.clear();
    vertex.clear();
    shaderLines.clear();
    vertexLines.clear();
    settings.name.clear();
    settings.description.clear();
    settings.category.clear();
    settings.matchname.clear();
    settings.version.clear();
    settings.presets.clear();
    passes.assign(kMaxPasses, glfxpass());
    samplerNames.assign(kMaxPasses, {});
    imports.clear();
    baseDir.clear();
    loadError.clear();

    par[0].name = "in0";
    par[0].uniform = "in0";
    par[0].type = GLFX_LAYER;
    par[0].components = 0;
    settings.init();

    if (text.size() < 3)
        return;
    shaders.resize(kMaxPasses);
    shaderLines.resize(kMaxPasses);
    if (glfxisf::isIsfText(text)) {
        glfxisf::read(text, *this);
        return;
    }

    // Lines are counted in the text as given; "@@" expansion moves text
    // between lines, so then each character's line is carried through it.
    std::vector<int> origin;
    const bool blocks = text.find("@@") != std::string::npos;
    if (blocks) {
        origin.resize(text.size());
        int n = 1;
        for (std::size_t i = 0; i < text.size(); ++i) {
            origin[i] = n;
            n += text[i] == '\n';
        }
    }
    expandBlocks(text, blocks ? &origin : nullptr);

    Parser parser(*this);
    std::size_t start = 0;
    for (int n = 1; start < text.size(); ++n) {
        std::size_t end = text.find('\n', start);
        if (end == std::string::npos)
            end = text.size();
        parser.line(text.substr(start, end - start), blocks ? origin[start] : n);
        start = end + 1;
    }
    parser.finish();
}

const std::string& cglfx::passSource(int i) const
{
    static const std::string kEmpty;
    if (i < 0 || static_cast<std::size_t>(i) >= shaders.size())
        return kEmpty;
    return shaders[static_cast<std::size_t>(i)];
}
