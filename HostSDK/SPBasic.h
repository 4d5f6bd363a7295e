// The host's suite broker: every other suite is acquired through it by name
// and version.
#pragma once

#include <cstddef>

#include "SPTypes.h"

#define kSPBasicSuite "SP Basic Suite"
#define kSPBasicSuiteVersion 4

typedef struct SPBasicSuite {
    SPAPI SPErr (*AcquireSuite)(const char* name, int32_t version, const void** suite);
    SPAPI SPErr (*ReleaseSuite)(const char* name, int32_t version);
    SPAPI SPBoolean (*IsEqual)(const char* token1, const char* token2);
    SPAPI SPErr (*AllocateBlock)(size_t size, void** block);
    SPAPI SPErr (*FreeBlock)(void* block);
    SPAPI SPErr (*ReallocateBlock)(void* block, size_t newSize, void** newblock);
    SPAPI SPErr (*Undefined)(void);
} SPBasicSuite;
