// Pixel formats of the host's worlds: four-character codes packed with the
// first character in the low byte.
#pragma once

#include "A.h"

typedef A_long PF_PixelFormat;

#define PF_PIXEL_FORMAT_CODE(a, b, c, d)                                                           \
    ((A_long)(((A_u_long)(d) << 24) | ((A_u_long)(c) << 16) | ((A_u_long)(b) << 8) | (A_u_long)(a)))

enum {
    PF_PixelFormat_ARGB32 = PF_PIXEL_FORMAT_CODE('a', 'r', 'g', 'b'),
    PF_PixelFormat_ARGB64 = PF_PIXEL_FORMAT_CODE('a', 'e', '1', '6'),
    PF_PixelFormat_ARGB128 = PF_PIXEL_FORMAT_CODE('a', 'e', '3', '2'),
    PF_PixelFormat_BGRA32 = PF_PIXEL_FORMAT_CODE('b', 'g', 'r', 'a'),
    PF_PixelFormat_VUYA32 = PF_PIXEL_FORMAT_CODE('v', 'u', 'y', 'a'),
    PF_PixelFormat_INVALID = PF_PIXEL_FORMAT_CODE('b', 'a', 'd', 'f'),
    PF_PixelFormat_FORCE_LONG_INT = (A_long)0xFFFFFFFF
};
