#include "identity/user_groups.h"

#include <algorithm>
#include <iterator>
#include <set>
#include <span>

#include "identity/sid_search.h"
#include "platform/ldap/batches.h"
#include "platform/ldap/ldap_limits.h"
#include "platform/ldap/ldap_ranges.h"
#include "platform/ldap/ldap_text.h"
#include "platform/module/module_log.h"

namespace wsadmin {

using platform::DirectoryColumn;
using platform::DirectoryValue;
using platform::Sid;

namespace {

constexpr std::string_view tokenGroups = "tokenGroups";
// A limit of what a directory may say about one user, far above what a token can hold.
constexpr std::size_t mostGroups = 20'000;
// groupType
constexpr std::uint32_t domainLocal = 0x4;
constexpr std::uint32_t security = 0x80000000;

tl::unexpected<Failure> failed(const std::wstring& sentence, int code = 1) {
    logError(L"%s", sentence);
    return fail(code, sentence);
}

void warnOfNoTokenGroups(std::string_view dn) {
    logWarning(
        L"The Active Directory LDAP tokenGroups search on entry %ws failed to return any values. This occurs "
        L"when access to tokenGroups is denied in Active Directory",
        dn);
    logWarning(
        L"The user's tokenGroups attribute needs to be obtained so that their group membership based "
        L"entitlements can be determined");
    logWarning(
        L"Please ensure in Active Directory that the computer account for this Connection Server has access "
        L"to this user's tokenGroups attribute");
}

// A directory returns many values in ranges, as columns named "tokenGroups;range=0-1499" and so on.
Result<std::optional<DirectoryColumn>> wholeOrRange(platform::DirectoryRows& rows) {
    auto whole = rows.column(tokenGroups);
    if (!whole || (*whole && !(*whole)->values.empty())) return whole;
    auto columns = rows.columns();
    if (!columns) return fail(columns.error());
    for (DirectoryColumn& column : *columns)
        if (column.name.find(";range=") == tokenGroups.size() && column.name.starts_with(tokenGroups))
            return std::move(column);
    return std::nullopt;
}

Result<std::optional<DirectoryColumn>> readTokenGroups(platform::DirectorySearch& search,
                                                       const std::string& attribute) {
    const auto rows = search.execute("(objectclass=*)", {attribute});
    const Result<bool> found = rows ? (*rows)->next() : fail(rows.error());
    if (!found) logError(L"Failed to search for %s (%s)", attribute, found.error().text);
    if (!found || !*found) return failed(L"User object not found in Active Directory");
    auto column = wholeOrRange(**rows);
    if (!column)
        return failed(CORE::formatText(L"GetColumn failed, error %08X", column.error().code),
                      column.error().code);
    return column;
}

// All ranges together have the time of one search, and each begins where the one before it ended.
Result<std::vector<DirectoryValue>> tokenGroupValues(platform::DirectorySearch& search,
                                                     const platform::Clock& clock) {
    std::vector<DirectoryValue> values;
    platform::LdapAllowance allowance(search.limits());
    for (std::string asked(tokenGroups);;) {
        const auto start = clock.monotonic();
        auto column = readTokenGroups(search, asked);
        if (!column) return fail(column.error());
        if (const auto ok = allowance.wait(clock.monotonic() - start); !ok)
            return failed(ok.error().text, ok.error().code);
        if (!*column && values.empty()) return values;
        const auto range = *column ? platform::valueRange((*column)->name) : std::nullopt;
        if (!range || range->first != values.size() || (!range->last && (*column)->values.empty()))
            return failed(L"The directory gives ranges of tokenGroups that do not join");
        std::ranges::move((*column)->values, std::back_inserter(values));
        if (range->last) return values;
        if (values.size() > mostGroups)
            return failed(L"The directory gives ranges of tokenGroups without end");
        asked = std::string(tokenGroups) + ";range=" + std::to_string(values.size()) + "-*";
    }
}

// A domain-local security group.
struct LocalGroup {
    Sid sid;
    std::string dn;
};

std::vector<LocalGroup> localGroups(const std::vector<DirectoryRow>& rows) {
    std::vector<LocalGroup> groups;
    for (const DirectoryRow& row : rows) {
        const auto* const type = row.first<std::int32_t>("groupType");
        const auto bits = type ? static_cast<std::uint32_t>(*type) : 0;
        const auto sid = Sid::fromBytes(row.text("objectSID"));
        if (sid && (bits & domainLocal) != 0 && (bits & security) != 0)
            groups.push_back({*sid, row.text("distinguishedName")});
    }
    return groups;
}

Result<std::vector<LocalGroup>> groupsThatList(platform::DirectorySearch& search,
                                               std::span<const std::string> members) {
    std::string filter = "(&(objectClass=group)(|";
    for (const std::string& dn : members) filter += platform::filterTerm("member", dn);
    const auto rows = readRows(search, filter + "))", {"distinguishedName", "groupType", "objectSID"}, 0,
                               OnRefusal::logsDebug);
    if (!rows) return fail(rows.error());
    return localGroups(*rows);
}

// Adds the domain-local groups that have the user as a member, and those that have these as members. A domain
// that cannot be asked is skipped with a warning; groups without end are a failure.
Result<void> addLocalGroups(DomainBindings& bindings, std::string_view userDn, UserGroups& groups) {
    const std::string binding = "LDAP://" + platform::dnsDomainOf(userDn);
    logDebug(L"Will bind to %s for domain local groups", binding);
    const auto skip = [&](std::wstring_view format) {
        logWarning(format, binding);
        groups.complete = false;
        return Result<void>();
    };
    const DomainSearch search(bindings, binding);
    if (!search) return skip(L"Failed to bind to %s");
    std::set<Sid> known(groups.sids.begin(), groups.sids.end());
    std::vector<std::string> members = {std::string(userDn)};
    while (!members.empty()) {
        std::vector<std::string> next;
        for (const auto batch : platform::batchesOf(members, namesPerSearch)) {
            if (groups.sids.size() > mostGroups)
                return failed(L"The directory gives domain local groups without end");
            auto found = groupsThatList(*search, batch);
            if (!found) return skip(L"Search failed on binding %s");
            for (LocalGroup& group : *found)
                if (known.insert(group.sid).second) {
                    groups.sids.push_back(group.sid);
                    next.push_back(std::move(group.dn));
                }
        }
        members = std::move(next);
    }
    return {};
}

}  // namespace

Result<std::vector<Sid>> userTokenGroupsFromDirectory(DomainBindings& bindings, std::string_view userDn) {
    const std::string binding = platform::directoryPathText({.dn = std::string(userDn)});
    logDebug(L"Obtaining token groups for %s, will bind to %s", userDn, binding);
    const bool named = !platform::parseDn(userDn).value_or(platform::Dn()).empty();
    if (!named) return failed(L"Failed to bind to " + CORE::toWide(binding));
    const DomainSearch search(bindings, binding, ConnectionMgr::base);
    if (!search) return failed(L"Failed to bind to " + CORE::toWide(binding));

    const auto values = tokenGroupValues(*search, *bindings.service().platform().clock);
    if (!values) return fail(values.error());
    if (values->empty()) warnOfNoTokenGroups(userDn);
    std::vector<Sid> groups;
    for (const DirectoryValue& value : *values)
        if (const auto sid = Sid::fromBytes(platform::directoryText(value)))
            groups.push_back(*sid);
        else
            logWarning(L"Failed to convert SID");
    return groups;
}

Result<UserGroups> userGroups(DomainBindings& bindings, std::string_view userDn) {
    auto fromToken = userTokenGroupsFromDirectory(bindings, userDn);
    if (!fromToken) return fail(fromToken.error());
    UserGroups groups{.sids = std::move(*fromToken)};
    if (auto added = addLocalGroups(bindings, userDn, groups); !added) return fail(added.error());
    return groups;
}

Result<UserGroups> userGroups(DomainBindings& bindings, const UserInformation& user) {
    return userGroups(bindings, CORE::toUtf8(user.dn));
}

}  // namespace wsadmin
