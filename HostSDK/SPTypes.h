// Scalar types of the host's suite broker.
#pragma once

#include <cstdint>

typedef int32_t SPErr;
typedef uint8_t SPBoolean;

#define SPAPI

enum { kSPNoError = 0 };
