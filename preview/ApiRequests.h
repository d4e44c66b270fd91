// The bodies of the JSON API's changes, read and checked before the model
// sees them: {"index": N, "value": "TEXT"} for a parameter and
// {"seconds": T} for the time. What is refused says why, and names what it
// was given as it was given.
#pragma once

#include <string>

namespace glfxpreview {

// A body the API refuses: the status to answer and why.
struct Refusal {
    int status = 0; // 0: nothing refused
    std::string reason;
    explicit operator bool() const { return status != 0; }
};

// A user's change of one host parameter.
struct ParamChange {
    int index = 0;     // host parameter index, 1 .. limits::kMaxParamIndex
    std::string value; // text as `glfx render --set` takes it
};

// Reads a parameter change; on refusal `out` is left as it was.
Refusal parseParamChange(const std::string& body, ParamChange& out);
// Reads a time to render at (0 .. limits::kMaxSeconds).
Refusal parseSeek(const std::string& body, double& seconds);

} // namespace glfxpreview
