#include "gl/InitContext.h"

#include "gl/AE_GL_Context.h"
#include "gl/Description.h"
#include "gl/InstanceOwner.h"
#include "glfx/ParamDefines.h"
#include "glfx/Strings.h"

void vInitContext(EffectData* data)
{
    if (!data)
        return;
    // The owner takes the new context; one it already held is released.
    AE_GL_Context* context = new AE_GL_Context();
    glfxowner::setContext(data, context);

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

    updateParamDefines(fx, data->values, glfxowner::freshDefines(data));
    // With the fast mode the shaders receive the host's own pixel order,
    // which differs under Premiere.
    if (fx.settings.fast)
        (*data->defines)[glfxtext::defineFast()] = data->isPremiere ? "2" : "1";
}

bool releaseInstance(EffectData* data, bool uninit) { return glfxowner::release(data, uninit); }
