// The port to files, by paths in the system's spelling with backslashes. All calls may come from any thread.
// Codes of failures are the system's.
#pragma once

#include <string>
#include <string_view>

#include "platform/result.h"

namespace wsadmin::platform {

class Files {
  public:
    virtual ~Files() = default;
    // Whether there is a file, not a folder, of that path. A file that cannot be asked for is a failure.
    virtual Result<bool> exists(const std::wstring& path) const = 0;
    // The folder for temporary files, with a backslash at its end.
    virtual Result<std::wstring> temporaryFolder() const = 0;
    // A new and empty file, whose name begins with the prefix and is nobody else's, readable by its owner and
    // the machine's administrators alone. Answers its path.
    virtual Result<std::wstring> makeTemporary(const std::wstring& folder, const std::wstring& prefix) = 0;
    // Replaces what is in a file that exists.
    virtual Result<void> write(const std::wstring& path, std::string_view content) = 0;
};

}  // namespace wsadmin::platform
