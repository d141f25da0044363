// The three functions that a plug-in exports, undecorated.
#pragma once

#include "framework/core/property_bag.h"

namespace CORE {

using PluginParamsFunction = bool (*)(const PropertyBag* bag);
using PluginInitFunction = bool (*)(void* host, void* context, void* reserved1, void* reserved2);
using PluginExitFunction = void (*)();

inline constexpr char pluginParamsName[] = "PluginParams";
inline constexpr char pluginInitName[] = "PluginInit";
inline constexpr char pluginExitName[] = "PluginExit";

}  // namespace CORE
