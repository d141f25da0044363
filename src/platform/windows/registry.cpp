// The machine's registry.
#include "platform/windows/registry_reader.h"
#include "platform/windows/system_failure.h"
#include "platform/windows/windows_machine.h"

namespace wsadmin::platform::windows {

namespace {

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
        return readRegistryValue(key, value);
    }

    Result<void> write(std::wstring_view key, std::wstring_view value, const RegistryData& data) override {
        const auto place = registryPlace(key);
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
        if (status != ERROR_SUCCESS) return fail(systemFailure(static_cast<DWORD>(status)));
        return {};
    }

    Result<void> remove(std::wstring_view key, std::wstring_view value) override {
        const auto opened = openRegistryKey(key, KEY_SET_VALUE);
        if (!opened) return fail(opened.error());
        if (!*opened) return {};
        const LSTATUS status = RegDeleteValueW(opened->get(), std::wstring(value).c_str());
        if (status != ERROR_SUCCESS && status != ERROR_FILE_NOT_FOUND)
            return fail(systemFailure(static_cast<DWORD>(status)));
        return {};
    }

    Result<std::vector<std::pair<std::wstring, RegistryData>>> values(std::wstring_view key) const override {
        auto found = readRegistryValues(key);
        if (!found) return fail(found.error());
        return std::move(*found).value_or(RegistryValues());
    }
};

}  // namespace

std::shared_ptr<Registry> makeRegistry() {
    return std::make_shared<RealRegistry>();
}

}  // namespace wsadmin::platform::windows
