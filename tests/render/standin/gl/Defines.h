// Test stand-in: the definitions preamble of an instance.
#pragma once

#include <string>

#include "gl/EffectData.h"

std::string getDefines(EffectData* d);
