// glfx check for an ISF effect: the reason it cannot be read, or what the
// reader took without a word but an author would want to know (keys ISF
// does not define, lenient JSON) and what the pipeline does not honour yet.
#pragma once

#include "glfx/Lint.h"

#include <string>
#include <vector>

namespace glfxlint {

std::vector<Diagnostic> isfLint(const std::string& text);

} // namespace glfxlint
