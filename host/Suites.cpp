// The suites and callbacks the host offers an effect, and what it records of
// their use. Slots of a suite table that this host does not offer are null.
#include "host/HostInternal.h"

#include "sdk/AE_EffectCBSuites.h"
#include "sdk/AE_EffectSuites.h"

#include <cctype>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <map>
#include <memory>
#include <mutex>
#include <new>
#include <set>

namespace glfxhost {

void noteProblem(Session* s, const std::string& what)
{
    if (s)
        Session::Impl::problem(*s, what);
    else
        std::cerr << "glfx host: " << what << "\n";
}

// ---- AEGP memory handles and references -------------------------------------

namespace {

std::mutex& refMutex()
{
    static std::mutex m;
    return m;
}

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

// ---- alert scripts -----------------------------------------------------------

bool parseAlertScript(const std::string& s, std::vector<std::string>& messages, std::string& error)
{
    size_t i = 0;
    auto skipSpace = [&] {
        while (i < s.size() && std::isspace(static_cast<unsigned char>(s[i])))
            ++i;
    };
    skipSpace();
    if (i == s.size()) {
        error = "empty script";
        return false;
    }
    while (i < s.size()) {
        if (s.compare(i, 5, "alert") != 0) {
            error = "unsupported statement at offset " + std::to_string(i);
            return false;
        }
        i += 5;
        skipSpace();
        if (i >= s.size() || s[i] != '(') {
            error = "expected ( after alert";
            return false;
        }
        ++i;
        skipSpace();
        if (i >= s.size() || (s[i] != '\'' && s[i] != '"')) {
            error = "alert expects a string literal";
            return false;
        }
        const char quote = s[i++];
        std::string msg;
        bool closed = false;
        while (i < s.size()) {
            char c = s[i++];
            if (c == quote) {
                closed = true;
                break;
            }
            if (c == '\n' || c == '\r') {
                error = "line break inside a string literal";
                return false;
            }
            if (c != '\\') {
                msg += c;
                continue;
            }
            if (i >= s.size())
                break;
            char e = s[i++];
            switch (e) {
            case 'n': msg += '\n'; break;
            case 'r': msg += '\r'; break;
            case 't': msg += '\t'; break;
            case 'b': msg += '\b'; break;
            case 'f': msg += '\f'; break;
            case 'v': msg += '\v'; break;
            case '0': msg += '\0'; break;
            case 'x':
            case 'u': {
                const size_t n = e == 'x' ? 2 : 4;
                if (i + n > s.size()) {
                    error = "bad escape";
                    return false;
                }
                unsigned long v = std::strtoul(s.substr(i, n).c_str(), nullptr, 16);
                i += n;
                if (v < 0x80)
                    msg += static_cast<char>(v);
                else if (v < 0x800) {
                    msg += static_cast<char>(0xC0 | (v >> 6));
                    msg += static_cast<char>(0x80 | (v & 0x3F));
                } else {
                    msg += static_cast<char>(0xE0 | (v >> 12));
                    msg += static_cast<char>(0x80 | ((v >> 6) & 0x3F));
                    msg += static_cast<char>(0x80 | (v & 0x3F));
                }
                break;
            }
            default: msg += e; break; // \' \" \\ and any other character stand for themselves
            }
        }
        if (!closed) {
            error = "unterminated string literal";
            return false;
        }
        skipSpace();
        if (i >= s.size() || s[i] != ')') {
            error = "expected ) after the alert text";
            return false;
        }
        ++i;
        skipSpace();
        if (i < s.size() && s[i] == ';')
            ++i;
        skipSpace();
        messages.push_back(msg);
    }
    return true;
}

// ---- plain callbacks (no session state) --------------------------------------

namespace {

PF_Handle cbNewHandle(A_u_longlong size) { return newHandle(size, currentSession()); }
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
    if (!world || !isLiveWorld(world))
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
    *fmt = world->pixelFormat();
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

// Memory suite.
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

AEGP_MemorySuite1 gMemorySuite = {memNew,  memFree,   memLock,      memUnlock,
                                  memSize, memResize, memReporting, memStats};

// Effect and stream references.
A_Err disposeEffect(AEGP_EffectRefH h)
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
A_Err disposeStream(AEGP_StreamRefH h)
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

// Utility suite pieces without session state.
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

using S = Session::Impl;

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
    s.AEGP_DisposeEffect = disposeEffect;
    return s;
}
AEGP_EffectSuite3 gEffectSuite = makeEffect();

AEGP_StreamSuite2 makeStream()
{
    AEGP_StreamSuite2 s{};
    s.AEGP_GetEffectNumParamStreams = S::getEffectNumParamStreams;
    s.AEGP_GetNewEffectStreamByIndex = S::getNewEffectStreamByIndex;
    s.AEGP_DisposeStream = disposeStream;
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
    {kAEGPMemorySuite, kAEGPMemorySuiteVersion1, &gMemorySuite},
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
    if (!e) {
        if (s)
            S::recordSuiteMiss(*s, std::string(name ? name : "(null)") + " v" + std::to_string(version));
        return kSPSuiteNotFoundError;
    }
    *suite = e->table;
    if (s)
        S::recordSuite(*s, e->name, true);
    return kSPNoError;
}

SPErr spRelease(const char* name, A_long version)
{
    const SuiteEntry* e = findSuite(name, version);
    Session* s = currentSession();
    if (!e) {
        if (s)
            S::problem(*s, std::string("release of a suite not offered: ") + (name ? name : "(null)"));
        return kSPSuiteNotFoundError;
    }
    if (s)
        S::recordSuite(*s, e->name, false);
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
PF_UtilCallbacks* utilCallbacks() { return &gUtils; }

// ---- callbacks with session state ------------------------------------------

namespace {
Session* sessionOfEffect(AEGP_EffectRefH h)
{
    EffectRef* e = findEffect(h);
    return e ? e->session : nullptr;
}
} // namespace

A_Err Session::Impl::getNewEffectForEffect(AEGP_PluginID id, PF_ProgPtr ref, AEGP_EffectRefH* effect)
{
    Session* s = fromRef(ref);
    if (!s || !effect)
        return A_Err_PARAMETER;
    if (!s->pluginRegistered_ || id != s->pluginId_) {
        problem(*s, "AEGP_GetNewEffectForEffect with plug-in id " + std::to_string(id) +
                        " that was not registered");
        return A_Err_PARAMETER;
    }
    auto* e = new EffectRef{s};
    {
        std::lock_guard<std::mutex> g(refMutex());
        effectRefs().insert(e);
    }
    *effect = reinterpret_cast<AEGP_EffectRefH>(e);
    return A_Err_NONE;
}

A_Err Session::Impl::getNewEffectStreamByIndex(AEGP_PluginID id, AEGP_EffectRefH effect, PF_ParamIndex index,
                                               AEGP_StreamRefH* stream)
{
    Session* s = sessionOfEffect(effect);
    if (!s || !stream) {
        noteProblem(currentSession(), "AEGP_GetNewEffectStreamByIndex with an unknown effect");
        return A_Err_PARAMETER;
    }
    if (!s->pluginRegistered_ || id != s->pluginId_) {
        problem(*s, "AEGP_GetNewEffectStreamByIndex with plug-in id " + std::to_string(id) +
                        " that was not registered");
        return A_Err_PARAMETER;
    }
    if (index < 0 || index > static_cast<PF_ParamIndex>(s->params_.size())) {
        problem(*s, "AEGP_GetNewEffectStreamByIndex: no parameter " + std::to_string(index));
        return A_Err_PARAMETER;
    }
    auto* r = new StreamRef{s, index};
    {
        std::lock_guard<std::mutex> g(refMutex());
        streamRefs().insert(r);
    }
    *stream = reinterpret_cast<AEGP_StreamRefH>(r);
    return A_Err_NONE;
}

A_Err Session::Impl::getEffectNumParamStreams(AEGP_EffectRefH effect, A_long* n)
{
    Session* s = sessionOfEffect(effect);
    if (!s || !n)
        return A_Err_PARAMETER;
    *n = static_cast<A_long>(s->params_.size() + 1);
    return A_Err_NONE;
}

A_Err Session::Impl::getEffectParamUnionByIndex(AEGP_PluginID, AEGP_EffectRefH effect, PF_ParamIndex index,
                                                PF_ParamType* type, PF_ParamDefUnion* u)
{
    Session* s = sessionOfEffect(effect);
    if (!s || !type || index < 0 || index > static_cast<PF_ParamIndex>(s->params_.size()))
        return A_Err_PARAMETER;
    PF_ParamDef d{};
    valueAt(*s, index, d);
    *type = d.param_type;
    if (u)
        *u = d.u;
    return A_Err_NONE;
}

A_Err Session::Impl::getStreamName(AEGP_StreamRefH stream, A_Boolean, A_char* name)
{
    StreamRef* r = findStream(stream);
    if (!r || !name)
        return A_Err_PARAMETER;
    Session& s = *r->session;
    std::string n;
    auto it = s.rec_.streamNames.find(r->index);
    if (it != s.rec_.streamNames.end())
        n = it->second;
    else if (r->index > 0)
        n = s.params_[static_cast<size_t>(r->index - 1)].name;
    std::snprintf(name, PF_MAX_EFFECT_PARAM_NAME_LEN + 1, "%s", n.c_str());
    return A_Err_NONE;
}

A_Err Session::Impl::setDynamicStreamFlag(AEGP_StreamRefH stream, AEGP_DynStreamFlags flag, A_Boolean,
                                          A_Boolean set)
{
    StreamRef* r = findStream(stream);
    if (!r) {
        noteProblem(currentSession(), "AEGP_SetDynamicStreamFlag on an unknown stream");
        return A_Err_PARAMETER;
    }
    Session& s = *r->session;
    // Only one flag at a time, and only the ones an effect may change.
    const AEGP_DynStreamFlags settable = AEGP_DynStreamFlag_HIDDEN | AEGP_DynStreamFlag_DISABLED |
                                         AEGP_DynStreamFlag_SKIP_REVEAL_WHEN_UNHIDDEN;
    if (flag == 0 || (flag & (flag - 1)) != 0 || (flag & settable) == 0) {
        problem(s, "AEGP_SetDynamicStreamFlag with flag " + std::to_string(flag) + " that cannot be set");
        return A_Err_PARAMETER;
    }
    AEGP_DynStreamFlags& f = s.streamFlags_[r->index];
    if (set)
        f |= flag;
    else
        f &= ~flag;
    s.rec_.streamFlagSets.push_back({r->index, flag, set != 0});
    if (flag == AEGP_DynStreamFlag_HIDDEN)
        s.rec_.hidden[r->index] = set != 0;
    return A_Err_NONE;
}

A_Err Session::Impl::getDynamicStreamFlags(AEGP_StreamRefH stream, AEGP_DynStreamFlags* flags)
{
    StreamRef* r = findStream(stream);
    if (!r || !flags)
        return A_Err_PARAMETER;
    auto it = r->session->streamFlags_.find(r->index);
    *flags = it == r->session->streamFlags_.end() ? 0 : it->second;
    return A_Err_NONE;
}

A_Err Session::Impl::setStreamName(AEGP_StreamRefH stream, const A_char* name)
{
    StreamRef* r = findStream(stream);
    if (!r || !name) {
        noteProblem(currentSession(), "AEGP_SetStreamName on an unknown stream");
        return A_Err_PARAMETER;
    }
    Session& s = *r->session;
    if (r->index == 0) {
        problem(s, "AEGP_SetStreamName on the input layer");
        return A_Err_PARAMETER;
    }
    s.rec_.streamRenames.push_back({r->index, name});
    s.rec_.streamNames[r->index] = name;
    return A_Err_NONE;
}

A_Err Session::Impl::registerWithAEGP(AEGP_GlobalRefcon, const A_char* name, AEGP_PluginID* id)
{
    Session* s = currentSession();
    if (!id || !name)
        return A_Err_PARAMETER;
    if (!s)
        return A_Err_GENERIC;
    if (s->isPremiere()) {
        problem(*s, "AEGP_RegisterWithAEGP called under Premiere");
        return A_Err_MISSING_SUITE;
    }
    static A_long next = 0x100;
    s->rec_.registeredNames.push_back(name);
    s->pluginId_ = ++next;
    s->pluginRegistered_ = true;
    *id = s->pluginId_;
    return A_Err_NONE;
}

A_Err Session::Impl::executeScript(AEGP_PluginID, const A_char* script, const A_Boolean,
                                   AEGP_MemHandle* result, AEGP_MemHandle* error)
{
    Session* s = currentSession();
    if (result)
        *result = nullptr;
    if (error)
        *error = nullptr;
    if (!script)
        return A_Err_PARAMETER;
    if (s && s->isPremiere()) {
        problem(*s, "AEGP_ExecuteScript called under Premiere");
        return A_Err_MISSING_SUITE;
    }
    if (s)
        s->rec_.scripts.push_back(script);
    std::vector<std::string> messages;
    std::string err;
    auto textHandle = [&](const std::string& text) {
        AEGP_MemHandle h = newMemHandle(text.size() + 1, true, s);
        if (h)
            std::memcpy(*reinterpret_cast<void**>(h), text.c_str(), text.size() + 1);
        return h;
    };
    if (!parseAlertScript(script, messages, err)) {
        if (error)
            *error = textHandle(err);
        return A_Err_GENERIC;
    }
    for (const std::string& m : messages) {
        if (s)
            s->rec_.alerts.push_back(m);
        std::cerr << m << "\n";
    }
    if (result)
        *result = textHandle("undefined");
    return A_Err_NONE;
}

PF_Err Session::Impl::addSupportedPixelFormat(PF_ProgPtr ref, PrPixelFormat fmt)
{
    Session* s = fromRef(ref);
    if (!s)
        return PF_Err_BAD_CALLBACK_PARAM;
    s->rec_.supportedFormats.push_back(fmt);
    return PF_Err_NONE;
}

PF_Err Session::Impl::clearSupportedPixelFormats(PF_ProgPtr ref)
{
    Session* s = fromRef(ref);
    if (!s)
        return PF_Err_BAD_CALLBACK_PARAM;
    ++s->rec_.formatClears;
    s->rec_.supportedFormats.clear();
    return PF_Err_NONE;
}

// Worlds the effect asks the host for; the session owns them until disposed of.
static PF_Err makeWorld(Session* s, long long width, long long height, int depth, bool bgra,
                        PF_EffectWorld* world, std::map<const World*, std::unique_ptr<World>>& store)
{
    if (width <= 0 || height <= 0 || width > 30000 || height > 30000)
        return PF_Err_BAD_CALLBACK_PARAM;
    try {
        auto w = std::make_unique<World>(static_cast<int>(width), static_cast<int>(height), depth, bgra);
        *world = *w->def();
        store[w.get()] = std::move(w);
    } catch (const std::bad_alloc&) {
        return PF_Err_OUT_OF_MEMORY;
    }
    (void)s;
    return PF_Err_NONE;
}

PF_Err Session::Impl::newWorld(PF_ProgPtr ref, A_long width, A_long height, PF_Boolean, PF_PixelFormat fmt,
                               PF_EffectWorld* world)
{
    Session* s = fromRef(ref);
    if (!s || !world)
        return PF_Err_BAD_CALLBACK_PARAM;
    int depth;
    if (fmt == PF_PixelFormat_ARGB32)
        depth = 8;
    else if (fmt == PF_PixelFormat_ARGB64)
        depth = 16;
    else if (fmt == PF_PixelFormat_ARGB128)
        depth = 32;
    else {
        problem(*s, "PF_NewWorld with pixel format " + std::to_string(fmt));
        return PF_Err_BAD_CALLBACK_PARAM;
    }
    // New worlds are always cleared here: fresh memory is zeroed by World.
    return makeWorld(s, width, height, depth, false, world, s->createdWorlds_);
}

PF_Err Session::Impl::newWorldOfPixelFormat(PF_ProgPtr ref, A_u_long width, A_u_long height, PF_NewWorldFlags,
                                            PrPixelFormat fmt, PF_EffectWorld* world)
{
    Session* s = fromRef(ref);
    if (!s || !world)
        return PF_Err_BAD_CALLBACK_PARAM;
    if (fmt == PrPixelFormat_BGRA_4444_8u)
        return makeWorld(s, width, height, 8, true, world, s->createdWorlds_);
    if (fmt == PF_PixelFormat_ARGB32)
        return makeWorld(s, width, height, 8, false, world, s->createdWorlds_);
    problem(*s, "NewWorldOfPixelFormat with pixel format " + std::to_string(fmt));
    return PF_Err_BAD_CALLBACK_PARAM;
}

PF_Err Session::Impl::disposeWorld(PF_ProgPtr ref, PF_EffectWorld* world)
{
    Session* s = fromRef(ref);
    if (!s || !world)
        return PF_Err_BAD_CALLBACK_PARAM;
    auto it = s->createdWorlds_.find(static_cast<const World*>(world->reserved0));
    if (it == s->createdWorlds_.end() || it->second->def()->data != world->data) {
        problem(*s, "dispose of a world the effect did not get from the host");
        return PF_Err_BAD_CALLBACK_PARAM;
    }
    s->createdWorlds_.erase(it);
    *world = PF_EffectWorld{};
    return PF_Err_NONE;
}

PF_Err Session::Impl::updateParamUI(PF_ProgPtr ref, PF_ParamIndex index, const PF_ParamDef* def)
{
    Session* s = fromRef(ref);
    if (!s || !def)
        return PF_Err_BAD_CALLBACK_PARAM;
    if (index < 1 || index > static_cast<PF_ParamIndex>(s->params_.size())) {
        problem(*s, "PF_UpdateParamUI: no parameter " + std::to_string(index));
        return PF_Err_INVALID_INDEX;
    }
    AddedParam& p = s->params_[static_cast<size_t>(index - 1)];
    if (def->param_type != p.def.param_type) {
        problem(*s, "PF_UpdateParamUI: parameter " + std::to_string(index) + " given with another type");
        return PF_Err_BAD_CALLBACK_PARAM;
    }
    if (!std::memchr(def->name, 0, sizeof def->name)) {
        problem(*s, "PF_UpdateParamUI: name of parameter " + std::to_string(index) + " is not terminated");
        return PF_Err_BAD_CALLBACK_PARAM;
    }
    p.def.ui_flags = def->ui_flags;
    p.value.ui_flags = def->ui_flags;
    s->rec_.uiUpdates.push_back({index, def->ui_flags, def->name});
    s->rec_.uiFlags[index] = def->ui_flags;
    return PF_Err_NONE;
}

} // namespace glfxhost
