// One client's session with a directory of the lab.
#pragma once

#include <map>

#include "platform/lab/directory_server.h"

namespace wsadmin::platform::lab {

class LabSession final : public LdapSession {
  public:
    // Without a server every call answers that it is down.
    LabSession(std::shared_ptr<DirectoryServer> server, LdapEndpoint endpoint);

    Result<void> bind(const LdapCredentials& credentials) override;
    Result<std::unique_ptr<LdapPendingSearch>> startSearch(const LdapSearch& search) override;
    Result<void> add(const LdapEntry& entry) override;
    Result<void> modify(const std::string& dn, const std::vector<LdapModification>& changes,
                        const std::vector<LdapControl>& controls) override;
    Result<void> remove(const std::string& dn, const std::vector<LdapControl>& controls) override;
    Result<void> rename(const std::string& dn, const std::string& newRdn, const std::string& newParent,
                        bool deleteOldRdn) override;
    // Every server of a lab has TLS for who asks for it.
    bool confidential() const override { return endpoint_.tls || endpoint_.startTls == StartTls::required; }

  private:
    // A paged search between two pages.
    struct Cursor {
        std::string question;  // the search; a cookie belongs to one only
        std::vector<NodeId> ids;
        std::size_t at = 0;
    };
    struct SearchControls {
        std::optional<PageControl> page;
        bool showDeleted = false;
    };

    Result<void> arrive(std::string_view operation, const std::string& dn);
    Result<SearchControls> readControls(const LdapSearch& search) const;
    Result<LdapSearchResult> answer(const LdapSearch& search);
    Result<LdapSearchResult> answerWhole(const LdapSearch& search, bool showDeleted);
    Result<LdapSearchResult> answerPage(const LdapSearch& search, const SearchControls& given);
    Result<Cursor> takeCursor(const LdapSearch& search, const SearchControls& given,
                              const std::string& question);

    std::shared_ptr<DirectoryServer> server_;
    LdapEndpoint endpoint_;
    bool bound_ = false;
    bool globalCatalogue_ = false;
    unsigned number_ = 0;  // of the session, for its cookies
    unsigned lastCookie_ = 0;
    std::map<std::string, Cursor> cursors_;  // by cookie
};

}  // namespace wsadmin::platform::lab
