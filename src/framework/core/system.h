// What the framework itself asks of the operating system. Each platform implements these few functions;
// nothing else in core/ touches it.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace CORE::sys {

std::optional<std::wstring> environment(std::wstring_view name);
std::optional<std::wstring> netBiosName();
std::optional<std::wstring> dnsName();  // fully qualified where the machine knows it
// Full path of a loaded library, named by its handle or (posix) by any address inside it; null: the
// executable.
std::wstring modulePath(void* module);
std::wstring errorText(std::uint32_t error);  // without the line end; a text with the number for unknown ones
// Unicode's simple mapping of one character of the basic plane, whatever the locale.
wchar_t upperCase(wchar_t c) noexcept;
wchar_t lowerCase(wchar_t c) noexcept;
int osLevel() noexcept;     // major * 100 + minor; Linux counts as the newest
bool isAdmin(void* token);  // null: this process. Without tokens on the platform every other one is nobody's
// Encodings other than UTF-8; nothing when the platform does not know the code page.
std::optional<std::string> encode(std::wstring_view text, unsigned codePage);
std::optional<std::wstring> decode(std::string_view text, unsigned codePage);

// Registry: key as "HKLM\...". Values as text; numbers in decimal, bytes in hexadecimal, lists by line. A
// platform without one has no keys.
std::optional<std::wstring> registryValue(std::wstring_view key, std::wstring_view name);
bool registryValues(std::wstring_view key,
                    const std::function<void(std::wstring_view, std::wstring_view)>& each);

std::wstring defaultKeyFile();  // where the host's key is kept; the folder may be missing
void restrictToOwner(
    const std::wstring& path);  // nobody else may read the file; coreException when that fails
void nameThisThread(std::wstring_view name) noexcept;

}  // namespace CORE::sys
