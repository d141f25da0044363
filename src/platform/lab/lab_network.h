// The network that the machines of a lab share.
#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "platform/lab/directory_server.h"
#include "platform/network_probe.h"

namespace wsadmin::platform::lab {

// Where directories are reached, and what they replicate. Any thread.
class LabNetwork final : public LdapClient, public NetworkProbe {
  public:
    LabNetwork() : shared_(std::make_shared<Shared>()) {}
    // The same network as one of its machines sees it: the loopback names are that machine's.
    LabNetwork(const LabNetwork& network, std::string machine)
        : shared_(network.shared_), machine_(std::move(machine)) {}

    struct Address {
        std::vector<std::string> hosts;
        std::vector<std::uint16_t> ports, tlsPorts;
    };
    // Where somebody listens already, for people; else nothing, and the server is reached there.
    std::optional<std::string> listen(Address address, std::shared_ptr<DirectoryServer> server);
    // The server is not reached any more; sessions that are open stay. Those that replicated with it
    // replicate with one another from now on.
    void leave(const DirectoryServer& server);
    // A host that exists, whether or not somebody listens there; and one that no connection reaches.
    void addHost(std::string name);
    void addUnreachable(std::string name, ProbeOutcome outcome);

    Result<std::unique_ptr<LdapSession>> open(const LdapEndpoint& endpoint) override;
    void stop() override;
    ProbeOutcome probe(const std::wstring& host, std::uint16_t port, const CORE::coreevent* stop) override;

    // The server at "host:port" of plain LDAP; null where nobody listens.
    std::shared_ptr<DirectoryServer> at(std::string_view address) const;
    std::vector<std::shared_ptr<DirectoryServer>> servers() const;
    // Takes over what the source changed in the naming context since the last time.
    void pull(DirectoryServer& destination, DirectoryServer& source, const std::string& namingContext);
    // Replicates along all links that are there, until nothing is left to take over.
    void settle();
    // The server of the directory instance of that name; null where there is none.
    DirectoryServer* named(std::string_view name) const;

  private:
    using Listener = std::pair<Address, std::shared_ptr<DirectoryServer>>;
    const Listener* listener(std::string_view host, std::uint16_t port, bool tls) const;
    std::shared_ptr<DirectoryServer> reached(std::string_view address) const;
    std::string addressOf(const DirectoryServer& server) const;
    bool take(DirectoryServer& destination, DirectoryServer& source, const std::string& namingContext);
    // A server that takes nothing over in that naming context, until the next time.
    using Refusal = std::pair<const DirectoryServer*, std::string>;
    bool settleOnce(std::set<Refusal>& refused);

    // Up to where a destination has taken over a source's changes of a naming context.
    using Taken = std::tuple<const DirectoryServer*, const DirectoryServer*, std::string>;
    struct Shared {
        std::mutex mutex;
        std::vector<Listener> servers;
        std::vector<std::string> hosts;
        std::map<Taken, std::uint64_t> taken;
    };
    std::shared_ptr<Shared> shared_;
    std::vector<std::pair<std::string, ProbeOutcome>> unreachable_;
    std::string machine_;  // empty: loopback names are hosts as others are
};

}  // namespace wsadmin::platform::lab
