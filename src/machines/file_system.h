// A client of the framework's file service: of the remote machine at the other end of a channel, or of this
// one.
#pragma once

#include <optional>
#include <string_view>

#include "framework/core/channel.h"
#include "framework/core/property_bag.h"

namespace wsadmin {

class FileSystem {
  public:
    // Null: this machine. 0: without a time limit.
    explicit FileSystem(CORE::MessageChannel* channel = nullptr, unsigned timeoutMs = 0)
        : channel_(channel), timeoutMs_(timeoutMs) {}

    // The log files, each under its name with its path; nothing when the service does not tell.
    std::optional<CORE::PropertyBag> getLogFiles() const;
    // Of this machine's service: copies a file from the other end of the channel. An existing file stays as
    // it is, and the copy fails.
    bool copyFromRemoteFile(const CORE::MessageChannel& from, std::wstring_view remoteFile,
                            std::wstring_view localFile) const;
    bool deleteFile(std::wstring_view file) const;

  private:
    bool send(std::wstring_view operation, const CORE::PropertyBag& request,
              CORE::PropertyBag& response) const;

    CORE::MessageChannel* channel_;
    unsigned timeoutMs_;
};

}  // namespace wsadmin
