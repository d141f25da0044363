// The functions that a plug-in exports, undecorated, and the start-up keys that host and plug-in agree on.
#pragma once

#include "framework/core/property_bag.h"

namespace CORE {

using PluginParamsFunction = bool (*)(const PropertyBag* bag);
using PluginInitFunction = bool (*)(void* host, void* context, void* reserved1, void* reserved2);
using PluginExitFunction = void (*)();
// Fills the bag with an entry "operation" for each operation, in the plug-in's order: "name", "shape",
// "changes", "built", "text", "example", and bags "request-key" and "result-key" of "name", "type", "default"
// and "text". It may be called before PluginInit.
using PluginDescribeFunction = void (*)(PropertyBag* bag);

inline constexpr char pluginParamsName[] = "PluginParams";
inline constexpr char pluginInitName[] = "PluginInit";
inline constexpr char pluginExitName[] = "PluginExit";
inline constexpr char pluginDescribeName[] = "PluginDescribe";

// Keys of the start-up bag that choose what the plug-in works on. Neither: this machine and its own
// directory.
inline constexpr wchar_t startupLabFolder[] = L"labFolder";          // a lab's folder
inline constexpr wchar_t startupLabMachine[] = L"labMachine";        // which one, in a lab of several
inline constexpr wchar_t startupLabSave[] = L"labSave";              // bool: write changes back at exit
inline constexpr wchar_t startupConfiguration[] = L"configuration";  // a file that names the real directories

}  // namespace CORE
