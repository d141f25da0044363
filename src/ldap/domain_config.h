// The domain filter lists: include, exclude and search-exclude lists of the cluster and of every connection
// server (broker), and which of them is in force here.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "ldap/worker.h"

namespace wsadmin {

enum class DomainListType { include, exclude, search };
enum class DomainListChange { add, remove, removeAll };

struct DomainLists {
    std::vector<std::wstring> include{}, exclude{}, search{};
    const std::vector<std::wstring>& of(DomainListType type) const noexcept;
};

struct BrokerDomains {
    std::wstring name;
    std::wstring dnsDomain;
    DomainLists lists;
};

struct DomainFilters {
    DomainLists cluster;
    std::vector<BrokerDomains> brokers;
    std::wstring thisBroker;

    const BrokerDomains* broker(std::wstring_view name) const noexcept;  // without regard to case
};

// "clusterExclude", "brokerExclude", "brokerInclude", "clusterInclude" or "unlimited".
std::wstring effectiveList(const DomainFilters& filters);
CORE::PropertyBag renderDomainFilters(const DomainFilters& filters);

// A change that somebody asks for. An empty broker means the cluster's lists.
struct DomainListRequest {
    DomainListChange change;
    DomainListType type;
    std::wstring broker;
    std::wstring domain;
};
// The failure is the sentence that refuses it.
Result<void> checkDomainChange(const DomainFilters& filters, const DomainListRequest& request);
// The sentence that tells that it was done.
std::wstring domainChangeDone(const DomainListRequest& request);

class DomainConfig : public Worker {
  public:
    using Worker::Worker;

    // Answers all lists, the one in force, and this server's name.
    Result<void> load();
    // Changes one list: "operation", "connectionserver", "listtype", "domain".
    Result<void> save();

  private:
    Result<DomainFilters> readFilters();
    Result<std::vector<BrokerDomains>> readBrokers(platform::LdapSession& session);
    Result<DomainListRequest> readRequest();
    // The entry that holds the lists of the broker, or of the cluster.
    Result<platform::LdapEntry> findEntry(platform::LdapSession& session, const std::wstring& broker);
    Result<void> change(const DomainListRequest& wanted, const DomainFilters& filters);
};

}  // namespace wsadmin
