// Export marker for a plug-in's entry point.
#pragma once

#if defined(_WIN32)
#define DllExport __declspec(dllexport)
#else
#define DllExport __attribute__((visibility("default")))
#endif
