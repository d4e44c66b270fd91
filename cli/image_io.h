// Image files for glfx render: reading any image OpenImageIO reads into
// normalised RGBA floats, and writing RGBA floats at a host depth without a
// half-written file ever appearing under the output name.
#pragma once

#include <string>
#include <vector>

namespace glfxcli {

struct Image {
    int width = 0;
    int height = 0;
    std::vector<float> rgba; // packed RGBA, top row first, 0..1 (floats may exceed)
    int depth = 8;           // host depth matching the file: 8, 16 or 32 (half/float)
};

// Reads the first subimage. Grey images are spread to red, green and blue;
// an image without alpha gets alpha 1. Throws CommandError naming the file.
Image readImage(const std::string& path);

// What writeImage stores for a host depth in a given format.
struct OutputFormat {
    std::string formatName; // OpenImageIO's format name ("png", "openexr", ...)
    std::string typeName;   // pixel type written ("uint8", "uint16", "half", "float")
    bool alpha = true;      // whether the format keeps the alpha channel
};

// Checks that `path` names a format OpenImageIO can write and a directory
// that exists and is writable; returns what a render at `depth` will store.
// Throws CommandError with the reason.
OutputFormat checkOutput(const std::string& path, int depth);

// Writes `rgba` (width × height × 4 floats) to `path`: depth 8 as 8-bit,
// depth 16 as 16-bit and depth 32 as float where the format allows (else the
// format's deepest integer type). The file is written under a temporary name
// in the same directory and renamed over `path` only when complete. Throws
// CommandError.
void writeImage(const std::string& path, int width, int height, const std::vector<float>& rgba, int depth);

} // namespace glfxcli
