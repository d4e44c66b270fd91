// AEGP memory handles, effect references and stream references: what the
// AEGP suites hand the effect, each belonging to one session.
#include "host/AegpRefs.h"

#include "host/SessionAccess.h"
#include "host/SessionRegistry.h"

#include <cstdlib>
#include <cstring>
#include <mutex>
#include <set>

namespace glfxhost {

namespace {

std::mutex& refMutex()
{
    static std::mutex m;
    return m;
}

// Live memory handles and references of every session: added when handed out,
// removed when disposed of (by the effect or at the end of their session).
struct MemBlock {
    void* data; // first member, as with effect handles
    AEGP_MemSize size;
    const Session* owner;
    int locks;
};
std::set<MemBlock*>& memBlocks()
{
    static std::set<MemBlock*> s;
    return s;
}

struct EffectRef {
    Session* session;
};
std::set<EffectRef*>& effectRefs()
{
    static std::set<EffectRef*> s;
    return s;
}

struct StreamRef {
    Session* session;
    PF_ParamIndex index;
};
std::set<StreamRef*>& streamRefs()
{
    static std::set<StreamRef*> s;
    return s;
}

MemBlock* findMem(AEGP_MemHandle h)
{
    auto* b = reinterpret_cast<MemBlock*>(h);
    std::lock_guard<std::mutex> g(refMutex());
    return memBlocks().count(b) ? b : nullptr;
}
EffectRef* findEffect(AEGP_EffectRefH h)
{
    auto* e = reinterpret_cast<EffectRef*>(h);
    std::lock_guard<std::mutex> g(refMutex());
    return effectRefs().count(e) ? e : nullptr;
}
StreamRef* findStream(AEGP_StreamRefH h)
{
    auto* e = reinterpret_cast<StreamRef*>(h);
    std::lock_guard<std::mutex> g(refMutex());
    return streamRefs().count(e) ? e : nullptr;
}

} // namespace

AEGP_MemHandle newMemHandle(AEGP_MemSize size, bool clear, Session* owner)
{
    if (size > (AEGP_MemSize(1) << 40))
        return nullptr;
    void* data = std::malloc(size ? static_cast<size_t>(size) : 1);
    if (!data)
        return nullptr;
    std::memset(data, clear ? 0 : 0xCD, size ? static_cast<size_t>(size) : 1);
    auto* b = new MemBlock{data, size, owner, 0};
    std::lock_guard<std::mutex> g(refMutex());
    memBlocks().insert(b);
    return reinterpret_cast<AEGP_MemHandle>(b);
}

int liveMemHandlesOf(const Session* owner)
{
    std::lock_guard<std::mutex> g(refMutex());
    int n = 0;
    for (auto* b : memBlocks())
        n += b->owner == owner;
    return n;
}
int liveEffectRefsOf(const Session* owner)
{
    std::lock_guard<std::mutex> g(refMutex());
    int n = 0;
    for (auto* e : effectRefs())
        n += e->session == owner;
    return n;
}
int liveStreamRefsOf(const Session* owner)
{
    std::lock_guard<std::mutex> g(refMutex());
    int n = 0;
    for (auto* e : streamRefs())
        n += e->session == owner;
    return n;
}
void releaseRefsOf(const Session* owner)
{
    std::lock_guard<std::mutex> g(refMutex());
    for (auto it = memBlocks().begin(); it != memBlocks().end();) {
        if ((*it)->owner == owner) {
            std::free((*it)->data);
            delete *it;
            it = memBlocks().erase(it);
        } else
            ++it;
    }
    for (auto it = effectRefs().begin(); it != effectRefs().end();) {
        if ((*it)->session == owner) {
            delete *it;
            it = effectRefs().erase(it);
        } else
            ++it;
    }
    for (auto it = streamRefs().begin(); it != streamRefs().end();) {
        if ((*it)->session == owner) {
            delete *it;
            it = streamRefs().erase(it);
        } else
            ++it;
    }
}

namespace {

// The memory suite.
A_Err memNew(AEGP_PluginID, const A_char*, AEGP_MemSize size, AEGP_MemFlag flags, AEGP_MemHandle* h)
{
    if (!h)
        return A_Err_PARAMETER;
    *h = newMemHandle(size, (flags & AEGP_MemFlag_CLEAR) != 0, currentSession());
    return *h ? A_Err_NONE : A_Err_ALLOC;
}
A_Err memFree(AEGP_MemHandle h)
{
    MemBlock* b = findMem(h);
    if (!b) {
        noteProblem(currentSession(), "AEGP_FreeMemHandle of an unknown handle");
        return A_Err_PARAMETER;
    }
    {
        std::lock_guard<std::mutex> g(refMutex());
        memBlocks().erase(b);
    }
    std::free(b->data);
    delete b;
    return A_Err_NONE;
}
A_Err memLock(AEGP_MemHandle h, void** p)
{
    MemBlock* b = findMem(h);
    if (!b || !p)
        return A_Err_PARAMETER;
    ++b->locks;
    *p = b->data;
    return A_Err_NONE;
}
A_Err memUnlock(AEGP_MemHandle h)
{
    MemBlock* b = findMem(h);
    if (!b || b->locks <= 0) {
        noteProblem(currentSession(), "AEGP_UnlockMemHandle of a handle not locked");
        return A_Err_PARAMETER;
    }
    --b->locks;
    return A_Err_NONE;
}
A_Err memSize(AEGP_MemHandle h, AEGP_MemSize* size)
{
    MemBlock* b = findMem(h);
    if (!b || !size)
        return A_Err_PARAMETER;
    *size = b->size;
    return A_Err_NONE;
}
A_Err memResize(const A_char*, AEGP_MemSize size, AEGP_MemHandle h)
{
    MemBlock* b = findMem(h);
    if (!b)
        return A_Err_PARAMETER;
    if (b->locks > 0)
        return A_Err_PARAMETER;
    void* d = std::realloc(b->data, size ? static_cast<size_t>(size) : 1);
    if (!d)
        return A_Err_ALLOC;
    b->data = d;
    b->size = size;
    return A_Err_NONE;
}
A_Err memReporting(A_Boolean) { return A_Err_NONE; }
A_Err memStats(AEGP_PluginID, A_long* count, A_long* size)
{
    std::lock_guard<std::mutex> g(refMutex());
    long long n = 0, bytes = 0;
    for (auto* b : memBlocks()) {
        ++n;
        bytes += static_cast<long long>(b->size);
    }
    if (count)
        *count = static_cast<A_long>(n);
    if (size)
        *size = static_cast<A_long>(bytes > 0x7fffffff ? 0x7fffffff : bytes);
    return A_Err_NONE;
}

const AEGP_MemorySuite1 gMemorySuite = {memNew,  memFree,   memLock,      memUnlock,
                                        memSize, memResize, memReporting, memStats};

} // namespace

const AEGP_MemorySuite1* memorySuite() { return &gMemorySuite; }

void* memHandleData(AEGP_MemHandle h)
{
    MemBlock* b = findMem(h);
    return b ? b->data : nullptr;
}

// ---- effect and stream references ----------------------------------------------

AEGP_EffectRefH newEffectRef(Session* owner)
{
    auto* e = new EffectRef{owner};
    std::lock_guard<std::mutex> g(refMutex());
    effectRefs().insert(e);
    return reinterpret_cast<AEGP_EffectRefH>(e);
}

Session* sessionOfEffect(AEGP_EffectRefH h)
{
    EffectRef* e = findEffect(h);
    return e ? e->session : nullptr;
}

AEGP_StreamRefH newStreamRef(Session* owner, PF_ParamIndex index)
{
    auto* r = new StreamRef{owner, index};
    std::lock_guard<std::mutex> g(refMutex());
    streamRefs().insert(r);
    return reinterpret_cast<AEGP_StreamRefH>(r);
}

bool findStreamRef(AEGP_StreamRefH h, Session*& owner, PF_ParamIndex& index)
{
    StreamRef* r = findStream(h);
    if (!r)
        return false;
    owner = r->session;
    index = r->index;
    return true;
}

A_Err disposeEffectRef(AEGP_EffectRefH h)
{
    EffectRef* e = findEffect(h);
    if (!e) {
        noteProblem(currentSession(), "AEGP_DisposeEffect of an unknown effect");
        return A_Err_PARAMETER;
    }
    std::lock_guard<std::mutex> g(refMutex());
    effectRefs().erase(e);
    delete e;
    return A_Err_NONE;
}
A_Err disposeStreamRef(AEGP_StreamRefH h)
{
    StreamRef* s = findStream(h);
    if (!s) {
        noteProblem(currentSession(), "AEGP_DisposeStream of an unknown stream");
        return A_Err_PARAMETER;
    }
    std::lock_guard<std::mutex> g(refMutex());
    streamRefs().erase(s);
    delete s;
    return A_Err_NONE;
}

} // namespace glfxhost
