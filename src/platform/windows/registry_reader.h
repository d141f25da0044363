// Reads the machine's registry, for the port and for the framework's strings and bags. Compiled into both
// libraries, because either may be replaced without the other.
#pragma once

#include "platform/windows/handles.h"
// After the platform's headers:
#include "platform/local_machine.h"

namespace wsadmin::platform::windows {

struct RegistryPlace {
    HKEY root = nullptr;
    std::wstring path;
};
Result<RegistryPlace> registryPlace(std::wstring_view key);

// Opens the key in the 64-bit view. Null when there is no such key.
Result<UniqueKey> openRegistryKey(std::wstring_view key, REGSAM access);

// Nothing when there is no such value or key.
Result<std::optional<RegistryData>> readRegistryValue(std::wstring_view key, std::wstring_view name);
using RegistryValues = std::vector<std::pair<std::wstring, RegistryData>>;
Result<std::optional<RegistryValues>> readRegistryValues(std::wstring_view key);

}  // namespace wsadmin::platform::windows
