// The one place GL and EGL declarations come from. Entry points are resolved
// at run time by libepoxy, so every file that makes GL or EGL calls includes
// this header instead of any system GL header (mixing them breaks epoxy).
#pragma once

#include <epoxy/egl.h>
#include <epoxy/gl.h>
