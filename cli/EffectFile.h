// The text the plug-in is given for an effect file named on the command
// line: a .glfx file's text as it is, or for an ISF shader (.fs, or any
// file that begins with ISF's JSON comment) a bundle of the .fs, the .vs
// beside it when there is one, and their folder (glfx/IsfBundle.h).
#pragma once

#include <string>

namespace glfxcli {

// Whether `path` names an ISF shader (by its extension or its first bytes).
bool isIsfFile(const std::string& path);

// The vertex shader file an ISF file `path` implies: the same name with .vs.
std::string vertexFileOf(const std::string& path);

// Reads the effect file at `path` as the plug-in takes it. Throws
// CommandError naming the file when a file cannot be read.
std::string effectFileText(const std::string& path);

} // namespace glfxcli
