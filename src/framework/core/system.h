// What the framework itself asks of the operating system. Each platform implements these few functions; nothing else in
// core/ touches it.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace CORE::sys {

std::optional<std::wstring> environment(std::wstring_view name);
std::optional<std::wstring> netBiosName();
std::optional<std::wstring> dnsName();          // fully qualified where the machine knows it
std::wstring modulePath(void* module);          // full path of a loaded library; null: the executable
std::wstring errorText(std::uint32_t error);    // without the line end
wchar_t foldCase(wchar_t c) noexcept;           // simple folding of one character outside ASCII
int osLevel() noexcept;
bool isAdmin(void* token);
// Encodings other than UTF-8; nothing when the platform does not know the code page.
std::optional<std::string> encode(std::wstring_view text, unsigned codePage);
std::optional<std::wstring> decode(std::string_view text, unsigned codePage);

// Registry: key as "HKLM\...". Values as text; numbers in decimal.
std::optional<std::wstring> registryValue(std::wstring_view key, std::wstring_view name);
bool registryValues(std::wstring_view key, const std::function<void(std::wstring_view, std::wstring_view)>& each);

std::wstring defaultKeyFile();                                // where the host's key is kept
void restrictToOwner(const std::wstring& path);               // nobody else may read the file
void nameThisThread(std::wstring_view name) noexcept;

}  // namespace CORE::sys
