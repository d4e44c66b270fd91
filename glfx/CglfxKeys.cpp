#include "glfx/CglfxKeys.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>

namespace glfxkeys {

namespace {

bool startsWith(const std::string& s, const char* prefix) { return s.rfind(prefix, 0) == 0; }

std::vector<std::string> split(const std::string& value)
{
    std::vector<std::string> out;
    std::size_t start = 0;
    while (true) {
        const std::size_t bar = value.find('|', start);
        out.push_back(value.substr(start, bar == std::string::npos ? std::string::npos : bar - start));
        if (bar == std::string::npos)
            return out;
        start = bar + 1;
    }
}

float number(const std::string& s) { return static_cast<float>(std::atof(s.c_str())); }

bool flag(const std::string& v) { return v == "1" || v == "true" || v == "yes"; }

} // namespace

bool isPassSection(const std::string& name)
{
    return name.size() > 4 && startsWith(name, "pass") && std::isdigit(static_cast<unsigned char>(name[4]));
}

void settingsKey(glfxsettings& s, const std::string& key, const std::string& value)
{
    if (key == "dialect")
        s.dialect = value == "isf" ? glfxdialect::kIsf : glfxdialect::kGlfx;
    else if (key == "preroll")
        s.preroll = std::max(0, std::atoi(value.c_str()));
}

void typeWord(glfxpar& p, const std::string& word)
{
    if (word == "event") {
        p.type = GLFX_EVENT;
        p.components = 1;
    } else if (word == "audio" || word == "audiofft") {
        p.type = word == "audio" ? GLFX_AUDIO : GLFX_AUDIOFFT;
        p.components = 0;
    } else if (word == "color4") {
        p.type = GLFX_COLOR;
        p.components = 4;
    }
}

void paramKey(glfxpar& p, const std::string& key, const std::string& value)
{
    if (key == "values") {
        p.itemValues.clear();
        for (const std::string& v : split(value))
            p.itemValues.push_back(number(v));
    } else if (key == "space") {
        p.pointSpace = value == "frame"   ? glfxpoint::kFrame
                       : value == "range" ? glfxpoint::kRange
                                          : glfxpoint::kLayer;
    } else if (key == "range") {
        const std::vector<std::string> v = split(value);
        if (v.size() == 4) {
            p.rangeMin[0] = number(v[0]);
            p.rangeMin[1] = number(v[1]);
            p.rangeMax[0] = number(v[2]);
            p.rangeMax[1] = number(v[3]);
        }
    }
}

void defaultAlpha(glfxpar& p, const std::string& value)
{
    const std::vector<std::string> v = split(value);
    if (p.type == GLFX_COLOR && p.components == 4)
        p.defAlpha = v.size() >= 4 ? number(v[3]) : 1.f;
}

void passKey(cglfx& fx, int pass, const std::string& key, const std::string& value, int line)
{
    if (pass < 0 || pass >= glfxlimits::kMaxPasses || static_cast<std::size_t>(pass) >= fx.passes.size())
        return;
    glfxpass& p = fx.passes[static_cast<std::size_t>(pass)];
    if (p.line == 0)
        p.line = line;
    if (key == "target")
        p.target = value;
    else if (key == "width")
        p.width = value;
    else if (key == "height")
        p.height = value;
    else if (key == "persistent")
        p.persistent = flag(value);
    else if (key == "float")
        p.floatTarget = flag(value);
    else if (startsWith(key, "sampler") && key.size() > 7 &&
             std::isdigit(static_cast<unsigned char>(key[7]))) {
        const int slot = std::atoi(key.c_str() + 7);
        if (slot >= 0 && slot < glfxlimits::kMaxInputs &&
            static_cast<std::size_t>(pass) < fx.samplerNames.size())
            fx.samplerNames[static_cast<std::size_t>(pass)][static_cast<std::size_t>(slot)] = value;
    }
}

void imageKey(cglfx& fx, const std::string& name, const std::string& path, int line)
{
    for (glfximport& i : fx.imports)
        if (i.name == name) {
            i.path = path;
            i.line = line;
            return;
        }
    fx.imports.push_back({name, path, line});
}

bool pendingRoute(Pending& pending, const std::string& key, const std::string& value)
{
    const bool image = startsWith(value, "image:");
    if (!image && !startsWith(value, "audio:"))
        return false;
    // Key form: ps<pass>_in<input>.
    const std::size_t underscore = key.find('_');
    if (!startsWith(key, "ps") || underscore == std::string::npos || key.compare(underscore, 3, "_in") != 0)
        return true;
    const int pass = std::atoi(key.c_str() + 2);
    const int input = std::atoi(key.c_str() + underscore + 3);
    if (pass < 0 || pass >= glfxlimits::kMaxPasses || input < 0 || input >= glfxlimits::kMaxInputs)
        return true;
    pending.push_back({pass, input, image, value.substr(6)});
    return true;
}

void resolve(cglfx& fx, const Pending& pending)
{
    for (const PendingRoute& r : pending) {
        int entry = glfxlimits::kRouteNone;
        if (r.image) {
            for (std::size_t i = 0; i < fx.imports.size(); ++i)
                if (fx.imports[i].name == r.name)
                    entry = glfxroute::importOf(static_cast<int>(i));
        } else {
            const int count = std::min(fx.settings.params, glfxlimits::kMaxParams);
            for (int i = 1; i < count; ++i)
                if (fx.par[i].uniform == r.name)
                    entry = glfxroute::audioOf(i);
        }
        if (entry != glfxlimits::kRouteNone)
            fx.settings.routing[r.pass][r.input] = entry;
    }
}

const char* dialectWord(int dialect) { return dialect == glfxdialect::kIsf ? "isf" : "glfx"; }

const char* pointSpaceWord(int space)
{
    return space == glfxpoint::kFrame ? "frame" : space == glfxpoint::kRange ? "range" : "layer";
}

} // namespace glfxkeys
