// A paged search, the base of every paged search of the system. It fails when all its pages together exceed
// the session's limits, or when a page brings nothing new. The next page is requested before the current
// one is handed out, so that the server works while the caller does.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "platform/ldap/ldap_limits.h"

namespace wsadmin::platform {

// Where a paged search failed.
enum class PageStep { construct, search, result, pageControl };

struct PageFailure {
    PageStep step = PageStep::search;
    Failure cause;
};

// The session must outlive it and may be used for other requests in between, by the same thread.
class LdapPages {
  public:
    static constexpr int defaultPageSize = 250;
    // All in one page; in pages of the default size where the server refuses such a large answer. Servers
    // read each entry of a paged search again, so a small answer is faster without pages.
    static constexpr int onlyWhereNeeded = 0;

    // The search's own controls stay; the paged-results control is added, critical.
    LdapPages(LdapSession& session, LdapSearch search, int pageSize = defaultPageSize);

    // True with the next page, false after the last one, and after a failure.
    tl::expected<bool, PageFailure> next(std::vector<LdapEntry>& page);

    const LdapSearch& search() const noexcept { return search_; }

  private:
    tl::expected<void, PageFailure> request(std::string cookie);
    tl::expected<LdapSearchResult, PageFailure> answer();
    Result<LdapSearchResult> wait();
    tl::expected<std::string, PageFailure> nextCookie(const LdapSearchResult& result);
    tl::expected<void, PageFailure> checkProgress(const LdapSearchResult& result, const std::string& cookie);

    LdapSession& session_;
    LdapSearch search_;
    std::vector<LdapControl> ownControls_;
    int pageSize_;
    LdapAllowance allowance_;  // of all pages together
    std::string cookie_;       // of the last page, with its first name
    std::string firstName_;
    std::unique_ptr<LdapPendingSearch> pending_;
    bool started_ = false;
    bool finished_ = false;
};

}  // namespace wsadmin::platform
