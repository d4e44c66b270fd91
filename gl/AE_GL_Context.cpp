#include "gl/AE_GL_Context.h"

#include <algorithm>
#include <sstream>

#include "gl/ContextScope.h"
#include "glfx/ProgramText.h"

std::vector<CVert> vert;
std::vector<CTexCoord> tex;
std::vector<CColor> col;

namespace {

constexpr int kInfoLogSize = 1024;

int passCount(const cglfx* fx)
{
    return fx ? std::clamp(fx->settings.shaders, 0, glfxlimits::kMaxPasses) : 0;
}

} // namespace

void shaderAttach(GLuint program, GLenum type, std::string source, std::string& log)
{
    if (source.empty())
        return;
    const GLuint shader = glCreateShader(type);
    const GLchar* text = source.c_str();
    const GLint length = static_cast<GLint>(source.size());
    glShaderSource(shader, 1, &text, &length);
    glCompileShader(shader);
    GLint compiled = GL_FALSE;
    glGetShaderiv(shader, GL_COMPILE_STATUS, &compiled);
    if (!compiled) {
        GLint logLength = 0;
        glGetShaderiv(shader, GL_INFO_LOG_LENGTH, &logLength);
        if (logLength > 0) {
            char buffer[kInfoLogSize] = {};
            glGetShaderInfoLog(shader, kInfoLogSize, nullptr, buffer);
            log += buffer;
        }
        glDeleteShader(shader);
        return;
    }
    // Flagged for deletion now; it lives on as long as the program holds it.
    glAttachShader(program, shader);
    glDeleteShader(shader);
}

AE_GL_Context::AE_GL_Context()
{
    for (int i = 0; i < kSlots; ++i) {
        shaders[i] = 0;
        programs[i] = 0;
        inputTextures[i] = kNoTexture;
        passTextures[i] = kNoTexture;
        std::ostringstream name;
        name << "in" << i;
        inputNames[i] = name.str();
    }
}

AE_GL_Context::~AE_GL_Context()
{
    if (initialised || holdsTextures())
        UninitGL(true);
}

int AE_GL_Context::InitGL(std::string preamble, bool createTextures)
{
    if (initialised)
        UninitGL(createTextures);
    else if (createTextures && holdsTextures())
        UninitGL(true); // names kept by a build that stopped early
    log.clear();
    ok = true;

    if (!description || !gl.HaveOpenGL()) {
        ok = false;
        return 0;
    }
    ContextScope scope(gl);
    if (!scope.active()) {
        ok = false;
        return 0;
    }
    try {
        if (createTextures) {
            glGenTextures(kSlots, inputTextures);
            glGenTextures(kSlots, passTextures);
            glGenTextures(1, &spareTexture);
            width = 0;
            height = 0;
        }
        initialised = true;

        const int passes = passCount(description);
        for (int i = 0; i < passes; ++i) {
            const std::string vertexSource = glfxprogram::vertexText(*description);
            const std::string fragmentSource = description->shaders.empty()
                                                   ? std::string()
                                                   : glfxprogram::fragmentText(*description, i, preamble);
            const GLuint program = glCreateProgram();
            programs[i] = program;
            shaderAttach(program, GL_VERTEX_SHADER, vertexSource, log);
            if (!log.empty())
                ok = false;
            shaderAttach(program, GL_FRAGMENT_SHADER, fragmentSource, log);
            // Once anything failed, later passes are left unlinked: the log
            // reports the first failure and the effect will not render anyway.
            if (!log.empty() || !ok) {
                ok = false;
                continue;
            }
            glLinkProgram(program);
            GLint linked = GL_FALSE;
            glGetProgramiv(program, GL_LINK_STATUS, &linked);
            if (!linked) {
                GLint logLength = 0;
                glGetProgramiv(program, GL_INFO_LOG_LENGTH, &logLength);
                if (logLength > 0) {
                    char buffer[kInfoLogSize] = {};
                    glGetProgramInfoLog(program, kInfoLogSize, nullptr, buffer);
                    log += buffer;
                }
                glDeleteProgram(program);
                programs[i] = 0;
                ok = false;
            }
        }

        glEnable(GL_TEXTURE_2D);
        glClearColor(0.f, 0.f, 0.f, 1.f);
        glDisable(GL_DEPTH_TEST);
        glHint(GL_PERSPECTIVE_CORRECTION_HINT, GL_NICEST);
        UpdateData();
    } catch (...) {
        ok = false;
    }
    return 0;
}

void AE_GL_Context::UninitGL(bool deleteTextures)
{
    // Textures are released even when no build is standing: a build that
    // stopped before its programs (no description, context not current)
    // leaves the names of the one before it.
    if ((initialised || (deleteTextures && holdsTextures())) && gl.HaveOpenGL()) {
        try {
            ContextScope scope(gl);
            if (scope.active()) {
                // A program still in use is only flagged for deletion; the
                // last pass's program is, so nothing is left in use first.
                glUseProgram(0);
                for (int i = 0; i < kSlots; ++i) {
                    if (shaders[i])
                        glDeleteShader(shaders[i]);
                    // Every slot, not only the current pass count: the
                    // description may have had more passes at the last build.
                    if (programs[i])
                        glDeleteProgram(programs[i]);
                }
                if (vertexShader)
                    glDeleteShader(vertexShader);
                if (deleteTextures) {
                    // All-bits-set names included: binding one of them in a
                    // compatibility context creates that texture object.
                    glDeleteTextures(kSlots, inputTextures);
                    glDeleteTextures(kSlots, passTextures);
                    glDeleteTextures(1, &spareTexture);
                }
            }
        } catch (...) {}
    }
    // Without a live context the names died with it.
    std::fill(std::begin(shaders), std::end(shaders), 0u);
    std::fill(std::begin(programs), std::end(programs), 0u);
    initialised = false;
    vertexShader = 0;
    if (deleteTextures) {
        std::fill(std::begin(inputTextures), std::end(inputTextures), kNoTexture);
        std::fill(std::begin(passTextures), std::end(passTextures), kNoTexture);
        spareTexture = kNoTexture;
        width = 0;
        height = 0;
    }
}

void AE_GL_Context::UpdateData()
{
    vert.clear();
    tex.clear();
    col.clear();
    if (!description)
        return;
    const int cellsx = description->settings.cellsx;
    const int cellsy = description->settings.cellsy;
    const float fw = width ? static_cast<float>(width) : 1.f;
    const float fh = height ? static_cast<float>(height) : 1.f;
    // The arrays are never drawn; a hostile cell count must not exhaust
    // memory building them, so counts beyond kMaxCells build nothing.
    if (cellsx < 1 || static_cast<long long>(cellsx) * cellsy > kMaxCells)
        return;
    const float cw = fw / static_cast<float>(cellsx);
    const float ch = fh / static_cast<float>(cellsy);
    for (int x = 0; x < cellsx; ++x) {
        for (int y = 0; y < cellsy; ++y) {
            for (int k = 0; k < 4; ++k)
                col.push_back({1.f, 1.f, 1.f, 1.f});
            const float x0 = static_cast<float>(x) * cw;
            const float x1 = x0 + cw;
            const float y0 = static_cast<float>(y) * ch;
            const float y1 = y0 + ch;
            const float c = static_cast<float>(static_cast<long long>(cellsx) * y + x);
            tex.push_back({x0 / fw, y0 / fh, c, 0.f});
            tex.push_back({x1 / fw, y0 / fh, c, 1.f});
            tex.push_back({x1 / fw, y1 / fh, c, 2.f});
            tex.push_back({(x1 - cw) / fw, y1 / fh, c, 3.f});
            vert.push_back({x0, y0, 1.f});
            vert.push_back({x1, y0, 1.f});
            vert.push_back({x1, y1, 1.f});
            vert.push_back({x0, y1, 1.f});
        }
    }
}
