#include "frei0r/ParamMap.h"

extern "C" {
#include <frei0r.h>
}

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace glfxfrei0r {

namespace {

constexpr double kFixedOne = 65536.0; // 16.16 fixed point
constexpr double kFullTurn = 360.0;   // angles: [0,1] onto degrees
constexpr double kPercent = 100.0;    // point defaults still in percent
constexpr double kByteMax = 255.0;    // 8-bit colour channels

double clamp01(double v)
{
    if (!(v >= 0.0))
        return 0.0;
    return v > 1.0 ? 1.0 : v;
}

} // namespace

bool F0rValue::operator==(const F0rValue& o) const
{
    return number == o.number && color[0] == o.color[0] && color[1] == o.color[1] && color[2] == o.color[2] &&
           text == o.text;
}

std::vector<F0rParam> mapParams(const glfxhost::Session& session, const std::vector<std::string>& uniforms,
                                const std::vector<bool>& intSliders)
{
    std::vector<F0rParam> out;
    for (const glfxhost::AddedParam& a : session.added()) {
        F0rParam p;
        p.hostIndex = a.hostIndex;
        p.hostType = a.def.param_type;
        p.supervised = (a.def.flags & PF_ParamFlag_SUPERVISE) != 0;
        const bool known = a.descIndex >= 0 && a.descIndex < static_cast<int>(uniforms.size());
        p.name = known ? uniforms[a.descIndex] : std::string();
        if (p.name.empty())
            p.name = "param" + std::to_string(a.hostIndex);
        p.explanation = a.name;
        switch (a.def.param_type) {
        case PF_Param_FLOAT_SLIDER:
            p.f0rType = F0R_PARAM_DOUBLE;
            p.integer = known && intSliders[a.descIndex];
            break;
        case PF_Param_ANGLE: p.f0rType = F0R_PARAM_DOUBLE; break;
        case PF_Param_CHECKBOX: p.f0rType = F0R_PARAM_BOOL; break;
        case PF_Param_COLOR: p.f0rType = F0R_PARAM_COLOR; break;
        case PF_Param_POPUP:
            p.f0rType = F0R_PARAM_STRING;
            p.items = a.popupChoices();
            p.items.resize(static_cast<size_t>(std::max<A_short>(a.def.u.pd.num_choices, 0)));
            break;
        case PF_Param_POINT: {
            p.f0rType = F0R_PARAM_DOUBLE;
            F0rParam y = p;
            p.name += "_x";
            p.explanation += " (x)";
            y.name += "_y";
            y.explanation += " (y)";
            y.axis = 1;
            out.push_back(p);
            out.push_back(y);
            continue;
        }
        default: continue; // groups and layers
        }
        out.push_back(p);
    }
    return out;
}

F0rValue currentValue(const glfxhost::Session& session, const F0rParam& p)
{
    const PF_ParamDef& v = session.value(p.hostIndex);
    const glfxhost::AddedParam& a = session.added().at(static_cast<size_t>(p.hostIndex - 1));
    F0rValue out;
    switch (p.hostType) {
    case PF_Param_FLOAT_SLIDER: {
        const double lo = a.def.u.fs_d.slider_min, hi = a.def.u.fs_d.slider_max;
        out.number = hi > lo ? clamp01((v.u.fs_d.value - lo) / (hi - lo)) : 0.0;
        break;
    }
    case PF_Param_ANGLE: {
        const double deg = std::fmod(v.u.ad.value / kFixedOne, kFullTurn);
        out.number = (deg < 0 ? deg + kFullTurn : deg) / kFullTurn;
        break;
    }
    case PF_Param_CHECKBOX: out.number = v.u.bd.value ? 1.0 : 0.0; break;
    case PF_Param_COLOR:
        out.color[0] = static_cast<float>(v.u.cd.value.red / kByteMax);
        out.color[1] = static_cast<float>(v.u.cd.value.green / kByteMax);
        out.color[2] = static_cast<float>(v.u.cd.value.blue / kByteMax);
        break;
    case PF_Param_POPUP: {
        const int i = v.u.pd.value - 1;
        if (i >= 0 && i < static_cast<int>(p.items.size()))
            out.text = p.items[static_cast<size_t>(i)];
        break;
    }
    case PF_Param_POINT: {
        const double fixed = (p.axis == 0 ? v.u.td.x_value : v.u.td.y_value) / kFixedOne;
        const int size = p.axis == 0 ? session.layerWidth() : session.layerHeight();
        if (a.pointInPercent || size <= 0)
            out.number = fixed / kPercent;
        else
            out.number = fixed / size;
        break;
    }
    default: break;
    }
    return out;
}

bool applyValue(glfxhost::Session& session, const F0rParam& p, const F0rValue& v, const F0rValue& other)
{
    const glfxhost::AddedParam& a = session.added().at(static_cast<size_t>(p.hostIndex - 1));
    switch (p.hostType) {
    case PF_Param_FLOAT_SLIDER: {
        const double lo = a.def.u.fs_d.slider_min, hi = a.def.u.fs_d.slider_max;
        double x = lo + clamp01(v.number) * (hi - lo);
        if (p.integer)
            x = std::round(x);
        x = std::min<double>(std::max<double>(x, a.def.u.fs_d.valid_min), a.def.u.fs_d.valid_max);
        session.setFloat(p.hostIndex, x);
        return true;
    }
    case PF_Param_ANGLE: session.setAngle(p.hostIndex, clamp01(v.number) * kFullTurn); return true;
    case PF_Param_CHECKBOX: session.setCheckbox(p.hostIndex, v.number >= 0.5); return true;
    case PF_Param_COLOR: {
        PF_Pixel c{};
        c.alpha = 255;
        c.red = static_cast<A_u_char>(std::lround(clamp01(v.color[0]) * kByteMax));
        c.green = static_cast<A_u_char>(std::lround(clamp01(v.color[1]) * kByteMax));
        c.blue = static_cast<A_u_char>(std::lround(clamp01(v.color[2]) * kByteMax));
        session.setColor(p.hostIndex, c);
        return true;
    }
    case PF_Param_POPUP: {
        for (size_t i = 0; i < p.items.size(); ++i)
            if (p.items[i] == v.text) {
                session.setPopup(p.hostIndex, static_cast<int>(i) + 1);
                return true;
            }
        // The item's number (1..) is accepted too.
        char* end = nullptr;
        const long n = std::strtol(v.text.c_str(), &end, 10);
        if (!v.text.empty() && end && *end == '\0' && n >= 1 && n <= static_cast<long>(p.items.size())) {
            session.setPopup(p.hostIndex, static_cast<int>(n));
            return true;
        }
        return false;
    }
    case PF_Param_POINT: {
        const double x = clamp01(p.axis == 0 ? v.number : other.number) * session.layerWidth();
        const double y = clamp01(p.axis == 0 ? other.number : v.number) * session.layerHeight();
        session.setPoint(p.hostIndex, x, y);
        return true;
    }
    default: return true;
    }
}

} // namespace glfxfrei0r
