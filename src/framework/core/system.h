// What the framework itself asks of the operating system. Each platform implements these few functions;
// nothing else in core/ touches it.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
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
int osLevel() noexcept;     // as coreosver::level
bool isAdmin(void* token);  // null: this process. Without tokens on the platform every other one is nobody's

// Registry: key as "HKLM\...". Values as text; numbers in decimal, bytes in hexadecimal, lists by line. A
// platform without one has no keys.
std::optional<std::wstring> registryValue(std::wstring_view key, std::wstring_view name);
bool registryValues(std::wstring_view key,
                    const std::function<void(std::wstring_view, std::wstring_view)>& each);

std::wstring defaultKeyFile();  // where the host's key is kept; the folder may be missing
// Makes the folder for its owner alone, below folders of any mode. One that is there stays as it is.
void createPrivateFolder(const std::wstring& path);
// Makes a file that nobody but its owner may ever read. It appears with all its content or not at all; false
// when there is one of that name already, which stays as it is. The folder must be there.
bool createPrivateFile(const std::wstring& path, std::span<const unsigned char> content);
// The beginning of such a file, as much as fits; how much that was. Nothing when there is no such file. A
// link and a file that others own or may use are refused. Like the other two throws coreException when the
// system refuses.
std::optional<std::size_t> readPrivateFile(const std::wstring& path, std::span<unsigned char> buffer);
void nameThisThread(std::wstring_view name) noexcept;

}  // namespace CORE::sys
