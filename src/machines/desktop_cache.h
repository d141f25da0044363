// Desktops and who may use them, read once for a report.
#pragma once

#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "platform/ldap/sid.h"
#include "platform/ldap_session.h"

namespace wsadmin {

struct DesktopEntry {
    std::string dn;
    std::set<platform::Sid> members;
};

// The pointers that it gives are valid as long as the cache lives.
class DesktopCache {
  public:
    explicit DesktopCache(platform::LdapSession& session) : session_(session) {}

    // Reads the desktops of these pools, many in one search. A pool without a desktop is logged once. Fails
    // where a search fails or a desktop's members cannot all be read; both are logged.
    Result<void> load(const std::vector<std::string_view>& poolDns);
    // The desktop of a pool that was loaded, by the pool's DN; null where there is none.
    const DesktopEntry* ofPool(std::string_view poolDn) const;
    // A desktop by its own DN; null where there is none. Fails as load() does.
    Result<const DesktopEntry*> byDn(std::string_view dn);

  private:
    using Keys = std::set<std::string, std::less<>>;
    using Pointers = std::map<std::string, const DesktopEntry*, std::less<>>;

    Result<const DesktopEntry*> store(const platform::LdapEntry& entry);
    Result<void> readPools(const std::vector<std::string>& poolDns);
    Result<void> assign(const platform::LdapEntry& entry, const Keys& poolKeys);

    platform::LdapSession& session_;
    Pointers byPoolDn_;   // by the pool's DN as it is written, so that most look-ups need no parsing
    Pointers byPoolKey_;  // by the key of the DN, as the next two
    Pointers byDn_;
    std::map<std::string, DesktopEntry, std::less<>> desktops_;
};

}  // namespace wsadmin
