#include "gl/Preamble.h"

#include "gl/Description.h"
#include "glfx/ParamDefines.h"
#include "glfx/Strings.h"

std::string getDefines(EffectData* data)
{
    if (!data || !data->defines)
        return std::string();
    std::map<std::string, std::string>& defines = *data->defines;
    defines[glfxtext::defineFixedOn()] = "0";
    defines.erase(glfxtext::defineFixedOff());
    updateParamDefines(glfxDescription(), data->values, defines);
    return definesText(defines);
}
