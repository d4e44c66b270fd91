#include "cli/ParamText.h"

#include "cli/Commands.h"
#include "cli/EffectHost.h"

#include <cctype>
#include <cmath>
#include <cstdlib>

namespace glfxcli {

namespace {

std::string trim(const std::string& s)
{
    size_t b = 0, e = s.size();
    while (b < e && std::isspace(static_cast<unsigned char>(s[b])))
        ++b;
    while (e > b && std::isspace(static_cast<unsigned char>(s[e - 1])))
        --e;
    return s.substr(b, e - b);
}

std::string lower(std::string s)
{
    for (char& c : s)
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return s;
}

bool readNumber(const std::string& text, double& v)
{
    const std::string t = trim(text);
    if (t.empty())
        return false;
    char* end = nullptr;
    v = std::strtod(t.c_str(), &end);
    return end && *end == '\0' && std::isfinite(v);
}

// Exactly `count` comma-separated numbers.
bool readNumbers(const std::string& text, size_t count, std::vector<double>& out)
{
    out.clear();
    size_t start = 0;
    while (true) {
        const size_t comma = text.find(',', start);
        double v;
        if (!readNumber(text.substr(start, comma == std::string::npos ? std::string::npos : comma - start),
                        v))
            return false;
        out.push_back(v);
        if (comma == std::string::npos)
            break;
        start = comma + 1;
    }
    return out.size() == count;
}

std::string formatNumber(double v)
{
    char buf[32];
    std::snprintf(buf, sizeof buf, "%g", v);
    return buf;
}

} // namespace

Assignment splitAssignment(const std::string& arg, const std::string& option)
{
    const size_t eq = arg.find('=');
    if (eq == std::string::npos || eq == 0)
        throw CommandError(option + " '" + arg + "': expected NAME=VALUE");
    return {arg.substr(0, eq), arg.substr(eq + 1)};
}

int findParam(const glfxhost::Session& session, const cglfx& fx, const std::string& name)
{
    std::string known;
    for (const glfxhost::AddedParam& p : session.added()) {
        if (p.descIndex < 1 || p.descIndex >= glfxlimits::kMaxParams)
            continue;
        const std::string& uniform = fx.par[p.descIndex].uniform;
        if (uniform == name)
            return p.hostIndex;
        const PF_ParamType t = p.def.param_type;
        if (t == PF_Param_GROUP_START || t == PF_Param_GROUP_END)
            continue;
        known += (known.empty() ? "" : ", ") + uniform;
    }
    throw CommandError("unknown parameter '" + name + "'" +
                       (known.empty() ? " (the effect has no parameters)" : " (known: " + known + ")"));
}

void applyValue(glfxhost::Session& session, int hostIndex, const std::string& name, const std::string& text,
                bool asUser)
{
    const glfxhost::AddedParam& p = session.added().at(static_cast<size_t>(hostIndex - 1));
    const PF_ParamDef& def = p.def;
    auto bad = [&](const std::string& expected) -> CommandError {
        return CommandError("bad value '" + text + "' for parameter '" + name + "': expected " + expected);
    };
    std::vector<double> v;
    double x = 0.0;
    switch (def.param_type) {
    case PF_Param_FLOAT_SLIDER: {
        const double lo = def.u.fs_d.valid_min, hi = def.u.fs_d.valid_max;
        if (!readNumber(text, x))
            throw bad("a number");
        if (x < lo || x > hi)
            throw bad("a number in " + formatNumber(lo) + ".." + formatNumber(hi));
        session.setFloat(hostIndex, x);
        break;
    }
    case PF_Param_CHECKBOX: {
        const std::string t = lower(trim(text));
        if (t == "true" || t == "1" || t == "on" || t == "yes")
            session.setCheckbox(hostIndex, true);
        else if (t == "false" || t == "0" || t == "off" || t == "no")
            session.setCheckbox(hostIndex, false);
        else
            throw bad("true or false");
        break;
    }
    case PF_Param_POPUP: {
        const std::vector<std::string> items = p.popupChoices();
        const int count = def.u.pd.num_choices;
        int chosen = 0;
        for (int i = 0; i < count && i < static_cast<int>(items.size()); ++i)
            if (items[i] == text) {
                chosen = i + 1;
                break;
            }
        if (chosen == 0) { // no exact match: a unique match ignoring case and blanks
            for (int i = 0; i < count && i < static_cast<int>(items.size()); ++i)
                if (lower(trim(items[i])) == lower(trim(text))) {
                    if (chosen != 0)
                        throw bad("one of the items (the text is ambiguous)");
                    chosen = i + 1;
                }
        }
        if (chosen == 0) {
            std::string list;
            for (int i = 0; i < count && i < static_cast<int>(items.size()); ++i)
                list += (i ? ", '" : "'") + items[i] + "'";
            throw bad("one of " + (list.empty() ? std::string("its items (it has none)") : list));
        }
        session.setPopup(hostIndex, chosen);
        break;
    }
    case PF_Param_COLOR: {
        // r,g,b; or r,g,b,a (an alpha the colour keeps; an ISF colour's
        // shader sees it).
        if (!readNumbers(text, 3, v) && !readNumbers(text, 4, v))
            throw bad("r,g,b (or r,g,b,a) with each in 0..1");
        PF_Pixel c{};
        c.alpha = v.size() == 4 ? 0 : 255;
        A_u_char* dst[4] = {&c.red, &c.green, &c.blue, &c.alpha};
        for (std::size_t i = 0; i < v.size(); ++i) {
            if (v[i] < 0.0 || v[i] > 1.0)
                throw bad("r,g,b (or r,g,b,a) with each in 0..1");
            *dst[i] = static_cast<A_u_char>(std::lround(v[i] * 255.0));
        }
        session.setColor(hostIndex, c);
        break;
    }
    case PF_Param_ANGLE:
        if (!readNumber(text, x) || std::fabs(x) > 32767.0)
            throw bad("an angle in degrees");
        session.setAngle(hostIndex, x);
        break;
    case PF_Param_POINT:
        if (!readNumbers(text, 2, v) || std::fabs(v[0]) > 32767.0 || std::fabs(v[1]) > 32767.0)
            throw bad("x,y in layer pixels");
        session.setPoint(hostIndex, v[0], v[1]);
        break;
    case PF_Param_LAYER:
        throw CommandError("parameter '" + name + "' is a layer: give it an image with --layer " + name +
                           "=FILE");
    default:
        throw CommandError("parameter '" + name + "' (" + glfxhost::paramTypeName(def.param_type) +
                           ") takes no value");
    }
    if (asUser && (def.flags & PF_ParamFlag_SUPERVISE)) {
        const PF_Err err = session.userChangedParam(hostIndex);
        if (err != PF_Err_NONE)
            throw CommandError(commandFailure(session, "changing parameter '" + name + "'", err));
    }
}

} // namespace glfxcli
