// Still images through OpenImageIO, straight into and out of frames at the
// world's depth: straight (unassociated) alpha both ways, no float image in
// between for integer files.
#pragma once

#include "media/Frame.h"

#include <string>
#include <vector>

namespace media {

struct ImageHeader {
    int width = 0, height = 0;
    int depth = kDepth8; // the world depth that keeps the file's precision
    bool alpha = false;
};

// Reads the header only, and checks the size against the limits. Throws
// MediaError naming the file.
ImageHeader readImageHeader(const std::string& path);

// Reads the first subimage into `to` (the file's size). Grey images are
// spread to red, green and blue; no alpha gives opaque pixels. 16-bit files
// map 0..65535 to 0..32768.
void readImage(const std::string& path, const FrameView& to);

// What an image file written for a path holds.
struct ImagePlan {
    std::string formatName; // OpenImageIO's name ("png", "openexr", ...)
    std::string typeName;   // "uint8", "uint16", "half" or "float"
    bool alpha = true;      // whether the format keeps alpha
};

// Which format and pixel type a frame of `depth` is written as, from the
// path's extension (`-` writes PNG). Throws MediaError when OpenImageIO has
// no writer for it.
ImagePlan planImage(const std::string& path, int depth);

// How hard a PNG is compressed: the writer's default (small files), or
// quickly (for a frame that only crosses the loopback interface: a low zlib
// level and no row filtering, several times faster at a larger size).
enum class PngSpeed { kDefault, kFast };

// The whole file of `from` encoded for `path`'s format, in memory, so that
// the caller writes the bytes and checks every write.
std::vector<unsigned char> encodeImage(const std::string& path, const FrameView& from,
                                       PngSpeed speed = PngSpeed::kDefault);

} // namespace media
