// Marks a function that a module shows to the host, undecorated.
#pragma once

#if defined(_WIN32)
#define WS_EXPORT extern "C" __declspec(dllexport)
#else
#define WS_EXPORT extern "C" __attribute__((visibility("default")))
#endif
