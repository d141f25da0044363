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

namespace CORE::sys {
namespace {

using wsadmin::platform::windows::UniqueHandle;
using wsadmin::platform::windows::UniqueKey;
using wsadmin::platform::windows::UniqueLocal;

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

UniqueKey openKey(std::wstring_view path) {
    static const std::pair<std::wstring_view, HKEY> roots[] = {
        {L"HKLM", HKEY_LOCAL_MACHINE}, {L"HKEY_LOCAL_MACHINE", HKEY_LOCAL_MACHINE},
        {L"HKCU", HKEY_CURRENT_USER},  {L"HKEY_CURRENT_USER", HKEY_CURRENT_USER},
        {L"HKCR", HKEY_CLASSES_ROOT},  {L"HKEY_CLASSES_ROOT", HKEY_CLASSES_ROOT},
        {L"HKU", HKEY_USERS},          {L"HKEY_USERS", HKEY_USERS},
    };
    const std::size_t slash = path.find(L'\\');
    const std::wstring_view root = path.substr(0, slash);
    const std::wstring below(slash == path.npos ? std::wstring_view() : path.substr(slash + 1));
    HKEY key = nullptr;
    for (const auto& [name, handle] : roots)
        if (equalFolded(root, name) &&
            RegOpenKeyExW(handle, below.c_str(), 0, KEY_READ, &key) == ERROR_SUCCESS)
            return UniqueKey(key);
    return nullptr;
}

// Registry text ends with a NUL, or several, or (badly written) with none.
std::wstring textOf(std::span<const std::uint8_t> data) {
    std::wstring text(reinterpret_cast<const wchar_t*>(data.data()), data.size() / sizeof(wchar_t));
    while (!text.empty() && text.back() == L'\0') text.pop_back();
    return text;
}

std::wstring valueText(DWORD type, std::span<const std::uint8_t> data) {
    std::uint64_t number = 0;
    std::wstring text;
    switch (type) {
        case REG_DWORD:
        case REG_QWORD:
            memcpy(&number, data.data(), std::min(data.size(), sizeof(number)));
            return std::to_wstring(number);
        case REG_SZ:
        case REG_EXPAND_SZ:
            return textOf(data);
        case REG_MULTI_SZ:
            text = textOf(data);
            for (wchar_t& c : text)
                if (c == L'\0') c = L'\n';
            return text;
        default:
            for (const std::uint8_t byte : data) text += formatText(L"%02x", byte);
            return text;
    }
}

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
    const UniqueKey open = openKey(key);
    if (!open) return std::nullopt;
    const std::wstring value(name);
    std::vector<std::uint8_t> data(256);
    for (;;) {
        DWORD type = 0;
        DWORD size = static_cast<DWORD>(data.size());
        const LSTATUS status =
            RegQueryValueExW(open.get(), value.c_str(), nullptr, &type, data.data(), &size);
        if (status == ERROR_SUCCESS) return valueText(type, std::span(data).first(size));
        if (status != ERROR_MORE_DATA) return std::nullopt;
        data.resize(size);
    }
}

bool registryValues(std::wstring_view key,
                    const std::function<void(std::wstring_view, std::wstring_view)>& each) {
    const UniqueKey open = openKey(key);
    if (!open) return false;
    DWORD longestName = 0;
    DWORD longestData = 0;
    RegQueryInfoKeyW(open.get(), nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, &longestName,
                     &longestData, nullptr, nullptr);
    std::wstring name(longestName + 1, L'\0');
    std::vector<std::uint8_t> data(longestData + 1);
    for (DWORD index = 0;;) {
        DWORD nameSize = static_cast<DWORD>(name.size());
        DWORD dataSize = static_cast<DWORD>(data.size());
        DWORD type = 0;
        const LSTATUS status =
            RegEnumValueW(open.get(), index, name.data(), &nameSize, nullptr, &type, data.data(), &dataSize);
        if (status == ERROR_MORE_DATA) {  // somebody writes meanwhile
            name.resize(name.size() * 2);
            data.resize(std::max<std::size_t>(dataSize, data.size() * 2));
            continue;
        }
        if (status != ERROR_SUCCESS) return true;
        each({name.data(), nameSize}, valueText(type, std::span(data).first(dataSize)));
        ++index;
    }
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
