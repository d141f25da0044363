// Files for their owner alone, and files that are replaced whole.
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <thread>
#include <utility>

#include "framework/core/coreexception.h"
#include "framework/core/corestring.h"
#include "framework/core/plain_files.h"
#include "framework/core/saved_file.h"
#include "framework/core/system.h"

namespace fs = std::filesystem;

namespace CORE {

namespace {

[[noreturn]] void fail(const wchar_t* what, const std::wstring& path, int error = errno) {
    throw coreException(
        formatText(L"Cannot %s %s: %s", what, path, sys::errorText(static_cast<std::uint32_t>(error))));
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
    int get() const noexcept { return descriptor_; }

    bool writeAll(std::string_view content) const {
        while (!content.empty()) {
            const ssize_t written = ::write(descriptor_, content.data(), content.size());
            if (written < 0 && errno == EINTR) continue;
            if (written < 0) return false;
            content.remove_prefix(static_cast<std::size_t>(written));
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

// Throws when a file or folder is not its owner's alone.
void requirePrivate(const struct stat& status, mode_t kind, const std::wstring& path) {
    const auto refuse = [&](const wchar_t* why) {
        throw coreException(formatText(L"%s is not used: %s", path, why));
    };
    if (S_ISLNK(status.st_mode)) refuse(L"it is a link");
    if ((status.st_mode & S_IFMT) != kind) refuse(kind == S_IFDIR ? L"it is no folder" : L"it is no file");
    if (status.st_uid != ::geteuid()) refuse(L"somebody else owns it");
    if ((status.st_mode & (S_IRWXG | S_IRWXO)) != 0) refuse(L"others than its owner may use it");
}

}  // namespace

void sys::createPrivateFolder(const std::wstring& path) {
    const fs::path folder(path);
    std::error_code error;
    fs::create_directories(folder.parent_path(), error);
    if (error) fail(L"make", folder.parent_path().wstring(), error.value());
    if (::mkdir(folder.c_str(), S_IRWXU) == 0) return;
    struct stat status {};
    if (errno != EEXIST || ::lstat(folder.c_str(), &status) != 0) fail(L"make", path);
    requirePrivate(status, S_IFDIR, path);
}

bool sys::createPrivateFile(const std::wstring& path, std::span<const unsigned char> content) {
    const std::string name = toUtf8(path);
    std::string pattern = name + ".XXXXXX";
    File file(::mkostemp(pattern.data(), O_CLOEXEC));  // the owner's alone from the start
    if (!file.open()) fail(L"make", path);
    const PassingName passing{pattern};
    if (!file.writeAll({reinterpret_cast<const char*>(content.data()), content.size()})) fail(L"write", path);
    return renameToNew(pattern, name);
}

std::optional<std::size_t> sys::readPrivateFile(const std::wstring& path, std::span<unsigned char> buffer) {
    // Without O_NONBLOCK a named pipe in its place would hold the caller up.
    const File file(::open(toUtf8(path).c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
    if (!file.open() && (errno == ENOENT || errno == ENOTDIR)) return std::nullopt;
    if (!file.open() && errno == ELOOP) throw coreException(path + L" is not used: it is a link");
    if (!file.open()) fail(L"read", path);
    struct stat status {};
    if (::fstat(file.get(), &status) != 0) fail(L"read", path);
    requirePrivate(status, S_IFREG, path);
    const auto size = file.readAll(buffer);
    if (!size) fail(L"read", path);
    return size;
}

FileKind kindOf(const fs::path& path) noexcept {
    struct stat status {};
    if (::lstat(path.c_str(), &status) != 0)
        return errno == ENOENT || errno == ENOTDIR ? FileKind::missing : FileKind::other;
    if (S_ISDIR(status.st_mode)) return FileKind::folder;
    return S_ISREG(status.st_mode) ? FileKind::file : FileKind::other;
}

std::optional<FilePart> readPart(const fs::path& file, std::uint64_t offset, std::size_t most,
                                 std::vector<std::uint8_t>& into) {
    const File open(::open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
    struct stat status {};
    if (!open.open() || ::fstat(open.get(), &status) != 0 || !S_ISREG(status.st_mode)) return std::nullopt;
    const FilePart read{static_cast<std::uint64_t>(status.st_size), status.st_ino};
    if (offset >= read.size) return read;
    if (::lseek(open.get(), static_cast<off_t>(offset), SEEK_SET) < 0) return std::nullopt;
    const std::size_t before = into.size();
    into.resize(before + std::min<std::uint64_t>(most, read.size - offset));
    const auto got = open.readAll(std::span(into).subspan(before));
    into.resize(before + got.value_or(0));
    return got ? std::optional(read) : std::nullopt;
}

bool renameToNew(const fs::path& from, const fs::path& to) {
    if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) return true;
    // File systems that cannot rename without replacing have links, which replace nothing either.
    if (errno == EINVAL && ::link(from.c_str(), to.c_str()) == 0) {
        ::unlink(from.c_str());
        return true;
    }
    if (errno == EEXIST) return false;
    fail(L"make", to.wstring());
}

fs::path fileBehindLinks(const fs::path& file) {
    std::error_code error;
    fs::path found = fs::canonical(file, error);
    if (error) fail(L"find", file.wstring(), error.value());
    return found;
}

std::string contentOf(const fs::path& file) {
    const File open(::open(file.c_str(), O_RDONLY | O_CLOEXEC));
    if (!open.open()) fail(L"read", file.wstring());
    std::string content;
    std::array<unsigned char, 1 << 16> block;
    for (;;) {
        const auto got = open.readAll(block);
        if (!got) fail(L"read", file.wstring());
        content.append(reinterpret_cast<const char*>(block.data()), *got);
        if (*got < block.size()) return content;
    }
}

FileReplacement::FileReplacement(const fs::path& file, std::string_view content)
    : file_(fileBehindLinks(file)) {
    struct stat before {};
    if (::stat(file_.c_str(), &before) != 0) fail(L"write", file_.wstring());
    // The superuser may write what the mode forbids to everybody; it is forbidden all the same.
    constexpr mode_t anybodyWrites = S_IWUSR | S_IWGRP | S_IWOTH;
    if (!S_ISREG(before.st_mode) || (before.st_mode & anybodyWrites) == 0)
        fail(L"write", file_.wstring(), EACCES);
    if (::faccessat(AT_FDCWD, file_.c_str(), W_OK, AT_EACCESS) != 0) fail(L"write", file_.wstring());

    std::string name = file_.string() + ".XXXXXX";
    const File temporary(::mkostemp(name.data(), O_CLOEXEC));
    if (!temporary.open()) fail(L"write", file_.wstring());
    PassingName passing{name};
    // Another owner is the superuser's to give, a group its members'. The mode comes after them, because they
    // clear bits of it; what the old group might do is not for the saver's own group.
    constexpr auto sameOwner = static_cast<uid_t>(-1);
    const bool groupKept = ::fchown(temporary.get(), before.st_uid, before.st_gid) == 0 ||
                           ::fchown(temporary.get(), sameOwner, before.st_gid) == 0;
    const mode_t kept = groupKept ? 07777u : 07777u & ~static_cast<mode_t>(S_IRWXG | S_ISGID);
    if (::fchmod(temporary.get(), before.st_mode & kept) != 0 || !temporary.writeAll(content))
        fail(L"write", file_.wstring());
    temporary_ = std::exchange(passing.name, {});
}

FileReplacement::~FileReplacement() {
    if (!temporary_.empty()) ::unlink(temporary_.c_str());
}

void FileReplacement::commit() {
    if (::rename(temporary_.c_str(), file_.c_str()) != 0) fail(L"write", file_.wstring());
    temporary_.clear();
    // The new name lasts when the folder is written, too. Some file systems cannot be asked for that.
    const File folder(::open(file_.parent_path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!folder.open() || (::fsync(folder.get()) != 0 && errno != EINVAL))
        fail(L"synchronise the folder of", file_.wstring());
}

struct FolderLock::State {
    File folder;
};

FolderLock::FolderLock(const fs::path& folder, std::chrono::milliseconds longest)
    : state_(new State{File(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC))}) {
    using namespace std::chrono_literals;
    if (!state_->folder.open()) fail(L"lock", folder.wstring());
    for (auto waited = 0ms; ::flock(state_->folder.get(), LOCK_EX | LOCK_NB) != 0; waited += 20ms) {
        if (errno != EWOULDBLOCK && errno != EINTR) fail(L"lock", folder.wstring());
        if (waited >= longest) throw coreException(L"Another process is saving in " + folder.wstring());
        std::this_thread::sleep_for(20ms);
    }
}

FolderLock::~FolderLock() = default;

}  // namespace CORE
