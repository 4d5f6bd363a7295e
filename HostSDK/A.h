// Basic scalar and record types shared by the effect and general plug-in
// interfaces of the host.
#pragma once

#include <cstdint>

typedef int32_t A_long;
typedef uint32_t A_u_long;
typedef char A_char;
typedef int16_t A_short;
typedef uint16_t A_u_short;
typedef uint8_t A_u_char;
typedef uint8_t A_Boolean;
typedef double A_FpLong;
typedef float A_FpShort;
typedef A_long A_Err;
typedef void* A_Handle;
typedef intptr_t A_intptr_t;
typedef uint64_t A_u_longlong;
typedef A_u_longlong A_HandleSize;
typedef uint16_t A_UTF16Char;

typedef struct {
    A_long value;
    A_u_long scale;
} A_Time;

typedef struct {
    A_long num;
    A_u_long den;
} A_Ratio;

typedef struct {
    A_FpLong x, y;
} A_FloatPoint;

typedef struct {
    A_long left, top, right, bottom;
} A_LRect;

enum {
    A_Err_NONE = 0,
    A_Err_GENERIC = 1,
    A_Err_STRUCT = 2,
    A_Err_PARAMETER = 3,
    A_Err_ALLOC = 4,
    A_Err_WRONG_THREAD = 5,
    A_Err_CONST_PROJECT_MODIFICATION = 6,
    A_Err_MISSING_SUITE = 13
};
