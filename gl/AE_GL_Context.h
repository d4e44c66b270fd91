// One effect instance's GPU state: a program per pass, the input and pass
// textures, the build log, and the offscreen context they live in.
#pragma once

#include <string>
#include <vector>

#include "gl/EffectData.h"
#include "gl/GlobalGLContext.h"
#include "gl/gl_api.h"
#include "glfx/cglfx.h"

struct CVert {
    float x, y, z;
};
struct CTexCoord {
    float s, t, cell, corner;
};
struct CColor {
    float r, g, b, a;
};

// Cell geometry of the last size change, shared by every instance (rebuilt
// by AE_GL_Context::UpdateData on the calling thread; not guarded).
extern std::vector<CVert> vert;
extern std::vector<CTexCoord> tex;
extern std::vector<CColor> col;

// Compiles `source` as a shader of `type` and attaches it to `program`; an
// empty source attaches nothing. A failed compile appends the info log to
// `log` and attaches nothing.
void shaderAttach(GLuint program, GLenum type, std::string source, std::string& log);

class AE_GL_Context {
public:
    static constexpr int kSlots = 32;
    static constexpr GLuint kNoTexture = ~GLuint(0);

    AE_GL_Context();
    // Releases the GL objects when still initialised (and the context is alive).
    virtual ~AE_GL_Context();

    // Builds one program per pass with `preamble` in front of each fragment
    // source; createTextures makes fresh texture names. Outcome in ok and log;
    // returns 0.
    int InitGL(std::string preamble, bool createTextures);
    // Deletes programs (and textures when asked).
    void UninitGL(bool deleteTextures);
    // Rebuilds the process-wide cell geometry for width x height.
    void UpdateData();
    // Renders one frame from `data`'s inputs into data->outputBuffer
    // (format/type of input pixels and read-back alike). False when nothing
    // was rendered.
    bool ProcessGL(EffectData* data, int format, int type);

    std::string log;
    bool ok = false;
    const cglfx* description = nullptr;
    bool initialised = false;
    GlobalGLContext gl;
    GLuint shaders[kSlots];
    GLuint vertexShader = 0;
    GLuint programs[kSlots];
    GLuint inputTextures[kSlots];
    GLuint passTextures[kSlots];
    GLuint spareTexture = kNoTexture;
    int width = 0;
    int height = 0;
    std::string inputNames[kSlots];
};
