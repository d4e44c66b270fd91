#include "glfx/HostMap.h"

#include <algorithm>

bool addsHostParam(int type) { return type >= GLFX_INT && type <= GLFX_EVENT; }

glfxhostmap hostPositions(const cglfx& fx)
{
    glfxhostmap map;
    std::fill(std::begin(map.position), std::end(map.position), glfxhostmap::kNotAdded);
    std::fill(std::begin(map.index), std::end(map.index), glfxhostmap::kNotAdded);
    const int described = std::clamp(fx.settings.params, 1, glfxlimits::kMaxParams);
    map.position[0] = 0;
    map.index[0] = 0;
    int next = 1;
    for (int i = 1; i < described; ++i) {
        if (!addsHostParam(fx.par[i].type))
            continue;
        map.position[i] = next;
        map.index[next] = i;
        ++next;
    }
    map.count = next;
    return map;
}
