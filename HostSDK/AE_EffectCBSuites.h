// Callback suites that an effect acquires through SPBasicSuite.
#pragma once

#include "AE_EffectCB.h"

#define kPFHandleSuite "PF Handle Suite"
#define kPFHandleSuiteVersion1 2

typedef struct PF_HandleSuite1 {
    PF_Handle (*host_new_handle)(A_HandleSize size);
    void* (*host_lock_handle)(PF_Handle pf_handle);
    void (*host_unlock_handle)(PF_Handle pf_handle);
    void (*host_dispose_handle)(PF_Handle pf_handle);
    A_HandleSize (*host_get_handle_size)(PF_Handle pf_handle);
    PF_Err (*host_resize_handle)(A_HandleSize new_sizeL, PF_Handle* handlePH);
} PF_HandleSuite1;

#define kPFANSISuite "PF ANSI Suite"
#define kPFANSISuiteVersion1 1

typedef struct PF_ANSICallbacksSuite1 {
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
} PF_ANSICallbacksSuite1;

#define kPFIterateFloatSuite "PF iterateFloat Suite"
#define kPFIterateFloatSuiteVersion1 1

typedef struct PF_iterateFloatSuite1 {
    PF_Err (*iterate)(PF_InData* in_data, A_long progress_base, A_long progress_final,
                      PF_EffectWorld* src, const PF_Rect* area, void* refcon,
                      PF_IteratePixelFloatFunc pix_fn, PF_EffectWorld* dst);
    PF_Err (*iterate_origin)(PF_InData* in_data, A_long progress_base, A_long progress_final,
                             PF_EffectWorld* src, const PF_Rect* area, const PF_Point* origin,
                             void* refcon, PF_IteratePixelFloatFunc pix_fn, PF_EffectWorld* dst);
    PF_Err (*iterate_origin_non_clip_src)(PF_InData* in_data, A_long progress_base,
                                          A_long progress_final, PF_EffectWorld* src,
                                          const PF_Rect* area, const PF_Point* origin, void* refcon,
                                          PF_IteratePixelFloatFunc pix_fn, PF_EffectWorld* dst);
} PF_iterateFloatSuite1, PF_IterateFloatSuite1;
