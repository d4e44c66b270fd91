/* What a module file carries after the template module's own bytes: the
   plug-in library, the effect description and the effect's frei0r name,
   followed by a fixed-size trailer that says how long each part is. The
   template reads it back from its own file at f0r_init. */
#pragma once

#include <cstdint>
#include <string>

namespace glfxfrei0r {

struct Payload {
    std::string plugin;      // the plug-in library's bytes
    std::string description; // the effect description text; empty: the plug-in's built-in effect
    std::string name;        // the frei0r plug-in name
};

/* The trailer's tag: the last bytes of every module file. */
constexpr char kPayloadMagic[8] = {'G', 'L', 'F', 'X', 'F', '0', 'R', '1'};
/* Trailer: three little-endian 64-bit sizes (plug-in, description, name),
   then the tag. */
constexpr size_t kTrailerSize = 3 * sizeof(uint64_t) + sizeof(kPayloadMagic);

/* `templateBytes` followed by the payload and its trailer. */
std::string appendPayload(const std::string& templateBytes, const Payload& payload);

/* Reads the payload at the end of file `path`. Returns false, with `error`
   saying why, when the file cannot be read or carries no whole payload. */
bool readPayload(const std::string& path, Payload& payload, std::string& error);

} // namespace glfxfrei0r
