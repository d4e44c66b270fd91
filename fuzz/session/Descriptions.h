// The effect descriptions the session fuzzer plays sessions on: the one
// built into the plug-in, the example effects, and small ones written here to
// reach every parameter type, a preset popup, a group switch and a "none"
// parameter cheaply.
#pragma once

#include <string>
#include <vector>

namespace sessionfuzz {

struct Description {
    std::string name;
    std::string text;    // what _GLFX_CODE is pointed at (enciphered or plain)
    bool renders = true; // a set-up instance renders it without an error
};

// `builtin` is the text _GLFX_CODE held when the plug-in was loaded;
// `effectsDir` the folder of the example .glfx files (missing files are
// skipped). Order: the built-in one, the ones written here, then the files,
// so that an input's first byte keeps choosing the same one.
std::vector<Description> loadDescriptions(const std::string& builtin, const std::string& effectsDir);

} // namespace sessionfuzz
