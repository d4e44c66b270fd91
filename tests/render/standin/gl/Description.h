// Test stand-in: the process-wide effect description.
#pragma once

#include "glfx/cglfx.h"

cglfx& glfxDescription();
