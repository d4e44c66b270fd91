// Parameter values given on the command line (--set NAME=VALUE, --layer
// NAME=FILE) and their application to a host session as a user's changes.
#pragma once

#include "glfx/Cglfx.h"
#include "host/Host.h"

#include <string>
#include <vector>

namespace glfxcli {

struct Assignment {
    std::string name;
    std::string value;
};

// Splits "NAME=VALUE" at its first "="; throws CommandError (naming `option`)
// when there is no "=" or no name.
Assignment splitAssignment(const std::string& arg, const std::string& option);

// Host index (1..) of the parameter whose uniform name is `name`, found
// through the description index the plug-in gave it. Throws CommandError
// listing the known names.
int findParam(const glfxhost::Session& session, const cglfx& fx, const std::string& name);

// Reads `text` as a value of the host parameter `hostIndex` and sets it:
// float sliders take a number inside the valid range; checkboxes true/false
// (or 1/0, on/off, yes/no); popups an item's text; colours "r,g,b" in 0..1;
// angles degrees; points "x,y" in layer pixels. When the parameter is
// supervised, the user-changed-param command follows, as a click in the
// effect panel would send it, unless `asUser` is false (a value carried over
// rather than chosen). Throws CommandError naming the parameter.
void applyValue(glfxhost::Session& session, int hostIndex, const std::string& name, const std::string& text,
                bool asUser = true);

} // namespace glfxcli
