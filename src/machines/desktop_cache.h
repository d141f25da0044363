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

    // Reads the desktops of these pools, many in one search.
    void load(const std::vector<std::string_view>& poolDns);
    // The desktop of a pool, by the pool's DN; null where there is none or it cannot be read, which is logged
    // once.
    const DesktopEntry* ofPool(std::string_view poolDn);
    // A desktop by its own DN; null likewise, and not logged.
    const DesktopEntry* byDn(std::string_view dn);

  private:
    using Keys = std::set<std::string, std::less<>>;
    using Pointers = std::map<std::string, const DesktopEntry*, std::less<>>;

    // Fails where the entry's members cannot all be read.
    Result<const DesktopEntry*> store(const platform::LdapEntry& entry);
    void readPools(const std::vector<std::string>& poolDns);
    void assign(const platform::LdapEntry& entry, const Keys& poolKeys);

    platform::LdapSession& session_;
    Pointers byPoolDn_;   // by the pool's DN as it is written, so that most look-ups need no parsing
    Pointers byPoolKey_;  // by the key of the DN, as the next two
    Pointers byDn_;
    std::map<std::string, DesktopEntry, std::less<>> desktops_;
};

}  // namespace wsadmin
