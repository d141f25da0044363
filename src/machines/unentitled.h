// Reports on what outlived an entitlement: machines that users still have, and policies that are still set
// for them.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "ldap/worker.h"
#include "machines/entitlement_check.h"
#include "machines/report.h"

namespace wsadmin {

class Unentitled : public Worker {
  public:
    Unentitled(ServiceContext& service, const CORE::PropertyBag& request)
        : Worker(service, request), thread_(*service.platform().directoryServices), check_(service) {}

    // "unentitled-machine-report"
    void machines();
    // "unentitled-policy-report"
    void policies();

  private:
    struct MachineRecord {
        std::string dn, displayName, name, moid, vmPath, pool;
        int flags = 0;  // assigned, checked out
    };
    struct ServerOfPool {
        std::string dn, url;
    };

    bool byUser() const { return request().getBool(L"listbyuser", true); }
    CORE::PropertyBag userBag(const platform::Sid& sid) const;
    static CORE::PropertyBag desktopBag(Desktops& desktops, const std::string& dn);

    // Decides on the machines of a page; they are one record each.
    void examine(const std::vector<platform::LdapEntry>& page, Desktops& desktops);
    void addMachine(const platform::LdapEntry& machine, const platform::Sid& user,
                    const DesktopEntry& desktop, int flags);
    CORE::PropertyBag machineBag(platform::LdapSession& session, const MachineRecord& machine);
    // The management server of a pool; nothing where the directory could not be asked.
    const std::optional<ServerOfPool>& serverOf(platform::LdapSession& session, const std::string& pool);

    void examineLink(const platform::LdapEntry& link, Desktops& desktops);
    // Whether the user can be found by the SID; where not, that is logged.
    bool determineUser(const platform::Sid& sid);

    platform::DirectoryThread thread_;
    EntitlementCheck check_;
    std::vector<Finding> findings_;
    std::vector<MachineRecord> machines_;
    std::map<std::string, std::optional<ServerOfPool>, std::less<>> servers_;  // by the pool's name
    std::vector<std::string> policies_;                                        // distinguished names
    std::map<platform::Sid, bool> determined_;
};

}  // namespace wsadmin
