// AE_GL_Context::ProcessGL, the class's frame loop: upload the inputs, run
// each pass into its own float texture through the framebuffer object, read
// the last one back. It lives apart from AE_GL_Context.cpp (the program
// builds and their GL objects) because the two change for different reasons:
// this file with what a frame does, that one with how an effect is built.
#include <algorithm>

#include "gl/AE_GL_Context.h"
#include "gl/ContextScope.h"
#include "gl/InstanceOwner.h"
#include "gl/IsfFlip.h"
#include "gl/IsfUniforms.h"
#include "glfx/ParamDefines.h"

namespace {

constexpr int kRouteEnd = glfxlimits::kRouteNone;
const GLenum _fboBuff[] = {GL_COLOR_ATTACHMENT0_EXT};

// The texture a routing entry names: -(n+1) is input layer n, r >= 0 the
// output of pass r. A layer or pass the description does not have binds no
// texture (texture 0, never specified, samples as (0, 0, 0, 1)): its texture
// may still hold a frame of an earlier, larger description.
GLuint routedTexture(const AE_GL_Context& ctx, int r, int passes, int layers)
{
    if (r < 0) {
        const int layer = glfxroute::layerOf(r);
        return layer < layers ? ctx.inputTextures[layer] : 0;
    }
    return r < passes ? ctx.passTextures[r] : 0;
}

// Routing entry u of pass p. The rebinding walk admits one unit more than a
// row holds; that 33rd entry is the first of the next row, and nothing after
// the last row.
int routingEntry(const glfxsettings& s, int p, int u)
{
    if (u < glfxlimits::kMaxInputs)
        return s.routing[p][u];
    return p + 1 < glfxlimits::kMaxPasses ? s.routing[p + 1][0] : kRouteEnd;
}

void setFloat(GLuint program, const char* name, float v)
{
    glUniform1f(glGetUniformLocation(program, name), v);
}

void setVec2(GLuint program, const char* name, float a, float b)
{
    glUniform2f(glGetUniformLocation(program, name), a, b);
}

// One uniform per parameter, by component count and type; a "float2"
// parameter takes the next parameter's value as its second component and
// the next parameter sends nothing of its own.
void setParameterUniforms(GLuint program, const cglfx& fx, const float (*values)[4])
{
    const int count = std::clamp(fx.settings.params, 0, glfxlimits::kMaxParams);
    for (int i = 0; i < count;) {
        const glfxpar& par = fx.par[i];
        const GLint loc = glGetUniformLocation(program, par.uniform.c_str());
        const float* v = values[i];
        int step = 1;
        if (par.components == 4) {
            glUniform4f(loc, v[0], v[1], v[2], v[3]);
        } else if (par.components == 3) {
            glUniform3f(loc, v[0], v[1], v[2]);
        } else if (par.components == 2) {
            glUniform2f(loc, v[0], v[1]);
        } else if (par.components == 1 && par.type == GLFX_FLOAT2) {
            const float next = i + 1 < glfxlimits::kMaxParams ? values[i + 1][0] : 0.f;
            glUniform2f(loc, v[0], next);
            step = 2;
        } else if (par.components == 1 && par.type > GLFX_POPUP) {
            glUniform1f(loc, v[0]);
        } else if (par.components == 1) {
            glUniform1i(loc, valueToInt(v[0]));
        }
        i += step;
    }
}

} // namespace

bool AE_GL_Context::ProcessGL(EffectData* data, int format, int type)
{
    if (!data)
        return false;
    const int W = data->outputWidth;
    const int H = data->outputHeight;

    if (!initialised) {
        try {
            InitGL(std::string(), false);
        } catch (...) {
            ok = false;
            return false;
        }
    }
    if (!ok || !description)
        return false;
    if (W <= 0 || H <= 0)
        return false;

    ContextScope scope(gl);
    if (!scope.active())
        return false;
    try {
        const glfxsettings& s = description->settings;
        const GLint filter = GL_NEAREST + std::clamp(s.interp, 0, 1);
        // ISF images clamp to their edge pixels, as its hosts do.
        const GLint wrap =
            s.dialect == glfxdialect::kIsf ? GL_CLAMP_TO_EDGE : GL_CLAMP + std::clamp(s.repeat, 0, 1);
        GLint maxSize = 0;
        glGetIntegerv(GL_MAX_TEXTURE_SIZE, &maxSize);
        if (W > maxSize || H > maxSize)
            return false;
        GLint maxUnits = 0;
        glGetIntegerv(GL_MAX_COMBINED_TEXTURE_IMAGE_UNITS, &maxUnits);

        // Inputs: converted to float textures by GL whatever their type.
        const int layers = std::clamp(s.layerCount, 0, glfxlimits::kMaxInputs);
        const int passes = std::clamp(s.shaders, 0, glfxlimits::kMaxPasses);
        glPixelStorei(GL_UNPACK_ALIGNMENT, 4);
        for (int i = 0; i < layers; ++i) {
            glBindTexture(GL_TEXTURE_2D, inputTextures[i]);
            glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA32F_ARB, data->layerWidth[i], data->layerHeight[i], 0,
                         format, type, data->layerBuffers[i]);
        }
        // ISF passes see their inputs bottom row first.
        const bool isf = s.dialect == glfxdialect::kIsf;
        for (int i = 0; isf && i < layers; ++i)
            if (flipInto(gl.framebuffer, inputTextures[i], spareTexture, data->layerWidth[i],
                         data->layerHeight[i]))
                std::swap(inputTextures[i], spareTexture);
        // The product is taken in double and rounded once: a float product
        // would be off by one unit in the last place for about a third of
        // all times (4000 would give 0.39999998).
        const double seconds = static_cast<double>(static_cast<float>(data->time)) * 0.0001;

        // The result buffer only grows, and only through the instance's
        // owner, which keeps the one pointer to it and its capacity.
        const std::size_t pixels = static_cast<std::size_t>(W) * static_cast<std::size_t>(H);
        const std::size_t held = data->outputBufferWidth > 0 && data->outputBufferHeight > 0
                                     ? static_cast<std::size_t>(data->outputBufferWidth) *
                                           static_cast<std::size_t>(data->outputBufferHeight)
                                     : 0;
        if (!data->outputBuffer || pixels > held) {
            glfxowner::outputBuffer(data, pixels);
            data->outputBufferWidth = W;
            data->outputBufferHeight = H;
        }

        for (int p = 0; p < passes; ++p) {
            glBindFramebuffer(GL_FRAMEBUFFER_EXT, gl.framebuffer);
            if (width != W || height != H) {
                width = W;
                height = H;
                UpdateData();
            }
            const GLuint program = programs[p];
            glUseProgram(program);

            glBindTexture(GL_TEXTURE_2D, passTextures[p]);
            glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA32F_ARB, W, H, 0, GL_RGBA, GL_FLOAT, nullptr);
            glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, filter);
            glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, filter);
            glFramebufferTexture2D(GL_FRAMEBUFFER_EXT, GL_COLOR_ATTACHMENT0_EXT, GL_TEXTURE_2D,
                                   passTextures[p], 0);
            if (glCheckFramebufferStatus(GL_FRAMEBUFFER_EXT) != GL_FRAMEBUFFER_COMPLETE_EXT)
                return false;
            glDrawBuffers(1, _fboBuff);

            for (int slot = 0; slot < glfxlimits::kMaxInputs && slot < maxUnits; ++slot) {
                const int r = s.routing[p][slot];
                if (r == kRouteEnd)
                    break;
                glActiveTexture(GL_TEXTURE0 + slot);
                glBindTexture(GL_TEXTURE_2D, routedTexture(*this, r, passes, layers));
                glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, filter);
                glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, filter);
                glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, wrap);
                glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, wrap);
                glUniform1i(glGetUniformLocation(
                                program, samplerUniform(*description, p, slot, inputNames[slot]).c_str()),
                            slot);
            }

            glUniform1i(glGetUniformLocation(program, "shadernum"), p);
            setFloat(program, "time", static_cast<float>(seconds));
            setVec2(program, "resolution", static_cast<float>(W), static_cast<float>(H));
            setFloat(program, "pixelratio", data->pixelRatio);
            setVec2(program, "downsample", data->downsampleX, data->downsampleY);
            setVec2(program, "cells", static_cast<float>(s.cellsx), static_cast<float>(s.cellsy));
            setParameterUniforms(program, *description, data->values);
            setIsfUniforms(program, *description, *data, p, W, H, seconds, isfClock);

            glClear(GL_COLOR_BUFFER_BIT);
            glDrawBuffer(GL_COLOR_ATTACHMENT0_EXT);
            glViewport(0, 0, W, H);
            glMatrixMode(GL_PROJECTION);
            glLoadIdentity();
            glOrtho(0, W, 0, H, -100, 100);
            glMatrixMode(GL_MODELVIEW);
            glLoadIdentity();

            // Bind the routed textures again (the pass texture above was bound
            // on whichever unit was active), parameters untouched.
            for (int u = 0; u <= glfxlimits::kMaxInputs && u < maxUnits; ++u) {
                const int r = routingEntry(s, p, u);
                if (r == kRouteEnd)
                    break;
                glActiveTexture(GL_TEXTURE0 + u);
                glBindTexture(GL_TEXTURE_2D, routedTexture(*this, r, passes, layers));
            }

            const float w = static_cast<float>(W), h = static_cast<float>(H);
            glBegin(GL_QUADS);
            glTexCoord2f(0.f, 0.f);
            glVertex3f(0.f, 0.f, 1.f);
            glTexCoord2f(1.f, 0.f);
            glVertex3f(w, 0.f, 1.f);
            glTexCoord2f(1.f, 1.f);
            glVertex3f(w, h, 1.f);
            glTexCoord2f(0.f, 1.f);
            glVertex3f(0.f, h, 1.f);
            glEnd();
        }

        // Without passes the read-back takes the last input texture.
        GLuint result = passes > 0 ? passTextures[passes - 1] : inputTextures[kSlots - 1];
        if (isf && passes > 0 && flipInto(gl.framebuffer, result, spareTexture, W, H))
            result = spareTexture;
        glBindTexture(GL_TEXTURE_2D, result);
        // The caller reads the buffer as a W x H frame, so the texture must be
        // exactly that (a pass texture always is; the last input texture of a
        // description without passes may be smaller, larger or unspecified,
        // which would leave the buffer partly unwritten or overrun it).
        GLint tw = 0, th = 0;
        glGetTexLevelParameteriv(GL_TEXTURE_2D, 0, GL_TEXTURE_WIDTH, &tw);
        glGetTexLevelParameteriv(GL_TEXTURE_2D, 0, GL_TEXTURE_HEIGHT, &th);
        if (tw != W || th != H)
            return false;
        glPixelStorei(GL_PACK_ALIGNMENT, 4);
        glGetTexImage(GL_TEXTURE_2D, 0, format, type, data->outputBuffer);
        glFinish();
        isfClock.advance(seconds);
        return true;
    } catch (...) {
        return false;
    }
}
