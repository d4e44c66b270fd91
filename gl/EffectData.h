// The per-instance record the host keeps in the sequence-data handle. Plain
// data: zero-filled at creation and moved by the host as raw bytes, so the
// pointers in it are only meaningful inside the process that set them.
#pragma once

#include <map>
#include <string>

#include "glfx/cglfx.h"

struct PF_LayerDef;
class AE_GL_Context;

struct EffectData {
    float values[glfxlimits::kMaxParams][4];     // shader values per parameter
    int visibility[glfxlimits::kMaxParams];      // 1 disabled, 2 hidden, -2 shown again, 0 normal
    AE_GL_Context* glContext;                    // null until the first render
    float* layerBuffers[glfxlimits::kMaxInputs]; // RGBA float buffer per layer
    float* outputBuffer;                         // RGBA float buffer of the last pass
    PF_LayerDef* layers[glfxlimits::kMaxInputs]; // 0 = the effect's input
    bool layerSkip[glfxlimits::kMaxInputs];
    int layerWidth[glfxlimits::kMaxInputs];
    int layerHeight[glfxlimits::kMaxInputs];
    int bufferWidth[glfxlimits::kMaxInputs];
    int bufferHeight[glfxlimits::kMaxInputs];
    int outputBufferWidth;
    int outputBufferHeight;
    int time;
    float downsampleX;
    float downsampleY;
    float pixelRatio;
    int outputWidth;
    int outputHeight;
    bool rebuild;
    bool isPremiere;
    std::map<std::string, std::string>* defines;
};

// The render code names the same record RenderData.
typedef EffectData RenderData;
