/* Effect handles (PF_Handle): a block whose first member is the data
   pointer, so that *handle is the data. Each belongs to the session that was
   running a command when it was made; the effect disposes of it, or the
   session does when it ends. */
#pragma once

#include "sdk/AE_Effect.h"

namespace glfxhost {

class Session;

/* Null when `size` is beyond 1 TiB or memory runs out. Fresh memory holds
   0xCD, not zeros, as a real host's is not cleared. */
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

} // namespace glfxhost
