// The machine's registry.
#include <array>
#include <cstring>

#include "platform/windows/system_failure.h"
#include "platform/windows/windows_machine.h"

namespace wsadmin::platform::windows {

namespace {

struct Place {
    HKEY root = nullptr;
    std::wstring path;
};

Result<Place> placeOf(std::wstring_view key) {
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
        return Place{root.root, std::wstring(slash == std::wstring_view::npos ? L"" : key.substr(slash + 1))};
    }
    return fail(systemFailure(ERROR_INVALID_PARAMETER));
}

bool isAbsent(LSTATUS status) noexcept {
    return status == ERROR_FILE_NOT_FOUND || status == ERROR_PATH_NOT_FOUND;
}
Failure registryFailure(LSTATUS status) {
    return systemFailure(static_cast<DWORD>(status));
}

LSTATUS openKey(const Place& place, REGSAM access, UniqueKey& key) {
    HKEY opened = nullptr;
    const LSTATUS status =
        RegOpenKeyExW(place.root, place.path.c_str(), 0, access | KEY_WOW64_64KEY, &opened);
    key.reset(opened);
    return status;
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

// Type and bytes of what is written.
struct Written {
    DWORD type = REG_BINARY;
    std::vector<std::uint8_t> bytes;

    void append(const void* data, std::size_t size) {
        const auto* first = static_cast<const std::uint8_t*>(data);
        bytes.insert(bytes.end(), first, first + size);
    }
    void append(const std::wstring& text) { append(text.c_str(), (text.size() + 1) * sizeof(wchar_t)); }

    void operator()(std::uint32_t number) {
        type = REG_DWORD;
        append(&number, sizeof number);
    }
    void operator()(const std::wstring& text) {
        type = REG_SZ;
        append(text);
    }
    void operator()(const std::vector<std::wstring>& lines) {
        type = REG_MULTI_SZ;
        for (const std::wstring& line : lines) append(line);
        append(L"", sizeof(wchar_t));
    }
    void operator()(const std::vector<std::uint8_t>& data) { bytes = data; }
};

class RealRegistry final : public Registry {
  public:
    Result<std::optional<RegistryData>> read(std::wstring_view key, std::wstring_view value) const override {
        const auto place = placeOf(key);
        if (!place) return fail(place.error());
        UniqueKey opened;
        std::optional<RegistryData> data;
        LSTATUS status = openKey(*place, KEY_QUERY_VALUE, opened);
        if (status == ERROR_SUCCESS) status = readValue(opened.get(), std::wstring(value), data);
        if (status != ERROR_SUCCESS && !isAbsent(status)) return fail(registryFailure(status));
        return data;
    }

    Result<void> write(std::wstring_view key, std::wstring_view value, const RegistryData& data) override {
        const auto place = placeOf(key);
        if (!place) return fail(place.error());
        HKEY made = nullptr;
        LSTATUS status = RegCreateKeyExW(place->root, place->path.c_str(), 0, nullptr, 0,
                                         KEY_SET_VALUE | KEY_WOW64_64KEY, nullptr, &made, nullptr);
        const UniqueKey owner(made);
        if (status == ERROR_SUCCESS) {
            Written written;
            std::visit(written, data);
            status = RegSetValueExW(made, std::wstring(value).c_str(), 0, written.type, written.bytes.data(),
                                    static_cast<DWORD>(written.bytes.size()));
        }
        if (status != ERROR_SUCCESS) return fail(registryFailure(status));
        return {};
    }

    Result<void> remove(std::wstring_view key, std::wstring_view value) override {
        const auto place = placeOf(key);
        if (!place) return fail(place.error());
        UniqueKey opened;
        LSTATUS status = openKey(*place, KEY_SET_VALUE, opened);
        if (status == ERROR_SUCCESS) status = RegDeleteValueW(opened.get(), std::wstring(value).c_str());
        if (status != ERROR_SUCCESS && !isAbsent(status)) return fail(registryFailure(status));
        return {};
    }

    Result<std::vector<std::pair<std::wstring, RegistryData>>> values(std::wstring_view key) const override {
        const auto place = placeOf(key);
        if (!place) return fail(place.error());
        std::vector<std::pair<std::wstring, RegistryData>> found;
        UniqueKey opened;
        LSTATUS status = openKey(*place, KEY_QUERY_VALUE, opened);
        std::array<wchar_t, 16384> name{};  // the longest there may be
        for (DWORD i = 0; status == ERROR_SUCCESS; ++i) {
            DWORD length = static_cast<DWORD>(name.size());
            status = RegEnumValueW(opened.get(), i, name.data(), &length, nullptr, nullptr, nullptr, nullptr);
            if (status != ERROR_SUCCESS) break;
            std::optional<RegistryData> data;
            const LSTATUS read = readValue(opened.get(), std::wstring(name.data(), length), data);
            if (data) found.emplace_back(std::wstring(name.data(), length), std::move(*data));
            if (!isAbsent(read)) status = read;  // removed in between: passed over
        }
        if (status != ERROR_SUCCESS && status != ERROR_NO_MORE_ITEMS && !isAbsent(status))
            return fail(registryFailure(status));
        return found;
    }
};

}  // namespace

std::shared_ptr<Registry> makeRegistry() {
    return std::make_shared<RealRegistry>();
}

}  // namespace wsadmin::platform::windows
