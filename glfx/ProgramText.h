// The shader texts a description's programs are built from, in both
// dialects, and where each source's first line lies in them (so that a
// compiler's line numbers can be told in the description's own lines).
#pragma once

#include "glfx/Cglfx.h"

#include <string>

namespace glfxprogram {

// Pass `pass`'s fragment text: the definitions preamble `defines` (one
// definition a line) then the pass's source; in the ISF dialect a version
// line first and the ISF declarations after the definitions, and the
// source with its IMG_* calls expanded.
std::string fragmentText(const cglfx& fx, int pass, const std::string& defines);

// The vertex text: the description's vertex source; in the ISF dialect
// with a version line and the ISF declarations before it and
// isf_vertShaderInit after it.
std::string vertexText(const cglfx& fx);

// A pass's source and the vertex source as they stand in those texts (the
// ISF dialect expands IMG_* calls in place, lines kept).
std::string fragmentSourceAsBuilt(const cglfx& fx, int pass);
std::string vertexSourceAsBuilt(const cglfx& fx);

// Lines before the first source line in those texts; `defineLines` is the
// number of definitions.
int fragmentOffset(const cglfx& fx, int defineLines);
int vertexOffset(const cglfx& fx);

} // namespace glfxprogram
