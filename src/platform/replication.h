// The port to the replication of directory instances. Codes of failures are the system's. A binding is used
// by one thread at a time.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "platform/result.h"

namespace wsadmin::platform {

// An instance that was bound to; unbound when it is dropped.
class ReplicationBinding {
  public:
    virtual ~ReplicationBinding() = default;
    // How many operations wait to be done; nothing where the instance answers without a result.
    virtual Result<std::optional<std::uint32_t>> pendingOperations() = 0;
};

class Replication {
  public:
    virtual ~Replication() = default;
    // As the process's identity, to the instance at "host:port".
    virtual Result<std::unique_ptr<ReplicationBinding>> bind(const std::wstring& server) = 0;
};

}  // namespace wsadmin::platform
