// Files of this machine.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>

#include "platform/posix/posix_machine.h"
#include "platform/posix/system_failure.h"

namespace wsadmin::platform::posix {

namespace {

class RealFiles final : public Files {
  public:
    Result<bool> exists(const std::wstring& path) const override {
        struct stat found {};
        if (stat(nativePath(path).c_str(), &found) == 0) return !S_ISDIR(found.st_mode);
        if (errno == ENOENT || errno == ENOTDIR) return false;
        return fail(systemFailure());
    }
    Result<std::wstring> temporaryFolder() const override {
        std::error_code error;
        const auto folder = std::filesystem::temp_directory_path(error);
        if (error) return fail(systemFailure(error.value()));
        return CORE::toWide(folder.native()) + L"\\";
    }
    Result<std::wstring> makeTemporary(const std::wstring& folder, const std::wstring& prefix) override {
        constexpr std::string_view suffix = ".tmp";
        std::string path = nativePath(folder + prefix) + "XXXXXX" + std::string(suffix);
        const int file = mkostemps(path.data(), suffix.size(), O_CLOEXEC);  // with mode 0600
        if (file < 0) return fail(systemFailure());
        close(file);
        return CORE::toWide(path);
    }
    Result<void> write(const std::wstring& path, std::string_view content) override {
        const int file = open(nativePath(path).c_str(), O_WRONLY | O_TRUNC | O_CLOEXEC);
        if (file < 0) return fail(systemFailure());
        int error = 0;
        while (!content.empty() && error == 0) {
            const ssize_t written = ::write(file, content.data(), content.size());
            if (written >= 0)
                content.remove_prefix(static_cast<std::size_t>(written));
            else if (errno != EINTR)
                error = errno;
        }
        if (close(file) != 0 && error == 0) error = errno;
        if (error != 0) return fail(systemFailure(error));
        return {};
    }
};

}  // namespace

std::string nativePath(std::wstring_view path) {
    std::string native = CORE::toUtf8(path);
    std::ranges::replace(native, '\\', '/');
    return native;
}

std::shared_ptr<Files> makeFiles() {
    return std::make_shared<RealFiles>();
}

}  // namespace wsadmin::platform::posix
