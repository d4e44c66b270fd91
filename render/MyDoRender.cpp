#include "render/MyDoRender.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string>

#include "gl/AE_GL_Context.h"
#include "gl/Description.h"
#include "gl/InstanceOwner.h"
#include "gl/Preamble.h"
#include "gl/GlApi.h"
#include "render/Transfer.h"
#include "sdk/AE_EffectSuites.h"
#include "sdk/SPBasic.h"

namespace {

constexpr std::size_t kPixelBytes = 4 * sizeof(float);

inline long long area(long long w, long long h) { return w * h; }

// Size of a layer for buffer purposes: a layer of no area (or a missing one)
// counts as 100 x 100. Only a zero area is replaced; the transfers skip a
// layer whose sides are not positive.
void layerSize(const PF_LayerDef* layer, int& w, int& h)
{
    w = layer ? layer->width : 0;
    h = layer ? layer->height : 0;
    if (area(w, h) == 0) {
        w = glfxlimits::kEmptyLayerSize;
        h = glfxlimits::kEmptyLayerSize;
    }
}

void frameValues(const PF_InData* in_data, RenderData* r)
{
    const PF_RationalScale& par = in_data->pixel_aspect_ratio;
    r->pixelRatio =
        par.den == 0 ? 1.0f : static_cast<float>(static_cast<double>(par.num) / static_cast<double>(par.den));
    // Not guarded: a zero denominator gives an infinite (or NaN) factor, which
    // the shaders see as it is.
    r->downsampleX =
        static_cast<float>(in_data->downsample_x.num) / static_cast<float>(in_data->downsample_x.den);
    r->downsampleY =
        static_cast<float>(in_data->downsample_y.num) / static_cast<float>(in_data->downsample_y.den);
}

void rebuildPrograms(RenderData* r)
{
    if (!r->glContext || !r->rebuild)
        return;
    {
        const std::string preamble = getDefines(r);
        r->glContext->InitGL(preamble, true);
    }
    r->rebuild = false;
}

// Pixels of a w x h buffer. Sizes are computed as the 32-bit host would: a
// byte count that does not fit in 32 bits is a request that cannot be
// served.
std::size_t bufferPixels(long long width, long long height)
{
    const unsigned long long w = static_cast<unsigned long long>(std::max(width, 0LL));
    const unsigned long long h = static_cast<unsigned long long>(std::max(height, 0LL));
    if (h != 0 && w > UINT32_MAX / kPixelBytes / h)
        throw std::bad_alloc();
    return static_cast<std::size_t>(w * h);
}

void growLayerBuffers(RenderData* r, const PF_LayerDef* output, int first, int end)
{
    for (int i = first; i < end; ++i) {
        int w, h;
        layerSize(r->layers[i], w, h);
        if (area(w, h) > area(r->bufferWidth[i], r->bufferHeight[i]) || !r->layerBuffers[i]) {
            // Forget the old size first, so that a failed allocation is
            // retried at the next frame instead of leaving a null buffer
            // that looks large enough.
            r->bufferWidth[i] = 0;
            r->bufferHeight[i] = 0;
            glfxowner::layerBuffer(
                r, i,
                bufferPixels(std::max<long long>(w, output->width), std::max<long long>(h, output->height)));
            r->bufferWidth[i] = w;
            r->bufferHeight[i] = h;
        }
        r->layerWidth[i] = w;
        r->layerHeight[i] = h;
    }
}

void growOutputBuffer(RenderData* r, const PF_LayerDef* output)
{
    int w, h;
    layerSize(r->layers[0], w, h);
    const long long held = area(r->outputBufferWidth, r->outputBufferHeight);
    // The buffer grows with the input layer; its recorded size is the
    // layer's, while the allocation also covered the output world of that
    // frame. An output world that has since outgrown what was allocated (the
    // layer staying as it was) would be read past its end by the transfer
    // back, so that also regrows it.
    const std::size_t outputPixels = bufferPixels(output->width, output->height);
    const bool outputTooLarge = r->outputBuffer && outputPixels > glfxowner::outputCapacity(r);
    if (area(w, h) > held || outputTooLarge || !r->outputBuffer) {
        const long long bw = std::max<long long>({output->width, w, r->outputBufferWidth});
        const long long bh = std::max<long long>({output->height, h, r->outputBufferHeight});
        r->outputBufferWidth = 0;
        r->outputBufferHeight = 0;
        glfxowner::outputBuffer(r, bufferPixels(bw, bh));
        r->outputBufferWidth = w;
        r->outputBufferHeight = h;
    }
}

// Bytes a pixel of the given host format, 0 for a format this effect does
// not take.
std::size_t pixelBytes(PF_PixelFormat format)
{
    switch (format) {
    case PF_PixelFormat_ARGB32: return 4;
    case PF_PixelFormat_ARGB64: return 8;
    case PF_PixelFormat_ARGB128: return 16;
    default: return 0;
    }
}

// Leaves out of this render every layer world that is not of the output's
// format (when the world suite can tell) or whose rows are too short for
// its width at the output's pixel size: the transfers then skip it as a
// missing layer, and its buffer keeps what it held.
void leaveOutMismatchedLayers(RenderData* r, const PF_WorldSuite2* world, PF_PixelFormat format, int first,
                              int end)
{
    const std::size_t size = pixelBytes(format);
    for (int i = first; i < end; ++i) {
        PF_LayerDef* layer = r->layers[i];
        if (!layer || !layer->data)
            continue;
        PF_PixelFormat own = format;
        if (world && world->PF_GetPixelFormat && world->PF_GetPixelFormat(layer, &own) != PF_Err_NONE)
            own = format; // a world the suite does not know: judged by its rows
        const long long rowBytes =
            static_cast<long long>(std::max(layer->width, 0)) * static_cast<long long>(size);
        if (own != format || static_cast<long long>(layer->rowbytes) < rowBytes)
            r->layers[i] = nullptr;
    }
}

// The pixel type the passes read and write: the direct 8-bit transfer hands
// the host's bytes over as they are, every other transfer float RGBA.
int passType(TransferKind kind)
{
    return kind == TransferKind::kDirect8 ? GL_UNSIGNED_INT_8_8_8_8_REV : GL_FLOAT;
}

} // namespace

bool ContextReady(const EffectData* record)
{
    const AE_GL_Context* ctx = record ? record->glContext : nullptr;
    return ctx && ctx->initialised && ctx->ok;
}

void RunPasses(EffectData* record, int type)
{
    if (ContextReady(record))
        record->glContext->ProcessGL(record, GL_RGBA, type);
}

namespace {

void renderWith(TransferKind kind, PF_LayerDef* output, EffectData* record)
{
    if (!record)
        return;
    TransferIn(kind, record);
    RunPasses(record, passType(kind));
    TransferOut(kind, output, record);
}

} // namespace

void Render8(PF_InData*, PF_LayerDef* output, EffectData* record)
{
    if (!record)
        return;
    const TransferKind kind = !record->isPremiere                ? TransferKind::kArgb8
                              : !glfxDescription().settings.fast ? TransferKind::kPremiere8
                                                                 : TransferKind::kReversed8;
    renderWith(kind, output, record);
}

void Render16(PF_InData*, PF_LayerDef* output, EffectData* record)
{
    renderWith(TransferKind::kArgb16, output, record);
}

void Render16_Fast(PF_InData*, PF_LayerDef* output, EffectData* record)
{
    renderWith(TransferKind::kWrap16, output, record);
}

void RenderFloat(PF_InData*, PF_LayerDef* output, EffectData* record)
{
    renderWith(TransferKind::kArgbFloat, output, record);
}

PF_Err MyDoRender(PF_InData* in_data, PF_LayerDef* /*input*/, RenderData* render, PF_OutData* /*out_data*/,
                  PF_LayerDef* output, PF_ParamDef** /*params*/)
{
    if (!in_data || !render || !output)
        return PF_Err_BAD_CALLBACK_PARAM;

    const glfxsettings& settings = glfxDescription().settings;
    const int first = std::max(settings.noinput, 0);
    const int end = std::min(settings.layerCount, glfxlimits::kMaxInputs);

    frameValues(in_data, render);
    rebuildPrograms(render);
    growLayerBuffers(render, output, first, end);
    if (settings.shaders > 0)
        growOutputBuffer(render, output);

    render->time = in_data->current_time;
    render->outputWidth = output->width;
    render->outputHeight = output->height;

    const SPBasicSuite* basic = in_data->pica_basicP;
    if (!basic || !basic->AcquireSuite || !basic->ReleaseSuite)
        return PF_Err_BAD_CALLBACK_PARAM;
    const void* suiteP = nullptr;
    const SPErr acquired = basic->AcquireSuite(kPFWorldSuite, kPFWorldSuiteVersion2, &suiteP);
    if (acquired != kSPNoError)
        return static_cast<PF_Err>(acquired);

    PF_Err result = PF_Err_NONE;
    const PF_WorldSuite2* world = static_cast<const PF_WorldSuite2*>(suiteP);
    PF_PixelFormat format = PF_PixelFormat_INVALID;
    if (world && world->PF_GetPixelFormat)
        world->PF_GetPixelFormat(output, &format); // its own result is not needed: an
                                                   // unknown format is refused below
    if (pixelBytes(format) != 0)
        leaveOutMismatchedLayers(render, world, format, first, end);
    // Transfer in, run the passes, transfer out.
    const TransferKind kind = ChooseTransfer(format, settings.fast, render->isPremiere);
    if (kind == TransferKind::kNone) {
        result = PF_Err_BAD_CALLBACK_PARAM;
    } else {
        TransferIn(kind, render);
        RunPasses(render, passType(kind));
        TransferOut(kind, output, render);
    }
    basic->ReleaseSuite(kPFWorldSuite, kPFWorldSuiteVersion2);
    return result;
}
