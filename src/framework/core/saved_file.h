// Files that are replaced whole: whoever reads one finds the old content or the new one, also after a power
// failure. What fails throws coreException with the file and the system's reason.
#pragma once

#include <chrono>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>

#include "framework/core/export.h"

namespace CORE {

// Where the file really stands, behind all links. It must exist.
MFWCORE_API std::filesystem::path fileBehindLinks(const std::filesystem::path& file);

// The content of a file that others may replace meanwhile: the old one or the new one.
MFWCORE_API std::string contentOf(const std::filesystem::path& file);

// The new content of a file that exists, written and synchronised beside it under a name that nobody can
// foretell. Links are followed; mode or access list stay and, where the system permits it, the owner. A file
// whose mode forbids writing is refused. Whatever is not put in place is gone with the object.
class MFWCORE_API FileReplacement {
  public:
    FileReplacement(const std::filesystem::path& file, std::string_view content);
    ~FileReplacement();
    FileReplacement(const FileReplacement&) = delete;
    FileReplacement& operator=(const FileReplacement&) = delete;

    // Takes the file's place in one step, for good. That may fail when the place is taken already: the new
    // name could not be synchronised, and a power failure may bring the old content back.
    void commit();
    bool inPlace() const noexcept { return temporary_.empty(); }

  private:
    std::filesystem::path file_, temporary_;
};

// Held for a folder by one object at a time, of all processes of the machine. Waits for it so long at most.
class MFWCORE_API FolderLock {
  public:
    explicit FolderLock(const std::filesystem::path& folder,
                        std::chrono::milliseconds longest = std::chrono::seconds(10));
    ~FolderLock();
    FolderLock(const FolderLock&) = delete;
    FolderLock& operator=(const FolderLock&) = delete;

  private:
    struct State;
    std::unique_ptr<State> state_;
};

}  // namespace CORE
