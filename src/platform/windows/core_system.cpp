// What the framework asks of the operating system, on Windows.
#include "framework/core/system.h"

#include "platform/windows/handles.h"
// After the platform's base headers:
#include <array>
#include <cstring>
#include <span>
#include <utility>
#include <vector>

#include "framework/core/corestring.h"
#include "framework/core/framework.h"
#include "platform/windows/registry_reader.h"

namespace CORE::sys {
namespace {

namespace windows = wsadmin::platform::windows;
using windows::UniqueHandle;
using windows::UniqueLocal;

// The whole basic plane mapped once, by the file system's rules; a character that maps to nothing single
// stays.
struct CaseTable {
    explicit CaseTable(DWORD flags) noexcept {
        for (std::size_t i = 0; i < to.size(); ++i) to[i] = static_cast<wchar_t>(i);
        for (std::size_t i = 0x80; i < to.size(); ++i) {
            const auto from = static_cast<wchar_t>(i);
            wchar_t mapped = from;
            if (LCMapStringEx(LOCALE_NAME_INVARIANT, flags, &from, 1, &mapped, 1, nullptr, nullptr, 0) == 1)
                to[i] = mapped;
        }
    }
    std::array<wchar_t, 0x10000> to;
};

// Asks for a computer name: first its size, then the name.
std::optional<std::wstring> computerName(COMPUTER_NAME_FORMAT format) {
    DWORD size = 0;
    GetComputerNameExW(format, nullptr, &size);
    std::wstring name(size, L'\0');
    if (size == 0 || !GetComputerNameExW(format, name.data(), &size)) return std::nullopt;
    name.resize(size);
    return name;
}

struct RegistryText {
    std::wstring operator()(std::uint32_t number) const { return std::to_wstring(number); }
    std::wstring operator()(std::wstring& text) const { return std::move(text); }
    std::wstring operator()(const std::vector<std::wstring>& lines) const {
        std::wstring text;
        for (const std::wstring& line : lines) (text.empty() ? text : text += L'\n') += line;
        return text;
    }
    std::wstring operator()(const std::vector<std::uint8_t>& bytes) const {
        std::wstring text;
        for (const std::uint8_t byte : bytes) text += formatText(L"%02x", byte);
        return text;
    }
};

}  // namespace

std::optional<std::wstring> environment(std::wstring_view name) {
    const std::wstring wanted(name);
    std::wstring value;
    for (DWORD size = 128;;) {
        value.resize(size);
        SetLastError(ERROR_SUCCESS);
        size = GetEnvironmentVariableW(wanted.c_str(), value.data(), size);
        if (size == 0 && GetLastError() == ERROR_ENVVAR_NOT_FOUND) return std::nullopt;
        if (size < value.size()) break;  // otherwise the size that it needs, its end included
    }
    value.resize(wcsnlen(value.c_str(), value.size()));
    return value;
}

std::optional<std::wstring> netBiosName() {
    return computerName(ComputerNameNetBIOS);
}
std::optional<std::wstring> dnsName() {
    return computerName(ComputerNameDnsFullyQualified);
}

std::wstring modulePath(void* module) {
    std::wstring path(MAX_PATH, L'\0');
    for (;;) {
        const DWORD size =
            GetModuleFileNameW(static_cast<HMODULE>(module), path.data(), static_cast<DWORD>(path.size()));
        if (size < path.size()) {
            path.resize(size);
            return path;
        }
        path.resize(path.size() * 2);
    }
}

std::wstring errorText(std::uint32_t error) {
    wchar_t* memory = nullptr;
    const DWORD size = FormatMessageW(
        FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr,
        error, 0, reinterpret_cast<wchar_t*>(&memory), 0, nullptr);
    const UniqueLocal<wchar_t> owner(memory);
    std::wstring text(memory ? std::wstring_view(memory, size) : std::wstring_view());
    while (!text.empty() && (text.back() == L'\n' || text.back() == L'\r' || text.back() == L' '))
        text.pop_back();
    return text.empty() ? formatText(L"Unknown error %u", error) : text;
}

wchar_t upperCase(wchar_t c) noexcept {
    static const CaseTable table(LCMAP_UPPERCASE);
    return table.to[static_cast<std::uint16_t>(c)];
}
wchar_t lowerCase(wchar_t c) noexcept {
    static const CaseTable table(LCMAP_LOWERCASE);
    return table.to[static_cast<std::uint16_t>(c)];
}

// The documented questions answer by the program's manifest; this one answers by the system.
int osLevel() noexcept {
    using RtlGetVersion = LONG(WINAPI*)(OSVERSIONINFOW*);
    OSVERSIONINFOW version{};
    version.dwOSVersionInfoSize = sizeof(version);
    const auto ask = reinterpret_cast<RtlGetVersion>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "RtlGetVersion")));
    if (!ask || ask(&version) != 0) return 0;
    return coreosver::levelOf(version.dwMajorVersion, version.dwMinorVersion);
}

bool isAdmin(void* token) {
    std::array<std::uint8_t, SECURITY_MAX_SID_SIZE> administrators{};
    DWORD size = static_cast<DWORD>(administrators.size());
    if (!CreateWellKnownSid(WinBuiltinAdministratorsSid, nullptr, administrators.data(), &size)) return false;
    // The membership question takes impersonation tokens only; null asks for the caller's.
    HANDLE duplicate = nullptr;
    if (token && !DuplicateToken(token, SecurityIdentification, &duplicate)) return false;
    const UniqueHandle owner(duplicate);
    BOOL member = FALSE;
    return CheckTokenMembership(duplicate, administrators.data(), &member) && member;
}

std::optional<std::wstring> registryValue(std::wstring_view key, std::wstring_view name) {
    auto data = windows::readRegistryValue(key, name);
    if (!data || !*data) return std::nullopt;
    return std::visit(RegistryText(), **data);
}

bool registryValues(std::wstring_view key,
                    const std::function<void(std::wstring_view, std::wstring_view)>& each) {
    auto values = windows::readRegistryValues(key);
    if (!values || !*values) return false;
    for (auto& [name, data] : **values) each(name, std::visit(RegistryText(), data));
    return true;
}

std::wstring defaultKeyFile() {
    return environment(L"ProgramData").value_or(L"C:\\ProgramData") + L"\\Talvex\\HDQ\\Key\\host.key";
}

// Looked up at run time: early systems of this generation export it from elsewhere.
void nameThisThread(std::wstring_view name) noexcept {
    using SetThreadDescription = HRESULT(WINAPI*)(HANDLE, PCWSTR);
    static const auto set = reinterpret_cast<SetThreadDescription>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"kernelbase.dll"), "SetThreadDescription")));
    std::array<wchar_t, 64> text{};
    name.copy(text.data(), text.size() - 1);
    if (set) set(GetCurrentThread(), text.data());
}

}  // namespace CORE::sys
