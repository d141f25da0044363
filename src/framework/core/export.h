// Marks what mfwcore gives to the plug-in and to the host executables.
#pragma once

#if defined(_WIN32)
#if defined(MFWCORE_BUILDING)
#define MFWCORE_API __declspec(dllexport)
#else
#define MFWCORE_API __declspec(dllimport)
#endif
#else
#define MFWCORE_API __attribute__((visibility("default")))
#endif
