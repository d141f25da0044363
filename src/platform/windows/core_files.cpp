// Files for their owner alone, and files that are replaced whole.
#include "platform/windows/handles.h"
// After the platform's base headers:
#include <aclapi.h>
#include <sddl.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <utility>

#include "framework/core/coreexception.h"
#include "framework/core/corestring.h"
#include "framework/core/plain_files.h"
#include "framework/core/saved_file.h"
#include "framework/core/system.h"

namespace fs = std::filesystem;

namespace CORE {

namespace {

using wsadmin::platform::windows::UniqueHandle;
using wsadmin::platform::windows::UniqueLocal;
using wsadmin::platform::windows::validHandle;

constexpr DWORD sharedWithAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
// Full access for the owner, the system and administrators, and nothing inherited; of a folder also for what
// is in it.
constexpr wchar_t privateFile[] = L"D:P(A;;FA;;;OW)(A;;FA;;;SY)(A;;FA;;;BA)";
// To wait for a mutex and release it, for every account of this machine.
constexpr DWORD useOfMutex = SYNCHRONIZE | MUTEX_MODIFY_STATE;
constexpr wchar_t everybodysMutex[] = L"D:P(A;;0x100001;;;AU)";
constexpr wchar_t privateFolder[] = L"D:P(A;OICI;FA;;;OW)(A;OICI;FA;;;SY)(A;OICI;FA;;;BA)";

[[noreturn]] void fail(const wchar_t* what, const std::wstring& path, DWORD error = GetLastError()) {
    throw coreException(formatText(L"Cannot %s %s: %s", what, path, sys::errorText(error)));
}

// A file under a passing name, gone with the object.
struct PassingName {
    std::wstring name;
    ~PassingName() {
        if (!name.empty()) DeleteFileW(name.c_str());
    }
};

UniqueLocal<void> descriptorOf(const wchar_t* text, const std::wstring& path) {
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    if (!ConvertStringSecurityDescriptorToSecurityDescriptorW(text, SDDL_REVISION_1, &descriptor, nullptr))
        fail(L"make", path);
    return UniqueLocal<void>(descriptor);
}

// Null for the descriptor: the folder's.
UniqueHandle createNew(const std::wstring& path, PSECURITY_DESCRIPTOR descriptor, DWORD attributes) {
    SECURITY_ATTRIBUTES security{sizeof(security), descriptor, FALSE};
    return validHandle(CreateFileW(path.c_str(), GENERIC_WRITE, 0, descriptor ? &security : nullptr,
                                   CREATE_NEW, attributes, nullptr));
}

bool writeAll(HANDLE file, std::string_view content) {
    constexpr std::size_t atOnce = 1 << 24;
    while (!content.empty()) {
        DWORD written = 0;
        if (!WriteFile(file, content.data(), static_cast<DWORD>(std::min(content.size(), atOnce)), &written,
                       nullptr))
            return false;
        content.remove_prefix(written);
    }
    return FlushFileBuffers(file) != 0;
}

// The process's own account, the system, administrators, and whoever owns the file.
bool trusted(PSID sid) {
    if (IsWellKnownSid(sid, WinLocalSystemSid) || IsWellKnownSid(sid, WinBuiltinAdministratorsSid) ||
        IsWellKnownSid(sid, WinCreatorOwnerRightsSid))
        return true;
    HANDLE opened = nullptr;
    if (!OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &opened)) return false;
    const UniqueHandle token(opened);
    alignas(TOKEN_USER) std::array<unsigned char, sizeof(TOKEN_USER) + SECURITY_MAX_SID_SIZE> user{};
    DWORD size = 0;
    return GetTokenInformation(token.get(), TokenUser, user.data(), static_cast<DWORD>(user.size()), &size) &&
           EqualSid(sid, reinterpret_cast<const TOKEN_USER*>(user.data())->User.Sid);
}

// Whether the list lets in nobody but those who are trusted. A kind of entry that is not known may let in
// anybody.
bool isPrivate(PACL list) {
    if (!list) return false;  // no list: everybody
    for (DWORD i = 0; i < list->AceCount; ++i) {
        void* found = nullptr;
        if (!GetAce(list, i, &found)) return false;
        auto* const entry = static_cast<ACCESS_ALLOWED_ACE*>(found);
        if ((entry->Header.AceFlags & INHERIT_ONLY_ACE) || entry->Header.AceType == ACCESS_DENIED_ACE_TYPE)
            continue;
        if (entry->Header.AceType != ACCESS_ALLOWED_ACE_TYPE) return false;
        if (entry->Mask != 0 && !trusted(&entry->SidStart)) return false;
    }
    return true;
}

// Throws when an open file or folder lets in others than those who are trusted.
void requirePrivate(HANDLE file, bool folder, const std::wstring& path) {
    const auto refuse = [&](const wchar_t* why) {
        throw coreException(formatText(L"%s is not used: %s", path, why));
    };
    BY_HANDLE_FILE_INFORMATION information{};
    if (!GetFileInformationByHandle(file, &information)) fail(L"read", path);
    if (information.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) refuse(L"it is a link");
    if (((information.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0) != folder)
        refuse(folder ? L"it is no folder" : L"it is no file");
    PSID owner = nullptr;
    PACL list = nullptr;
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    const DWORD error =
        GetSecurityInfo(file, SE_FILE_OBJECT, OWNER_SECURITY_INFORMATION | DACL_SECURITY_INFORMATION, &owner,
                        nullptr, &list, nullptr, &descriptor);
    if (error != ERROR_SUCCESS) fail(L"read", path, error);
    const UniqueLocal<void> held(descriptor);
    if (!owner || !trusted(owner)) refuse(L"somebody else owns it");
    if (!isPrivate(list)) refuse(L"others than its owner may use it");
}

// A link itself instead of what it leads to; null where there is nothing. Shared with everything: whoever has
// just made the file may still hold it.
UniqueHandle openWithoutLinks(const std::wstring& path, DWORD access) {
    UniqueHandle file =
        validHandle(CreateFileW(path.c_str(), access, sharedWithAll, nullptr, OPEN_EXISTING,
                                FILE_FLAG_OPEN_REPARSE_POINT | FILE_FLAG_BACKUP_SEMANTICS, nullptr));
    if (file) return file;
    const DWORD error = GetLastError();
    if (error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND) return nullptr;
    fail(L"read", path, error);
}

}  // namespace

void sys::createPrivateFolder(const std::wstring& path) {
    const fs::path parent = fs::path(path).parent_path();
    std::error_code error;
    fs::create_directories(parent, error);
    if (error) fail(L"make", parent.wstring(), static_cast<DWORD>(error.value()));
    const auto descriptor = descriptorOf(privateFolder, path);
    SECURITY_ATTRIBUTES security{sizeof(security), descriptor.get(), FALSE};
    if (CreateDirectoryW(path.c_str(), &security)) return;
    if (GetLastError() != ERROR_ALREADY_EXISTS) fail(L"make", path);
    const UniqueHandle folder = openWithoutLinks(path, READ_CONTROL | FILE_READ_ATTRIBUTES);
    if (!folder) fail(L"make", path);
    requirePrivate(folder.get(), true, path);
}

bool sys::createPrivateFile(const std::wstring& path, std::span<const unsigned char> content) {
    const PassingName passing{path + L"." + wstr::newGuid().str()};
    {
        const auto descriptor = descriptorOf(privateFile, path);
        const UniqueHandle file = createNew(passing.name, descriptor.get(), FILE_ATTRIBUTE_NORMAL);
        if (!file) fail(L"make", path);
        if (!writeAll(file.get(), {reinterpret_cast<const char*>(content.data()), content.size()}))
            fail(L"write", path);
    }
    return renameToNew(passing.name, path);
}

std::optional<std::size_t> sys::readPrivateFile(const std::wstring& path, std::span<unsigned char> buffer) {
    const UniqueHandle file = openWithoutLinks(path, GENERIC_READ);
    if (!file) return std::nullopt;
    requirePrivate(file.get(), false, path);
    DWORD got = 0;
    if (!ReadFile(file.get(), buffer.data(), static_cast<DWORD>(buffer.size()), &got, nullptr))
        fail(L"read", path);
    return got;
}

// The attributes are those of a link itself: mingw's <filesystem> knows no links.
FileKind kindOf(const fs::path& path) noexcept {
    const DWORD attributes = GetFileAttributesW(path.c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES) {
        const DWORD error = GetLastError();
        const bool missing = error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND;
        return missing ? FileKind::missing : FileKind::other;
    }
    if (attributes & (FILE_ATTRIBUTE_REPARSE_POINT | FILE_ATTRIBUTE_DEVICE)) return FileKind::other;
    return attributes & FILE_ATTRIBUTE_DIRECTORY ? FileKind::folder : FileKind::file;
}

std::optional<FilePart> readPart(const fs::path& file, std::uint64_t offset, std::size_t most,
                                 std::vector<std::uint8_t>& into) {
    const UniqueHandle open = validHandle(CreateFileW(file.c_str(), GENERIC_READ, sharedWithAll, nullptr,
                                                      OPEN_EXISTING, FILE_FLAG_OPEN_REPARSE_POINT, nullptr));
    BY_HANDLE_FILE_INFORMATION found{};
    if (!open || GetFileType(open.get()) != FILE_TYPE_DISK ||
        !GetFileInformationByHandle(open.get(), &found) ||
        (found.dwFileAttributes & (FILE_ATTRIBUTE_REPARSE_POINT | FILE_ATTRIBUTE_DIRECTORY)))
        return std::nullopt;
    const auto joined = [](DWORD high, DWORD low) { return std::uint64_t{high} << 32 | low; };
    const FilePart read{joined(found.nFileSizeHigh, found.nFileSizeLow),
                        joined(found.nFileIndexHigh, found.nFileIndexLow)};
    if (offset >= read.size) return read;
    LARGE_INTEGER at{};
    at.QuadPart = static_cast<LONGLONG>(offset);
    if (!SetFilePointerEx(open.get(), at, nullptr, FILE_BEGIN)) return std::nullopt;
    const std::size_t before = into.size();
    into.resize(before + std::min<std::uint64_t>(most, read.size - offset));
    DWORD got = 0;
    const bool whole = ReadFile(open.get(), into.data() + before, static_cast<DWORD>(into.size() - before),
                                &got, nullptr) != 0;
    into.resize(before + got);
    return whole ? std::optional(read) : std::nullopt;
}

bool renameToNew(const fs::path& from, const fs::path& to) {
    if (MoveFileExW(from.c_str(), to.c_str(), MOVEFILE_WRITE_THROUGH)) return true;
    const DWORD error = GetLastError();
    if (error == ERROR_ALREADY_EXISTS || error == ERROR_FILE_EXISTS) return false;
    fail(L"make", to.wstring(), error);
}

fs::path fileBehindLinks(const fs::path& file) {
    const UniqueHandle open = validHandle(CreateFileW(file.c_str(), 0, sharedWithAll, nullptr, OPEN_EXISTING,
                                                      FILE_FLAG_BACKUP_SEMANTICS, nullptr));
    if (!open) fail(L"find", file.wstring());
    std::wstring path(MAX_PATH, L'\0');
    for (;;) {
        const DWORD length =
            GetFinalPathNameByHandleW(open.get(), path.data(), static_cast<DWORD>(path.size()), 0);
        if (length == 0) fail(L"find", file.wstring());
        const bool fits = length < path.size();
        path.resize(length);
        if (fits) return path;
    }
}

// The C++ library's streams let nobody else delete or rename an open file, so they cannot open one either
// while it is being renamed.
std::string contentOf(const fs::path& file) {
    const UniqueHandle open = validHandle(CreateFileW(file.c_str(), GENERIC_READ, sharedWithAll, nullptr,
                                                      OPEN_EXISTING, FILE_FLAG_SEQUENTIAL_SCAN, nullptr));
    if (!open) fail(L"read", file.wstring());
    std::string content;
    std::string block(1 << 16, '\0');
    for (DWORD got = 1; got > 0; content.append(block, 0, got))
        if (!ReadFile(open.get(), block.data(), static_cast<DWORD>(block.size()), &got, nullptr))
            fail(L"read", file.wstring());
    return content;
}

FileReplacement::FileReplacement(const fs::path& file, std::string_view content)
    : file_(fileBehindLinks(file)) {
    const DWORD attributes = GetFileAttributesW(file_.c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES) fail(L"write", file_.wstring());
    if (attributes & FILE_ATTRIBUTE_READONLY) fail(L"write", file_.wstring(), ERROR_ACCESS_DENIED);
    if (!validHandle(
            CreateFileW(file_.c_str(), GENERIC_WRITE, sharedWithAll, nullptr, OPEN_EXISTING, 0, nullptr)))
        fail(L"write", file_.wstring());

    PSID owner = nullptr;
    PSID group = nullptr;
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    GetNamedSecurityInfoW(file_.c_str(), SE_FILE_OBJECT,
                          OWNER_SECURITY_INFORMATION | GROUP_SECURITY_INFORMATION, &owner, &group, nullptr,
                          nullptr, &descriptor);
    const UniqueLocal<void> owners(descriptor);
    descriptor = nullptr;  // stays so on a file system without access lists
    GetNamedSecurityInfoW(file_.c_str(), SE_FILE_OBJECT, DACL_SECURITY_INFORMATION, nullptr, nullptr, nullptr,
                          nullptr, &descriptor);
    const UniqueLocal<void> access(descriptor);

    PassingName passing{file_.wstring() + L"." + wstr::newGuid().str()};
    const UniqueHandle temporary = createNew(passing.name, access.get(), attributes);
    if (!temporary) {
        const DWORD error = GetLastError();
        passing.name.clear();
        fail(L"write", file_.wstring(), error);
    }
    if (!writeAll(temporary.get(), content)) {
        const DWORD error = GetLastError();
        fail(L"write", file_.wstring(), error);
    }
    // Another owner takes a privilege.
    if (owner)
        SetNamedSecurityInfoW(passing.name.data(), SE_FILE_OBJECT,
                              OWNER_SECURITY_INFORMATION | GROUP_SECURITY_INFORMATION, owner, group, nullptr,
                              nullptr);
    temporary_ = std::exchange(passing.name, {});
}

FileReplacement::~FileReplacement() {
    if (!temporary_.empty()) DeleteFileW(temporary_.c_str());
}

void FileReplacement::commit() {
    if (!MoveFileExW(temporary_.c_str(), file_.c_str(), MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH))
        fail(L"write", file_.wstring());
    temporary_.clear();
}

struct FolderLock::State {
    UniqueHandle mutex;
};

// Folders cannot be locked, and a lock file would stay behind: a mutex that all processes know by the
// folder's name. Only the rights that waiting needs are asked for: others than the account that made the
// mutex get no more.
FolderLock::FolderLock(const fs::path& folder, std::chrono::milliseconds longest) : state_(new State) {
    const std::string name = foldText(toUtf8(fileBehindLinks(folder).wstring()));
    const auto number = static_cast<unsigned long long>(std::hash<std::string>()(name));
    const auto descriptor = descriptorOf(everybodysMutex, folder.wstring());
    SECURITY_ATTRIBUTES security{sizeof(security), descriptor.get(), FALSE};
    state_->mutex.reset(CreateMutexExW(&security, formatText(L"Global\\ws_admin-saving-%llx", number).c_str(),
                                       0, useOfMutex));
    if (!state_->mutex) fail(L"lock", folder.wstring());
    const DWORD waited = WaitForSingleObject(state_->mutex.get(), static_cast<DWORD>(longest.count()));
    if (waited == WAIT_TIMEOUT) throw coreException(L"Another process is saving in " + folder.wstring());
    if (waited == WAIT_FAILED) fail(L"lock", folder.wstring());
}

FolderLock::~FolderLock() {
    ReleaseMutex(state_->mutex.get());
}

}  // namespace CORE
