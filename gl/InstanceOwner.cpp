#include "gl/InstanceOwner.h"

#include <cstdlib>
#include <mutex>
#include <new>

#include "gl/AE_GL_Context.h"

namespace glfxowner {
namespace {

constexpr std::size_t kPixelBytes = 4 * sizeof(float);

struct Owner {
    const void* handle = nullptr; // the sequence handle this owner serves
    AE_GL_Context* context = nullptr;
    std::map<std::string, std::string>* defines = nullptr;
    float* layerBuffers[glfxlimits::kMaxInputs] = {};
    std::size_t layerCapacity[glfxlimits::kMaxInputs] = {}; // pixels allocated
    float* outputBuffer = nullptr;
    std::size_t outputCapacity = 0; // pixels allocated
};

// Live owners by serial number. Serial numbers are never reused, so a number
// read from old bytes can only name an owner that is still live. Hosts may
// create and destroy instances on different threads: the map is guarded;
// an owner itself is only used by its own instance's commands, and map nodes
// stay where they are while others come and go.
struct Registry {
    std::mutex lock;
    std::map<std::uint64_t, Owner> owners;
    std::uint64_t nextSerial = 1;
};

Registry& registry()
{
    static Registry r;
    return r;
}

Owner* find(const EffectData* d)
{
    if (!d || d->ownerSerial == 0)
        return nullptr;
    Registry& r = registry();
    std::lock_guard<std::mutex> guard(r.lock);
    auto it = r.owners.find(d->ownerSerial);
    return it == r.owners.end() ? nullptr : &it->second;
}

// Copies the owner's pointers into the record's view fields.
void refreshViews(EffectData* d, const Owner& o)
{
    d->glContext = o.context;
    d->defines = o.defines;
    for (int i = 0; i < glfxlimits::kMaxInputs; ++i)
        d->layerBuffers[i] = o.layerBuffers[i];
    d->outputBuffer = o.outputBuffer;
}

// Forgets every pointer of the record, and the sizes that describe what the
// buffers held, without reading or releasing any of them. Worlds are lent
// for one render, so the layer table goes too.
void dropViews(EffectData* d)
{
    d->glContext = nullptr;
    d->defines = nullptr;
    for (int i = 0; i < glfxlimits::kMaxInputs; ++i) {
        d->layerBuffers[i] = nullptr;
        d->layers[i] = nullptr;
        d->bufferWidth[i] = d->bufferHeight[i] = 0;
    }
    d->outputBuffer = nullptr;
    d->outputBufferWidth = d->outputBufferHeight = 0;
    d->ownerSerial = 0;
}

// What a release leaves: no pointer and no per-layer state of the buffers.
void clearAfterRelease(EffectData* d)
{
    dropViews(d);
    for (int i = 0; i < glfxlimits::kMaxInputs; ++i) {
        d->layerWidth[i] = d->layerHeight[i] = 0;
        d->layerSkip[i] = false;
    }
}

Owner& create(EffectData* d, const void* handle)
{
    Registry& r = registry();
    std::lock_guard<std::mutex> guard(r.lock);
    const std::uint64_t serial = r.nextSerial++;
    Owner& o = r.owners[serial];
    o.handle = handle;
    d->ownerSerial = serial;
    return o;
}

// The record's live owner; a record used without adopt() (a bare record a
// test or benchmark fills itself) gets one that serves no handle and holds
// nothing yet.
Owner& ownerOf(EffectData* d)
{
    if (Owner* o = find(d))
        return *o;
    return create(d, nullptr);
}

void releaseContext(Owner& o, bool uninit)
{
    if (!o.context)
        return;
    if (uninit)
        o.context->UninitGL(true);
    o.context->gl.GlobalSetdown_GL();
    delete o.context;
    o.context = nullptr;
}

// Frees `*buffer` and allocates `pixels` RGBA float pixels (at least one),
// zeroed: a layer that is empty or left out of a frame is uploaded from its
// buffer all the same, and must show transparent black, never whatever the
// memory held before.
float* regrow(float*& buffer, std::size_t& capacity, std::size_t pixels)
{
    std::free(buffer);
    buffer = nullptr;
    capacity = 0;
    if (pixels > SIZE_MAX / kPixelBytes)
        throw std::bad_alloc();
    const std::size_t count = pixels == 0 ? 1 : pixels;
    void* p = std::calloc(count, kPixelBytes);
    if (!p)
        throw std::bad_alloc();
    buffer = static_cast<float*>(p);
    capacity = count;
    return buffer;
}

bool releaseOwner(Owner& o, bool uninit)
{
    const bool held = o.context != nullptr;
    releaseContext(o, uninit);
    delete o.defines;
    o.defines = nullptr;
    for (int i = 0; i < glfxlimits::kMaxInputs; ++i) {
        std::free(o.layerBuffers[i]);
        o.layerBuffers[i] = nullptr;
        o.layerCapacity[i] = 0;
    }
    std::free(o.outputBuffer);
    o.outputBuffer = nullptr;
    o.outputCapacity = 0;
    return held;
}

} // namespace

EffectData* adopt(EffectData* d, const void* handle)
{
    if (!d)
        return nullptr;
    Owner* o = find(d);
    if (o && o->handle == handle) {
        refreshViews(d, *o);
        return d;
    }
    dropViews(d);
    create(d, handle);
    return d;
}

void setContext(EffectData* d, AE_GL_Context* context)
{
    Owner& o = ownerOf(d);
    if (o.context != context)
        releaseContext(o, true);
    o.context = context;
    d->glContext = context;
}

std::map<std::string, std::string>& freshDefines(EffectData* d)
{
    Owner& o = ownerOf(d);
    delete o.defines;
    o.defines = nullptr;
    o.defines = new std::map<std::string, std::string>();
    d->defines = o.defines;
    return *o.defines;
}

float* layerBuffer(EffectData* d, int i, std::size_t pixels)
{
    Owner& o = ownerOf(d);
    if (!o.layerBuffers[i] || o.layerCapacity[i] < pixels) {
        d->layerBuffers[i] = nullptr;
        regrow(o.layerBuffers[i], o.layerCapacity[i], pixels);
    }
    d->layerBuffers[i] = o.layerBuffers[i];
    return o.layerBuffers[i];
}

float* outputBuffer(EffectData* d, std::size_t pixels)
{
    Owner& o = ownerOf(d);
    if (!o.outputBuffer || o.outputCapacity < pixels) {
        d->outputBuffer = nullptr;
        regrow(o.outputBuffer, o.outputCapacity, pixels);
    }
    d->outputBuffer = o.outputBuffer;
    return o.outputBuffer;
}

std::size_t outputCapacity(const EffectData* d)
{
    const Owner* o = find(d);
    return o ? o->outputCapacity : 0;
}

bool release(EffectData* d, bool uninit)
{
    if (!d)
        return false;
    bool held = false;
    if (Owner* o = find(d)) {
        held = releaseOwner(*o, uninit);
        Registry& r = registry();
        std::lock_guard<std::mutex> guard(r.lock);
        r.owners.erase(d->ownerSerial);
    }
    clearAfterRelease(d);
    return held;
}

void releaseAll()
{
    std::map<std::uint64_t, Owner> left;
    {
        Registry& r = registry();
        std::lock_guard<std::mutex> guard(r.lock);
        left.swap(r.owners);
    }
    for (auto& entry : left)
        releaseOwner(entry.second, true);
}

int liveCount()
{
    Registry& r = registry();
    std::lock_guard<std::mutex> guard(r.lock);
    return static_cast<int>(r.owners.size());
}

} // namespace glfxowner
