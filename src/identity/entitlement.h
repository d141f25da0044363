// What principals may use and administer. Each operation takes the values "sid" of the request: a user's SID
// and those of the user's groups.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "identity/entitlement_filters.h"
#include "ldap/directory_rows.h"
#include "ldap/worker.h"

namespace wsadmin {

class Entitlement : public Worker {
  public:
    using Worker::Worker;

    void desktops();        // desktop pools, each an "entitlement"
    void packages();        // packaged applications and groups of them, each an "entitlement"
    void adminRoles();      // administrator roles, each an "admin-role"
    void globalDesktops();  // the federation's entitlements, each an "entitlement"

  private:
    using Rows = std::vector<DirectoryRow>;
    using FilterBuilder = std::string (*)(const SidList& sids);
    struct Query {
        FilterBuilder filter;
        const std::vector<std::string>& attributes;
        std::wstring_view unopened;  // the sentence where the base cannot be opened
        std::wstring_view failed;    // and where the search fails
        std::wstring_view baseLine;  // what the log says of the base, if anything
    };

    void logSids(std::wstring_view format) const;
    bool reachDirectory();
    std::optional<SidList> readSids();
    // Nothing after a failure, which is in the result then.
    std::optional<Rows> ask(const Query& query);
    std::optional<Rows> assignments(platform::DirectorySearch& layer, const SidList& sids,
                                    const std::string& filter);
    std::optional<Rows> assignedEntitlements(platform::DirectorySearch& layer, const Rows& assignments);
};

}  // namespace wsadmin
