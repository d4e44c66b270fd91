// A census of the GL objects and EGL contexts the code under test creates and
// releases, for the tests and the fuzzers (not part of the product).
//
// The plug-in calls GL and EGL through libepoxy, whose entry points are
// process-wide function-pointer variables in the shared libepoxy. install()
// points the variables of the creating and releasing calls at counting
// wrappers that call the driver's own functions, so every module of the
// process linked to the same libepoxy (the dlopen'ed plug-in included) is
// counted. Objects are counted per EGL context (names are per context); the
// objects still alive in a context when it is destroyed die with it and are
// counted as dropped, not as live.
#pragma once

#include <string>

namespace glcensus {

// Live objects at one moment.
struct Counts {
    int contexts = 0;     // eglCreateContext successes not yet destroyed
    int textures = 0;     // glGenTextures names not yet deleted
    int programs = 0;     // glCreateProgram
    int shaders = 0;      // glCreateShader
    int framebuffers = 0; // glGenFramebuffers and its EXT form
    int renderbuffers = 0;
    int buffers = 0;

    int objects() const { return textures + programs + shaders + framebuffers + renderbuffers + buffers; }
    bool empty() const { return contexts == 0 && objects() == 0; }
    // "1 context, 3 textures, 2 programs" (non-zero entries only; "nothing").
    std::string describe() const;
};

// Points the epoxy variables at the counting wrappers. Idempotent. Objects
// created before the first call are not counted. Returns false (and counts
// nothing) when the driver's functions could not be found.
bool install();
bool installed();

// Objects alive now, over every context.
Counts live();
// Objects left alive in contexts at their destruction (GL objects only).
Counts dropped();
// Objects created with no context current: their names mean nothing and are
// counted live for ever, so a call made with no context shows as a leak.
int contextless();

// Forgets every count and live name (for a test that starts over after a
// deliberate leak). The wrappers stay installed.
void reset();

} // namespace glcensus
