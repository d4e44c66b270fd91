#include "shell/Handles.h"

#include <cstdlib>
#include <mutex>
#include <new>
#include <set>

#include "sdk/AE_EffectCB.h"

namespace glfxshell {
namespace {

// The pointer comes first: a PF_Handle is the address of this member.
struct LocalHandle {
    void* data;
    std::size_t size;
};

std::mutex& registryMutex()
{
    static std::mutex m;
    return m;
}

std::set<PF_Handle>& registry()
{
    static std::set<PF_Handle> handles;
    return handles;
}

LocalHandle* local(PF_Handle h) { return reinterpret_cast<LocalHandle*>(h); }

const PF_UtilCallbacks* utilsOf(const PF_InData* in_data) { return in_data ? in_data->utils : nullptr; }

} // namespace

bool isLocalHandle(PF_Handle handle)
{
    if (!handle)
        return false;
    std::lock_guard<std::mutex> lock(registryMutex());
    return registry().count(handle) != 0;
}

PF_Handle newHandle(const PF_InData* in_data, std::size_t size)
{
    const PF_UtilCallbacks* u = utilsOf(in_data);
    if (u && u->host_new_handle)
        return u->host_new_handle(size);

    LocalHandle* h = static_cast<LocalHandle*>(std::malloc(sizeof(LocalHandle)));
    if (!h)
        return nullptr;
    h->data = std::malloc(size ? size : 1);
    h->size = size;
    if (!h->data) {
        std::free(h);
        return nullptr;
    }
    PF_Handle handle = reinterpret_cast<PF_Handle>(&h->data);
    try {
        std::lock_guard<std::mutex> lock(registryMutex());
        registry().insert(handle);
    } catch (const std::bad_alloc&) {
        std::free(h->data);
        std::free(h);
        return nullptr;
    }
    return handle;
}

std::int64_t handleSize(const PF_InData* in_data, PF_Handle handle)
{
    if (!handle)
        return -1;
    if (isLocalHandle(handle))
        return static_cast<std::int64_t>(local(handle)->size);
    const PF_UtilCallbacks* u = utilsOf(in_data);
    if (u && u->host_get_handle_size)
        return static_cast<std::int64_t>(u->host_get_handle_size(handle));
    return -1;
}

PF_Err resizeHandle(const PF_InData* in_data, std::size_t size, PF_Handle* handle)
{
    if (!handle || !*handle)
        return PF_Err_INTERNAL_STRUCT_DAMAGED;
    if (isLocalHandle(*handle)) {
        LocalHandle* h = local(*handle);
        void* grown = std::realloc(h->data, size ? size : 1);
        if (!grown)
            return PF_Err_OUT_OF_MEMORY;
        h->data = grown;
        h->size = size;
        return PF_Err_NONE;
    }
    const PF_UtilCallbacks* u = utilsOf(in_data);
    if (u && u->host_resize_handle)
        return u->host_resize_handle(size, handle);
    return PF_Err_INTERNAL_STRUCT_DAMAGED;
}

void disposeHandle(const PF_InData* in_data, PF_Handle handle)
{
    if (!handle)
        return;
    {
        std::lock_guard<std::mutex> lock(registryMutex());
        auto it = registry().find(handle);
        if (it != registry().end()) {
            registry().erase(it);
            LocalHandle* h = local(handle);
            std::free(h->data);
            std::free(h);
            return;
        }
    }
    const PF_UtilCallbacks* u = utilsOf(in_data);
    if (u && u->host_dispose_handle)
        u->host_dispose_handle(handle);
}

} // namespace glfxshell
