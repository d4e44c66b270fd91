#include "glfx/ParamDefines.h"

#include "glfx/Strings.h"
#include "glfx/Text.h"

#include <algorithm>
#include <climits>
#include <cmath>

std::string popupItemClamped(const glfxpar& par, int index)
{
    if (par.items.empty())
        return std::string();
    if (index < 0)
        index = 0;
    if (static_cast<std::size_t>(index) >= par.items.size())
        index = static_cast<int>(par.items.size()) - 1;
    return par.items[static_cast<std::size_t>(index)];
}

int valueToInt(float value)
{
    if (std::isnan(value))
        return 0;
    if (value >= 2147483647.0f)
        return INT_MAX;
    if (value <= -2147483648.0f)
        return INT_MIN;
    return static_cast<int>(value);
}

void updateParamDefines(const cglfx& fx, const float (*values)[4],
                        std::map<std::string, std::string>& defines)
{
    if (!values)
        return;
    int count = fx.settings.params;
    if (count > glfxlimits::kMaxParams)
        count = glfxlimits::kMaxParams;
    const std::string prefix = glfxtext::definePrefix();
    for (int i = 1; i < count; ++i) {
        const glfxpar& par = fx.par[i];
        const int v = valueToInt(values[i][0]);
        switch (defineKind(par)) {
        case DefineKind::kInteger: defines[prefix + par.uniform] = intToString(v); break;
        case DefineKind::kText: defines[prefix + par.uniform] = popupItemClamped(par, v); break;
        case DefineKind::kNone: break;
        }
    }
}

DefineKind defineKind(const glfxpar& par)
{
    if (par.flags == glfxflags::kIntegerDefine && (par.type == GLFX_CHECK || par.type == GLFX_POPUP))
        return DefineKind::kInteger;
    if (par.flags == glfxflags::kTextDefine && par.type == GLFX_POPUP && !par.items.empty())
        return DefineKind::kText;
    return DefineKind::kNone;
}

std::set<std::string> preambleKeys(const cglfx& fx)
{
    std::set<std::string> keys = {glfxtext::defineFixedOn()};
    if (fx.settings.fast)
        keys.insert(glfxtext::defineFast());
    const int count = std::min(fx.settings.params, glfxlimits::kMaxParams);
    for (int i = 1; i < count; ++i)
        if (defineKind(fx.par[i]) != DefineKind::kNone)
            keys.insert(glfxtext::definePrefix() + fx.par[i].uniform);
    return keys;
}

std::string definesText(const std::map<std::string, std::string>& defines)
{
    std::string text;
    for (const auto& entry : defines) {
        text += entry.first;
        text += ' ';
        text += entry.second;
        text += "\r\n";
    }
    return text;
}
