// The domain map, as look-ups of accounts need it.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "framework/core/property_bag.h"
#include "ldap/service_context.h"

namespace wsadmin {

// Domain lists are bags: the domain's DNS name, and where it is bound ("LDAP://" and a name, or "GC:").
struct DomainBindings {
    CORE::PropertyBag primary;
    CORE::PropertyBag trusted;
    CORE::PropertyBag all;
    CORE::PropertyBag names;  // short name to DNS name

    // Nothing where there is no map, or one that lacks a part; that is logged.
    static std::optional<DomainBindings> of(ServiceContext& service);

    // Empty where no domain has that short name or that DNS name, or a domain has no DNS name.
    std::wstring dnsName(std::wstring_view shortName) const;
    std::wstring shortName(std::wstring_view dnsName) const;
};

// "LDAP://" and the name.
std::string ldapBinding(std::wstring_view name);
// The list that holds one domain only.
CORE::PropertyBag oneDomain(std::wstring_view name, std::wstring_view binding);

}  // namespace wsadmin
