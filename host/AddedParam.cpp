#include "host/AddedParam.h"

namespace glfxhost {

std::vector<std::string> AddedParam::popupChoices() const
{
    std::vector<std::string> items;
    if (def.param_type != PF_Param_POPUP)
        return items;
    size_t start = 0;
    while (start < choices.size()) {
        const size_t bar = choices.find('|', start);
        if (bar == std::string::npos) {
            items.push_back(choices.substr(start));
            break;
        }
        items.push_back(choices.substr(start, bar - start));
        start = bar + 1;
    }
    return items;
}

} // namespace glfxhost
