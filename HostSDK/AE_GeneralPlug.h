// General plug-in suites of the host. Only the functions that this family of
// effects calls are declared; the others are not reached through these
// records.
#pragma once

#include "AE_Effect.h"

typedef A_long AEGP_PluginID;
typedef A_u_long AEGP_MemSize;
typedef struct _Up_OpaqueMem** AEGP_MemHandle;
typedef struct _AEGP_LayerH* AEGP_LayerH;
typedef struct _AEGP_EffectRefH* AEGP_EffectRefH;

enum { AEGP_MemFlag_NONE = 0, AEGP_MemFlag_CLEAR = 1 << 0, AEGP_MemFlag_QUIET = 1 << 1 };
typedef A_long AEGP_MemFlag;

#define kAEGPPFInterfaceSuite "AEGP PF Interface Suite"
#define kAEGPPFInterfaceSuiteVersion1 1

typedef struct AEGP_PFInterfaceSuite1 {
    A_Err (*AEGP_GetEffectLayer)(PF_ProgPtr effect_ref, AEGP_LayerH* layerPH);
    A_Err (*AEGP_GetNewEffectForEffect)(AEGP_PluginID aegp_plugin_id, PF_ProgPtr effect_ref,
                                        AEGP_EffectRefH* effectPH);
} AEGP_PFInterfaceSuite1;

#define kAEGPLayerSuite "AEGP Layer Suite"
#define kAEGPLayerSuiteVersion5 11

typedef struct AEGP_LayerSuite5 {
    A_Err (*AEGP_GetCompNumLayers)(struct _AEGP_CompH* compH, A_long* num_layersPL);
} AEGP_LayerSuite5;

#define kAEGPItemSuite "AEGP Item Suite"
#define kAEGPItemSuiteVersion6 10

typedef struct AEGP_ItemSuite6 {
    A_Err (*AEGP_GetFirstProjItem)(struct _AEGP_ProjectH* projectH, struct _AEGP_ItemH** itemPH);
} AEGP_ItemSuite6;

#define kAEGPUtilitySuite "AEGP Utility Suite"
#define kAEGPUtilitySuiteVersion5 11

typedef struct AEGP_UtilitySuite5 {
    A_Err (*AEGP_IsScriptingAvailable)(A_Boolean* outAvailablePB);
    A_Err (*AEGP_ExecuteScript)(AEGP_PluginID inPlugin_id, const A_char* inScriptZ,
                                const A_Boolean platform_encodingB, AEGP_MemHandle* outResultPH0,
                                AEGP_MemHandle* outErrorStringPH0);
} AEGP_UtilitySuite5;

#define kAEGPMemorySuite "AEGP Memory Suite"
#define kAEGPMemorySuiteVersion1 1

typedef struct AEGP_MemorySuite1 {
    A_Err (*AEGP_NewMemHandle)(AEGP_PluginID plugin_id, const A_char* whatZ, AEGP_MemSize size,
                               AEGP_MemFlag flags, AEGP_MemHandle* memPH);
    A_Err (*AEGP_FreeMemHandle)(AEGP_MemHandle memH);
    A_Err (*AEGP_LockMemHandle)(AEGP_MemHandle memH, void** ptr_to_ptr);
    A_Err (*AEGP_UnlockMemHandle)(AEGP_MemHandle memH);
    A_Err (*AEGP_GetMemHandleSize)(AEGP_MemHandle memH, AEGP_MemSize* sizeP);
    A_Err (*AEGP_ResizeMemHandle)(const A_char* whatZ, AEGP_MemSize new_size, AEGP_MemHandle memH);
    A_Err (*AEGP_SetMemReportingOn)(A_Boolean turn_OnB);
    A_Err (*AEGP_GetMemStats)(AEGP_PluginID plugin_id, A_long* countPL, A_long* sizePL);
} AEGP_MemorySuite1;
