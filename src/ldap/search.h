// Searches of the directory, with the log lines and result sentences that all operations share.
#pragma once

#include <string>
#include <vector>

#include "platform/ldap/ldap_pages.h"
#include "platform/ldap_session.h"

namespace wsadmin {

// The whole subtree in one search. Failure: "Failed to perform search" (logged with base, filter and the
// directory's error) and the LDAP code.
Result<std::vector<platform::LdapEntry>> searchSubtree(platform::LdapSession& session,
                                                       const std::string& base, const std::string& filter,
                                                       const std::vector<std::string>& attributes = {});

// One entry by its name; empty when the directory gives none that matches. Failure: the LDAP code and its
// text, logged.
Result<std::vector<platform::LdapEntry>> readEntry(platform::LdapSession& session, const std::string& dn,
                                                   const std::string& filter = "objectClass=*",
                                                   const std::vector<std::string>& attributes = {});

// The same for an entry that may be absent: then empty, too, and no error of the log.
Result<std::vector<platform::LdapEntry>> findEntry(platform::LdapSession& session, const std::string& dn,
                                                   const std::string& filter,
                                                   const std::vector<std::string>& attributes);

// One entry that has to be there. Failure: `absent` where the directory has no such object, "Failed to search
// for `searched` - " and its text where the search fails otherwise, the sentence for an entry that does not
// match the filter (`unmatched`, or the usual one where it is empty), and one for an entry without a name.
struct EntrySentences {
    std::wstring absent;
    std::wstring_view searched;  // "entry", say; the name follows in quotation marks
    std::wstring unmatched{};
};
Result<platform::LdapEntry> readRequiredEntry(platform::LdapSession& session, const std::string& dn,
                                              const EntrySentences& sentences,
                                              const std::string& filter = "objectClass=*");

// All values of an attribute of an entry that a search returned, also of one that the directory gives in
// ranges. Failure: the LDAP code and its text, logged.
Result<std::vector<std::string>> readValues(platform::LdapSession& session, const platform::LdapEntry& entry,
                                            const std::string& attribute);

// A subtree search in pages of 250, with the shared texts; see LdapPages.
class PagedSearch {
  public:
    PagedSearch(platform::LdapSession& session, std::string base, std::string filter,
                std::vector<std::string> attributes = {});

    // True with the next page, false after the last one. Failure: the sentence for the administrator and the
    // LDAP code; logged. After a failure it answers false.
    Result<bool> next(std::vector<platform::LdapEntry>& page);

  private:
    platform::LdapPages pages_;
};

// All pages in one list, for searches whose answer is known to be small.
Result<std::vector<platform::LdapEntry>> searchAllPages(platform::LdapSession& session,
                                                        const std::string& base, const std::string& filter,
                                                        const std::vector<std::string>& attributes = {});

}  // namespace wsadmin
