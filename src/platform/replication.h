// The port to the replication of directory instances. Codes of failures are the system's. A binding is used
// by one thread at a time.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "framework/core/corestring.h"
#include "platform/result.h"
#include "platform/text/hex.h"

namespace wsadmin::platform {

// Codes that are told apart from other failures.
inline constexpr int replicationSchemaMismatch = 8418;
inline constexpr int replicationBusy = 8438;
inline constexpr int replicationLinkExists = 8441;  // this link's source is one already
inline constexpr int replicationReferenceExists = 8448;

// A directory instance as replication knows it: the GUID of its server object, in the byte order of the
// directory.
struct InstanceGuid {
    static constexpr std::size_t digits = 32;
    std::array<std::uint8_t, digits / 2> bytes{};
    bool operator==(const InstanceGuid&) const = default;
};
// Nothing unless the text is 32 hexadecimal digits.
inline std::optional<InstanceGuid> instanceGuid(std::string_view text) {
    if (text.size() != InstanceGuid::digits) return std::nullopt;
    InstanceGuid guid;
    for (std::size_t i = 0; i < guid.bytes.size(); ++i) {
        const auto byte = hexByte(text, 2 * i);
        if (!byte) return std::nullopt;
        guid.bytes[i] = static_cast<std::uint8_t>(*byte);
    }
    return guid;
}

enum class SyncDirection { push, pull };

// What a synchronisation of all instances tells of its progress.
struct SyncEvent {
    // Numbered as the platform numbers them; others may come.
    enum Kind : int { error = 0, started = 1, completed = 2, finished = 3 };
    struct Details {
        std::wstring source, destination;  // as the platform names servers
        int errorType = 0;                 // both of an error alone
        std::uint32_t code = 0;
    };
    int kind = finished;
    std::optional<Details> details{};
};
// Nothing: the platform told of an event without its content. Called on the thread that synchronises.
using SyncProgress = std::function<void(const std::optional<SyncEvent>&)>;

// An instance that was bound to; unbound when it is dropped. Every call waits until the instance has done it.
// "host:port" is how instances are addressed, a naming context is a DN.
class ReplicationBinding {
  public:
    virtual ~ReplicationBinding() = default;
    // How many operations wait to be done; nothing where the instance answers without a result.
    virtual Result<std::optional<std::uint32_t>> pendingOperations() = 0;
    // Makes the instance compute its links anew.
    virtual Result<void> updateTopology() = 0;
    // Of a source: it tells the destination of changes from now on. Writable replicas.
    virtual Result<void> addReference(const std::wstring& namingContext, const std::wstring& destination,
                                      const InstanceGuid& destinationGuid) = 0;
    // Of a destination: it takes changes from the source, now and periodically. Writable replicas.
    // `sourceDsa` is the DN of the source's settings (dsServiceName).
    virtual Result<void> addLink(const std::wstring& namingContext, const std::wstring& sourceDsa,
                                 const std::wstring& source) = 0;
    // Of a destination: it takes the changes now, and the source tells it of further ones.
    virtual Result<void> synchronise(const std::wstring& namingContext, const InstanceGuid& sourceGuid) = 0;
    // With all instances that hold the naming context, in all sites. An error with one of them is an event
    // and no failure.
    virtual Result<void> synchroniseAll(const std::wstring& namingContext, SyncDirection direction,
                                        const SyncProgress& progress) = 0;
};

// An account and its password for a bind. Wiped when it is dropped; it has to outlive what was bound with it.
class ReplicationCredentials {
  public:
    virtual ~ReplicationCredentials() = default;
};

class Replication {
  public:
    virtual ~Replication() = default;
    virtual Result<std::unique_ptr<ReplicationCredentials>> makeCredentials(
        const std::wstring& domain, const std::wstring& user, const CORE::secretstring& password) = 0;
    // To the instance at "host:port". Without credentials, which are to be made by this port, as the
    // process's identity.
    virtual Result<std::unique_ptr<ReplicationBinding>> bind(
        const std::wstring& server, const ReplicationCredentials* credentials = nullptr) = 0;
};

}  // namespace wsadmin::platform
