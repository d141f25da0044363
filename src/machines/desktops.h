// Desktops and who may use them, read once for a walk.
#pragma once

#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>

#include "platform/ldap/sid.h"
#include "platform/ldap_session.h"

namespace wsadmin {

struct DesktopEntry {
    std::string dn;
    std::set<platform::Sid> members;
};

// Desktops that were found stay where they are as long as the object lives.
class Desktops {
  public:
    explicit Desktops(platform::LdapSession& session) : session_(session) {}

    // Reads the desktops of these pools ahead, many in one search.
    void learn(const std::vector<std::string_view>& poolDns);
    // The desktop of a pool, by the pool's name in the directory; null where there is none, which is logged.
    const DesktopEntry* ofPool(std::string_view poolDn);
    // A desktop by its own name in the directory.
    const DesktopEntry* at(std::string_view dn);

  private:
    using Keys = std::set<std::string, std::less<>>;

    const DesktopEntry* keep(const platform::LdapEntry& entry);
    // Reads the desktops of pools that nobody asked for yet.
    void read(const std::vector<std::string>& poolDns);
    void assign(const platform::LdapEntry& entry, const Keys& asked);

    platform::LdapSession& session_;
    std::map<std::string, const DesktopEntry*, std::less<>> ofNamed_;  // by the pool's name as it is written
    std::map<std::string, const DesktopEntry*, std::less<>> byPool_;   // by the key of the name, as the next
    std::map<std::string, const DesktopEntry*, std::less<>> asked_;
    std::map<std::string, DesktopEntry, std::less<>> desktops_;
};

}  // namespace wsadmin
