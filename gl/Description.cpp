#include "gl/Description.h"

cglfx _glfx;

cglfx& glfxDescription() { return _glfx; }
