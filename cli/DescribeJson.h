// The description as JSON, as `glfx describe` prints it (without the host
// parameters, which need the plug-in).
#pragma once

#include "glfx/Cglfx.h"

#include <nlohmann/json.hpp>

// Objects keep their keys in the order they were written, so the output
// reads in the documented order (settings, params, routing, ...).
using DescribeJson = nlohmann::ordered_json;

DescribeJson describeDescription(const cglfx& fx);
