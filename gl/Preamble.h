// The definitions preamble put in front of every fragment source.
#pragma once

#include <string>

#include "gl/EffectData.h"

// Refreshes the instance's definitions map from its current values and
// returns it as preamble text; "" when the instance has no map.
std::string getDefines(EffectData* data);
