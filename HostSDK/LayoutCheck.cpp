// The records the host and an effect exchange, pinned to the host's binary
// layout on LP64 (x86-64 and arm64). The numbers were worked out by hand from
// the SDK's published field lists (order, type, width, natural alignment),
// not read off these declarations: a field left out, added or resized here
// moves every field after it and the module would no longer run in a host
// built from the vendor's SDK. Nothing here runs; the build fails instead.
#include <cstddef>

#include "AE_Effect.h"
#include "AE_EffectCB.h"
#include "AE_EffectCBSuites.h"
#include "AE_GeneralPlug.h"
#include "DrawbotSuite.h"
#include "SPBasic.h"

static_assert(sizeof(void*) == 8, "the layouts below are those of LP64");

#define PIN_SIZE(T, N) static_assert(sizeof(T) == (N), "size of " #T)
#define PIN(T, F, N) static_assert(offsetof(T, F) == (N), "offset of " #T "::" #F)

// ---- Effect records ----

PIN_SIZE(PF_InteractCallbacks, 176);
PIN(PF_InteractCallbacks, checkout_param, 0);
PIN(PF_InteractCallbacks, checkin_param, 8);
PIN(PF_InteractCallbacks, add_param, 16);
PIN(PF_InteractCallbacks, abort, 24);
PIN(PF_InteractCallbacks, progress, 32);
PIN(PF_InteractCallbacks, register_ui, 40);
PIN(PF_InteractCallbacks, checkout_layer_audio, 48);
PIN(PF_InteractCallbacks, checkin_layer_audio, 56);
PIN(PF_InteractCallbacks, get_audio_data, 64);
PIN(PF_InteractCallbacks, reserved_str, 72);
PIN(PF_InteractCallbacks, reserved, 96);

PIN_SIZE(PF_SoundWorld, 32);
PIN(PF_SoundWorld, num_samples, 16);
PIN(PF_SoundWorld, dataP, 24);

PIN_SIZE(PF_InData, 408);
PIN(PF_InData, inter, 0);
PIN(PF_InData, utils, 176);
PIN(PF_InData, effect_ref, 184);
PIN(PF_InData, quality, 192);
PIN(PF_InData, version, 196);
PIN(PF_InData, num_params, 208);
PIN(PF_InData, current_time, 224);
PIN(PF_InData, time_step, 228);
PIN(PF_InData, total_time, 232);
PIN(PF_InData, local_time_step, 236);
PIN(PF_InData, time_scale, 240);
PIN(PF_InData, field, 244);
PIN(PF_InData, width, 252);
PIN(PF_InData, extent_hint, 260);
PIN(PF_InData, downsample_x, 284);
PIN(PF_InData, downsample_y, 292);
PIN(PF_InData, pixel_aspect_ratio, 300);
PIN(PF_InData, in_flags, 308);
PIN(PF_InData, global_data, 312);
PIN(PF_InData, sequence_data, 320);
PIN(PF_InData, frame_data, 328);
PIN(PF_InData, start_sampL, 336);
PIN(PF_InData, total_sampL, 344);
PIN(PF_InData, src_snd, 352);
PIN(PF_InData, pica_basicP, 384);
PIN(PF_InData, pre_effect_source_origin_x, 392);
PIN(PF_InData, shutter_phase, 400);

PIN_SIZE(PF_OutData, 408);
PIN(PF_OutData, my_version, 0);
PIN(PF_OutData, name, 4);
PIN(PF_OutData, global_data, 40);
PIN(PF_OutData, num_params, 48);
PIN(PF_OutData, sequence_data, 56);
PIN(PF_OutData, flat_sdata_size, 64);
PIN(PF_OutData, frame_data, 72);
PIN(PF_OutData, width, 80);
PIN(PF_OutData, origin, 88);
PIN(PF_OutData, out_flags, 96);
PIN(PF_OutData, return_msg, 100);
PIN(PF_OutData, start_sampL, 356);
PIN(PF_OutData, dest_snd, 368);
PIN(PF_OutData, out_flags2, 400);

PIN_SIZE(PF_LayerDef, 120);
PIN(PF_LayerDef, world_flags, 16);
PIN(PF_LayerDef, data, 24);
PIN(PF_LayerDef, rowbytes, 32);
PIN(PF_LayerDef, width, 36);
PIN(PF_LayerDef, height, 40);
PIN(PF_LayerDef, extent_hint, 44);
PIN(PF_LayerDef, platform_ref, 64);
PIN(PF_LayerDef, reserved_long1, 72);
PIN(PF_LayerDef, reserved_long4, 80);
PIN(PF_LayerDef, pix_aspect_ratio, 88);
PIN(PF_LayerDef, reserved_long2, 96);
PIN(PF_LayerDef, origin_x, 104);
PIN(PF_LayerDef, reserved_long3, 112);
PIN(PF_LayerDef, dephault, 116);

PIN_SIZE(PF_FloatSliderDef, 88);
PIN(PF_FloatSliderDef, phase, 8);
PIN(PF_FloatSliderDef, value_desc, 16);
PIN(PF_FloatSliderDef, valid_min, 48);
PIN(PF_FloatSliderDef, dephault, 64);
PIN(PF_FloatSliderDef, precision, 68);
PIN(PF_FloatSliderDef, display_flags, 70);
PIN(PF_FloatSliderDef, fs_flags, 72);
PIN(PF_FloatSliderDef, curve_tolerance, 76);
PIN(PF_FloatSliderDef, useExponent, 80);
PIN(PF_FloatSliderDef, exponent, 84);

// The layer world is the largest member of the union.
PIN_SIZE(PF_ParamDefUnion, 120);
PIN_SIZE(PF_ParamDef, 176);
PIN(PF_ParamDef, uu, 0);
PIN(PF_ParamDef, ui_flags, 4);
PIN(PF_ParamDef, ui_width, 8);
PIN(PF_ParamDef, param_type, 12);
PIN(PF_ParamDef, name, 16);
PIN(PF_ParamDef, flags, 48);
PIN(PF_ParamDef, u, 56);

// ---- Smart render ----

PIN_SIZE(PF_RenderRequest, 44);
PIN(PF_RenderRequest, field, 16);
PIN(PF_RenderRequest, channel_mask, 20);
PIN(PF_RenderRequest, preserve_rgb_of_zero_alpha, 24);
PIN(PF_RenderRequest, reserved, 28);

PIN_SIZE(PF_PreRenderInput, 64);
PIN(PF_PreRenderInput, bitdepth, 44);
PIN(PF_PreRenderInput, gpu_data, 48);
PIN(PF_PreRenderInput, device_index, 60);

PIN_SIZE(PF_PreRenderOutput, 56);
PIN(PF_PreRenderOutput, max_result_rect, 16);
PIN(PF_PreRenderOutput, flags, 34);
PIN(PF_PreRenderOutput, pre_render_data, 40);
PIN(PF_PreRenderOutput, delete_pre_render_data_func, 48);

PIN_SIZE(PF_CheckoutResult, 76);
PIN(PF_CheckoutResult, max_result_rect, 16);
PIN(PF_CheckoutResult, par, 32);
PIN(PF_CheckoutResult, ref_width, 44);
PIN(PF_CheckoutResult, reserved, 52);

PIN_SIZE(PF_PreRenderCallbacks, 16);
PIN_SIZE(PF_PreRenderExtra, 24);
PIN(PF_PreRenderExtra, cb, 16);

PIN_SIZE(PF_SmartRenderInput, 72);
PIN(PF_SmartRenderInput, pre_render_data, 48);
PIN(PF_SmartRenderInput, gpu_data, 56);
PIN(PF_SmartRenderInput, device_index, 68);

PIN_SIZE(PF_SmartRenderCallbacks, 24);
PIN(PF_SmartRenderCallbacks, checkout_output, 16);
PIN_SIZE(PF_SmartRenderExtra, 16);
PIN(PF_SmartRenderExtra, cb, 8);

// ---- Function tables ----

PIN_SIZE(PF_ANSICallbacks, 160);
PIN(PF_ANSICallbacks, sprintf, 120);
PIN(PF_ANSICallbacks, strcpy, 128);
PIN(PF_ANSICallbacks, ansi_procs, 152);

PIN_SIZE(PF_UtilCallbacks, 552);
PIN(PF_UtilCallbacks, iterate, 88);
PIN(PF_UtilCallbacks, host_new_handle, 160);
PIN(PF_UtilCallbacks, app, 200);
PIN(PF_UtilCallbacks, ansi, 208);
PIN(PF_UtilCallbacks, colorCB, 368);
PIN(PF_UtilCallbacks, get_platform_data, 432);
PIN(PF_UtilCallbacks, host_resize_handle, 464);
PIN(PF_UtilCallbacks, iterate_origin_non_clip_src16, 520);
PIN(PF_UtilCallbacks, get_pixel_data8, 528);
PIN(PF_UtilCallbacks, get_pixel_data16, 536);
PIN(PF_UtilCallbacks, reserved, 544);

PIN_SIZE(PF_ANSICallbacksSuite1, 152);
PIN(PF_ANSICallbacksSuite1, sprintf, 120);
PIN_SIZE(PF_HandleSuite1, 48);
PIN(PF_HandleSuite1, host_dispose_handle, 24);
PIN_SIZE(PF_iterateFloatSuite1, 24);
PIN(PF_iterateFloatSuite1, iterate, 0);

PIN_SIZE(SPBasicSuite, 56);
PIN(SPBasicSuite, AcquireSuite, 0);
PIN(SPBasicSuite, ReleaseSuite, 8);
PIN(SPBasicSuite, Undefined, 48);

PIN_SIZE(AEGP_MemorySuite1, 64);
PIN(AEGP_MemorySuite1, AEGP_FreeMemHandle, 8);
PIN(AEGP_MemorySuite1, AEGP_LockMemHandle, 16);

PIN_SIZE(AEGP_UtilitySuite5, 248);
PIN(AEGP_UtilitySuite5, AEGP_IsScriptingAvailable, 208);
PIN(AEGP_UtilitySuite5, AEGP_ExecuteScript, 216);

PIN_SIZE(DRAWBOT_DrawbotSuite1, 16);
PIN_SIZE(DRAWBOT_Suites, 48);
PIN(DRAWBOT_Suites, path_suiteP, 24);
