// What the framework itself asks of the operating system. Each platform implements these few functions;
// nothing else in core/ calls the system.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "framework/core/export.h"

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
int osLevel() noexcept;     // as coreosver::level
bool isAdmin(void* token);  // null: this process. False for a token on a platform without tokens

// Registry: key as "HKLM\...". Values as text: 32-bit numbers in decimal, lists by line, %NAME% expanded,
// other types in hexadecimal. A platform without a registry has no keys.
std::optional<std::wstring> registryValue(std::wstring_view key, std::wstring_view name);
// False when there is no such key.
bool registryValues(std::wstring_view key,
                    const std::function<void(std::wstring_view, std::wstring_view)>& each);

std::wstring defaultKeyFile();  // default path of the host's key; the folder may be missing
// Creates the folder for its owner alone, below folders of any mode. An existing one has to be such a folder:
// a link and one that others own or may use are refused.
MFWCORE_API void createPrivateFolder(const std::wstring& path);
// Creates a file that only its owner may read at any time, atomically with all its content. False when there
// is a file of that name already, which stays unchanged. The folder must exist.
MFWCORE_API bool createPrivateFile(const std::wstring& path, std::span<const unsigned char> content);
// Reads the beginning of such a file into the buffer; returns how many bytes, or nothing when there is no
// such file. A link and a file that others own or may use are refused. All three throw coreException on other
// errors.
MFWCORE_API std::optional<std::size_t> readPrivateFile(const std::wstring& path,
                                                       std::span<unsigned char> buffer);
void nameThisThread(std::wstring_view name) noexcept;

}  // namespace CORE::sys
