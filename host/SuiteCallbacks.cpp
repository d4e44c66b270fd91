// The suite callbacks that work on a session's state: AEGP registration,
// scripts, effect and stream references, pixel formats, worlds and the
// parameter UI.
#include "host/SuiteCallbacks.h"

#include "host/AegpRefs.h"
#include "host/AlertScript.h"
#include "host/Session.h"
#include "host/SessionAccess.h"
#include "host/SessionRegistry.h"

#include <cstdio>
#include <cstring>
#include <iostream>
#include <map>
#include <memory>
#include <new>
#include <string>
#include <vector>

namespace glfxhost {

// ---- callbacks with session state ------------------------------------------

namespace {
using A = SessionAccess;
} // namespace

A_Err SuiteCallbacks::getNewEffectForEffect(AEGP_PluginID id, PF_ProgPtr ref, AEGP_EffectRefH* effect)
{
    Session* s = A::fromRef(ref);
    if (!s || !effect)
        return A_Err_PARAMETER;
    if (!s->pluginRegistered_ || id != s->pluginId_) {
        A::problem(*s, "AEGP_GetNewEffectForEffect with plug-in id " + std::to_string(id) +
                           " that was not registered");
        return A_Err_PARAMETER;
    }
    *effect = newEffectRef(s);
    return A_Err_NONE;
}

A_Err SuiteCallbacks::getNewEffectStreamByIndex(AEGP_PluginID id, AEGP_EffectRefH effect, PF_ParamIndex index,
                                                AEGP_StreamRefH* stream)
{
    Session* s = sessionOfEffect(effect);
    if (!s || !stream) {
        noteProblem(currentSession(), "AEGP_GetNewEffectStreamByIndex with an unknown effect");
        return A_Err_PARAMETER;
    }
    if (!s->pluginRegistered_ || id != s->pluginId_) {
        A::problem(*s, "AEGP_GetNewEffectStreamByIndex with plug-in id " + std::to_string(id) +
                           " that was not registered");
        return A_Err_PARAMETER;
    }
    if (index < 0 || index > static_cast<PF_ParamIndex>(s->params_.size())) {
        A::problem(*s, "AEGP_GetNewEffectStreamByIndex: no parameter " + std::to_string(index));
        return A_Err_PARAMETER;
    }
    *stream = newStreamRef(s, index);
    return A_Err_NONE;
}

A_Err SuiteCallbacks::getEffectNumParamStreams(AEGP_EffectRefH effect, A_long* n)
{
    Session* s = sessionOfEffect(effect);
    if (!s || !n)
        return A_Err_PARAMETER;
    *n = static_cast<A_long>(s->params_.size() + 1);
    return A_Err_NONE;
}

A_Err SuiteCallbacks::getEffectParamUnionByIndex(AEGP_PluginID, AEGP_EffectRefH effect, PF_ParamIndex index,
                                                 PF_ParamType* type, PF_ParamDefUnion* u)
{
    Session* s = sessionOfEffect(effect);
    if (!s || !type || index < 0 || index > static_cast<PF_ParamIndex>(s->params_.size()))
        return A_Err_PARAMETER;
    PF_ParamDef d{};
    A::valueAt(*s, index, d);
    *type = d.param_type;
    if (u)
        *u = d.u;
    return A_Err_NONE;
}

A_Err SuiteCallbacks::getStreamName(AEGP_StreamRefH stream, A_Boolean, A_char* name)
{
    Session* owner = nullptr;
    PF_ParamIndex index = 0;
    if (!findStreamRef(stream, owner, index) || !name)
        return A_Err_PARAMETER;
    Session& s = *owner;
    std::string n;
    auto it = s.rec_.streamNames.find(index);
    if (it != s.rec_.streamNames.end())
        n = it->second;
    else if (index > 0)
        n = s.params_[static_cast<size_t>(index - 1)].name;
    std::snprintf(name, PF_MAX_EFFECT_PARAM_NAME_LEN + 1, "%s", n.c_str());
    return A_Err_NONE;
}

A_Err SuiteCallbacks::setDynamicStreamFlag(AEGP_StreamRefH stream, AEGP_DynStreamFlags flag, A_Boolean,
                                           A_Boolean set)
{
    Session* owner = nullptr;
    PF_ParamIndex index = 0;
    if (!findStreamRef(stream, owner, index)) {
        noteProblem(currentSession(), "AEGP_SetDynamicStreamFlag on an unknown stream");
        return A_Err_PARAMETER;
    }
    Session& s = *owner;
    auto fault = s.faults_.streamFlagErrors.find(index);
    if (fault != s.faults_.streamFlagErrors.end() && fault->second != A_Err_NONE)
        return fault->second;
    // Only one flag at a time, and only the ones an effect may change.
    const AEGP_DynStreamFlags settable = AEGP_DynStreamFlag_HIDDEN | AEGP_DynStreamFlag_DISABLED |
                                         AEGP_DynStreamFlag_SKIP_REVEAL_WHEN_UNHIDDEN;
    if (flag == 0 || (flag & (flag - 1)) != 0 || (flag & settable) == 0) {
        A::problem(s, "AEGP_SetDynamicStreamFlag with flag " + std::to_string(flag) + " that cannot be set");
        return A_Err_PARAMETER;
    }
    AEGP_DynStreamFlags& f = s.streamFlags_[index];
    if (set)
        f |= flag;
    else
        f &= ~flag;
    s.rec_.add(s.rec_.streamFlagSets, StreamFlagSet{index, flag, set != 0});
    if (flag == AEGP_DynStreamFlag_HIDDEN)
        s.rec_.hidden[index] = set != 0;
    return A_Err_NONE;
}

A_Err SuiteCallbacks::getDynamicStreamFlags(AEGP_StreamRefH stream, AEGP_DynStreamFlags* flags)
{
    Session* owner = nullptr;
    PF_ParamIndex index = 0;
    if (!findStreamRef(stream, owner, index) || !flags)
        return A_Err_PARAMETER;
    auto it = owner->streamFlags_.find(index);
    *flags = it == owner->streamFlags_.end() ? 0 : it->second;
    return A_Err_NONE;
}

A_Err SuiteCallbacks::setStreamName(AEGP_StreamRefH stream, const A_char* name)
{
    Session* owner = nullptr;
    PF_ParamIndex index = 0;
    if (!findStreamRef(stream, owner, index) || !name) {
        noteProblem(currentSession(), "AEGP_SetStreamName on an unknown stream");
        return A_Err_PARAMETER;
    }
    Session& s = *owner;
    if (index == 0) {
        A::problem(s, "AEGP_SetStreamName on the input layer");
        return A_Err_PARAMETER;
    }
    s.rec_.add(s.rec_.streamRenames, StreamRename{index, name});
    s.rec_.streamNames[index] = name;
    return A_Err_NONE;
}

A_Err SuiteCallbacks::registerWithAEGP(AEGP_GlobalRefcon, const A_char* name, AEGP_PluginID* id)
{
    Session* s = currentSession();
    if (!id || !name)
        return A_Err_PARAMETER;
    if (!s)
        return A_Err_GENERIC;
    if (s->isPremiere()) {
        A::problem(*s, "AEGP_RegisterWithAEGP called under Premiere");
        return A_Err_MISSING_SUITE;
    }
    if (s->faults_.registerError != A_Err_NONE)
        return s->faults_.registerError;
    static A_long next = 0x100;
    s->rec_.add(s->rec_.registeredNames, name);
    s->pluginId_ = ++next;
    s->pluginRegistered_ = true;
    *id = s->pluginId_;
    return A_Err_NONE;
}

A_Err SuiteCallbacks::executeScript(AEGP_PluginID, const A_char* script, const A_Boolean,
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
        A::problem(*s, "AEGP_ExecuteScript called under Premiere");
        return A_Err_MISSING_SUITE;
    }
    if (s)
        s->rec_.add(s->rec_.scripts, script);
    if (s && s->faults_.scriptError != A_Err_NONE)
        return s->faults_.scriptError;
    std::vector<std::string> messages;
    std::string err;
    auto textHandle = [&](const std::string& text) {
        AEGP_MemHandle h = newMemHandle(text.size() + 1, true, s);
        if (h)
            std::memcpy(memHandleData(h), text.c_str(), text.size() + 1);
        return h;
    };
    if (!parseAlertScript(script, messages, err)) {
        if (error)
            *error = textHandle(err);
        return A_Err_GENERIC;
    }
    for (const std::string& m : messages) {
        if (s)
            s->rec_.add(s->rec_.alerts, m);
        std::cerr << m << "\n";
    }
    if (result)
        *result = textHandle("undefined");
    return A_Err_NONE;
}

PF_Err SuiteCallbacks::addSupportedPixelFormat(PF_ProgPtr ref, PrPixelFormat fmt)
{
    Session* s = A::fromRef(ref);
    if (!s)
        return PF_Err_BAD_CALLBACK_PARAM;
    s->rec_.add(s->rec_.supportedFormats, fmt);
    return PF_Err_NONE;
}

PF_Err SuiteCallbacks::clearSupportedPixelFormats(PF_ProgPtr ref)
{
    Session* s = A::fromRef(ref);
    if (!s)
        return PF_Err_BAD_CALLBACK_PARAM;
    ++s->rec_.formatClears;
    s->rec_.supportedFormats.clear();
    return PF_Err_NONE;
}

namespace {
// Worlds the effect asks the host for; the session owns them until disposed of.
PF_Err makeWorld(long long width, long long height, int depth, bool bgra, PF_EffectWorld* world,
                 std::map<const World*, std::unique_ptr<World>>& store)
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
    return PF_Err_NONE;
}
} // namespace

PF_Err SuiteCallbacks::newWorld(PF_ProgPtr ref, A_long width, A_long height, PF_Boolean, PF_PixelFormat fmt,
                                PF_EffectWorld* world)
{
    Session* s = A::fromRef(ref);
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
        A::problem(*s, "PF_NewWorld with pixel format " + std::to_string(fmt));
        return PF_Err_BAD_CALLBACK_PARAM;
    }
    // New worlds are always cleared here: fresh memory is zeroed by World.
    return makeWorld(width, height, depth, false, world, s->createdWorlds_);
}

PF_Err SuiteCallbacks::newWorldOfPixelFormat(PF_ProgPtr ref, A_u_long width, A_u_long height,
                                             PF_NewWorldFlags, PrPixelFormat fmt, PF_EffectWorld* world)
{
    Session* s = A::fromRef(ref);
    if (!s || !world)
        return PF_Err_BAD_CALLBACK_PARAM;
    if (fmt == PrPixelFormat_BGRA_4444_8u)
        return makeWorld(width, height, 8, true, world, s->createdWorlds_);
    if (fmt == PF_PixelFormat_ARGB32)
        return makeWorld(width, height, 8, false, world, s->createdWorlds_);
    A::problem(*s, "NewWorldOfPixelFormat with pixel format " + std::to_string(fmt));
    return PF_Err_BAD_CALLBACK_PARAM;
}

PF_Err SuiteCallbacks::disposeWorld(PF_ProgPtr ref, PF_EffectWorld* world)
{
    Session* s = A::fromRef(ref);
    if (!s || !world)
        return PF_Err_BAD_CALLBACK_PARAM;
    auto it = s->createdWorlds_.find(static_cast<const World*>(world->reserved0));
    if (it == s->createdWorlds_.end() || it->second->def()->data != world->data) {
        A::problem(*s, "dispose of a world the effect did not get from the host");
        return PF_Err_BAD_CALLBACK_PARAM;
    }
    s->createdWorlds_.erase(it);
    *world = PF_EffectWorld{};
    return PF_Err_NONE;
}

PF_Err SuiteCallbacks::updateParamUI(PF_ProgPtr ref, PF_ParamIndex index, const PF_ParamDef* def)
{
    Session* s = A::fromRef(ref);
    if (!s || !def)
        return PF_Err_BAD_CALLBACK_PARAM;
    if (index < 1 || index > static_cast<PF_ParamIndex>(s->params_.size())) {
        A::problem(*s, "PF_UpdateParamUI: no parameter " + std::to_string(index));
        return PF_Err_INVALID_INDEX;
    }
    if (s->faults_.updateParamUIError != PF_Err_NONE)
        return s->faults_.updateParamUIError;
    AddedParam& p = s->params_[static_cast<size_t>(index - 1)];
    if (def->param_type != p.def.param_type) {
        A::problem(*s, "PF_UpdateParamUI: parameter " + std::to_string(index) + " given with another type");
        return PF_Err_BAD_CALLBACK_PARAM;
    }
    if (!std::memchr(def->name, 0, sizeof def->name)) {
        A::problem(*s, "PF_UpdateParamUI: name of parameter " + std::to_string(index) + " is not terminated");
        return PF_Err_BAD_CALLBACK_PARAM;
    }
    p.def.ui_flags = def->ui_flags;
    p.value.ui_flags = def->ui_flags;
    s->rec_.add(s->rec_.uiUpdates, UIUpdate{index, def->ui_flags, def->name});
    s->rec_.uiFlags[index] = def->ui_flags;
    return PF_Err_NONE;
}

} // namespace glfxhost
