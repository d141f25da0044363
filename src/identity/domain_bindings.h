// The parts of the domain map that account look-ups use.
#pragma once

#include <set>
#include <string>
#include <string_view>

#include "framework/core/property_bag.h"
#include "ldap/connection_mgr.h"
#include "ldap/service_context.h"
#include "platform/result.h"

namespace wsadmin {

// Domain lists are bags: the domain's DNS name, and where it is bound ("LDAP://" and a name, or "GC:"). For
// one request, on one thread.
struct DomainBindings {
    CORE::PropertyBag primary;
    CORE::PropertyBag trusted;
    CORE::PropertyBag all;
    CORE::PropertyBag names;  // short name to DNS name
    // Bindings that could not be opened. A request does not try them again: each might take the whole
    // time-out.
    std::set<std::string, std::less<>> unreachable{};

    // Fails where there is no domain map or a part of it is missing, which is logged.
    static Result<DomainBindings> of(ServiceContext& service);

    // A search of the whole subtree, to be held by a PooledSearch; null where the binding cannot be opened.
    DirectorySearchPtr open(ConnectionMgr& pool, const std::string& binding);

    // Empty where no domain has that short name or that DNS name, or a domain has no DNS name.
    std::wstring dnsName(std::wstring_view shortName) const;
    std::wstring shortName(std::wstring_view dnsName) const;
};

// "LDAP://" and the name.
std::string ldapBinding(std::wstring_view name);
// The list that holds one domain only.
CORE::PropertyBag oneDomain(std::wstring_view name, std::wstring_view binding);

}  // namespace wsadmin
