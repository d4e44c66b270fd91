#include "glfx/source.h"

#include "glfx/strings.h"
#include "glfx/text.h"

#include <cstring>

std::string descriptionText(const char* embedded)
{
    if (!embedded)
        return std::string();
    std::string text = embedded;
    const std::string marker = glfxtext::markerWord();
    if (!marker.empty() && text.compare(0, marker.size(), marker) == 0)
        return loadFile(GetUserPath() + glfxtext::userFileName());
    static const char header[3] = {0x12, 0x14, 0x18};
    if (text.size() >= 3 && std::memcmp(text.data(), header, 3) == 0) {
        std::string key = glfxtext::descriptionKey();
        return decrypt(text, key);
    }
    return text;
}
