// Files for their owner alone.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>

#include "framework/core/coreexception.h"
#include "framework/core/corestring.h"
#include "framework/core/system.h"

namespace CORE::sys {

namespace {

[[noreturn]] void fail(const wchar_t* what, const std::wstring& path) {
    const auto error = static_cast<std::uint32_t>(errno);
    throw coreException(formatText(L"Cannot %s %s: %s", what, path, errorText(error)));
}

class File {
  public:
    explicit File(int descriptor) noexcept : descriptor_(descriptor) {}
    ~File() {
        if (descriptor_ >= 0) ::close(descriptor_);
    }
    File(const File&) = delete;
    File& operator=(const File&) = delete;
    bool open() const noexcept { return descriptor_ >= 0; }

    bool writeAll(std::span<const unsigned char> content) const {
        while (!content.empty()) {
            const ssize_t written = ::write(descriptor_, content.data(), content.size());
            if (written < 0 && errno == EINTR) continue;
            if (written < 0) return false;
            content = content.subspan(static_cast<std::size_t>(written));
        }
        return ::fsync(descriptor_) == 0;
    }
    std::optional<std::size_t> readAll(std::span<unsigned char> buffer) const {
        std::size_t size = 0;
        while (size < buffer.size()) {
            const ssize_t got = ::read(descriptor_, buffer.data() + size, buffer.size() - size);
            if (got < 0 && errno == EINTR) continue;
            if (got < 0) return std::nullopt;
            if (got == 0) break;
            size += static_cast<std::size_t>(got);
        }
        return size;
    }

  private:
    int descriptor_;
};

// A file under a passing name, gone with the object.
struct PassingName {
    std::string name;
    ~PassingName() { ::unlink(name.c_str()); }
};

}  // namespace

bool createPrivateFile(const std::wstring& path, std::span<const unsigned char> content) {
    const std::string name = toUtf8(path);
    std::string pattern = name + ".XXXXXX";
    File file(::mkstemp(pattern.data()));  // the owner's alone from the start
    if (!file.open()) fail(L"make", path);
    const PassingName passing{pattern};
    if (!file.writeAll(content)) fail(L"write", path);
    // A link, other than a renaming, never takes the place of what is there.
    if (::link(pattern.c_str(), name.c_str()) == 0) return true;
    if (errno == EEXIST) return false;
    // File systems without links.
    if (::access(name.c_str(), F_OK) == 0) return false;
    if (::rename(pattern.c_str(), name.c_str()) != 0) fail(L"make", path);
    return true;
}

std::optional<std::size_t> readFileStart(const std::wstring& path, std::span<unsigned char> buffer) {
    File file(::open(toUtf8(path).c_str(), O_RDONLY | O_CLOEXEC));
    if (!file.open() && (errno == ENOENT || errno == ENOTDIR)) return std::nullopt;
    const auto size = file.open() ? file.readAll(buffer) : std::nullopt;
    if (!size) fail(L"read", path);
    return size;
}

}  // namespace CORE::sys
