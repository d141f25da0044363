// Files of this machine.
#include "platform/windows/system_failure.h"
#include "platform/windows/windows_machine.h"
// After the platform's base headers:
#include <sddl.h>

#include <algorithm>
#include <array>

namespace wsadmin::platform::windows {

namespace {

// Full access for the owner, the system and administrators, and nothing inherited.
constexpr wchar_t ownersAlone[] = L"D:P(A;;FA;;;OW)(A;;FA;;;SY)(A;;FA;;;BA)";

bool closeToOthers(const std::wstring& path) {
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    if (!ConvertStringSecurityDescriptorToSecurityDescriptorW(ownersAlone, SDDL_REVISION_1, &descriptor,
                                                              nullptr))
        return false;
    const UniqueLocal<void> held(descriptor);
    return SetFileSecurityW(path.c_str(), DACL_SECURITY_INFORMATION | PROTECTED_DACL_SECURITY_INFORMATION,
                            descriptor) != 0;
}

class RealFiles final : public Files {
  public:
    Result<bool> exists(const std::wstring& path) const override {
        const DWORD attributes = GetFileAttributesW(path.c_str());
        if (attributes != INVALID_FILE_ATTRIBUTES) return (attributes & FILE_ATTRIBUTE_DIRECTORY) == 0;
        const DWORD error = GetLastError();
        constexpr DWORD absent[] = {ERROR_FILE_NOT_FOUND, ERROR_PATH_NOT_FOUND, ERROR_INVALID_NAME};
        if (std::ranges::count(absent, error) > 0) return false;
        return fail(systemFailure(error));
    }
    Result<std::wstring> temporaryFolder() const override {
        std::array<wchar_t, MAX_PATH> path{};
        const DWORD length = GetTempPathW(static_cast<DWORD>(path.size()), path.data());
        if (length == 0) return fail(lastFailure());
        if (length >= path.size()) return fail(systemFailure(ERROR_INSUFFICIENT_BUFFER));
        return std::wstring(path.data(), length);
    }
    Result<std::wstring> makeTemporary(const std::wstring& folder, const std::wstring& prefix) override {
        std::array<wchar_t, MAX_PATH> path{};
        if (GetTempFileNameW(folder.c_str(), prefix.c_str(), 0, path.data()) == 0) return fail(lastFailure());
        std::wstring made = path.data();
        if (!closeToOthers(made)) {
            const Failure failure = lastFailure();
            DeleteFileW(made.c_str());
            return fail(failure);
        }
        return made;
    }
    Result<void> write(const std::wstring& path, std::string_view content) override {
        const UniqueHandle file = validHandle(CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr,
                                                          TRUNCATE_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
        if (!file) return fail(lastFailure());
        while (!content.empty()) {
            constexpr std::size_t atOnce = 1 << 24;
            DWORD written = 0;
            if (!WriteFile(file.get(), content.data(), static_cast<DWORD>(std::min(content.size(), atOnce)),
                           &written, nullptr))
                return fail(lastFailure());
            content.remove_prefix(written);
        }
        return {};
    }
};

}  // namespace

std::shared_ptr<Files> makeFiles() {
    return std::make_shared<RealFiles>();
}

}  // namespace wsadmin::platform::windows
