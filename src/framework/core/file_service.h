// The framework's file service: the worker "FileSystem", which takes messages of this machine and, but for
// copies, of remote ones. What it may touch is the host's to say; every other path is refused.
#pragma once

#include <cstdint>
#include <filesystem>
#include <vector>

#include "framework/core/export.h"

namespace CORE {

namespace files {
inline constexpr wchar_t worker[] = L"FileSystem";

// Answers an entry for each log file: its name, and its path.
inline constexpr wchar_t getLogFiles[] = L"GetLogFiles";
// Answers up to readSize bytes of "FileName" from "Offset" on as the attachment, the file's "Size", and an
// "Identity" that another file of the name does not have.
inline constexpr wchar_t readFile[] = L"ReadFile";
// Copies "RemoteFileName" of the machine at the other end of "channel" (a handle) to "LocalFileName", which
// must not exist unless "Overwrite". Refused to remote machines.
inline constexpr wchar_t copyFromRemoteFile[] = L"CopyFromRemoteFile";
inline constexpr wchar_t deleteFile[] = L"DeleteFile";  // "FileName"

inline constexpr wchar_t fileName[] = L"FileName";
inline constexpr wchar_t offset[] = L"Offset";
inline constexpr wchar_t size[] = L"Size";
inline constexpr wchar_t identity[] = L"Identity";
inline constexpr wchar_t channel[] = L"channel";
inline constexpr wchar_t remoteFileName[] = L"RemoteFileName";
inline constexpr wchar_t localFileName[] = L"LocalFileName";
inline constexpr wchar_t overwrite[] = L"Overwrite";

inline constexpr std::size_t readSize = std::size_t{1} << 20;
}  // namespace files

// Whoever may write in these folders decides what stands in them: they belong to the host's own account.
struct FileAccess {
    std::vector<std::filesystem::path> received{};  // of copies; a relative name stands in the first
    std::vector<std::filesystem::path> logs{};      // whose files are listed and read
    std::vector<std::filesystem::path> bundles{};   // whose files are read and deleted
    std::uint64_t largestCopy = std::uint64_t{16} << 30;
};

// Registers the worker; a later call replaces what it may touch.
MFWCORE_API void serveFiles(FileAccess access);
MFWCORE_API void stopServingFiles();  // running requests end first

}  // namespace CORE
