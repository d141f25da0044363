// Reports on what outlived an entitlement: machines that users still have, and policies that are still set
// for them.
#pragma once

#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "identity/user_information.h"
#include "ldap/worker.h"
#include "machines/entitlement_check.h"
#include "machines/report_writer.h"

namespace wsadmin {

class Unentitled : public Worker {
  public:
    Unentitled(ServiceContext& service, const Request& request)
        : Worker(service, request), check_(domains()) {}

    // "unentitled-machine-report"
    Result<void> getUnentitledMachines();
    // "unentitled-policy-report"
    Result<void> getUnentitledPolicies();

  private:
    struct MachineRecord {
        std::string dn, displayName, name, moid, vmPath, pool;
        int flags = 0;  // assigned, checked out
    };
    // A machine whose user is not loaded yet.
    struct PendingMachine {
        MachineRecord machine;
        platform::Sid user;
        const DesktopEntry* desktop;
    };
    struct ManagementServer {
        std::string dn, url;  // empty where the directory has none
    };

    // Makes the result of the findings. What it tells of their users is read now, many in one search.
    Result<void> write(platform::LdapSession& session, const ReportKeys& keys,
                       std::function<Result<CORE::PropertyBag>(std::size_t)> item);
    CORE::PropertyBag userBag(const platform::Sid& sid) const;
    Result<CORE::PropertyBag> desktopBag(platform::LdapSession& session, const std::string& dn);

    // Checks the machines of a page. Those whose users are not loaded are kept, so that users are loaded in
    // batches across pages.
    Result<void> examine(const std::vector<platform::LdapEntry>& page, DesktopCache& desktops);
    void examine(const platform::LdapEntry& machine, const DesktopEntry& desktop);
    // Loads the users of the pending machines and checks these.
    void checkPending();
    void addFinding(MachineRecord machine, const platform::Sid& user, const DesktopEntry& desktop);
    // Whether the user is certainly not entitled; an uncertain answer is logged.
    bool isUnentitled(const platform::Sid& user, const DesktopEntry& desktop);
    Result<CORE::PropertyBag> machineBag(platform::LdapSession& session, const MachineRecord& machine);
    Result<ManagementServer> serverOf(platform::LdapSession& session, const std::string& poolDn);
    // The first value of an entry's attribute, cached; empty where there is no such entry.
    Result<std::string> cachedValue(platform::LdapSession& session, const std::string& dn,
                                    const std::string& filter, const std::string& name);

    // A policy that is set for a user on a desktop, as its link says.
    struct UserPolicy {
        platform::Sid user;
        std::string desktop, dn;
    };
    Result<void> examineLinks(const std::vector<platform::LdapEntry>& page, DesktopCache& desktops);
    // Nothing where the link is to something else. The failure says why its user is not known.
    static Result<std::optional<UserPolicy>> userPolicyOf(const platform::LdapEntry& link);
    Result<void> examine(UserPolicy policy, DesktopCache& desktops);

    EntitlementCheck check_;
    std::map<platform::Sid, UserInformation> users_;  // of the findings
    std::vector<Finding> findings_;
    std::vector<MachineRecord> machines_;                // of the findings
    std::vector<std::string> policies_;                  // of the findings, distinguished names
    std::map<std::string, CORE::PropertyBag> desktops_;  // records, by the distinguished name
    std::vector<PendingMachine> pending_;
    std::set<platform::Sid> pendingUsers_;
    std::map<std::pair<std::string, std::string>, std::string>
        values_;  // by distinguished name and attribute
};

}  // namespace wsadmin
