/* The interface headers must stay valid C: compile them in a C unit. */
#include "sdk/A.h"
#include "sdk/AE_Effect.h"
#include "sdk/AE_EffectCB.h"
#include "sdk/AE_EffectCBSuites.h"
#include "sdk/AE_EffectSuites.h"
#include "sdk/AE_GeneralPlug.h"
#include "sdk/PrSDKPixelFormat.h"
#include "sdk/SPBasic.h"

/* Used by the C++ test so that this unit is linked and checked. */
int sdk_c_sizeof_param_def(void) { return (int)sizeof(PF_ParamDef); }
