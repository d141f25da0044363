// The operations on the agent inside a machine. Each opens a channel to the agent and closes it at its end.
#pragma once

#include <memory>

#include "framework/core/channel.h"
#include "ldap/worker.h"

namespace wsadmin {

class RemoteAgent : public Worker {
  public:
    using Worker::Worker;

    // The agent's reply as it is, its error included.
    Result<void> getVersion();
    Result<void> getLogLevel();
    Result<void> setLogLevel();
    // The log files by name with their paths on the agent's machine; nothing when the agent does not tell.
    Result<void> getLogs();
    Result<void> copyLog();
    // Has the agent make a diagnostic bundle, copies it and deletes it there, also when the copy failed.
    Result<void> createBundle();

  private:
    class Channel;

    Result<void> ask(const wchar_t* operation, const CORE::PropertyBag& request = {});
    Result<void> copyFile(const Channel& from, std::wstring_view remoteFile);
    bool deleteAfterEnd(std::wstring_view bundle);
};

}  // namespace wsadmin
