// The one owner of everything an effect instance holds in this process: its
// GPU context, its defines map, its layer buffers and its output buffer, with
// the capacities that were allocated. The instance record (EffectData) lives
// in bytes the host keeps and may hand back from another process, another
// build or a tampered project; its pointer fields are only views of the
// owner. A record names its owner by a serial number, never by address, and
// an owner serves one sequence handle: a record whose number is not in the
// registry of live owners, or whose owner serves another handle, is stale
// and its pointers are dropped without being touched.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>

#include "gl/EffectData.h"

class AE_GL_Context;

namespace glfxowner {

// Makes `d` a live record of `handle` and returns it: with its owner live and
// serving `handle`, the record's views are refreshed from the owner;
// otherwise every pointer in the record (and the sizes that describe them) is
// dropped unread and a new, empty owner is made for it. Null stays null.
EffectData* adopt(EffectData* d, const void* handle);

// The context the record's owner holds, replacing (and releasing) one it held.
void setContext(EffectData* d, AE_GL_Context* context);
// A new empty defines map in place of the one the owner held.
std::map<std::string, std::string>& freshDefines(EffectData* d);
// Layer buffer `i` (0 .. kMaxInputs-1) with room for at least `pixels` RGBA
// float pixels; the owner reallocates it only when it is too small. Throws
// std::bad_alloc when the request cannot be served (the buffer is then gone).
float* layerBuffer(EffectData* d, int i, std::size_t pixels);
// The output buffer, grown the same way.
float* outputBuffer(EffectData* d, std::size_t pixels);
// Pixels the output buffer was allocated for (0 when there is none).
std::size_t outputCapacity(const EffectData* d);

// Releases everything the record's owner holds (the context's programs and
// textures first when `uninit`), forgets the owner and leaves every pointer
// of the record null. Returns whether a context was released. A record with
// no live owner only has its pointers dropped.
bool release(EffectData* d, bool uninit);

// Releases every owner still live (no sequence setdown came for them).
void releaseAll();

// Owners live now (for tests).
int liveCount();

} // namespace glfxowner
