// Reports on what outlived an entitlement: machines that users still have, and policies that are still set
// for them.
#pragma once

#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "identity/user_information.h"
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
    // A machine that somebody holds, until it is known whether the user is entitled.
    struct Case {
        MachineRecord machine;
        platform::Sid user;
        const DesktopEntry* desktop;
    };
    struct ServerOfPool {
        std::string dn, url;
    };

    bool byUser() const { return request().getBool(L"listbyuser", true); }
    // What is told of the users of the findings: read when these are complete, many at once.
    void readReportedUsers();
    CORE::PropertyBag userBag(const platform::Sid& sid) const;
    CORE::PropertyBag desktopBag(platform::LdapSession& session, const std::string& dn);

    // Decides on the machines of a page, or lets them wait for users who are read many at once.
    void examine(const std::vector<platform::LdapEntry>& page, Desktops& desktops);
    void examine(const platform::LdapEntry& machine, const DesktopEntry& desktop);
    void decideWaiting();
    void report(MachineRecord machine, const platform::Sid& user, const DesktopEntry& desktop);
    // Certainly not entitled; that nobody could tell is logged.
    bool isUnentitled(const platform::Sid& user, const DesktopEntry& desktop);
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
    std::map<platform::Sid, UserInformation> users_;  // reported ones
    std::vector<Finding> findings_;
    std::vector<MachineRecord> machines_;
    std::map<std::string, CORE::PropertyBag> desktops_;  // records of reported ones, by the name
    std::vector<Case> waiting_;
    std::set<platform::Sid> unknown_;                                          // users that they wait for
    std::map<std::string, std::optional<ServerOfPool>, std::less<>> servers_;  // by the pool's name
    std::map<std::string, std::string, std::less<>> serverUrls_;               // by the server's name
    std::vector<std::string> policies_;                                        // distinguished names
};

}  // namespace wsadmin
