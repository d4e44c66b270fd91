/* AEGP memory handles, effect references and stream references. Each belongs
   to a session; the effect disposes of it, or the session does when it ends. */
#pragma once

#include "sdk/AE_Effect.h"
#include "sdk/AE_GeneralPlug.h"

namespace glfxhost {

class Session;

/* A memory handle of `size` bytes (zeros when `clear`, else 0xCD); null
   beyond 1 TiB or when memory runs out. */
AEGP_MemHandle newMemHandle(AEGP_MemSize size, bool clear, Session* owner);
/* The data of a live memory handle, null otherwise. */
void* memHandleData(AEGP_MemHandle h);

AEGP_EffectRefH newEffectRef(Session* owner);
/* The session of a live effect reference, null otherwise. */
Session* sessionOfEffect(AEGP_EffectRefH h);
A_Err disposeEffectRef(AEGP_EffectRefH h);

AEGP_StreamRefH newStreamRef(Session* owner, PF_ParamIndex index);
/* The session and parameter index of a live stream reference; false for
   anything else. */
bool findStreamRef(AEGP_StreamRefH h, Session*& owner, PF_ParamIndex& index);
A_Err disposeStreamRef(AEGP_StreamRefH h);

/* The memory suite's table. */
const AEGP_MemorySuite1* memorySuite();

int liveMemHandlesOf(const Session* owner);
int liveEffectRefsOf(const Session* owner);
int liveStreamRefsOf(const Session* owner);
/* Frees every memory handle and reference `owner` still has. */
void releaseRefsOf(const Session* owner);

} // namespace glfxhost
