// The description model written back as .glfx text: what `glfx import`
// writes for an ISF effect. Reading the text again gives the same model
// (where each line came from aside).
#pragma once

#include "glfx/Cglfx.h"

#include <string>

namespace glfxwrite {

// The .glfx text of `fx`. `origin` names where the model came from in the
// text's first comment line ("" for none).
std::string writeGlfx(const cglfx& fx, const std::string& origin = std::string());

} // namespace glfxwrite
