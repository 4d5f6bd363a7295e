// An effect that refuses global setup, for testing how a host reports a
// plug-in's error.
#include "AE_Effect.h"
#include "entry.h"

extern "C" DllExport PF_Err EntryPointFunc(PF_Cmd cmd, PF_InData*, PF_OutData*, PF_ParamDef*[],
                                           PF_LayerDef*, void*) {
    return cmd == PF_Cmd_GLOBAL_SETUP ? PF_Err_OUT_OF_MEMORY : PF_Err_NONE;
}
