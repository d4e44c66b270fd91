#include "gl/InitContext.h"

#include "gl/AE_GL_Context.h"
#include "gl/Description.h"
#include "glfx/defines.h"
#include "glfx/strings.h"

void vInitContext(EffectData* data)
{
    if (!data)
        return;
    // A context already held is the caller's to release; it is replaced.
    AE_GL_Context* context = new AE_GL_Context();
    data->glContext = context;

    for (int i = 0; i < glfxlimits::kMaxInputs; ++i) {
        data->layerWidth[i] = 0;
        data->layerHeight[i] = 0;
        data->bufferWidth[i] = 0;
        data->bufferHeight[i] = 0;
        data->layerSkip[i] = false;
    }
    data->outputBufferWidth = 0;
    data->outputBufferHeight = 0;

    const cglfx& fx = glfxDescription();
    context->description = &fx;
    // A context that cannot be set up shows later as a render that yields nothing.
    context->gl.GlobalSetup_GL();

    delete data->defines;
    data->defines = nullptr;
    data->defines = new std::map<std::string, std::string>();
    updateParamDefines(fx, data->values, *data->defines);
    // With the fast mode the shaders receive the host's own pixel order,
    // which differs under Premiere.
    if (fx.settings.fast)
        (*data->defines)[glfxtext::defineFast()] = data->isPremiere ? "2" : "1";
}

bool releaseContext(EffectData* data, bool uninit)
{
    if (!data)
        return false;
    const bool held = data->glContext != nullptr;
    if (held) {
        if (uninit)
            data->glContext->UninitGL(true);
        data->glContext->gl.GlobalSetdown_GL();
        delete data->glContext;
        data->glContext = nullptr;
    }
    delete data->defines;
    data->defines = nullptr;
    return held;
}
