// What principals may use and administer. Each operation takes the values "sid" of the request: a user's SID
// and those of the user's groups.
#pragma once

#include <string>
#include <vector>

#include "identity/entitlement_filters.h"
#include "ldap/directory_rows.h"
#include "ldap/worker.h"

namespace wsadmin {

class Entitlement : public Worker {
  public:
    using Worker::Worker;

    Result<void> desktops();        // desktop pools, each an "entitlement"
    Result<void> packages();        // packaged applications and groups of them, each an "entitlement"
    Result<void> adminRoles();      // administrator roles, each an "admin-role"
    Result<void> globalDesktops();  // the federation's entitlements, each an "entitlement"

  private:
    using Rows = std::vector<DirectoryRow>;
    using FilterBuilder = std::string (*)(const SidList& sids);
    struct Query {
        FilterBuilder filter;
        const std::vector<std::string>& attributes;
        const wchar_t* openFailed;    // the sentence where the base cannot be opened
        const wchar_t* searchFailed;  // and where the search fails
        const wchar_t* baseLine;      // the format of the log line that names the base; null: none
    };

    void logSids(std::wstring_view format) const;
    Result<void> checkDirectory();
    Result<SidList> readSids() const;
    Result<Rows> search(const Query& query);
    Result<Rows> searchGlobal();
};

}  // namespace wsadmin
