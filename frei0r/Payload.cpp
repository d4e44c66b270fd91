#include "frei0r/Payload.h"

#include <cstring>
#include <fstream>

namespace glfxfrei0r {

namespace {

void putSize(std::string& out, uint64_t v)
{
    for (int i = 0; i < 8; ++i)
        out.push_back(static_cast<char>((v >> (8 * i)) & 0xFF));
}

uint64_t getSize(const char* p)
{
    uint64_t v = 0;
    for (int i = 7; i >= 0; --i)
        v = (v << 8) | static_cast<unsigned char>(p[i]);
    return v;
}

} // namespace

std::string appendPayload(const std::string& templateBytes, const Payload& payload)
{
    std::string out = templateBytes;
    out += payload.plugin;
    out += payload.description;
    out += payload.name;
    putSize(out, payload.plugin.size());
    putSize(out, payload.description.size());
    putSize(out, payload.name.size());
    out.append(kPayloadMagic, sizeof kPayloadMagic);
    return out;
}

bool readPayload(const std::string& path, Payload& payload, std::string& error)
{
    std::ifstream in(path, std::ios::binary | std::ios::ate);
    if (!in) {
        error = "cannot open its own file '" + path + "'";
        return false;
    }
    const std::streamoff size = in.tellg();
    if (size < static_cast<std::streamoff>(kTrailerSize)) {
        error = "'" + path + "' carries no effect (it is the bare template)";
        return false;
    }
    char trailer[kTrailerSize];
    in.seekg(size - static_cast<std::streamoff>(kTrailerSize));
    if (!in.read(trailer, kTrailerSize)) {
        error = "cannot read '" + path + "'";
        return false;
    }
    if (std::memcmp(trailer + 3 * sizeof(uint64_t), kPayloadMagic, sizeof kPayloadMagic) != 0) {
        error = "'" + path + "' carries no effect (it is the bare template)";
        return false;
    }
    const uint64_t sizes[3] = {getSize(trailer), getSize(trailer + 8), getSize(trailer + 16)};
    const uint64_t room = static_cast<uint64_t>(size) - kTrailerSize;
    if (sizes[0] > room || sizes[1] > room - sizes[0] || sizes[2] > room - sizes[0] - sizes[1]) {
        error = "'" + path + "' has a damaged payload";
        return false;
    }
    std::string* parts[3] = {&payload.plugin, &payload.description, &payload.name};
    in.seekg(static_cast<std::streamoff>(room - sizes[0] - sizes[1] - sizes[2]));
    for (int i = 0; i < 3; ++i) {
        parts[i]->resize(sizes[i]);
        if (sizes[i] && !in.read(&(*parts[i])[0], static_cast<std::streamsize>(sizes[i]))) {
            error = "cannot read the payload of '" + path + "'";
            return false;
        }
    }
    return true;
}

} // namespace glfxfrei0r
