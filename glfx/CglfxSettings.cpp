#include "glfx/Cglfx.h"

void glfxsettings::init()
{
    for (auto& row : routing)
        for (int& entry : row)
            entry = glfxlimits::kRouteNone;
    routing[0][0] = -1; // pass 0, input 0: the effect's input layer
    interp = 1;
    params = 0;
    cellsx = 1;
    cellsy = 1;
    layerCount = 1;
    fast = false;
    shaders = 1;
    noinput = 0;
    repeat = 0;
    dialect = glfxdialect::kGlfx;
    preroll = 0;
}
