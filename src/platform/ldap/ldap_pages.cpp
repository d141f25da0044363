#include "platform/ldap/ldap_pages.h"

#include <algorithm>
#include <utility>

#include "platform/ldap/ldap_text.h"

namespace wsadmin::platform {
namespace {

tl::unexpected<PageFailure> failed(PageStep step, Failure cause) {
    return tl::unexpected<PageFailure>(PageFailure{step, std::move(cause)});
}

PageStep stepOf(int code) {
    if (code == ldapEncodingError) return PageStep::construct;
    return code == ldapDecodingError ? PageStep::result : PageStep::search;
}

}  // namespace

LdapPages::LdapPages(LdapSession& session, LdapSearch search, int pageSize)
    : session_(session),
      search_(std::move(search)),
      ownControls_(search_.controls),
      pageSize_(pageSize),
      allowance_(session.limits()) {}

tl::expected<void, PageFailure> LdapPages::request(std::string cookie) {
    search_.controls = ownControls_;
    if (pageSize_ != onlyWhereNeeded)
        search_.controls.push_back(
            {.oid = controls::pagedResults,
             .value = encodePageControl({.size = pageSize_, .cookie = std::move(cookie)}),
             .critical = true});
    search_.spent = allowance_.spent();
    auto pending = session_.startSearch(search_);
    if (!pending) return failed(stepOf(pending.error().code), pending.error());
    pending_ = std::move(*pending);
    return {};
}

Result<LdapSearchResult> LdapPages::wait() {
    const auto asked = std::chrono::steady_clock::now();
    auto result = std::exchange(pending_, nullptr)->wait();
    const auto inTime = allowance_.wait(std::chrono::steady_clock::now() - asked);
    return result && !inTime ? fail(inTime.error()) : std::move(result);
}

tl::expected<LdapSearchResult, PageFailure> LdapPages::answer() {
    auto result = wait();
    if (!result && result.error().code == ldapSizeLimitExceeded && pageSize_ == onlyWhereNeeded) {
        pageSize_ = defaultPageSize;
        if (auto sent = request({}); !sent) return tl::unexpected<PageFailure>(sent.error());
        result = wait();
    }
    if (!result) return failed(stepOf(result.error().code), result.error());
    for (const LdapEntry& entry : result->entries)
        if (auto ok = allowance_.take(entry); !ok) return failed(PageStep::search, ok.error());
    return std::move(*result);
}

// Some servers use one cookie for all pages of a search, so the cookie alone says nothing.
tl::expected<void, PageFailure> LdapPages::checkProgress(const LdapSearchResult& result,
                                                         const std::string& cookie) {
    std::string firstName = result.entries.empty() ? std::string() : result.entries.front().dn;
    if (!cookie.empty() && cookie == cookie_ && (firstName.empty() || firstName == firstName_))
        return failed(PageStep::pageControl, {ldapDecodingError, L"The directory gives the same page again"});
    if (result.entries.empty())
        if (auto ok = allowance_.take(cookie.size()); !ok) return failed(PageStep::search, ok.error());
    cookie_ = cookie;
    firstName_ = std::move(firstName);
    return {};
}

tl::expected<std::string, PageFailure> LdapPages::nextCookie(const LdapSearchResult& result) {
    if (pageSize_ == onlyWhereNeeded) return std::string();
    const auto control = std::ranges::find(result.controls, controls::pagedResults, &LdapControl::oid);
    if (control == result.controls.end())
        return failed(PageStep::pageControl, ldapFailure(ldapControlNotFound));
    auto page = decodePageControl(control->value);
    if (!page) return failed(PageStep::pageControl, ldapFailure(ldapDecodingError));
    if (auto ok = checkProgress(result, page->cookie); !ok) return tl::unexpected<PageFailure>(ok.error());
    return std::move(page->cookie);
}

tl::expected<bool, PageFailure> LdapPages::next(std::vector<LdapEntry>& page) {
    page.clear();
    if (finished_) return false;
    finished_ = true;  // until this page turns out to be a good one
    if (!std::exchange(started_, true)) {
        if (auto sent = request({}); !sent) return tl::unexpected<PageFailure>(sent.error());
    } else if (!pending_) {
        return false;
    }
    auto result = answer();
    if (!result) return tl::unexpected<PageFailure>(result.error());
    auto cookie = nextCookie(*result);
    if (!cookie) return tl::unexpected<PageFailure>(cookie.error());
    if (!cookie->empty()) {
        if (auto sent = request(std::move(*cookie)); !sent) return tl::unexpected<PageFailure>(sent.error());
    }
    finished_ = false;
    page = std::move(result->entries);
    return true;
}

}  // namespace wsadmin::platform
