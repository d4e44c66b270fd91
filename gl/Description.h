// The process-wide parsed effect description. It is parsed once at global
// setup and read-only afterwards; everything reads it through
// glfxDescription().
#pragma once

#include "glfx/Cglfx.h"

extern cglfx _glfx;

// The process-wide description object (_glfx).
cglfx& glfxDescription();
