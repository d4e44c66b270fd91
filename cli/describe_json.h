// The description as JSON, as `glfx describe` prints it (without the host
// parameters, which need the plug-in).
#pragma once

#include "glfx/cglfx.h"

#include <nlohmann/json.hpp>

nlohmann::json describeDescription(const cglfx& fx);
