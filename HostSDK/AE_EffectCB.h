// Utility callbacks that the host hands an effect through PF_InData::utils.
#pragma once

#include "AE_Effect.h"

typedef PF_Err (*PF_IteratePixel8Func)(void* refconP, A_long xL, A_long yL, PF_Pixel* inP,
                                       PF_Pixel* outP);
typedef PF_Err (*PF_IteratePixel16Func)(void* refconP, A_long xL, A_long yL, PF_Pixel16* inP,
                                        PF_Pixel16* outP);
typedef PF_Err (*PF_IteratePixelFloatFunc)(void* refconP, A_long xL, A_long yL, PF_PixelFloat* inP,
                                           PF_PixelFloat* outP);

// C library functions of the host.
typedef struct {
    A_FpLong (*atan)(A_FpLong);
    A_FpLong (*atan2)(A_FpLong y, A_FpLong x);
    A_FpLong (*ceil)(A_FpLong);
    A_FpLong (*cos)(A_FpLong);
    A_FpLong (*exp)(A_FpLong);
    A_FpLong (*fabs)(A_FpLong);
    A_FpLong (*floor)(A_FpLong);
    A_FpLong (*fmod)(A_FpLong x, A_FpLong y);
    A_FpLong (*hypot)(A_FpLong x, A_FpLong y);
    A_FpLong (*log)(A_FpLong);
    A_FpLong (*log10)(A_FpLong);
    A_FpLong (*pow)(A_FpLong x, A_FpLong y);
    A_FpLong (*sin)(A_FpLong);
    A_FpLong (*sqrt)(A_FpLong);
    A_FpLong (*tan)(A_FpLong);
    int (*sprintf)(A_char*, const A_char*, ...);
    A_char* (*strcpy)(A_char*, const A_char*);
    A_FpLong (*asin)(A_FpLong);
    A_FpLong (*acos)(A_FpLong);
    A_long ansi_procs[1];
} PF_ANSICallbacks;

// The host's colour-space helpers, embedded in the utility table. Effects of
// this family call none of them.
typedef struct {
    void* RGBtoHLS;
    void* HLStoRGB;
    void* RGBtoYIQ;
    void* YIQtoRGB;
    void* Luminance;
    void* Hue;
    void* Lightness;
    void* Saturation;
} PF_ColorCallbacks;

// The host's utility table, whole: the slots that effects of this family do
// not call are declared by position, typed where their signature is known.
typedef struct _PF_UtilCallbacks {
    void* begin_sampling;
    void* subpixel_sample;
    void* area_sample;
    void* get_batch_func_is_deprecated;
    void* end_sampling;
    void* composite_rect;
    void* blend;
    void* convolve;
    void* copy;
    void* fill;
    void* gaussian_kernel;
    PF_Err (*iterate)(PF_InData* in_data, A_long progress_base, A_long progress_final,
                      PF_EffectWorld* src, const PF_Rect* area, void* refcon,
                      PF_IteratePixel8Func pix_fn, PF_EffectWorld* dst);
    void* premultiply;
    void* premultiply_color;
    void* new_world;
    void* dispose_world;
    void* iterate_origin;
    void* iterate_lut;
    void* transfer_rect;
    void* transform_world;
    PF_Handle (*host_new_handle)(A_u_longlong size);
    void* (*host_lock_handle)(PF_Handle pf_handle);
    void (*host_unlock_handle)(PF_Handle pf_handle);
    void (*host_dispose_handle)(PF_Handle pf_handle);
    void* get_callback_addr;
    PF_Err (*app)(PF_ProgPtr effect_ref, A_long selector, ...);
    PF_ANSICallbacks ansi;
    PF_ColorCallbacks colorCB;
    void* get_platform_data;
    A_u_longlong (*host_get_handle_size)(PF_Handle pf_handle);
    void* iterate_origin_non_clip_src;
    void* iterate_generic;
    PF_Err (*host_resize_handle)(A_u_longlong new_sizeL, PF_Handle* handlePH);
    void* subpixel_sample16;
    void* area_sample16;
    void* fill16;
    void* premultiply_color16;
    void* iterate16;
    void* iterate_origin16;
    void* iterate_origin_non_clip_src16;
    PF_Err (*get_pixel_data8)(PF_EffectWorld* worldP, PF_PixelPtr pixelsP0, PF_Pixel8** pixPP);
    PF_Err (*get_pixel_data16)(PF_EffectWorld* worldP, PF_PixelPtr pixelsP0, PF_Pixel16** pixPP);
    A_long reserved[1];
} PF_UtilCallbacks;

#define PF_SPRINTF (*in_data->utils->ansi.sprintf)
#define PF_STRCPY(DST, SRC) (*in_data->utils->ansi.strcpy)((DST), (SRC))
