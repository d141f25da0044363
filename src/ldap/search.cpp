#include "ldap/search.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "platform/ldap_text.h"
#include "platform/module_log.h"

namespace wsadmin {

using platform::LdapEntry;
using platform::LdapSearch;
using platform::LdapSearchResult;

namespace {

void logFailedSearch(const LdapSearch& search, const Failure& cause) {
    logError(L"Failed to search - base DN: %s filter:%s %s (%d).", search.base, search.filter, cause.text,
             cause.code);
}

}  // namespace

Result<std::vector<LdapEntry>> searchSubtree(platform::LdapSession& session, const std::string& base,
                                             const std::string& filter,
                                             const std::vector<std::string>& attributes) {
    const LdapSearch search{.base = base, .filter = filter, .attributes = attributes};
    auto found = session.search(search);
    if (!found) {
        logFailedSearch(search, found.error());
        return fail(found.error().code, L"Failed to perform search");
    }
    return std::move(found->entries);
}

Result<std::vector<LdapEntry>> readEntry(platform::LdapSession& session, const std::string& dn,
                                         const std::string& filter,
                                         const std::vector<std::string>& attributes) {
    const LdapSearch search{
        .base = dn, .scope = platform::LdapScope::base, .filter = filter, .attributes = attributes};
    auto found = session.search(search);
    if (!found) {
        logFailedSearch(search, found.error());
        return fail(found.error());
    }
    return std::move(found->entries);
}

PagedSearch::PagedSearch(platform::LdapSession& session, std::string base, std::string filter,
                         std::vector<std::string> attributes)
    : session_(session) {
    search_.base = std::move(base);
    search_.filter = std::move(filter);
    search_.attributes = std::move(attributes);
}

Failure PagedSearch::stepFailure(std::wstring_view logFormat, std::wstring_view sentence,
                                 const Failure& cause) const {
    logError(logFormat, cause.text, cause.code);
    return {cause.code, std::wstring(sentence)};
}

Failure PagedSearch::searchFailure(const Failure& cause) const {
    if (cause.code == platform::ldapEncodingError)
        return stepFailure(L"Failed to construct search - %s (%d).\n", L"Failed to construct search", cause);
    if (cause.code == platform::ldapDecodingError)
        return stepFailure(L"Failed to obtain result - %s (%d).\n", L"Failed to obtain result from search",
                           cause);
    logError(L"Failed to search - %s %s (%d).", search_.filter, cause.text, cause.code);
    return {cause.code, L"Failed to perform search"};
}

Result<void> PagedSearch::request(std::string cookie) {
    search_.controls = {
        {.oid = platform::controls::pagedResults,
         .value = platform::encodePageControl({.size = pageSize, .cookie = std::move(cookie)}),
         .critical = true}};
    auto pending = session_.startSearch(search_);
    if (!pending) return fail(searchFailure(pending.error()));
    pending_ = std::move(*pending);
    return {};
}

Result<std::string> PagedSearch::nextCookie(const LdapSearchResult& result) {
    const auto control =
        std::ranges::find(result.controls, platform::controls::pagedResults, &platform::LdapControl::oid);
    const auto page =
        control == result.controls.end() ? std::nullopt : platform::decodePageControl(control->value);
    if (page) return page->cookie;
    const int code =
        control == result.controls.end() ? platform::ldapControlNotFound : platform::ldapDecodingError;
    return fail(stepFailure(L"Failed to obtain paged result - %s (%d).",
                            L"Failed to obtain paged result from search", platform::ldapFailure(code)));
}

Result<bool> PagedSearch::next(std::vector<LdapEntry>& page) {
    page.clear();
    if (finished_) return false;
    finished_ = true;  // until this page turns out to have a successor
    if (!std::exchange(started_, true)) {
        if (auto sent = request({}); !sent) return fail(sent.error());
    } else if (!pending_) {
        return false;
    }
    auto result = std::exchange(pending_, nullptr)->wait();
    if (!result) return fail(searchFailure(result.error()));
    auto cookie = nextCookie(*result);
    if (!cookie) return fail(cookie.error());
    if (!cookie->empty()) {
        if (auto sent = request(std::move(*cookie)); !sent) return fail(sent.error());
    }
    finished_ = false;
    page = std::move(result->entries);
    return true;
}

Result<std::vector<LdapEntry>> searchAllPages(platform::LdapSession& session, const std::string& base,
                                              const std::string& filter,
                                              const std::vector<std::string>& attributes) {
    PagedSearch pages(session, base, filter, attributes);
    std::vector<LdapEntry> all;
    for (std::vector<LdapEntry> page;;) {
        const auto more = pages.next(page);
        if (!more) return fail(more.error());
        if (!*more) return all;
        std::ranges::move(page, std::back_inserter(all));
    }
}

}  // namespace wsadmin
