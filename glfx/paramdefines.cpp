#include "glfx/paramdefines.h"

#include "glfx/strings.h"
#include "glfx/text.h"

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
        if (par.flags == glfxflags::kIntegerDefine && (par.type == GLFX_CHECK || par.type == GLFX_POPUP)) {
            defines[prefix + par.uniform] = intToString(v);
        } else if (par.flags == glfxflags::kTextDefine && par.type == GLFX_POPUP) {
            if (!par.items.empty())
                defines[prefix + par.uniform] = popupItemClamped(par, v);
        }
    }
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
