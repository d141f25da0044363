// Values of the registry as texts.
#pragma once

#include <string>

#include "platform/local_machine.h"

namespace wsadmin::platform {

// Numbers in decimal, texts as they are, lists by line, bytes in hexadecimal.
std::wstring registryText(const RegistryData& data);

}  // namespace wsadmin::platform
