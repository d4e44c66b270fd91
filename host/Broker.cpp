// The suite broker (SPBasicSuite) and the suite tables and utility callbacks
// the host offers; slots of a table that this host does not offer are null.
#include "host/Broker.h"

#include "host/AegpRefs.h"
#include "host/HandleStore.h"
#include "host/Session.h"
#include "host/SessionAccess.h"
#include "host/SessionRegistry.h"
#include "host/SuiteCallbacks.h"

#include "sdk/AE_EffectCBSuites.h"
#include "sdk/AE_EffectSuites.h"

#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>

namespace glfxhost {

namespace {

PF_Handle cbNewHandle(A_u_longlong size)
{
    Session* s = currentSession();
    if (s && s->faults().failNewHandle)
        return nullptr;
    return newHandle(size, s);
}
void* cbLockHandle(PF_Handle h) { return lockHandle(h); }
void cbUnlockHandle(PF_Handle h) { unlockHandle(h); }
void cbDisposeHandle(PF_Handle h) { disposeHandle(h); }
A_intptr_t cbHandleSizeUtil(PF_Handle h) { return static_cast<A_intptr_t>(handleSize(h)); }
A_HandleSize cbHandleSize(PF_Handle h) { return handleSize(h); }
PF_Err cbResizeHandle(A_u_longlong size, PF_Handle* h) { return resizeHandle(size, h); }

A_long ansiSprintf(A_char* buffer, const A_char* format, ...)
{
    if (!buffer || !format)
        return -1;
    va_list ap;
    va_start(ap, format);
    int n = std::vsprintf(buffer, format, ap);
    va_end(ap);
    return n;
}
A_char* ansiStrcpy(A_char* dest, const A_char* src) { return std::strcpy(dest, src); }

#define GLFX_MATH1(f) [](A_FpLong x) -> A_FpLong { return std::f(x); }
#define GLFX_MATH2(f) [](A_FpLong x, A_FpLong y) -> A_FpLong { return std::f(x, y); }

// The suite tables: filled once at start-up, the same for every session, never
// changed (what a session's faults change is decided per call).
PF_ANSICallbacksSuite1 gAnsiSuite = {
    GLFX_MATH1(atan),  GLFX_MATH2(atan2), GLFX_MATH1(ceil), GLFX_MATH1(cos),   GLFX_MATH1(exp),
    GLFX_MATH1(fabs),  GLFX_MATH1(floor), GLFX_MATH2(fmod), GLFX_MATH2(hypot), GLFX_MATH1(log),
    GLFX_MATH1(log10), GLFX_MATH2(pow),   GLFX_MATH1(sin),  GLFX_MATH1(sqrt),  GLFX_MATH1(tan),
    ansiSprintf,       ansiStrcpy,        GLFX_MATH1(asin), GLFX_MATH1(acos)};

PF_HandleSuite1 gHandleSuite = {cbNewHandle,     cbLockHandle, cbUnlockHandle,
                                cbDisposeHandle, cbHandleSize, cbResizeHandle};

// World suite and pixel format suite worlds.
const World* worldOf(const PF_EffectWorld* w)
{
    if (!w)
        return nullptr;
    auto* world = static_cast<const World*>(w->reserved0);
    if (!world || !World::isLive(world))
        return nullptr;
    if (world->def()->data != w->data)
        return nullptr;
    return world;
}

PF_Err cbGetPixelFormat(const PF_EffectWorld* w, PF_PixelFormat* fmt)
{
    if (!fmt)
        return PF_Err_BAD_CALLBACK_PARAM;
    const World* world = worldOf(w);
    if (!world) {
        noteProblem(currentSession(), "PF_GetPixelFormat on a world the host does not know");
        return PF_Err_BAD_CALLBACK_PARAM;
    }
    const Session* s = currentSession();
    *fmt = s && s->faults().pixelFormat ? *s->faults().pixelFormat : world->pixelFormat();
    return PF_Err_NONE;
}

PF_Err cbPrGetPixelFormat(PF_EffectWorld* w, PrPixelFormat* fmt)
{
    if (!fmt)
        return PF_Err_BAD_CALLBACK_PARAM;
    const World* world = worldOf(w);
    if (!world)
        return PF_Err_BAD_CALLBACK_PARAM;
    *fmt = world->premierePixelFormat();
    return PF_Err_NONE;
}

A_Err utilReportInfo(AEGP_PluginID, const A_char* info)
{
    if (!info)
        return A_Err_PARAMETER;
    std::cerr << info << "\n";
    return A_Err_NONE;
}
A_Err utilScriptingAvailable(A_Boolean* b)
{
    if (!b)
        return A_Err_PARAMETER;
    *b = 1;
    return A_Err_NONE;
}
A_Err utilSuppressUI(A_Boolean* b)
{
    if (!b)
        return A_Err_PARAMETER;
    *b = 0;
    return A_Err_NONE;
}
A_Err utilWriteConsole(const A_char* text)
{
    if (!text)
        return A_Err_PARAMETER;
    std::cerr << text << "\n";
    return A_Err_NONE;
}

using S = SuiteCallbacks;
using A = SessionAccess;

PF_Err cbPrDisposeWorld(PF_ProgPtr ref, PF_EffectWorld* world) { return S::disposeWorld(ref, world); }

PF_PixelFormatSuite1 gPixelFormatSuite = {S::addSupportedPixelFormat,
                                          S::clearSupportedPixelFormats,
                                          S::newWorldOfPixelFormat,
                                          cbPrDisposeWorld,
                                          cbPrGetPixelFormat,
                                          nullptr,
                                          nullptr,
                                          nullptr};

PF_WorldSuite2 gWorldSuite = {S::newWorld, S::disposeWorld, cbGetPixelFormat};

PF_ParamUtilsSuite3 makeParamUtils()
{
    PF_ParamUtilsSuite3 s{};
    s.PF_UpdateParamUI = S::updateParamUI;
    return s;
}
PF_ParamUtilsSuite3 gParamUtilsSuite = makeParamUtils();

AEGP_UtilitySuite4 makeUtility()
{
    AEGP_UtilitySuite4 s{};
    s.AEGP_ReportInfo = utilReportInfo;
    s.AEGP_RegisterWithAEGP = S::registerWithAEGP;
    s.AEGP_GetSuppressInteractiveUI = utilSuppressUI;
    s.AEGP_WriteToOSConsole = utilWriteConsole;
    s.AEGP_IsScriptingAvailable = utilScriptingAvailable;
    s.AEGP_ExecuteScript = S::executeScript;
    return s;
}
AEGP_UtilitySuite4 gUtilitySuite = makeUtility();

AEGP_PFInterfaceSuite1 makePFInterface()
{
    AEGP_PFInterfaceSuite1 s{};
    s.AEGP_GetNewEffectForEffect = S::getNewEffectForEffect;
    return s;
}
AEGP_PFInterfaceSuite1 gPFInterfaceSuite = makePFInterface();

AEGP_EffectSuite3 makeEffect()
{
    AEGP_EffectSuite3 s{};
    s.AEGP_GetEffectParamUnionByIndex = S::getEffectParamUnionByIndex;
    s.AEGP_DisposeEffect = disposeEffectRef;
    return s;
}
AEGP_EffectSuite3 gEffectSuite = makeEffect();

AEGP_StreamSuite2 makeStream()
{
    AEGP_StreamSuite2 s{};
    s.AEGP_GetEffectNumParamStreams = S::getEffectNumParamStreams;
    s.AEGP_GetNewEffectStreamByIndex = S::getNewEffectStreamByIndex;
    s.AEGP_DisposeStream = disposeStreamRef;
    s.AEGP_GetStreamName = S::getStreamName;
    return s;
}
AEGP_StreamSuite2 gStreamSuite = makeStream();

AEGP_DynamicStreamSuite2 makeDynStream()
{
    AEGP_DynamicStreamSuite2 s{};
    s.AEGP_GetDynamicStreamFlags = S::getDynamicStreamFlags;
    s.AEGP_SetDynamicStreamFlag = S::setDynamicStreamFlag;
    s.AEGP_SetStreamName = S::setStreamName;
    return s;
}
AEGP_DynamicStreamSuite2 gDynStreamSuite = makeDynStream();

struct SuiteEntry {
    const char* name;
    A_long version;
    const void* table;
};

const SuiteEntry kSuites[] = {
    {kPFPixelFormatSuite, kPFPixelFormatSuiteVersion1, &gPixelFormatSuite},
    {kPFHandleSuite, kPFHandleSuiteVersion1, &gHandleSuite},
    {kPFWorldSuite, kPFWorldSuiteVersion2, &gWorldSuite},
    {kPFParamUtilsSuite, kPFParamUtilsSuiteVersion3, &gParamUtilsSuite},
    {kPFANSISuite, kPFANSISuiteVersion1, &gAnsiSuite},
    {kAEGPUtilitySuite, kAEGPUtilitySuiteVersion4, &gUtilitySuite},
    {kAEGPMemorySuite, kAEGPMemorySuiteVersion1, memorySuite()},
    {kAEGPPFInterfaceSuite, kAEGPPFInterfaceSuiteVersion1, &gPFInterfaceSuite},
    {kAEGPEffectSuite, kAEGPEffectSuiteVersion3, &gEffectSuite},
    {kAEGPStreamSuite, kAEGPStreamSuiteVersion2, &gStreamSuite},
    {kAEGPDynamicStreamSuite, kAEGPDynamicStreamSuiteVersion2, &gDynStreamSuite},
};

const SuiteEntry* findSuite(const char* name, A_long version)
{
    if (!name)
        return nullptr;
    for (const SuiteEntry& e : kSuites)
        if (std::strcmp(e.name, name) == 0 && e.version == version)
            return &e;
    return nullptr;
}

SPErr spAcquire(const char* name, A_long version, const void** suite)
{
    if (!suite)
        return kSPBadParameterError;
    *suite = nullptr;
    const SuiteEntry* e = findSuite(name, version);
    Session* s = currentSession();
    // Premiere offers the effect suites but none of the AEGP ones.
    if (e && s && s->isPremiere() && std::strncmp(e->name, "AEGP ", 5) == 0)
        e = nullptr;
    // A session may be told to refuse a suite it would offer.
    if (e && s && s->faults().missingSuites.count(e->name))
        e = nullptr;
    if (!e) {
        if (s)
            A::recordSuiteMiss(*s, std::string(name ? name : "(null)") + " v" + std::to_string(version));
        return kSPSuiteNotFoundError;
    }
    *suite = e->table;
    if (s)
        A::recordSuite(*s, e->name, true);
    return kSPNoError;
}

SPErr spRelease(const char* name, A_long version)
{
    const SuiteEntry* e = findSuite(name, version);
    Session* s = currentSession();
    if (!e) {
        if (s)
            A::problem(*s, std::string("release of a suite not offered: ") + (name ? name : "(null)"));
        return kSPSuiteNotFoundError;
    }
    if (s)
        A::recordSuite(*s, e->name, false);
    return kSPNoError;
}

SPBoolean spIsEqual(const char* a, const char* b) { return a && b && std::strcmp(a, b) == 0; }
SPErr spAllocate(size_t size, void** block)
{
    if (!block)
        return kSPBadParameterError;
    *block = std::malloc(size ? size : 1);
    return *block ? kSPNoError : kSPOutOfMemoryError;
}
SPErr spFree(void* block)
{
    std::free(block);
    return kSPNoError;
}
SPErr spRealloc(void* block, size_t size, void** out)
{
    if (!out)
        return kSPBadParameterError;
    void* p = std::realloc(block, size ? size : 1);
    if (!p)
        return kSPOutOfMemoryError;
    *out = p;
    return kSPNoError;
}
SPErr spUndefined() { return kSPUnimplementedError; }

SPBasicSuite gBasic = {spAcquire, spRelease, spIsEqual, spAllocate, spFree, spRealloc, spUndefined};

PF_UtilCallbacks makeUtils()
{
    PF_UtilCallbacks u{};
    u.host_new_handle = cbNewHandle;
    u.host_lock_handle = cbLockHandle;
    u.host_unlock_handle = cbUnlockHandle;
    u.host_dispose_handle = cbDisposeHandle;
    u.host_get_handle_size = cbHandleSizeUtil;
    u.host_resize_handle = cbResizeHandle;
    u.ansi.atan = gAnsiSuite.atan;
    u.ansi.atan2 = gAnsiSuite.atan2;
    u.ansi.ceil = gAnsiSuite.ceil;
    u.ansi.cos = gAnsiSuite.cos;
    u.ansi.exp = gAnsiSuite.exp;
    u.ansi.fabs = gAnsiSuite.fabs;
    u.ansi.floor = gAnsiSuite.floor;
    u.ansi.fmod = gAnsiSuite.fmod;
    u.ansi.hypot = gAnsiSuite.hypot;
    u.ansi.log = gAnsiSuite.log;
    u.ansi.log10 = gAnsiSuite.log10;
    u.ansi.pow = gAnsiSuite.pow;
    u.ansi.sin = gAnsiSuite.sin;
    u.ansi.sqrt = gAnsiSuite.sqrt;
    u.ansi.tan = gAnsiSuite.tan;
    u.ansi.sprintf = ansiSprintf;
    u.ansi.strcpy = ansiStrcpy;
    u.ansi.asin = gAnsiSuite.asin;
    u.ansi.acos = gAnsiSuite.acos;
    return u;
}
PF_UtilCallbacks gUtils = makeUtils();

} // namespace

SPBasicSuite* basicSuite() { return &gBasic; }
const PF_UtilCallbacks* utilCallbacks() { return &gUtils; }

} // namespace glfxhost
