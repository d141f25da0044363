// Searches of the portable directory services.
#pragma once

#include "platform/ldap/ldap_pages.h"
#include "platform/portable/portable_binding.h"

namespace wsadmin::platform {

class PortableSearch final : public DirectorySearch {
  public:
    explicit PortableSearch(PortableBinding binding) : binding_(std::move(binding)) {}

    Result<void> setPreference(SearchPreference preference, int value) override;
    Result<std::unique_ptr<DirectoryRows>> execute(const std::string& filter,
                                                   const std::vector<std::string>& attributes) override;
    bool usable() const noexcept override { return !binding_.lost->load(); }
    LdapLimits limits() const override { return binding_.session->limits(); }

  private:
    PortableBinding binding_;
    LdapScope scope_ = LdapScope::subtree;
    int pageSize_ = LdapPages::onlyWhereNeeded;
    int sizeLimit_ = 0;
    bool tombstones_ = false;
};

}  // namespace wsadmin::platform
