#include "platform/lab/lab_session.h"

#include <algorithm>

#include "platform/ldap/ldap_request.h"

namespace wsadmin::platform::lab {

namespace {

// Computed when the search is sent; wait() only hands it out.
class ReadySearch final : public LdapPendingSearch {
  public:
    explicit ReadySearch(Result<LdapSearchResult> result) : result_(std::move(result)) {}
    Result<LdapSearchResult> wait() override { return std::move(result_); }

  private:
    Result<LdapSearchResult> result_;
};

// Clients get the code and its standard text.
template <class T>
Result<void> plain(const Result<T>& result) {
    if (!result) return fail(ldapFailure(result.error().code));
    return {};
}

bool among(const std::string& oid, std::initializer_list<const char*> known) {
    return std::find(known.begin(), known.end(), oid) != known.end();
}

Result<void> checkControls(const std::vector<LdapControl>& given, std::initializer_list<const char*> known) {
    for (const auto& control : given)
        if (control.critical && !among(control.oid, known))
            return fail(ldapFailure(ldapUnavailableCriticalExtension));
    return {};
}

// Identifies a paged search: its parameters without the controls.
std::string questionOf(const LdapSearch& search, bool showDeleted) {
    std::string text =
        search.base + '\0' + std::to_string(static_cast<int>(search.scope)) + '\0' + search.filter;
    for (const auto& name : search.attributes) text += '\0' + name;
    return text + (showDeleted ? "\1" : "");
}

// Domain controllers take no password over a connection that others can read.
template <class Attributes, class Name>
bool refusesPassword(const LdapSession& session, const Attributes& attributes, Name name) {
    const auto isPassword = [&](const auto& one) { return CORE::equalFolded(one.*name, "unicodePwd"); };
    return !session.confidential() && std::ranges::any_of(attributes, isPassword);
}

}  // namespace

LabSession::LabSession(std::shared_ptr<DirectoryServer> server, LdapEndpoint endpoint)
    : server_(std::move(server)), endpoint_(std::move(endpoint)) {
    constexpr std::uint16_t globalCataloguePort = 3268, globalCatalogueTlsPort = 3269;
    globalCatalogue_ = endpoint_.port == globalCataloguePort || endpoint_.port == globalCatalogueTlsPort;
    if (server_) number_ = server_->nextSession();
}

Result<void> LabSession::bind(const LdapCredentials& credentials) {
    bound_ = false;
    if (auto possible = checkCredentials(credentials); !possible) return possible;
    if (!server_ || !server_->reachable()) return fail(ldapFailure(ldapServerDown));
    if (endpoint_.connectTimeout.count() > 0 && server_->faults().slow > endpoint_.connectTimeout) {
        if (auto waited = server_->wait(endpoint_.connectTimeout); !waited) return waited;
        return fail(ldapFailure(ldapTimeout));
    }
    if (auto arrived = server_->arrive("bind", {}); !arrived) return arrived;
    if (credentials.method == LdapCredentials::Method::anonymous) return {};
    if (!server_->admits(credentials)) return fail(ldapFailure(ldapInvalidCredentials));
    bound_ = true;
    return {};
}

Result<void> LabSession::arrive(std::string_view operation, const std::string& dn) {
    if (!server_) return fail(ldapFailure(ldapServerDown));
    if (auto arrived = server_->arrive(operation, dn); !arrived) return arrived;
    const bool rootOnly = operation == "search" && dn.empty();  // which anybody may read
    if (!bound_ && !rootOnly) return fail(ldapFailure(ldapOperationsError));
    return {};
}

Result<std::unique_ptr<LdapPendingSearch>> LabSession::startSearch(const LdapSearch& search) {
    if (!parseFilter(search.filter))
        return fail(ldapFailure(ldapFilterError));  // clients do not send what is no filter
    auto result = answer(search);
    if (!result && result.error().code == ldapServerDown) return fail(result.error());
    return std::make_unique<ReadySearch>(std::move(result));
}

Result<LabSession::SearchControls> LabSession::readControls(const LdapSearch& search) const {
    const auto checked = checkControls(
        search.controls, {controls::pagedResults, controls::showDeleted, controls::domainScope});
    if (!checked) return fail(checked.error());
    SearchControls given;
    for (const auto& control : search.controls) {
        if (control.oid == controls::showDeleted) given.showDeleted = true;
        if (control.oid != controls::pagedResults) continue;
        given.page = decodePageControl(control.value);
        if (!given.page || given.page->size < 0) return fail(ldapFailure(ldapProtocolError));
    }
    return given;
}

Result<LdapSearchResult> LabSession::answer(const LdapSearch& search) {
    // A partial result is one.
    if (const auto arrived = arrive("search", search.base);
        !arrived && arrived.error().code != ldapPartialResults)
        return fail(arrived.error());
    if (!bound_ && search.scope != LdapScope::base) return fail(ldapFailure(ldapOperationsError));
    const auto given = readControls(search);
    if (!given) return fail(given.error());
    const bool onePage = search.sizeLimit > 0 && given->page && given->page->size >= search.sizeLimit;
    if (!given->page || onePage) return answerWhole(search, given->showDeleted);
    return answerPage(search, *given);
}

Result<LdapSearchResult> LabSession::answerWhole(const LdapSearch& search, bool showDeleted) {
    Directory& directory = server_->directory();
    const auto ids = directory.find(search, showDeleted, globalCatalogue_);
    if (!ids) return fail(ldapFailure(ids.error().code));
    int limit = directory.settings().pageSize;
    if (search.sizeLimit > 0) limit = std::min(limit, search.sizeLimit);
    if (ids->size() > static_cast<std::size_t>(limit)) return fail(ldapFailure(ldapSizeLimitExceeded));
    std::size_t at = 0;
    auto entries = directory.show(*ids, at, ids->size(), search, showDeleted);
    if (!entries) return fail(ldapFailure(entries.error().code));
    return LdapSearchResult{std::move(*entries), {}};
}

Result<LabSession::Cursor> LabSession::takeCursor(const LdapSearch& search, const SearchControls& given,
                                                  const std::string& question) {
    if (given.page->cookie.empty()) {
        auto ids = server_->directory().find(search, given.showDeleted, globalCatalogue_);
        if (!ids) return fail(ldapFailure(ids.error().code));
        return Cursor{question, std::move(*ids), 0};
    }
    const auto found = cursors_.find(given.page->cookie);
    if (found == cursors_.end() || found->second.question != question || server_->faults().refusePageCookies)
        return fail(ldapFailure(ldapUnwillingToPerform));
    Cursor cursor = std::move(found->second);
    cursors_.erase(found);  // each cookie is good once
    return cursor;
}

Result<LdapSearchResult> LabSession::answerPage(const LdapSearch& search, const SearchControls& given) {
    if (const auto arrived = server_->pageArrives(); !arrived) return fail(arrived.error());
    Directory& directory = server_->directory();
    const auto question = questionOf(search, given.showDeleted);
    auto cursor = takeCursor(search, given, question);
    if (!cursor) return fail(cursor.error());
    // Size 0 asks for the estimate only, and gives a running search up.
    const auto size = static_cast<std::size_t>(std::min(given.page->size, directory.settings().pageSize));
    auto entries = directory.show(cursor->ids, cursor->at, size, search, given.showDeleted);
    if (!entries) return fail(ldapFailure(entries.error().code));
    PageControl next{static_cast<int>(cursor->ids.size()), {}};
    if (size > 0 && cursor->at < cursor->ids.size()) {
        next.cookie = "lab-" + std::to_string(number_) + "-" + std::to_string(++lastCookie_);
        cursors_.emplace(next.cookie, std::move(*cursor));
    }
    return LdapSearchResult{std::move(*entries), {{controls::pagedResults, encodePageControl(next), false}}};
}

Result<void> LabSession::add(const LdapEntry& entry) {
    if (auto arrived = arrive("add", entry.dn); !arrived) return arrived;
    if (refusesPassword(*this, entry.attributes, &LdapAttribute::name))
        return fail(ldapFailure(ldapUnwillingToPerform));
    return plain(server_->directory().add(entry));
}

Result<void> LabSession::modify(const std::string& dn, const std::vector<LdapModification>& changes,
                                const std::vector<LdapControl>& controls) {
    if (auto arrived = arrive("modify", dn); !arrived) return arrived;
    if (auto checked = checkControls(controls, {controls::domainScope}); !checked) return checked;
    if (refusesPassword(*this, changes, &LdapModification::attribute))
        return fail(ldapFailure(ldapUnwillingToPerform));
    return plain(server_->directory().modify(dn, changes));
}

Result<void> LabSession::remove(const std::string& dn, const std::vector<LdapControl>& controls) {
    if (auto arrived = arrive("delete", dn); !arrived) return arrived;
    if (auto checked = checkControls(controls, {controls::treeDelete, controls::domainScope}); !checked)
        return checked;
    const bool wholeTree = std::any_of(controls.begin(), controls.end(), [](const auto& control) {
        return control.oid == controls::treeDelete;
    });
    return plain(server_->directory().remove(dn, wholeTree));
}

Result<void> LabSession::rename(const std::string& dn, const std::string& newRdn,
                                const std::string& newParent, bool deleteOldRdn) {
    if (auto arrived = arrive("rename", dn); !arrived) return arrived;
    return plain(server_->directory().rename(dn, newRdn, newParent, deleteOldRdn));
}

}  // namespace wsadmin::platform::lab
