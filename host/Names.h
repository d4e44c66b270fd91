/* Readable names of the codes the host and the effect exchange, for
   messages, records and the glfx command's output. */
#pragma once

#include "host/HostMode.h"
#include "sdk/AE_Effect.h"

namespace glfxhost {

/* "ae" or "premiere". */
const char* hostModeName(HostMode mode);

/* Name of a command selector ("GLOBAL_SETUP", ...), "UNKNOWN" otherwise. */
const char* commandName(PF_Cmd cmd);

/* Name of a parameter type without its prefix ("FLOAT_SLIDER", "POPUP", ...),
   "UNKNOWN" for other values. */
const char* paramTypeName(PF_ParamType type);

} // namespace glfxhost
