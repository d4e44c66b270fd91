// Test stand-in for the GPU context, used only while gl/ is not in the tree:
// the same members the render code uses, recording the calls it receives.
#pragma once

#include <string>
#include <vector>

#include "gl/EffectData.h"

class GlobalGLContext {
public:
    bool HaveOpenGL() const { return true; }
};

class AE_GL_Context {
public:
    virtual ~AE_GL_Context() = default;

    int InitGL(std::string preamble, bool createTextures);
    bool ProcessGL(EffectData* record, int format, int type);

    std::string log;
    bool ok = false;
    cglfx* description = nullptr;
    bool initialised = false;
    GlobalGLContext gl;

    struct Process {
        int format;
        int type;
    };
    std::vector<std::string> builds;       // preambles of InitGL calls
    std::vector<bool> buildTextures;       // createTextures of InitGL calls
    std::vector<Process> processed;        // ProcessGL calls
};
