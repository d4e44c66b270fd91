// Effect handles: host memory blocks the effect allocates through the host.
#include "host/HandleStore.h"

#include "host/Session.h"
#include "host/SessionAccess.h"
#include "host/SessionRegistry.h"

#include <cstdlib>
#include <cstring>
#include <mutex>
#include <set>

namespace glfxhost {

namespace {

std::mutex& regMutex()
{
    static std::mutex m;
    return m;
}

/* A handle block: `data` comes first, so a PF_Handle (void**) pointing at the
   block dereferences to the data. */
struct HandleBlock {
    void* data;
    A_u_longlong size;
    const Session* owner;
    int locks;
};

// Live handles of every session: added by newHandle, removed when disposed of.
std::set<HandleBlock*>& handles()
{
    static std::set<HandleBlock*> s;
    return s;
}

HandleBlock* findHandle(PF_Handle h)
{
    auto* b = reinterpret_cast<HandleBlock*>(h);
    std::lock_guard<std::mutex> g(regMutex());
    return handles().count(b) ? b : nullptr;
}

// Small allocations still get a real block, so that *handle is never null.
void* allocData(A_u_longlong size) { return std::malloc(size ? static_cast<size_t>(size) : 1); }

} // namespace

// ---- effect handles --------------------------------------------------------

PF_Handle newHandle(A_u_longlong size, Session* owner)
{
    if (size > (A_u_longlong(1) << 40))
        return nullptr;
    void* data = allocData(size);
    if (!data)
        return nullptr;
    // Fresh handle memory is not cleared, as on a real host; a pattern makes
    // an effect that relies on zeroed memory fail the same way every time.
    std::memset(data, 0xCD, size ? static_cast<size_t>(size) : 1);
    auto* b = new HandleBlock{data, size, owner, 0};
    std::lock_guard<std::mutex> g(regMutex());
    handles().insert(b);
    return reinterpret_cast<PF_Handle>(b);
}

void* lockHandle(PF_Handle h)
{
    HandleBlock* b = findHandle(h);
    if (!b) {
        noteProblem(currentSession(), "lock of an unknown handle");
        return nullptr;
    }
    ++b->locks;
    return b->data;
}

void unlockHandle(PF_Handle h)
{
    HandleBlock* b = findHandle(h);
    if (!b) {
        noteProblem(currentSession(), "unlock of an unknown handle");
        return;
    }
    if (b->locks <= 0) {
        noteProblem(currentSession(), "unlock of a handle that is not locked");
        return;
    }
    --b->locks;
}

void disposeHandle(PF_Handle h)
{
    if (!h)
        return;
    auto* b = reinterpret_cast<HandleBlock*>(h);
    {
        std::lock_guard<std::mutex> g(regMutex());
        if (!handles().erase(b))
            b = nullptr;
    }
    if (!b) {
        noteProblem(currentSession(), "dispose of an unknown handle");
        return;
    }
    std::free(b->data);
    delete b;
}

A_u_longlong handleSize(PF_Handle h)
{
    HandleBlock* b = findHandle(h);
    if (!b) {
        noteProblem(currentSession(), "size of an unknown handle");
        return 0;
    }
    return b->size;
}

PF_Err resizeHandle(A_u_longlong size, PF_Handle* hp)
{
    if (!hp)
        return PF_Err_BAD_CALLBACK_PARAM;
    HandleBlock* b = findHandle(*hp);
    if (!b) {
        noteProblem(currentSession(), "resize of an unknown handle");
        return PF_Err_BAD_CALLBACK_PARAM;
    }
    if (b->locks > 0) {
        noteProblem(currentSession(), "resize of a locked handle");
        return PF_Err_BAD_CALLBACK_PARAM;
    }
    if (size > (A_u_longlong(1) << 40))
        return PF_Err_OUT_OF_MEMORY;
    void* data = std::realloc(b->data, size ? static_cast<size_t>(size) : 1);
    if (!data)
        return PF_Err_OUT_OF_MEMORY;
    if (size > b->size)
        std::memset(static_cast<char*>(data) + b->size, 0xCD, static_cast<size_t>(size - b->size));
    b->data = data;
    b->size = size;
    return PF_Err_NONE;
}

bool isLiveHandle(PF_Handle h) { return findHandle(h) != nullptr; }

int liveHandlesOf(const Session* owner)
{
    std::lock_guard<std::mutex> g(regMutex());
    int n = 0;
    for (HandleBlock* b : handles())
        if (b->owner == owner)
            ++n;
    return n;
}

int liveHandlesTotal()
{
    std::lock_guard<std::mutex> g(regMutex());
    return static_cast<int>(handles().size());
}

int disposeHandlesOf(const Session* owner)
{
    std::set<HandleBlock*> mine;
    {
        std::lock_guard<std::mutex> g(regMutex());
        for (auto it = handles().begin(); it != handles().end();) {
            if ((*it)->owner == owner) {
                mine.insert(*it);
                it = handles().erase(it);
            } else {
                ++it;
            }
        }
    }
    for (HandleBlock* b : mine) {
        std::free(b->data);
        delete b;
    }
    return static_cast<int>(mine.size());
}

} // namespace glfxhost
