// The per-instance record the host keeps in the sequence-data handle. Plain
// data: zero-filled at creation and moved by the host as raw bytes, so the
// pointers in it are only meaningful inside the process that set them.
#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "glfx/Cglfx.h"

struct PF_LayerDef;
class AE_GL_Context;

// Owners: "owner" below is the instance's InstanceOwner (gl/InstanceOwner.h),
// which creates and releases what the pointer fields show; the record only
// views it. "Host" worlds are lent for one render and forgotten after it.
struct EffectData {
    // Written by ParamsAssign each render and by ParamsChanged (presets);
    // lives as long as the record. An event parameter's [1] is set when the
    // user fires it (ParamsChanged) and taken into [0] by the next snapshot.
    float values[glfxlimits::kMaxParams][4];
    // 1 disabled, 2 hidden, -2 shown again, 0 normal (-1 enabled again):
    // set at sequence setup from the description, changed by ParamsChanged.
    int visibility[glfxlimits::kMaxParams];
    // View of the owner's context: created by vInitContext at the first
    // render, released at flatten, setdown or a second setup.
    AE_GL_Context* glContext;
    // Views of the owner's layer buffers (RGBA floats), grown by MyDoRender,
    // released with the owner.
    float* layerBuffers[glfxlimits::kMaxInputs];
    // View of the owner's output buffer, grown by MyDoRender, released with
    // the owner.
    float* outputBuffer;
    // Host worlds of this render: 0 = the input (set by the render command),
    // 1.. = layer parameters (ParamsAssign); cleared when the render ends.
    PF_LayerDef* layers[glfxlimits::kMaxInputs];
    // Layers a group switch left out (ParamsChanged); kept across renders.
    bool layerSkip[glfxlimits::kMaxInputs];
    // Per-frame sizes (MyDoRender); bufferWidth/Height: the layer size each
    // buffer was last grown for (what was allocated is the owner's).
    int layerWidth[glfxlimits::kMaxInputs];
    int layerHeight[glfxlimits::kMaxInputs];
    int bufferWidth[glfxlimits::kMaxInputs];
    int bufferHeight[glfxlimits::kMaxInputs];
    int outputBufferWidth;
    int outputBufferHeight;
    // Frame values written by MyDoRender each render.
    int time;
    float downsampleX;
    float downsampleY;
    float pixelRatio;
    int outputWidth;
    int outputHeight;
    // Set by setup, flatten, ParamsChanged; cleared by MyDoRender after a
    // rebuild.
    bool rebuild;
    // Set at sequence setup and resetup from the host's id.
    bool isPremiere;
    // View of the owner's defines map: made by vInitContext, changed by
    // ParamsChanged, released with the owner.
    std::map<std::string, std::string>* defines;
    // Serial number of the live owner that holds everything the pointer
    // fields above show; 0 for none. A number no live owner has, or an
    // owner that serves another sequence handle, marks the record's pointers
    // as stale: they are dropped, never read or freed.
    std::uint64_t ownerSerial;
};

// The render code names the same record RenderData.
typedef EffectData RenderData;
