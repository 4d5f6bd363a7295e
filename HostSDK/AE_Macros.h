// Small helpers used by effect sources.
#pragma once

#include <cstring>

// Zeroes a whole record.
#define AEFX_CLR_STRUCT(STRUCT) std::memset(&(STRUCT), 0, sizeof(STRUCT))
