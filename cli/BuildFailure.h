// A failed shader build as the glfx tools report it: one headline naming the
// pass, and the driver's log with each line reference told as a line of the
// description file. Used by glfx render and glfx preview alike.
#pragma once

#include "glfx/Cglfx.h"
#include "host/Host.h"

#include <set>
#include <string>
#include <vector>

namespace glfxcli {

struct BuildFailure {
    std::string headline;   // "shader build failed in pass N" (without " in pass N" when unknown)
    std::string log;        // the log, references rewritten as "FILE:LINE:COL"
    int pass = -1;          // the failing pass; -1 when the log does not tell
    bool vertex = false;    // the vertex shader failed
    std::vector<int> lines; // description lines the log points at (0: none)
};

// Rebuilds the instance's programs as the plug-in's Options command does
// (the plug-in builds quietly; this is how its build log is had) and returns
// the log it shows as an alert, empty when every pass built. The alert's own
// printing is held back: the caller shows the log its own way. Throws
// CommandError when the command fails.
std::string rebuildLog(glfxhost::Session& session);

// `log`: the alert text of the failed build; `fx`: the description the
// plug-in built; `preambleKeys`: the definitions the instance holds (each is
// a preamble line); `effectPath`: the description file ("" for the built-in
// one), named in the rewritten log by its last component.
BuildFailure describeBuildFailure(const std::string& log, const cglfx& fx,
                                  const std::set<std::string>& preambleKeys, const std::string& effectPath);

} // namespace glfxcli
