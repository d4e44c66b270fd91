#include "glfx/Source.h"

#include "glfx/Cipher.h"
#include "glfx/Strings.h"
#include "glfx/Text.h"

std::string descriptionText(const char* embedded)
{
    if (!embedded)
        return std::string();
    std::string text = embedded;
    const std::string marker = glfxtext::markerWord();
    if (!marker.empty() && text.compare(0, marker.size(), marker) == 0)
        return loadFile(GetUserPath() + glfxtext::userFileName());
    const std::string header = glfxcipher::header();
    if (text.compare(0, header.size(), header) == 0) {
        std::string key = glfxtext::descriptionKey();
        return decrypt(text, key);
    }
    return text;
}
