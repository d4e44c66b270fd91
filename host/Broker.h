/* The suite broker handed to the effect as in_data->pica_basicP, and the
   utility callbacks of in_data->utils. One table each for the whole process;
   what a session's faults change is applied per call. */
#pragma once

#include "sdk/AE_Effect.h"
#include "sdk/AE_EffectCB.h"
#include "sdk/SPBasic.h"

namespace glfxhost {

/* AcquireSuite hands out the suites by name and version; under Premiere none
   of the AEGP ones, and none of those a session's faults name. */
SPBasicSuite* basicSuite();
/* The handle callbacks and the ANSI functions. */
const PF_UtilCallbacks* utilCallbacks();

} // namespace glfxhost
