// Files for their owner alone.
#include "platform/windows/handles.h"
// After the platform's base headers:
#include <sddl.h>

#include "framework/core/coreexception.h"
#include "framework/core/corestring.h"
#include "framework/core/system.h"

namespace CORE::sys {

namespace {

using wsadmin::platform::windows::UniqueHandle;
using wsadmin::platform::windows::UniqueLocal;
using wsadmin::platform::windows::validHandle;

[[noreturn]] void fail(const wchar_t* what, const std::wstring& path, DWORD error = GetLastError()) {
    throw coreException(formatText(L"Cannot %s %s: %s", what, path, errorText(error)));
}

// A file under a passing name, gone with the object.
struct PassingName {
    std::wstring name;
    ~PassingName() { DeleteFileW(name.c_str()); }
};

// Makes a file with full access for its owner and the system, and nothing inherited.
UniqueHandle createForOwner(const std::wstring& path) {
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    if (!ConvertStringSecurityDescriptorToSecurityDescriptorW(L"D:P(A;;FA;;;OW)(A;;FA;;;SY)", SDDL_REVISION_1,
                                                              &descriptor, nullptr))
        fail(L"make", path);
    const UniqueLocal<void> owner(descriptor);
    SECURITY_ATTRIBUTES attributes{sizeof(attributes), descriptor, FALSE};
    return validHandle(
        CreateFileW(path.c_str(), GENERIC_WRITE, 0, &attributes, CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr));
}

}  // namespace

bool createPrivateFile(const std::wstring& path, std::span<const unsigned char> content) {
    const PassingName passing{path + L"." + wstr::newGuid().str()};
    {
        const UniqueHandle file = createForOwner(passing.name);
        if (!file) fail(L"make", path);
        DWORD written = 0;
        if (!WriteFile(file.get(), content.data(), static_cast<DWORD>(content.size()), &written, nullptr) ||
            written != content.size() || !FlushFileBuffers(file.get()))
            fail(L"write", path);
    }
    if (MoveFileExW(passing.name.c_str(), path.c_str(), MOVEFILE_WRITE_THROUGH)) return true;
    const DWORD error = GetLastError();
    if (error == ERROR_ALREADY_EXISTS || error == ERROR_FILE_EXISTS) return false;
    fail(L"make", path, error);
}

std::optional<std::size_t> readFileStart(const std::wstring& path, std::span<unsigned char> buffer) {
    // Shared with everything: whoever has just made the file may still hold it.
    const UniqueHandle file = validHandle(
        CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                    nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file) {
        const DWORD error = GetLastError();
        if (error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND) return std::nullopt;
        fail(L"read", path, error);
    }
    DWORD got = 0;
    if (!ReadFile(file.get(), buffer.data(), static_cast<DWORD>(buffer.size()), &got, nullptr))
        fail(L"read", path);
    return got;
}

}  // namespace CORE::sys
