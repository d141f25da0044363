// What the machine knows, in the working form: behind the strings' functions of the same names. Inside the
// framework.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "framework/core/corestring.h"

namespace CORE::machine {

// Code pages that the platform does not know are UTF-8.
std::string encode(std::wstring_view text, unsigned codePage);
std::wstring decode(std::string_view text, unsigned codePage);

std::wstring expandEnvironment(std::wstring_view text);
std::wstring computerName(ComputerNameFormat format);
std::wstring modulePath(void* module);
std::string newGuid();
std::wstring errorText(std::uint32_t error);

std::optional<std::wstring> registryText(std::wstring_view key, std::wstring_view name);
std::optional<std::wstring> policyOrRegistryText(std::wstring_view key, std::wstring_view name);

}  // namespace CORE::machine
