#include "FakeHost.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <stdexcept>

#include "sdk/AE_EffectSuites.h"

namespace {

FakeHost* g_host = nullptr;

FakeHost& host()
{
    if (!g_host)
        throw std::logic_error("no fake host");
    return *g_host;
}

// ---- handles: fresh and grown memory holds 0xCD, as a host's is not cleared ----
PF_Handle newHandleCb(A_u_longlong size) { return host().newHandle(static_cast<std::size_t>(size)); }
void* lockHandleCb(PF_Handle h) { return h ? *h : nullptr; }
void unlockHandleCb(PF_Handle) {}
void disposeHandleCb(PF_Handle h)
{
    FakeHost& f = host();
    auto it = f.handles.find(h);
    if (it == f.handles.end())
        throw std::logic_error("dispose of a handle the host did not make");
    std::free(it->second->data);
    delete it->second;
    f.handles.erase(it);
    --f.handlesLive;
}
A_intptr_t handleSizeCb(PF_Handle h) { return static_cast<A_intptr_t>(host().sizeOf(h)); }
A_HandleSize handleSizeSuiteCb(PF_Handle h) { return host().sizeOf(h); }
PF_Err resizeHandleCb(A_u_longlong size, PF_Handle* hp)
{
    FakeHost& f = host();
    ++f.resizeCalls;
    auto it = f.handles.find(*hp);
    if (it == f.handles.end())
        return PF_Err_BAD_CALLBACK_PARAM;
    void* p = std::realloc(it->second->data, size ? size : 1);
    if (!p)
        return PF_Err_OUT_OF_MEMORY;
    if (size > it->second->size)
        std::memset(static_cast<char*>(p) + it->second->size, 0xCD, size - it->second->size);
    it->second->data = p;
    it->second->size = size;
    return PF_Err_NONE;
}

// ---- ANSI ----
A_long sprintfCb(A_char* buffer, const A_char* format, ...)
{
    va_list ap;
    va_start(ap, format);
    const int n = std::vsprintf(buffer, format, ap);
    va_end(ap);
    return n;
}
A_char* strcpyCb(A_char* dest, const A_char* src) { return std::strcpy(dest, src); }

// ---- add_param and checkouts ----
PF_Err addParamCb(PF_ProgPtr, PF_ParamIndex index, PF_ParamDefPtr def)
{
    FakeHost& f = host();
    if (index != -1)
        return PF_Err_BAD_CALLBACK_PARAM;
    if (f.addParamThrows == 1)
        throw std::bad_alloc();
    if (f.addParamThrows == 2)
        throw std::runtime_error("host failure");
    if (static_cast<int>(f.added.size()) == f.failAddParamAt)
        return f.addParamResult;
    f.added.push_back(*def);
    return PF_Err_NONE;
}
PF_Err checkoutParamCb(PF_ProgPtr, PF_ParamIndex index, A_long time, A_long, A_u_long, PF_ParamDef* def)
{
    FakeHost& f = host();
    if (index == f.failCheckoutAt)
        return PF_Err_BAD_CALLBACK_PARAM;
    f.checkouts.push_back({index, time});
    def->uu.id = index + 1;
    return PF_Err_NONE;
}
PF_Err checkinParamCb(PF_ProgPtr, PF_ParamDef*)
{
    ++host().checkins;
    return PF_Err_NONE;
}
PF_Err checkoutLayerCb(PF_ProgPtr, PF_ParamIndex index, A_long id, const PF_RenderRequest*, A_long time,
                       A_long, A_u_long, PF_CheckoutResult* result)
{
    FakeHost& f = host();
    f.layerCheckouts.emplace_back(index, id, time);
    if (f.layerCheckoutResult != PF_Err_NONE)
        return f.layerCheckoutResult;
    result->result_rect = f.layerResult;
    result->max_result_rect = f.layerMaxResult;
    return PF_Err_NONE;
}

// ---- suites ----
A_Err registerCb(AEGP_GlobalRefcon, const A_char*, AEGP_PluginID* id)
{
    FakeHost& f = host();
    if (f.registerResult == 0)
        *id = 77;
    return f.registerResult;
}
A_Err executeScriptCb(AEGP_PluginID id, const A_char* script, const A_Boolean, AEGP_MemHandle* result,
                      AEGP_MemHandle* errorH)
{
    FakeHost& f = host();
    if (id != 0 || errorH != nullptr)
        return 1;
    f.scripts.push_back(script);
    if (f.scriptError)
        return f.scriptError;
    if (result) {
        // A memory handle is a strdup'ed copy of the result text.
        *result = reinterpret_cast<AEGP_MemHandle>(strdup(f.scriptResult.c_str()));
        ++f.memHandlesLive;
    }
    return 0;
}

const PF_HandleSuite1 g_handleSuite = {newHandleCb,     lockHandleCb,      unlockHandleCb,
                                       disposeHandleCb, handleSizeSuiteCb, resizeHandleCb};
const PF_ANSICallbacksSuite1 g_ansiSuite = [] {
    PF_ANSICallbacksSuite1 s{};
    s.sprintf = sprintfCb;
    s.strcpy = strcpyCb;
    return s;
}();
const AEGP_UtilitySuite4 g_utilitySuite = [] {
    AEGP_UtilitySuite4 s{};
    s.AEGP_RegisterWithAEGP = registerCb;
    s.AEGP_ExecuteScript = executeScriptCb;
    return s;
}();
const AEGP_MemorySuite1 g_memorySuite = [] {
    AEGP_MemorySuite1 s{};
    s.AEGP_LockMemHandle = [](AEGP_MemHandle h, void** p) -> A_Err {
        *p = h;
        return 0;
    };
    s.AEGP_UnlockMemHandle = [](AEGP_MemHandle) -> A_Err { return 0; };
    s.AEGP_FreeMemHandle = [](AEGP_MemHandle h) -> A_Err {
        std::free(h);
        --host().memHandlesLive;
        return 0;
    };
    return s;
}();

SPErr acquireCb(const char* name, A_long version, const void** suite)
{
    FakeHost& f = host();
    *suite = nullptr;
    const std::string n = name;
    auto off = f.offered.find(n);
    if (off != f.offered.end() && !off->second)
        return kSPSuiteNotFoundError;
    const void* table = nullptr;
    if (n == kPFHandleSuite && version == kPFHandleSuiteVersion1)
        table = &g_handleSuite;
    else if (n == kPFANSISuite && version == kPFANSISuiteVersion1)
        table = &g_ansiSuite;
    else if (n == kAEGPUtilitySuite && version == kAEGPUtilitySuiteVersion4)
        table = &g_utilitySuite;
    else if (n == kAEGPMemorySuite && version == kAEGPMemorySuiteVersion1)
        table = &g_memorySuite;
    if (!table)
        return kSPSuiteNotFoundError;
    *suite = table;
    ++f.acquired[n];
    return kSPNoError;
}
SPErr releaseCb(const char* name, A_long)
{
    ++host().released[name];
    return kSPNoError;
}

} // namespace

FakeHost::FakeHost(bool premiere)
{
    if (g_host)
        throw std::logic_error("one fake host at a time");
    g_host = this;
    basic.AcquireSuite = acquireCb;
    basic.ReleaseSuite = releaseCb;
    utils.host_new_handle = newHandleCb;
    utils.host_lock_handle = lockHandleCb;
    utils.host_unlock_handle = unlockHandleCb;
    utils.host_dispose_handle = disposeHandleCb;
    utils.host_get_handle_size = handleSizeCb;
    utils.host_resize_handle = resizeHandleCb;
    utils.ansi.sprintf = sprintfCb;
    utils.ansi.strcpy = strcpyCb;
    in.utils = &utils;
    in.pica_basicP = &basic;
    in.inter.add_param = addParamCb;
    in.inter.checkout_param = checkoutParamCb;
    in.inter.checkin_param = checkinParamCb;
    preRenderCallbacks.checkout_layer = checkoutLayerCb;
    in.appl_id = premiere ? PF_APPL_ID_PREMIERE : PF_APPL_ID_AFTER_FX;
    in.effect_ref = this;
    in.time_step = 1000;
    in.time_scale = 30000;
}

FakeHost::~FakeHost()
{
    for (auto& h : handles) {
        std::free(h.second->data);
        delete h.second;
    }
    g_host = nullptr;
}

void FakeHost::removeUtilHandleCallbacks()
{
    utils.host_new_handle = nullptr;
    utils.host_lock_handle = nullptr;
    utils.host_unlock_handle = nullptr;
    utils.host_dispose_handle = nullptr;
    utils.host_get_handle_size = nullptr;
    utils.host_resize_handle = nullptr;
}

PF_Handle FakeHost::newHandle(std::size_t size)
{
    if (failNewHandle)
        return nullptr;
    Block* b = new Block{std::malloc(size ? size : 1), size};
    std::memset(b->data, 0xCD, size);
    PF_Handle h = reinterpret_cast<PF_Handle>(&b->data);
    handles[h] = b;
    ++handlesLive;
    return h;
}

std::size_t FakeHost::sizeOf(PF_Handle h) const
{
    auto it = handles.find(h);
    return it == handles.end() ? 0 : it->second->size;
}
