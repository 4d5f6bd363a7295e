// General plug-in suites of the host. Suites whose functions this family of
// effects calls are declared whole, slot by slot; suites that are only
// acquired (to make sure the host has them) are opaque, so that nothing can be
// called through them.
#pragma once

#include "AE_Effect.h"

typedef A_long AEGP_PluginID;
typedef A_u_long AEGP_MemSize;
typedef struct _Up_OpaqueMem** AEGP_MemHandle;
typedef struct _AEGP_GlobalRefcon* AEGP_GlobalRefcon;
typedef struct AEGP_ErrReportState AEGP_ErrReportState;

typedef struct {
    A_FpLong alpha, red, green, blue;
} AEGP_ColorVal;

enum { AEGP_MemFlag_NONE = 0, AEGP_MemFlag_CLEAR = 1 << 0, AEGP_MemFlag_QUIET = 1 << 1 };
typedef A_long AEGP_MemFlag;

#define kAEGPPFInterfaceSuite "AEGP PF Interface Suite"
#define kAEGPPFInterfaceSuiteVersion1 1
typedef struct AEGP_PFInterfaceSuite1 AEGP_PFInterfaceSuite1;

#define kAEGPLayerSuite "AEGP Layer Suite"
#define kAEGPLayerSuiteVersion5 11
typedef struct AEGP_LayerSuite5 AEGP_LayerSuite5;

#define kAEGPItemSuite "AEGP Item Suite"
#define kAEGPItemSuiteVersion6 10
typedef struct AEGP_ItemSuite6 AEGP_ItemSuite6;

#define kAEGPUtilitySuite "AEGP Utility Suite"
#define kAEGPUtilitySuiteVersion5 11

typedef struct AEGP_UtilitySuite5 {
    A_Err (*AEGP_ReportInfo)(AEGP_PluginID aegp_plugin_id, const A_char* info_stringZ);
    A_Err (*AEGP_GetDriverPluginInitFuncVersion)(A_short* major_versionPS,
                                                 A_short* minor_versionPS);
    A_Err (*AEGP_GetDriverImplementationVersion)(A_short* major_versionPS,
                                                 A_short* minor_versionPS);
    A_Err (*AEGP_StartQuietErrors)(AEGP_ErrReportState* err_stateP);
    A_Err (*AEGP_EndQuietErrors)(A_Boolean report_quieted_errorsB, AEGP_ErrReportState* err_stateP);
    A_Err (*AEGP_GetLastErrorMessage)(A_long buffer_size, A_char* error_string, A_Err* error_num);
    A_Err (*AEGP_StartUndoGroup)(const A_char* undo_nameZ);
    A_Err (*AEGP_EndUndoGroup)(void);
    A_Err (*AEGP_RegisterWithAEGP)(AEGP_GlobalRefcon global_refcon, const A_char* plugin_nameZ,
                                   AEGP_PluginID* plugin_id);
    A_Err (*AEGP_GetMainHWND)(void* main_hwnd);
    A_Err (*AEGP_ShowHideAllFloaters)(A_Boolean include_tool_palB);
    A_Err (*AEGP_PaintPalGetForeColor)(AEGP_ColorVal* fore_colorP);
    A_Err (*AEGP_PaintPalGetBackColor)(AEGP_ColorVal* back_colorP);
    A_Err (*AEGP_PaintPalSetForeColor)(const AEGP_ColorVal* fore_colorP);
    A_Err (*AEGP_PaintPalSetBackColor)(const AEGP_ColorVal* back_colorP);
    A_Err (*AEGP_CharPalGetFillColor)(A_Boolean* is_fcolor_definedPB, AEGP_ColorVal* fill_colorP);
    A_Err (*AEGP_CharPalGetStrokeColor)(A_Boolean* is_scolor_definedPB,
                                        AEGP_ColorVal* stroke_colorP);
    A_Err (*AEGP_CharPalSetFillColor)(const AEGP_ColorVal* fill_colorP);
    A_Err (*AEGP_CharPalSetStrokeColor)(const AEGP_ColorVal* stroke_colorP);
    A_Err (*AEGP_CharPalIsFillColorUIFrontmost)(A_Boolean* is_fcolor_selectedPB);
    A_Err (*AEGP_ConvertFpLongToHSFRatio)(A_FpLong numberF, A_Ratio* ratioPR);
    A_Err (*AEGP_ConvertHSFRatioToFpLong)(A_Ratio ratioR, A_FpLong* numberPF);
    A_Err (*AEGP_CauseIdleRoutinesToBeCalled)(void);
    A_Err (*AEGP_GetSuppressInteractiveUI)(A_Boolean* ui_is_suppressedPB);
    A_Err (*AEGP_WriteToOSConsole)(const A_char* textZ);
    A_Err (*AEGP_WriteToDebugLog)(const A_char* subsystemZ, const A_char* event_typeZ,
                                  const A_char* infoZ);
    A_Err (*AEGP_IsScriptingAvailable)(A_Boolean* outAvailablePB);
    A_Err (*AEGP_ExecuteScript)(AEGP_PluginID inPlugin_id, const A_char* inScriptZ,
                                const A_Boolean platform_encodingB, AEGP_MemHandle* outResultPH0,
                                AEGP_MemHandle* outErrorStringPH0);
    A_Err (*AEGP_HostIsActivated)(A_Boolean* is_activatedPB);
    A_Err (*AEGP_GetPluginPlatformRef)(AEGP_PluginID plug_id, void** plat_refPPV);
    A_Err (*AEGP_UpdateFontList)(void);
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
