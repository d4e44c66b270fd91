// glfxlint::lint: reads the description's lines as the parser does (sections,
// keys, presets, "@@" blocks) to find what it would silently ignore or
// misread, then checks the parsed model against its own shader sources.
#include "glfx/Lint.h"

#include "glfx/Cglfx.h"
#include "glfx/IsfBundle.h"
#include "glfx/IsfLint.h"
#include "glfx/Strings.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <map>
#include <memory>
#include <set>
#include <sstream>

namespace glfxlint {

namespace {

using glfxlimits::kMaxParams;

bool startsWith(const std::string& s, const char* prefix) { return s.rfind(prefix, 0) == 0; }

bool allDigits(const std::string& s)
{
    return !s.empty() && std::all_of(s.begin(), s.end(), [](unsigned char c) { return std::isdigit(c); });
}

bool identChar(char c) { return std::isalnum(static_cast<unsigned char>(c)) || c == '_'; }

// Whether `word` occurs in `text` with no identifier character on either side.
bool hasWord(const std::string& text, const std::string& word)
{
    if (word.empty())
        return false;
    for (std::size_t at = text.find(word); at != std::string::npos; at = text.find(word, at + 1)) {
        const bool before = at > 0 && identChar(text[at - 1]);
        const std::size_t end = at + word.size();
        const bool after = end < text.size() && identChar(text[end]);
        if (!before && !after)
            return true;
    }
    return false;
}

int lineAt(const std::string& text, std::size_t pos)
{
    return 1 + static_cast<int>(std::count(text.begin(), text.begin() + std::min(pos, text.size()), '\n'));
}

// Keys each kind of section reads; anything else is ignored by the parser.
const std::set<std::string>& settingsKeys()
{
    static const std::set<std::string> keys = {
        "name",    "description", "category", "uniqueid",    "matchname",  "version",
        "fast",    "interp",      "repeat",   "edge_repeat", "edgeRepeat", "params",
        "shaders", "noinput",     "cellsx",   "cellsy",      "dialect",    "preroll"};
    return keys;
}

const std::set<std::string>& paramKeys()
{
    static const std::set<std::string> keys = {
        "name",  "display", "name0",  "name1",  "name2",   "name3",    "name4",       "param",
        "text",  "popup",   "type",   "time",   "default", "disabled", "hidden",      "visibility",
        "group", "group0",  "group1", "group2", "group3",  "group4",   "groupswitch", "min",
        "max",   "flags",   "values", "space",  "range"};
    return keys;
}

const std::set<std::string>& typeWords()
{
    static const std::set<std::string> words = {
        "float", "int",    "none",        "check",     "popup", "layer", "color",    "angle",
        "point", "float2", "topic_start", "topic_end", "event", "audio", "audiofft", "color4"};
    return words;
}

// Uniforms the pipeline itself sets on every pass; in<N> are the inputs.
bool builtinUniform(const std::string& name)
{
    static const std::set<std::string> names = {"shadernum",  "time",       "resolution",
                                                "pixelratio", "downsample", "cells"};
    if (names.count(name))
        return true;
    return name.size() > 2 && startsWith(name, "in") && allDigits(name.substr(2));
}

class Linter {
public:
    explicit Linter(const std::string& text) : text_(text) {}
    std::vector<Diagnostic> run();

private:
    void add(Severity s, int line, const char* code, std::string message)
    {
        out_.push_back({s, line, code, std::move(message)});
    }
    // Finds "@@" blocks as the parser expands them; returns the text with
    // their definitions blanked (line breaks kept).
    std::string blocks();
    void scanLines(const std::string& masked);
    void header(const std::string& name, int line);
    void keyLine(const std::string& key, const std::string& value, int line);
    void presetLine(const std::string& key, int line);
    bool knownSoFar(const std::string& uniform) const;
    bool knownAtEnd(const std::string& uniform) const;
    void model();
    void shaderUniforms();
    int uniformLine(const std::string& name) const;

    const std::string& text_;
    std::unique_ptr<cglfx> fx_ = std::make_unique<cglfx>();
    std::vector<Diagnostic> out_;

    // Line scan state, following the parser's.
    std::string section_;
    int current_ = -1;
    int params_ = 0;
    std::map<int, std::string> uniforms_; // parameter index -> uniform so far
    std::map<int, int> headerLine_;       // parameter index -> line of its last header
    bool presetActive_ = false;
};

std::string Linter::blocks()
{
    std::string masked = text_;
    std::map<std::string, std::pair<int, int>> defs; // name -> (line, uses)
    std::vector<std::string> order;
    std::size_t at = text_.find("@@");
    while (at != std::string::npos) {
        const std::size_t nameStart = at + 2;
        const std::size_t delim = text_.find_first_of(" \r\n", nameStart);
        const std::string name =
            text_.substr(nameStart, (delim == std::string::npos ? text_.size() : delim) - nameStart);
        auto known = defs.find(name);
        if (known != defs.end()) { // a use of a block defined before
            ++known->second.second;
            at = text_.find("@@", nameStart + name.size());
            continue;
        }
        const std::size_t close =
            delim == std::string::npos ? std::string::npos : text_.find("@@", delim + 1);
        const std::size_t end = close == std::string::npos ? text_.size() : close + 2;
        defs[name] = {lineAt(text_, at), 0};
        order.push_back(name);
        for (std::size_t i = at; i < end; ++i)
            if (masked[i] != '\n')
                masked[i] = ' ';
        at = end < text_.size() ? text_.find("@@", end) : std::string::npos;
    }
    for (const std::string& name : order)
        if (defs[name].second == 0)
            add(Severity::kWarning, defs[name].first, code::kUnusedBlock,
                "block '@@" + name + "' is never used");
    return masked;
}

bool Linter::knownSoFar(const std::string& uniform) const
{
    for (const auto& [index, name] : uniforms_)
        if (index < params_ && name == uniform)
            return true;
    return false;
}

bool Linter::knownAtEnd(const std::string& uniform) const
{
    const int count = std::min(fx_->settings.params, kMaxParams);
    for (int i = 0; i < count; ++i)
        if (fx_->par[i].uniform == uniform)
            return true;
    return false;
}

void Linter::header(const std::string& name, int line)
{
    section_ = name;
    presetActive_ = false;
    if (name == "settings" || name == "routing" || name == "vs" || name == "images")
        return;
    if (name.size() > 4 && startsWith(name, "pass") && allDigits(name.substr(4)))
        return;
    if (startsWith(name, "par")) {
        const std::string digits = name.substr(3);
        if (!allDigits(digits)) {
            add(Severity::kWarning, line, code::kUnknownSection,
                "section [" + name + "] is read as a parameter section (only [parNN] is meant)");
        } else if (digits.size() > 2) {
            add(Severity::kError, line, code::kParDigits,
                "[" + name + "] is read as [par" + digits.substr(0, 2) + "]: only two digits are read");
        }
        const int n = std::atoi(name.substr(3, 2).c_str());
        current_ = (name.size() > 3 && n <= kMaxParams) ? n : current_ + 1;
        uniforms_[current_] = name;
        headerLine_[current_] = line;
        return;
    }
    if (startsWith(name, "ps")) {
        const std::string digits = name.substr(2);
        if (!allDigits(digits) || std::atoi(digits.c_str()) >= glfxlimits::kMaxPasses)
            add(Severity::kWarning, line, code::kUnknownSection,
                "section [" + name + "] is not a pass the parser reads ([ps0] .. [ps31])");
        return;
    }
    if (startsWith(name, "preset") && name.size() > 7) {
        const std::string rest = name.substr(7);
        const std::size_t underscore = rest.find('_');
        if (underscore != std::string::npos) {
            presetActive_ = true;
            presetLine(rest.substr(0, underscore), line);
            presetActive_ = knownSoFar(rest.substr(0, underscore));
            return;
        }
    }
    add(Severity::kWarning, line, code::kUnknownSection, "unknown section [" + name + "]");
}

// A preset header's or line's parameter name, checked as the parser looks
// it up: among the parameters read so far.
void Linter::presetLine(const std::string& uniform, int line)
{
    if (!presetActive_ || knownSoFar(uniform))
        return;
    if (knownAtEnd(uniform))
        add(Severity::kError, line, code::kPresetOrder,
            "preset names '" + uniform + "' before its parameter is described; it is dropped");
    else
        add(Severity::kError, line, code::kPresetUnknown,
            "preset names '" + uniform + "', which is no parameter's uniform; it is dropped");
}

void Linter::keyLine(const std::string& key, const std::string& value, int line)
{
    if (section_ == "settings") {
        if (!settingsKeys().count(key))
            add(Severity::kWarning, line, code::kUnknownKey, "unknown key '" + key + "' in [settings]");
        else if (key == "name" && value.size() > static_cast<std::size_t>(glfxlimits::kMaxNameLength))
            add(Severity::kWarning, line, code::kLongName,
                "effect name is longer than " + std::to_string(glfxlimits::kMaxNameLength) +
                    " characters and is cut");
        return;
    }
    if (section_ == "images")
        return;
    if (startsWith(section_, "pass")) {
        static const std::set<std::string> keys = {"target", "width", "height", "persistent", "float"};
        if (!keys.count(key) && !(startsWith(key, "sampler") && allDigits(key.substr(7))))
            add(Severity::kWarning, line, code::kUnknownKey,
                "unknown key '" + key + "' in [" + section_ + "]");
        return;
    }
    if (section_ == "routing") {
        const std::size_t underscore = key.find('_');
        if (!startsWith(key, "ps") || underscore == std::string::npos ||
            !allDigits(key.substr(2, underscore - 2)) || key.compare(underscore, 3, "_in") != 0 ||
            !allDigits(key.substr(underscore + 3))) {
            add(Severity::kWarning, line, code::kUnknownKey, "routing key '" + key + "' is not ps<N>_in<N>");
            return;
        }
        const int pass = std::atoi(key.c_str() + 2);
        if (pass >= fx_->settings.shaders)
            add(Severity::kError, line, code::kBadRoute,
                "routing for pass " + std::to_string(pass) + ", which does not exist");
        if (startsWith(value, "ps") && allDigits(value.substr(2))) {
            const int source = std::atoi(value.c_str() + 2);
            if (source >= fx_->settings.shaders)
                add(Severity::kError, line, code::kBadRoute,
                    "routes pass " + std::to_string(source) + ", which does not exist");
        } else if (startsWith(value, "layer") && allDigits(value.substr(5))) {
            const int layer = std::atoi(value.c_str() + 5);
            if (layer >= fx_->settings.layerCount)
                add(Severity::kError, line, code::kBadRoute,
                    "routes layer " + std::to_string(layer) + ", which does not exist");
        } else if (!startsWith(value, "image:") && !startsWith(value, "audio:")) {
            add(Severity::kError, line, code::kBadRoute,
                "routing value '" + value + "' is neither ps<N>, layer<N>, image:NAME nor audio:NAME");
        }
        return;
    }
    // Parameter sections, and keys before any section (the parser reads
    // those as parameter keys too, for the current parameter).
    if (current_ < 0 || current_ >= kMaxParams)
        return;
    params_ = std::max(params_, current_ + 1);
    if (!paramKeys().count(key)) {
        add(Severity::kWarning, line, code::kUnknownKey, "unknown key '" + key + "' in [" + section_ + "]");
        return;
    }
    if (key == "param")
        uniforms_[current_] = value;
    if (key == "type" && !typeWords().count(value))
        add(Severity::kError, line, code::kUnknownType, "unknown type '" + value + "'");
    if (startsWith(key, "name") || key == "display") {
        if (value.size() > static_cast<std::size_t>(glfxlimits::kMaxNameLength))
            add(Severity::kWarning, line, code::kLongName,
                "name '" + value + "' is longer than the host's " +
                    std::to_string(glfxlimits::kMaxNameLength) + " characters and is cut");
    }
}

void Linter::scanLines(const std::string& masked)
{
    std::istringstream in(masked);
    std::string ln;
    int line = 0;
    while (std::getline(in, ln)) {
        ++line;
        while (!ln.empty() && (ln.back() == '\r' || ln.back() == '\n'))
            ln.pop_back();
        if (ln.empty())
            continue;
        const bool inCode = startsWith(section_, "ps") || section_ == "vs";
        if (!inCode && (ln[0] == ';' || ln[0] == '/'))
            continue;
        if (ln[0] == '[') {
            header(ln.size() >= 2 ? ln.substr(1, ln.size() - 2) : std::string(), line);
            continue;
        }
        if (inCode || ln.find_first_not_of(" \t") == std::string::npos)
            continue;
        const std::size_t eq = ln.find('=');
        if (startsWith(section_, "preset")) {
            if (eq != std::string::npos && eq > 0)
                presetLine(ln.substr(0, eq), line);
            continue;
        }
        if (eq == std::string::npos || eq == 0)
            continue;
        keyLine(ln.substr(0, eq), ln.substr(eq + 1), line);
    }
}

int Linter::uniformLine(const std::string& name) const
{
    for (std::size_t at = text_.find("uniform"); at != std::string::npos;
         at = text_.find("uniform", at + 1)) {
        const std::size_t eol = text_.find_first_of(";\n", at);
        if (hasWord(text_.substr(at, eol == std::string::npos ? std::string::npos : eol - at), name))
            return lineAt(text_, at);
    }
    return 0;
}

void Linter::shaderUniforms()
{
    const glfxsettings& s = fx_->settings;
    const int passes = std::clamp(s.shaders, 1, glfxlimits::kMaxPasses);
    std::string code = fx_->vertex;
    for (int p = 0; p < passes; ++p)
        code += fx_->passSource(p);

    // Declared uniforms: "uniform TYPE a, b[2];"
    std::set<std::string> declared;
    for (std::size_t at = code.find("uniform"); at != std::string::npos; at = code.find("uniform", at + 1)) {
        if ((at > 0 && identChar(code[at - 1])) || (at + 7 < code.size() && identChar(code[at + 7])))
            continue;
        const std::size_t semi = code.find(';', at);
        std::istringstream decl(
            code.substr(at + 7, semi == std::string::npos ? std::string::npos : semi - at - 7));
        std::string type, rest, piece;
        decl >> type;
        std::getline(decl, rest);
        std::istringstream names(rest);
        while (std::getline(names, piece, ',')) {
            std::size_t b = piece.find_first_not_of(" \t\r\n");
            if (b == std::string::npos)
                continue;
            std::size_t e = b;
            while (e < piece.size() && identChar(piece[e]))
                ++e;
            declared.insert(piece.substr(b, e - b));
        }
    }

    const int count = std::min(s.params, kMaxParams);
    std::set<std::string> fed;
    const std::string prefix = glfxtext::definePrefix();
    for (int i = 0; i < count; ++i) {
        const glfxpar& p = fx_->par[i];
        fed.insert(p.uniform);
        const bool noValue = p.type == GLFX_LAYER || p.type == GLFX_AUDIO || p.type == GLFX_AUDIOFFT ||
                             p.type == GLFX_NONE || p.type == GLFX_TOPIC_START || p.type == GLFX_TOPIC_END ||
                             (p.type == GLFX_POPUP && p.flags == glfxflags::kPreset);
        const bool secondOfPair = i > 0 && fx_->par[i - 1].type == GLFX_FLOAT2;
        // A parameter never described (a gap in the numbering) has no uniform.
        if (i == 0 || noValue || secondOfPair || p.uniform.empty())
            continue;
        // A parameter used through its define counts as used.
        const bool defined = (p.type == GLFX_CHECK || p.type == GLFX_POPUP) &&
                             (p.flags == glfxflags::kIntegerDefine || p.flags == glfxflags::kTextDefine);
        std::string word = p.uniform;
        if (defined) {
            // The prefix is "#define NAME_"; shaders use the part after it.
            const std::size_t space = prefix.rfind(' ');
            word = (space == std::string::npos ? prefix : prefix.substr(space + 1)) + p.uniform;
        }
        if (!hasWord(code, word))
            add(Severity::kWarning, headerLine_.count(i) ? headerLine_[i] : 0, code::kUnusedParam,
                "parameter '" + p.uniform + "' is used by no shader");
    }
    for (const std::string& name : declared)
        if (!fed.count(name) && !builtinUniform(name))
            add(Severity::kWarning, uniformLine(name), code::kUnfedUniform,
                "uniform '" + name + "' is declared in a shader but no parameter feeds it");
}

void Linter::model()
{
    const int count = std::min(fx_->settings.params, kMaxParams);
    std::map<std::string, int> seen;
    for (int i = 0; i < count; ++i) {
        const glfxpar& p = fx_->par[i];
        const int line = headerLine_.count(i) ? headerLine_[i] : 0;
        if (p.type != GLFX_TOPIC_END && p.type != GLFX_NONE && !p.uniform.empty()) {
            auto [it, fresh] = seen.emplace(p.uniform, i);
            if (!fresh)
                add(Severity::kError, line, code::kDuplicateUniform,
                    "parameters " + std::to_string(it->second) + " and " + std::to_string(i) +
                        " share the uniform '" + p.uniform + "'");
        }
        if (p.type == GLFX_POPUP && !p.items.empty() && p.def[0] > static_cast<float>(p.items.size() - 1))
            add(Severity::kError, line, code::kPopupDefault,
                "popup '" + p.uniform + "' defaults to item " + std::to_string(static_cast<int>(p.def[0])) +
                    " of " + std::to_string(p.items.size()) + " (items count from 0)");
    }
}

std::vector<Diagnostic> Linter::run()
{
    std::string copy = text_;
    fx_->parse(copy);
    scanLines(blocks());
    model();
    shaderUniforms();
    std::stable_sort(out_.begin(), out_.end(),
                     [](const Diagnostic& a, const Diagnostic& b) { return a.line < b.line; });
    return std::move(out_);
}

} // namespace

std::vector<Diagnostic> lint(const std::string& text)
{
    if (glfxisf::isIsfText(text))
        return isfLint(text);
    return Linter(text).run();
}

const char* severityName(Severity s) { return s == Severity::kError ? "error" : "warning"; }

} // namespace glfxlint
