// What a description says about each pass beside its shader, and the image
// files it imports. Plain value holders, filled by the readers of both
// description formats.
#pragma once

#include <string>

// One pass's output.
struct glfxpass {
    // The name shaders and routing use for this pass's output (ISF TARGET);
    // empty: unnamed.
    std::string target;
    // Size expressions; empty means the frame's width / height.
    std::string width, height;
    // Keeps its content from frame to frame.
    bool persistent = false;
    // RGBA32F; false means RGBA8 (ISF's default for its targets).
    bool floatTarget = true;
    // Where it was declared in the description (for messages); 0: nowhere.
    int line = 0;
};

// One image file loaded once per instance and sampled as a texture.
struct glfximport {
    std::string name; // the sampler name
    std::string path; // as written, relative to cglfx::baseDir
    int line = 0;     // where it was declared; 0: nowhere
};

// Equal in meaning: where each was declared aside.
inline bool operator==(const glfxpass& a, const glfxpass& b)
{
    return a.target == b.target && a.width == b.width && a.height == b.height &&
           a.persistent == b.persistent && a.floatTarget == b.floatTarget;
}

inline bool operator==(const glfximport& a, const glfximport& b)
{
    return a.name == b.name && a.path == b.path;
}
