// The domains as one request uses them: what the domain map says of them, and the bindings to their
// directories.
#pragma once

#include <optional>
#include <set>
#include <string>
#include <string_view>

#include "framework/core/property_bag.h"
#include "ldap/connection_mgr.h"
#include "ldap/service_context.h"
#include "platform/result.h"

namespace wsadmin {

// The parts of the domain map. Lists are bags: the domain's DNS name, and where it is bound ("LDAP://" and a
// name, or "GC:").
struct MappedDomains {
    CORE::PropertyBag primary;
    CORE::PropertyBag trusted;
    CORE::PropertyBag all;
    CORE::PropertyBag names;  // short name to DNS name

    // Empty where no domain has that short name or that DNS name, or a domain has no DNS name.
    std::wstring dnsName(std::wstring_view shortName) const;
    std::wstring shortName(std::wstring_view dnsName) const;
};

// For one request, on one thread, which holds a DirectoryThread.
class DomainBindings {
  public:
    explicit DomainBindings(ServiceContext& service) : service_(service) {}
    DomainBindings(const DomainBindings&) = delete;
    DomainBindings& operator=(const DomainBindings&) = delete;

    ServiceContext& service() const noexcept { return service_; }
    // Read when it is first wanted. Fails where there is no domain map or a part of it is missing, which is
    // logged.
    const Result<MappedDomains>& domains();

  private:
    friend class DomainSearch;
    ServiceContext& service_;
    std::optional<Result<MappedDomains>> domains_;    // nothing: not read yet
    std::set<std::string, std::less<>> unreachable_;  // domains, and bindings that could not be opened
};

// A pooled binding, held for a scope: every search of a domain. A domain that could not be reached, or whose
// connection was lost, is not tried again by the request, as each attempt might take the whole time-out.
class DomainSearch {
  public:
    // `scope` is ADSI's code. With credentials the binding is opened for this search alone.
    DomainSearch(DomainBindings& bindings, const std::string& binding, int scope = ConnectionMgr::subtree,
                 const platform::DirectoryCredentials& credentials = {});
    ~DomainSearch();
    DomainSearch(const DomainSearch&) = delete;
    DomainSearch& operator=(const DomainSearch&) = delete;
    // False: the binding could not be opened, now or before.
    explicit operator bool() const noexcept { return search_.has_value(); }
    platform::DirectorySearch& operator*() const noexcept { return **search_; }

  private:
    DomainBindings& bindings_;
    const std::string domain_;
    const CORE::refptr<ConnectionMgr> pool_;
    std::optional<PooledSearch> search_;
};

// "LDAP://" and the name.
std::string ldapBinding(std::wstring_view name);
// The list that holds one domain only.
CORE::PropertyBag oneDomain(std::wstring_view name, std::wstring_view binding);

}  // namespace wsadmin
