#include "federation/federation_tree.h"

#include <utility>

#include "federation/local_layer.h"
#include "federation/names.h"
#include "ldap/directory_query.h"
#include "ldap/directory_time.h"
#include "ldap/layout.h"
#include "platform/ldap/ldap_text.h"
#include "platform/module/module_log.h"

namespace wsadmin::qrv {

namespace {

using platform::DirectoryValue;
using platform::SearchPreference;

// A search of the layer, with the sentences for the steps that may fail.
struct LayerSearch {
    std::string base;
    QueryScope scope;
    std::string filter;
    std::vector<std::string> attributes;
    const wchar_t* unopened;
    const wchar_t* unprepared;
    const wchar_t* failed;
    bool logged = false;  // the filter and the base, before it runs
    std::uint32_t flags = platform::adsSecureAuthentication | platform::adsServerBind;
};

void logSearch(const std::string& filter, const std::string& base) {
    logVerbose(L"Filter is %s", filter);
    logVerbose(L"BaseDn is %s", base);
}

Result<std::vector<DirectoryRow>> rowsOf(platform::Platform& platform, const LayerSearch& search) {
    if (search.base.empty()) return fail(search.unopened);  // it would be the whole naming context
    const auto base =
        platform.directoryServices->openSearch(globalPath(platform, search.base), {}, search.flags);
    if (!base) return fail(base.error().code, search.unopened);
    auto set = (*base)->setPreference(SearchPreference::scope, static_cast<int>(search.scope));
    if (set) set = (*base)->setPreference(SearchPreference::pageSize, queryPageSize);
    if (!set) return fail(set.error().code, search.unprepared);
    if (search.logged) logSearch(search.filter, search.base);
    auto rows = readRows(**base, search.filter, search.attributes);
    if (!rows) return fail(rows.error().code, search.failed);
    return rows;
}

// A text of the row; empty where there is none or its type is another.
std::string textOf(const DirectoryRow& row, const char* name) {
    const auto* text = row.first<std::string>(name);
    return text ? *text : std::string();
}

std::wstring displayTime(const DirectoryValue* value) {
    const auto* time = value ? std::get_if<platform::DirectoryTime>(value) : nullptr;
    constexpr double secondsOfDay = 86400.0, epoch = 25569.0;  // 1970-01-01 as an automation date
    return time ? formatDisplayTime(static_cast<double>(time->seconds) / secondsOfDay + epoch)
                : std::wstring();
}

std::wstring displayTime(const DirectoryRow& row, const char* name) {
    const auto& values = row.all(name);
    return displayTime(values.empty() ? nullptr : &values.front());
}

// What sites, pods and endpoints have in common.
CORE::PropertyBag bagOf(const DirectoryRow& row, const char* displayName) {
    CORE::PropertyBag bag;
    bag.set(L"dn", row.text(layout::attribute::distinguishedName));
    bag.set(L"time-created", displayTime(row, attribute::created));
    bag.set(L"time-modified", displayTime(row, attribute::changed));
    bag.set(L"display-name", textOf(row, displayName));
    return bag;
}

CORE::PropertyBag readCommon(platform::Platform& platform) {
    const std::string dn = layout::underGlobal(federationEntry);
    logSearch("(objectClass=*)", dn);
    CORE::PropertyBag bag;
    const auto entry = platform.directoryServices->openObject(
        globalPath(platform, dn), {}, platform::adsSecureAuthentication | platform::adsServerBind);
    if (!entry) {
        logVerbose(L"Failed to bind to %s: %s", dn, entry.error().text);
        return bag;
    }
    const auto read = [&](const char* name, const wchar_t* key, auto textOfValue) {
        const auto value = (*entry)->get(name);
        if (const std::wstring text = value ? textOfValue(*value) : std::wstring(); !text.empty())
            bag.set(key, std::wstring_view(text));
    };
    const auto time = [](const DirectoryValue& value) { return displayTime(&value); };
    read(attribute::guid, L"guid",
         [](const DirectoryValue& value) { return CORE::toWide(platform::directoryText(value)); });
    read(attribute::created, L"time-created", time);
    read(attribute::changed, L"time-modified", time);
    return bag;
}

// Reads sites, pods and endpoints one below the other into the tree.
class TreeReader {
  public:
    TreeReader(platform::Platform& platform, FederationTree& tree) : platform_(platform), tree_(tree) {}

    Result<void> readSites() {
        const LayerSearch search{
            .base = layout::underGlobal(properties),
            .scope = QueryScope::subtree,
            .filter = "(objectClass=zre-SiteProperties)",
            .attributes = {layout::attribute::cn, layout::attribute::displayName,
                           layout::attribute::distinguishedName, attribute::created, attribute::changed},
            .unopened = L"Failed to obtain information from the Global LDAP layer",
            .unprepared = L"Failed to set search preferences for a site search in the Global LDAP layer",
            .failed =
                L"Failed to obtain information from a Global LDAP layer search. Properties search failed.",
            .logged = true};
        const auto rows = rowsOf(platform_, search);
        if (!rows) return fail(rows.error());
        for (const DirectoryRow& row : *rows) {
            if (row.text(layout::attribute::distinguishedName).empty())
                return fail(L"Failed to find distinguishedName in Site Entry");
            CORE::PropertyBag site = bagOf(row, layout::attribute::displayName);
            if (const auto done = readPods(site); !done) return done;
            tree_.sites.addBag(L"site", std::move(site));
        }
        return {};
    }

  private:
    Result<void> readPods(const CORE::PropertyBag& site) {
        const LayerSearch search{
            .base = layout::underGlobal(pods),
            .scope = QueryScope::subtree,
            .filter = "(&(objectClass=zre-PodProperties)" +
                      platform::filterTerm(attribute::siteDn, site.utf8(L"dn")) + ")",
            .attributes = {layout::attribute::cn, layout::attribute::displayName,
                           layout::attribute::distinguishedName, attribute::created, attribute::changed},
            .unopened = L"Failed to open object for a pod search in the Global LDAP layer",
            .unprepared = L"Failed to set search preferences for a pod search in the Global LDAP layer",
            .failed = L"Failed to execute search for POD entries in the Global LDAP layer",
            .logged = true};
        const auto rows = warnedRows(search);
        if (!rows) return fail(rows.error());
        for (const DirectoryRow& row : *rows) {
            CORE::PropertyBag pod = bagOf(row, layout::attribute::displayName);
            pod.set(L"site-display-name", site.utf8(L"display-name"));
            if (const auto done = readEndpoints(pod); !done) return done;
            tree_.pods.addBag(L"pod", std::move(pod));
        }
        return {};
    }

    Result<void> readEndpoints(const CORE::PropertyBag& pod) {
        const auto rows = warnedRows(
            {.base = std::string(pod.utf8(L"dn")),
             .scope = QueryScope::subtree,
             .filter = "(objectClass=zre-PodEndpoint)",
             .attributes = {layout::attribute::cn, attribute::url, layout::attribute::distinguishedName,
                            attribute::created, attribute::changed},
             .unopened = L"Failed to open object for a pod endpoint search in the Global LDAP layer",
             .unprepared =
                 L"Failed to set search preferences for a pod endpoint search in the Global LDAP layer",
             .failed = L"Failed to execute search for POD endpoint entries in the Global LDAP layer"});
        if (!rows) return fail(rows.error());
        for (const DirectoryRow& row : *rows) {
            CORE::PropertyBag endpoint = bagOf(row, layout::attribute::cn);
            endpoint.set(L"pod-display-name", pod.utf8(L"display-name"));
            endpoint.set(L"site-display-name", pod.utf8(L"site-display-name"));
            endpoint.set(L"url", textOf(row, attribute::url));
            tree_.endpoints.addBag(L"endpoint", std::move(endpoint));
        }
        return {};
    }

    // A failure of these is a warning, too.
    Result<std::vector<DirectoryRow>> warnedRows(const LayerSearch& search) {
        auto rows = rowsOf(platform_, search);
        if (!rows) logWarning(L"%s", rows.error().text);
        return rows;
    }

    platform::Platform& platform_;
    FederationTree& tree_;
};

}  // namespace

Result<FederationTree> readFederation(platform::Platform& platform) {
    FederationTree tree;
    tree.common = readCommon(platform);
    if (const auto done = TreeReader(platform, tree).readSites(); !done) return fail(done.error());
    return tree;
}

std::size_t countPods(platform::Platform& platform) {
    const auto rows = rowsOf(platform, {.base = layout::underGlobal(pods),
                                        .scope = QueryScope::oneLevel,
                                        .filter = "(objectClass=zre-PodProperties)",
                                        .attributes = {layout::attribute::cn},
                                        .unopened = L"Failed to open object for a pod search",
                                        .unprepared = L"Failed to set search preferences for a pod search",
                                        .failed = L"Failed to execute pod search"});
    if (!rows) {
        logError(L"%s", rows.error().text);
        return 0;
    }
    logDebug(L"Found %d entries during pod search", rows->size());
    return rows->size();
}

std::wstring podShownAs(platform::Platform& platform, const std::wstring& displayName) {
    const std::string base = layout::underGlobal(podsByDisplayName);
    const std::wstring unbound = L"Failed to bind to " + CORE::toWide(globalPath(platform, base));
    const auto rows = rowsOf(platform, {.base = base,
                                        .scope = QueryScope::subtree,
                                        .filter = "(&(objectClass=zre-PODProperties)(" +
                                                  std::string(layout::attribute::displayName) + "=" +
                                                  CORE::toUtf8(displayName) + "))",
                                        .attributes = {layout::attribute::cn},
                                        .unopened = unbound.c_str(),
                                        .unprepared = L"Failed to set search preferences for a pod search",
                                        .failed = L"Failed to execute pod search",
                                        .flags = platform::adsSecureAuthentication});
    if (!rows) logWarning(L"%s", rows.error().text);
    return rows && !rows->empty() ? CORE::toWide(textOf(rows->front(), layout::attribute::cn))
                                  : std::wstring();
}

}  // namespace wsadmin::qrv
