#include "platform/windows/registry_reader.h"

#include <array>
#include <cstring>

#include "platform/windows/system_failure.h"

namespace wsadmin::platform::windows {

namespace {

bool isAbsent(LSTATUS status) noexcept {
    return status == ERROR_FILE_NOT_FOUND || status == ERROR_PATH_NOT_FOUND;
}

std::vector<std::wstring> splitAtNuls(std::wstring_view text) {
    std::vector<std::wstring> lines;
    while (!text.empty()) {
        const auto end = text.find(L'\0');
        lines.emplace_back(text.substr(0, end));
        text.remove_prefix(end == std::wstring_view::npos ? text.size() : end + 1);
    }
    // The list's own end, and values that were written without it, leave an empty line.
    if (!lines.empty() && lines.back().empty()) lines.pop_back();
    return lines;
}

RegistryData dataOf(DWORD type, const std::vector<std::uint8_t>& bytes) {
    if (type == REG_DWORD && bytes.size() >= sizeof(std::uint32_t)) {
        std::uint32_t number = 0;
        std::memcpy(&number, bytes.data(), sizeof number);
        return number;
    }
    if (type != REG_SZ && type != REG_EXPAND_SZ && type != REG_MULTI_SZ) return bytes;
    std::wstring text(bytes.size() / sizeof(wchar_t), L'\0');
    std::memcpy(text.data(), bytes.data(), text.size() * sizeof(wchar_t));
    if (type == REG_MULTI_SZ) return splitAtNuls(text);
    return text.substr(0, text.find(L'\0'));
}

// The value may grow between the two calls of a pair, so they are repeated.
LSTATUS readValue(HKEY key, const std::wstring& name, std::optional<RegistryData>& data) {
    DWORD type = 0;
    DWORD size = 0;
    LSTATUS status = RegGetValueW(key, nullptr, name.c_str(), RRF_RT_ANY, &type, nullptr, &size);
    while (status == ERROR_SUCCESS || status == ERROR_MORE_DATA) {
        std::vector<std::uint8_t> bytes(size + sizeof(wchar_t));
        size = static_cast<DWORD>(bytes.size());
        status = RegGetValueW(key, nullptr, name.c_str(), RRF_RT_ANY, &type, bytes.data(), &size);
        if (status != ERROR_SUCCESS) continue;
        bytes.resize(size);
        data = dataOf(type, bytes);
        return status;
    }
    return status;
}

tl::unexpected<Failure> registryFailure(LSTATUS status) {
    return fail(systemFailure(static_cast<DWORD>(status)));
}

}  // namespace

Result<RegistryPlace> registryPlace(std::wstring_view key) {
    static const struct {
        std::wstring_view name;
        HKEY root;
    } roots[] = {
        {L"HKLM", HKEY_LOCAL_MACHINE}, {L"HKEY_LOCAL_MACHINE", HKEY_LOCAL_MACHINE},
        {L"HKCU", HKEY_CURRENT_USER},  {L"HKEY_CURRENT_USER", HKEY_CURRENT_USER},
        {L"HKCR", HKEY_CLASSES_ROOT},  {L"HKEY_CLASSES_ROOT", HKEY_CLASSES_ROOT},
        {L"HKU", HKEY_USERS},          {L"HKEY_USERS", HKEY_USERS},
    };
    while (key.ends_with(L'\\')) key.remove_suffix(1);
    const auto slash = key.find(L'\\');
    const std::wstring_view first = key.substr(0, slash);
    for (const auto& root : roots) {
        if (!CORE::equalFolded(root.name, first)) continue;
        return RegistryPlace{root.root,
                             std::wstring(slash == std::wstring_view::npos ? L"" : key.substr(slash + 1))};
    }
    return registryFailure(ERROR_INVALID_PARAMETER);
}

Result<UniqueKey> openRegistryKey(std::wstring_view key, REGSAM access) {
    const auto place = registryPlace(key);
    if (!place) return fail(place.error());
    HKEY opened = nullptr;
    const LSTATUS status =
        RegOpenKeyExW(place->root, place->path.c_str(), 0, access | KEY_WOW64_64KEY, &opened);
    if (status != ERROR_SUCCESS && !isAbsent(status)) return registryFailure(status);
    return UniqueKey(opened);
}

Result<std::optional<RegistryData>> readRegistryValue(std::wstring_view key, std::wstring_view name) {
    const auto opened = openRegistryKey(key, KEY_QUERY_VALUE);
    if (!opened) return fail(opened.error());
    std::optional<RegistryData> data;
    if (!*opened) return data;
    const LSTATUS status = readValue(opened->get(), std::wstring(name), data);
    if (status != ERROR_SUCCESS && !isAbsent(status)) return registryFailure(status);
    return data;
}

Result<std::optional<RegistryValues>> readRegistryValues(std::wstring_view key) {
    const auto opened = openRegistryKey(key, KEY_QUERY_VALUE);
    if (!opened) return fail(opened.error());
    if (!*opened) return std::nullopt;
    RegistryValues found;
    std::array<wchar_t, 16384> name{};  // the longest there may be
    for (DWORD i = 0;; ++i) {
        DWORD length = static_cast<DWORD>(name.size());
        LSTATUS status =
            RegEnumValueW(opened->get(), i, name.data(), &length, nullptr, nullptr, nullptr, nullptr);
        if (status == ERROR_NO_MORE_ITEMS) return found;
        std::optional<RegistryData> data;
        if (status == ERROR_SUCCESS)
            status = readValue(opened->get(), std::wstring(name.data(), length), data);
        if (data) found.emplace_back(std::wstring(name.data(), length), std::move(*data));
        // A value that was removed in between is passed over.
        if (status != ERROR_SUCCESS && !isAbsent(status)) return registryFailure(status);
    }
}

}  // namespace wsadmin::platform::windows
