#include "gl/IsfUniforms.h"

#include <algorithm>
#include <ctime>

namespace {

void uniform2(GLuint program, const std::string& name, float a, float b)
{
    glUniform2f(glGetUniformLocation(program, name.c_str()), a, b);
}

} // namespace

const std::string& samplerUniform(const cglfx& fx, int pass, int slot, const std::string& fallback)
{
    if (pass < 0 || static_cast<std::size_t>(pass) >= fx.samplerNames.size() || slot < 0 ||
        slot >= glfxlimits::kMaxInputs)
        return fallback;
    const std::string& name = fx.samplerNames[static_cast<std::size_t>(pass)][static_cast<std::size_t>(slot)];
    return name.empty() ? fallback : name;
}

void setIsfUniforms(GLuint program, const cglfx& fx, const EffectData& data, int pass, int width, int height,
                    double seconds, const IsfClock& clock)
{
    if (fx.settings.dialect != glfxdialect::kIsf)
        return;
    const float w = static_cast<float>(width), h = static_cast<float>(height);
    glUniform1f(glGetUniformLocation(program, "TIME"), static_cast<float>(seconds));
    glUniform1f(glGetUniformLocation(program, "TIMEDELTA"), static_cast<float>(clock.delta(seconds)));
    glUniform1i(glGetUniformLocation(program, "FRAMEINDEX"), clock.frameIndex);
    glUniform1i(glGetUniformLocation(program, "PASSINDEX"), pass);
    uniform2(program, "RENDERSIZE", w, h);

    // The date and the time of day in seconds, local time.
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    localtime_r(&now, &local);
    glUniform4f(glGetUniformLocation(program, "DATE"), static_cast<float>(local.tm_year + 1900),
                static_cast<float>(local.tm_mon + 1), static_cast<float>(local.tm_mday),
                static_cast<float>(local.tm_hour * 3600 + local.tm_min * 60 + local.tm_sec));

    // Every image is stored as GL keeps it (its bottom row first) and fills
    // its texture: rectangle 0..1, no flip.
    const int layers = std::clamp(fx.settings.layerCount, 0, glfxlimits::kMaxInputs);
    const std::string none;
    for (int slot = 0; slot < glfxlimits::kMaxInputs; ++slot) {
        const std::string& name = samplerUniform(fx, pass, slot, none);
        const int r = fx.settings.routing[pass][slot];
        if (name.empty() || r == glfxlimits::kRouteNone)
            continue;
        float sw = 0.f, sh = 0.f;
        if (glfxroute::isLayer(r)) {
            const int n = glfxroute::layerOf(r);
            if (n < layers) {
                sw = static_cast<float>(data.layerWidth[n]);
                sh = static_cast<float>(data.layerHeight[n]);
            }
        } else if (r >= 0) {
            sw = w;
            sh = h;
        }
        uniform2(program, "_" + name + "_imgSize", sw, sh);
        glUniform4f(glGetUniformLocation(program, ("_" + name + "_imgRect").c_str()), 0.f, 0.f, 1.f, 1.f);
        glUniform1i(glGetUniformLocation(program, ("_" + name + "_flip").c_str()), 0);
    }
}
