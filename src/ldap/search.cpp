#include "ldap/search.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "ldap/on_refusal.h"
#include "platform/ldap/ldap_ranges.h"
#include "platform/module/module_log.h"

namespace wsadmin {

using platform::LdapEntry;
using platform::LdapSearch;

namespace {

void logFailedSearch(const LdapSearch& search, const Failure& cause,
                     OnRefusal refusal = OnRefusal::logsError) {
    logRefusal(refusal, L"Failed to search - base DN: %s filter:%s %s (%d).", search.base, search.filter,
               cause.text, cause.code);
}

LdapSearch entrySearch(const std::string& dn, const std::string& filter,
                       const std::vector<std::string>& attributes) {
    return {.base = dn, .scope = platform::LdapScope::base, .filter = filter, .attributes = attributes};
}

// Each step of a paged search has its own line and its own sentence.
Failure pageFailure(const LdapSearch& search, const platform::PageFailure& failure) {
    const Failure& cause = failure.cause;
    switch (failure.step) {
        case platform::PageStep::construct:
            logError(L"Failed to construct search - %s (%d).\n", cause.text, cause.code);
            return {cause.code, L"Failed to construct search"};
        case platform::PageStep::result:
            logError(L"Failed to obtain result - %s (%d).\n", cause.text, cause.code);
            return {cause.code, L"Failed to obtain result from search"};
        case platform::PageStep::pageControl:
            logError(L"Failed to obtain paged result - %s (%d).", cause.text, cause.code);
            return {cause.code, L"Failed to obtain paged result from search"};
        case platform::PageStep::search:
            break;
    }
    logError(L"Failed to search - %s %s (%d).", search.filter, cause.text, cause.code);
    return {cause.code, L"Failed to perform search"};
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
    const LdapSearch search = entrySearch(dn, filter, attributes);
    auto found = session.search(search);
    if (!found) {
        logFailedSearch(search, found.error());
        return fail(found.error());
    }
    return std::move(found->entries);
}

Result<std::vector<LdapEntry>> findEntry(platform::LdapSession& session, const std::string& dn,
                                         const std::string& filter,
                                         const std::vector<std::string>& attributes) {
    const LdapSearch search = entrySearch(dn, filter, attributes);
    auto found = session.search(search);
    if (found) return std::move(found->entries);
    const bool absent = found.error().code == platform::ldapNoSuchObject;
    logFailedSearch(search, found.error(), absent ? OnRefusal::logsDebug : OnRefusal::logsError);
    if (absent) return std::vector<LdapEntry>();
    return fail(found.error());
}

Result<LdapEntry> readRequiredEntry(platform::LdapSession& session, const std::string& dn,
                                    const EntrySentences& sentences, const std::string& filter) {
    const std::wstring name = L"\"" + CORE::toWide(dn);
    auto found = readEntry(session, dn, filter);
    if (!found) {
        const Failure& cause = found.error();
        if (cause.code == platform::ldapNoSuchObject) return fail(cause.code, sentences.absent);
        return fail(cause.code, L"Failed to search for " + std::wstring(sentences.searched) + L" " + name +
                                    L"\" - " + cause.text);
    }
    if (found->empty())
        return fail(sentences.unmatched.empty() ? L"Entry for " + name + L"\" not found."
                                                : sentences.unmatched);
    // The sentence's second quotation mark is missing on purpose: log searches rely on its text.
    if (found->front().dn.empty()) return fail(L"Failed to get DN for entry " + name);
    return std::move(found->front());
}

Result<std::vector<std::string>> readValues(platform::LdapSession& session, const LdapEntry& entry,
                                            const std::string& attribute) {
    const auto* const first = platform::findValues(entry.attributes, attribute);
    if (!first) return std::vector<std::string>();
    auto values = platform::allValues(session, entry.dn, *first);
    if (!values)
        logError(L"Failed to read %s of %s - %s (%d).", attribute, entry.dn, values.error().text,
                 values.error().code);
    return values;
}

PagedSearch::PagedSearch(platform::LdapSession& session, std::string base, std::string filter,
                         std::vector<std::string> attributes)
    : pages_(session,
             {.base = std::move(base), .filter = std::move(filter), .attributes = std::move(attributes)}) {}

Result<bool> PagedSearch::next(std::vector<LdapEntry>& page) {
    const auto more = pages_.next(page);
    if (more) return *more;
    return fail(pageFailure(pages_.search(), more.error()));
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
