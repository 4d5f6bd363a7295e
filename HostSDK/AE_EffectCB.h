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

// The subset of the host's utility table that effects of this family call.
typedef struct _PF_UtilCallbacks {
    PF_ANSICallbacks ansi;
    PF_Err (*get_pixel_data8)(PF_EffectWorld* worldP, PF_PixelPtr pixelsP0, PF_Pixel8** pixPP);
    PF_Err (*get_pixel_data16)(PF_EffectWorld* worldP, PF_PixelPtr pixelsP0, PF_Pixel16** pixPP);
} PF_UtilCallbacks;

#define PF_SPRINTF (*in_data->utils->ansi.sprintf)
#define PF_STRCPY(DST, SRC) (*in_data->utils->ansi.strcpy)((DST), (SRC))
