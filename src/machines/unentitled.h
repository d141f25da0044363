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
    CORE::PropertyBag desktopBag(platform::LdapSession& session, const std::string& dn);

    // Decides on the machines of a page; they are one record each.
    void examine(const std::vector<platform::LdapEntry>& page, Desktops& desktops);
    void addMachine(const platform::LdapEntry& machine, const platform::Sid& user,
                    const DesktopEntry& desktop, int flags);
    CORE::PropertyBag machineBag(platform::LdapSession& session, const MachineRecord& machine);
    // The management server of a pool; nothing where the directory could not be asked.
    const std::optional<ServerOfPool>& serverOf(platform::LdapSession& session, const std::string& pool);

    // A policy that is set for a user on a desktop, as its link says.
    struct UserPolicy {
        platform::Sid user;
        std::string desktop, dn;
    };
    void examineLinks(const std::vector<platform::LdapEntry>& page, Desktops& desktops);
    // Nothing where the link is to something else, or does not say whose it is, which is logged.
    static std::optional<UserPolicy> userPolicyOf(const platform::LdapEntry& link);
    void examine(UserPolicy policy, Desktops& desktops);
    // Whether the user was found by the SID.
    bool determineUser(const platform::Sid& sid) const;

    platform::DirectoryThread thread_;
    EntitlementCheck check_;
    std::vector<Finding> findings_;
    std::vector<MachineRecord> machines_;
    std::map<std::string, CORE::PropertyBag> desktops_;  // records of reported ones, by the name
    std::map<std::string, std::optional<ServerOfPool>, std::less<>> servers_;  // by the pool's name
    std::vector<std::string> policies_;                                        // distinguished names
};

}  // namespace wsadmin
