// The per-instance record (EffectData) in the host's sequence-data handle and
// the four sequence commands.
#pragma once

#include "gl/EffectData.h"
#include "glfx/Cglfx.h"
#include "sdk/AE_Effect.h"

namespace glfxshell {

// The instance record a handle holds, or null when the handle is null, holds
// no data, or is known to be smaller than one record.
EffectData* recordOf(const PF_InData* in_data, PF_Handle handle);

// The record of `handle` made live for this command (glfxowner::adopt): its
// pointer fields are views of this instance's owner, or null when the bytes
// came from elsewhere (another process, build or a tampered project).
EffectData* liveRecord(const PF_InData* in_data, PF_Handle handle);

} // namespace glfxshell

// Makes sure the sequence-data handle holds exactly one record:
// resizes a handle of the wrong size (the bytes that fit are kept, added bytes
// are zeroed and every pointer in the record is dropped without being read), or allocates a new zero-filled one into out_data->sequence_data
// and sets flat_sdata_size. An allocation failure puts an out-of-memory message
// in return_msg and returns PF_Err_INTERNAL_STRUCT_DAMAGED.
PF_Err SequenceSetup(PF_InData* in_data, PF_OutData* out_data, PF_ParamDef** params, PF_LayerDef* output);

namespace glfxshell {

// SEQUENCE_SETUP: SequenceSetup, then the record's visibility from the
// description, no defines, rebuild set, no GPU context yet.
PF_Err SequenceSetupCommand(PF_InData* in_data, PF_OutData* out_data, PF_ParamDef** params,
                            PF_LayerDef* output, const cglfx& fx);

// SEQUENCE_RESETUP: re-attaches a record (from a saved project or after a
// flatten). Pointers read back from flattened bytes are stale: the context
// pointer is dropped, not released.
PF_Err SequenceResetup(PF_InData* in_data, PF_OutData* out_data, PF_ParamDef** params, PF_LayerDef* output);

// SEQUENCE_FLATTEN: releases the GPU side and buffers; the record stays in the
// handle with all its pointers null.
PF_Err SequenceFlatten(PF_InData* in_data, PF_OutData* out_data);

// SEQUENCE_SETDOWN: releases everything and disposes of the handle.
PF_Err SequenceSetdown(PF_InData* in_data, PF_OutData* out_data);

} // namespace glfxshell
