/* Glue shared by the host's implementation files: the session whose command
   runs on this thread, the handle registries and the callback tables. */
#pragma once

#include "host/Host.h"
#include "sdk/SPBasic.h"

#include <string>

namespace glfxhost {

/* The session whose command is running on this thread (null between
   commands). Callbacks without an effect_ref find their session here. */
Session* currentSession();

class CurrentSessionScope {
public:
    explicit CurrentSessionScope(Session* s);
    ~CurrentSessionScope();

private:
    Session* previous_;
};

/* Whether `s` is a live session (effect_ref values are checked with it). */
bool isLiveSession(const void* s);
void registerSession(Session* s);
void unregisterSession(Session* s);

/* Whether `w` is a live World (PF_LayerDef::reserved0 points at its World). */
bool isLiveWorld(const World* w);

/* Host handles: a malloc'ed block whose first member is the data pointer, so
   that *handle is the data. */
PF_Handle newHandle(A_u_longlong size, Session* owner);
void* lockHandle(PF_Handle h);
void unlockHandle(PF_Handle h);
void disposeHandle(PF_Handle h);
A_u_longlong handleSize(PF_Handle h); // 0 for an unknown handle
PF_Err resizeHandle(A_u_longlong size, PF_Handle* h);
bool isLiveHandle(PF_Handle h);
int liveHandlesOf(const Session* owner);
/* Disposes of every handle `owner` still has; returns how many. */
int disposeHandlesOf(const Session* owner);

/* AEGP memory handles and effect/stream references. */
AEGP_MemHandle newMemHandle(AEGP_MemSize size, bool clear, Session* owner);
int liveMemHandlesOf(const Session* owner);
int liveEffectRefsOf(const Session* owner);
int liveStreamRefsOf(const Session* owner);
void releaseRefsOf(const Session* owner);

/* The broker and the utility callbacks handed to the plug-in. */
SPBasicSuite* basicSuite();
PF_UtilCallbacks* utilCallbacks();

/* Notes a misuse of a callback in the current (or given) session. */
void noteProblem(Session* s, const std::string& what);

/* The messages of a script made of alert('...') calls; false when the script
   holds anything else (this host's scripting engine knows only alert). */
bool parseAlertScript(const std::string& script, std::vector<std::string>& messages, std::string& error);

} // namespace glfxhost

namespace glfxhost {

/* The callbacks that need a session's private state. */
struct Session::Impl {
    static Session* fromRef(PF_ProgPtr ref);
    // interact callbacks
    static PF_Err checkoutParam(PF_ProgPtr ref, PF_ParamIndex index, A_long what_time, A_long time_step,
                                A_u_long time_scale, PF_ParamDef* param);
    static PF_Err checkinParam(PF_ProgPtr ref, PF_ParamDef* param);
    static PF_Err addParam(PF_ProgPtr ref, PF_ParamIndex index, PF_ParamDefPtr def);
    static PF_Err abortCheck(PF_ProgPtr ref);
    static PF_Err progress(PF_ProgPtr ref, A_long current, A_long total);
    // smart render callbacks
    static PF_Err checkoutLayer(PF_ProgPtr ref, PF_ParamIndex index, A_long checkout_id,
                                const PF_RenderRequest* req, A_long what_time, A_long time_step,
                                A_u_long time_scale, PF_CheckoutResult* result);
    static PF_Err guidMixIn(PF_ProgPtr ref, A_u_long size, const void* buf);
    static PF_Err checkoutLayerPixels(PF_ProgPtr ref, A_long checkout_id, PF_EffectWorld** pixels);
    static PF_Err checkinLayerPixels(PF_ProgPtr ref, A_long checkout_id);
    static PF_Err checkoutOutput(PF_ProgPtr ref, PF_EffectWorld** output);
    // suites with session state
    static PF_Err addSupportedPixelFormat(PF_ProgPtr ref, PrPixelFormat fmt);
    static PF_Err clearSupportedPixelFormats(PF_ProgPtr ref);
    static PF_Err newWorld(PF_ProgPtr ref, A_long width, A_long height, PF_Boolean clear, PF_PixelFormat fmt,
                           PF_EffectWorld* world);
    static PF_Err newWorldOfPixelFormat(PF_ProgPtr ref, A_u_long width, A_u_long height,
                                        PF_NewWorldFlags flags, PrPixelFormat fmt, PF_EffectWorld* world);
    static PF_Err disposeWorld(PF_ProgPtr ref, PF_EffectWorld* world);
    static PF_Err updateParamUI(PF_ProgPtr ref, PF_ParamIndex index, const PF_ParamDef* def);
    static A_Err registerWithAEGP(AEGP_GlobalRefcon refcon, const A_char* name, AEGP_PluginID* id);
    static A_Err executeScript(AEGP_PluginID id, const A_char* script, const A_Boolean platform,
                               AEGP_MemHandle* result, AEGP_MemHandle* error);
    static A_Err getNewEffectForEffect(AEGP_PluginID id, PF_ProgPtr ref, AEGP_EffectRefH* effect);
    static A_Err getNewEffectStreamByIndex(AEGP_PluginID id, AEGP_EffectRefH effect, PF_ParamIndex index,
                                           AEGP_StreamRefH* stream);
    static A_Err getEffectNumParamStreams(AEGP_EffectRefH effect, A_long* n);
    static A_Err getEffectParamUnionByIndex(AEGP_PluginID id, AEGP_EffectRefH effect, PF_ParamIndex index,
                                            PF_ParamType* type, PF_ParamDefUnion* u);
    static A_Err getStreamName(AEGP_StreamRefH stream, A_Boolean force_english, A_char* name);
    static A_Err setDynamicStreamFlag(AEGP_StreamRefH stream, AEGP_DynStreamFlags flag, A_Boolean undoable,
                                      A_Boolean set);
    static A_Err getDynamicStreamFlags(AEGP_StreamRefH stream, AEGP_DynStreamFlags* flags);
    static A_Err setStreamName(AEGP_StreamRefH stream, const A_char* name);

    // Value record of host index `index` as checked out (layers filled in).
    static void valueAt(Session& s, int index, PF_ParamDef& out);
    static void problem(Session& s, const std::string& what);
    static void recordSuite(Session& s, const char* name, bool acquired);
    static void recordSuiteMiss(Session& s, const std::string& what);
};

} // namespace glfxhost
