// Further effect suites. This family of effects needs only the pixel formats
// from here.
#pragma once

#include "AE_Effect.h"
#include "AE_EffectPixelFormat.h"
