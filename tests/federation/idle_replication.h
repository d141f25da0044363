// A binding to a directory instance that has nothing to do; tests replace what they look at.
#pragma once

#include "platform/replication.h"

namespace wstest {

struct IdleReplication : wsadmin::platform::ReplicationBinding {
    using Done = wsadmin::Result<void>;
    using Guid = wsadmin::platform::InstanceGuid;
    wsadmin::Result<std::optional<std::uint32_t>> pendingOperations() override { return 0U; }
    Done updateTopology() override { return {}; }
    Done addReference(const std::wstring&, const std::wstring&, const Guid&) override { return {}; }
    Done addLink(const std::wstring&, const std::wstring&, const std::wstring&) override { return {}; }
    Done synchronise(const std::wstring&, const Guid&) override { return {}; }
    Done synchroniseAll(const std::wstring&, wsadmin::platform::SyncDirection,
                        const wsadmin::platform::SyncProgress&) override {
        return {};
    }
};

}  // namespace wstest
