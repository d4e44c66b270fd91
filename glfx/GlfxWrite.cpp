#include "glfx/GlfxWrite.h"

#include "glfx/CglfxKeys.h"
#include "glfx/IsfPreamble.h"
#include "glfx/Strings.h"

#include <algorithm>
#include <cstdio>
#include <sstream>

namespace glfxwrite {

namespace {

std::string num(float v)
{
    char buf[32];
    std::snprintf(buf, sizeof buf, "%.9g", static_cast<double>(v));
    return buf;
}

const char* typeWord(const glfxpar& p)
{
    switch (p.type) {
    case GLFX_NONE: return "none";
    case GLFX_INT: return "int";
    case GLFX_CHECK: return "check";
    case GLFX_POPUP: return "popup";
    case GLFX_LAYER: return "layer";
    case GLFX_FLOAT: return "float";
    case GLFX_COLOR: return p.components == 4 ? "color4" : "color";
    case GLFX_ANGLE: return "angle";
    case GLFX_POINT: return "point";
    case GLFX_TOPIC_START: return "topic_start";
    case GLFX_TOPIC_END: return "topic_end";
    case GLFX_FLOAT2: return "float2";
    case GLFX_EVENT: return "event";
    case GLFX_AUDIO: return "audio";
    case GLFX_AUDIOFFT: return "audiofft";
    default: return "none";
    }
}

std::string route(const cglfx& fx, int entry)
{
    if (glfxroute::isImport(entry)) {
        const int n = glfxroute::importIndex(entry);
        return n >= 0 && static_cast<std::size_t>(n) < fx.imports.size() ? "image:" + fx.imports[n].name : "";
    }
    if (glfxroute::isAudio(entry)) {
        const int n = glfxroute::audioParam(entry);
        return n > 0 && n < glfxlimits::kMaxParams ? "audio:" + fx.par[n].uniform : "";
    }
    if (glfxroute::isLayer(entry))
        return "layer" + std::to_string(glfxroute::layerOf(entry));
    return "ps" + std::to_string(entry);
}

void writeParam(std::ostringstream& out, const glfxpar& p, int index)
{
    // Sections count in two digits; later ones follow on from the last.
    out << "\n[par" << (index < 100 ? std::to_string(index) : std::string()) << "]\n";
    out << "name=" << p.name << "\n";
    for (int k = 0; k < 4; ++k)
        if (!p.names[k].empty())
            out << "name" << k + 1 << "=" << p.names[k] << "\n";
    out << "param=" << p.uniform << "\n";
    out << "type=" << typeWord(p) << "\n";
    if (!p.itemtext.empty())
        out << "text=" << p.itemtext << "\n";
    if (!p.itemValues.empty()) {
        out << "values=";
        for (std::size_t i = 0; i < p.itemValues.size(); ++i)
            out << (i ? "|" : "") << num(p.itemValues[i]);
        out << "\n";
    }
    out << "default=" << num(p.def[0]) << "|" << num(p.def[1]) << "|" << num(p.def[2]);
    if (p.type == GLFX_COLOR && p.components == 4)
        out << "|" << num(p.defAlpha);
    out << "\n";
    out << "min=" << num(p.min) << "\nmax=" << num(p.max) << "\n";
    if (p.pointSpace != glfxpoint::kLayer)
        out << "space=" << glfxkeys::pointSpaceWord(p.pointSpace) << "\n";
    if (p.pointSpace == glfxpoint::kRange)
        out << "range=" << num(p.rangeMin[0]) << "|" << num(p.rangeMin[1]) << "|" << num(p.rangeMax[0]) << "|"
            << num(p.rangeMax[1]) << "\n";
    if (p.visibility != 0)
        out << "visibility=" << p.visibility << "\n";
    for (int k = 0; k < glfxlimits::kGroupSlots; ++k)
        if (p.group[k] != 0)
            out << "group" << k << "=" << p.group[k] << "\n";
    if (p.flags != 0)
        out << "flags=" << p.flags << "\n";
}

// A source as section lines; the reader drops empty lines anyway.
void writeSource(std::ostringstream& out, const std::string& source)
{
    out << source;
    if (!source.empty() && source.back() != '\n')
        out << "\n";
}

} // namespace

std::string writeGlfx(const cglfx& fx, const std::string& origin)
{
    const glfxsettings& s = fx.settings;
    std::ostringstream out;
    if (!origin.empty())
        out << "; written by glfx import from " << origin << "\n";
    out << "[settings]\n";
    out << "name=" << s.name << "\n";
    if (!s.description.empty())
        out << "description=" << s.description << "\n";
    if (!s.category.empty())
        out << "category=" << s.category << "\n";
    if (!s.matchname.empty())
        out << "matchname=" << s.matchname << "\n";
    if (!s.version.empty())
        out << "version=" << s.version << "\n";
    out << "dialect=" << glfxkeys::dialectWord(s.dialect) << "\n";
    out << "interp=" << s.interp << "\nrepeat=" << s.repeat << "\n";
    out << "cellsx=" << s.cellsx << "\ncellsy=" << s.cellsy << "\n";
    if (s.fast)
        out << "fast=1\n";
    if (s.noinput)
        out << "noinput=" << s.noinput << "\n";
    if (s.preroll)
        out << "preroll=" << s.preroll << "\n";
    out << "params=" << s.params << "\nshaders=" << s.shaders << "\n";

    const int params = std::clamp(s.params, 0, glfxlimits::kMaxParams);
    const glfxpar plain;
    const glfxpar& in = fx.par[0];
    if (in.name != "in0" || in.uniform != "in0")
        writeParam(out, in, 0);
    for (int i = 1; i < params; ++i)
        writeParam(out, fx.par[i], i);

    for (const auto& [key, preset] : s.presets) {
        if (key.first < 0 || key.first >= glfxlimits::kMaxParams)
            continue;
        out << "\n[preset_" << fx.par[key.first].uniform << "_" << key.second << "]\n";
        for (const auto& [target, def] : preset.values)
            if (target >= 0 && target < glfxlimits::kMaxParams)
                out << fx.par[target].uniform << "=" << num(def.v[0]) << "|" << num(def.v[1]) << "|"
                    << num(def.v[2]) << "\n";
    }

    const int passes = std::clamp(s.shaders, 0, glfxlimits::kMaxPasses);
    out << "\n[routing]\n";
    for (int p = 0; p < passes; ++p)
        for (int k = 0; k < glfxlimits::kMaxInputs; ++k) {
            const int e = s.routing[p][k];
            const std::string r = e == glfxlimits::kRouteNone ? std::string() : route(fx, e);
            if (!r.empty())
                out << "ps" << p << "_in" << k << "=" << r << "\n";
        }

    if (!fx.imports.empty()) {
        out << "\n[images]\n";
        for (const glfximport& i : fx.imports)
            out << i.name << "=" << i.path << "\n";
    }

    const glfxpass plainPass;
    for (int p = 0; p < passes && static_cast<std::size_t>(p) < fx.passes.size(); ++p) {
        const glfxpass& ps = fx.passes[static_cast<std::size_t>(p)];
        const bool names = static_cast<std::size_t>(p) < fx.samplerNames.size() &&
                           std::any_of(fx.samplerNames[p].begin(), fx.samplerNames[p].end(),
                                       [](const std::string& n) { return !n.empty(); });
        if (ps == plainPass && !names)
            continue;
        out << "\n[pass" << p << "]\n";
        if (!ps.target.empty())
            out << "target=" << ps.target << "\n";
        if (!ps.width.empty())
            out << "width=" << ps.width << "\n";
        if (!ps.height.empty())
            out << "height=" << ps.height << "\n";
        out << "persistent=" << (ps.persistent ? 1 : 0) << "\nfloat=" << (ps.floatTarget ? 1 : 0) << "\n";
        if (names)
            for (int k = 0; k < glfxlimits::kMaxInputs; ++k)
                if (!fx.samplerNames[p][k].empty())
                    out << "sampler" << k << "=" << fx.samplerNames[p][k] << "\n";
    }

    // A pass whose source is an earlier pass's is written as a reference.
    for (int p = 0; p < passes; ++p) {
        out << "\n[ps" << p << "]\n";
        int same = -1;
        for (int q = 0; q < p && same < 0; ++q)
            if (fx.passSource(q) == fx.passSource(p))
                same = q;
        if (p > 0 && same >= 0)
            out << "ps" << same << "\n";
        else
            writeSource(out, fx.passSource(p));
    }
    // The vertex shader the reader supplies itself is left out.
    const bool ownVertex =
        std::any_of(fx.vertexLines.begin(), fx.vertexLines.end(), [](int l) { return l > 0; });
    if (ownVertex) {
        out << "\n[vs]\n";
        writeSource(out, fx.vertex);
    }
    return out.str();
}

} // namespace glfxwrite
