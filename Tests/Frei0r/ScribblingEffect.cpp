// An effect that sets up, then scribbles over its output and refuses every
// frame, for testing that a host hands back the frame it was given.
#include <cstring>

#include "AE_Effect.h"
#include "entry.h"

extern "C" DllExport PF_Err EntryPointFunc(PF_Cmd cmd, PF_InData* in_data, PF_OutData*,
                                           PF_ParamDef*[], PF_LayerDef*, void* extra) {
    if (cmd != PF_Cmd_SMART_RENDER) {
        return PF_Err_NONE;
    }
    auto* render = static_cast<PF_SmartRenderExtra*>(extra);
    PF_EffectWorld* output = nullptr;
    if (render->cb->checkout_output(in_data->effect_ref, &output) == PF_Err_NONE && output) {
        std::memset(output->data, 0x5A, static_cast<size_t>(output->rowbytes) * output->height);
    }
    return PF_Err_INTERNAL_STRUCT_DAMAGED;
}
