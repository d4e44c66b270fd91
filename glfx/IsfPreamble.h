// What the ISF dialect puts around a shader when the programs are built:
// the version line (ISF sources are written for GLSL ES/WebGL and desktop GL
// alike; they are built as desktop compatibility-profile GLSL), the
// built-in uniforms, one uniform per input, the samplers with their size,
// rectangle and flip uniforms, the vertex side's isf_vertShaderInit, and the
// IMG_* calls expanded. Text only; the line count of a source never changes,
// so that a compiler's line numbers still point into the author's file.
#pragma once

#include "glfx/Cglfx.h"

#include <string>
#include <vector>

namespace glfxisf {

// The vertex shader of an ISF effect without a .vs file.
std::string defaultVertexMain();

// Whether `name` is a varying the ISF vertex side writes.
bool isIsfVarying(const std::string& name);

// One IMG_* call in a source: the call's name, the image it names, its line
// (1-based) and whether it lies in a #define (where the name may be a
// macro parameter). Comments are skipped.
struct ImageUse {
    std::string call;
    std::string name;
    int line = 0;
    bool inDefine = false;
};
std::vector<ImageUse> imageUses(const std::string& source);

// The sampler names the programs of `fx` declare: every named sampler of
// every pass, once, in the order first met.
std::vector<std::string> samplerSet(const cglfx& fx);

// The version line a source is built with: its own #version (made a
// desktop compatibility-profile version), else "#version 150 compatibility".
std::string versionLine(const std::string& source);

// `source` with its #version line left empty and the IMG_* calls expanded.
std::string convertSource(const std::string& source);

// The declarations put between the definitions and the source.
std::string fragmentDeclarations(const cglfx& fx);
std::string vertexDeclarations(const cglfx& fx);
// The definition of isf_vertShaderInit, put after the vertex source.
std::string vertexInitFunction(const cglfx& fx);

} // namespace glfxisf
