// The plug-in's stored texts, kept scrambled in the binary and unscrambled on
// each call.
#pragma once

#include <string>

namespace glfxtext {

// "#USER_GLFX#": an embedded description beginning with this word means
// "load the user's description file instead".
std::string markerWord();
// "glfx/user.glfx": the user's description file, relative to GetUserPath().
std::string userFileName();
// Built-in shaders used when a description leaves the vertex shader or
// pass 0 empty. No #version line: a definitions block is put in front.
std::string defaultVertexShader();
std::string defaultFragmentShader();
// "#define _": the directive and prefix put before a parameter's uniform
// name in a definition line (integer and item definitions alike).
std::string definePrefix();
// "#define GLFX_PREVIEW": always present in the definitions, value "0".
std::string defineFixedOn();
// "#define GLFX_DEBUG": always removed from the definitions.
std::string defineFixedOff();
// "#define GLFX_FAST": definition for the fast mode.
std::string defineFast();
// "Not enough memory for the effect instance."
std::string outOfMemoryMessage();
// The key the built-in description is enciphered with.
std::string descriptionKey();

} // namespace glfxtext
