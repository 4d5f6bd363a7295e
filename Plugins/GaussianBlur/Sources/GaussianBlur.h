#pragma once

#include "AE_Effect.h"
#include "entry.h"

// The one function through which the host reaches the effect.
extern "C" DllExport PF_Err EntryPointFunc(PF_Cmd cmd, PF_InData* in_data, PF_OutData* out_data,
                                           PF_ParamDef* params[], PF_LayerDef* output, void* extra);

namespace Brindel::GaussianBlur {

// Rectangle helpers for the host's records. A rectangle is empty when it has
// no width or no height.
bool IsEmptyRect(const PF_LRect* rect);

} // namespace Brindel::GaussianBlur
