// Parameter helper values.
#pragma once

#include "AE_Effect.h"

enum {
    PF_Precision_INTEGER,
    PF_Precision_TENTHS,
    PF_Precision_HUNDREDTHS,
    PF_Precision_THOUSANDTHS,
    PF_Precision_TEN_THOUSANDTHS
};

enum { PF_ParamFlag_NONE = 0 };
enum { PF_PUI_NONE = 0 };

#define AEFX_AUDIO_DEFAULT_CURVE_TOLERANCE 0.05f
