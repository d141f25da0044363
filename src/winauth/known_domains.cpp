#include "winauth/known_domains.h"

#include <algorithm>
#include <charconv>
#include <map>
#include <optional>
#include <utility>

#include "framework/core/corestring.h"

namespace wsadmin {

using CORE::PropertyBag;
using CORE::toWide;
using platform::DirectoryServices;

namespace {

// trustDirection: who trusts whom. Only who is trusted from here can log on here.
constexpr int trustsThem = 2;
constexpr int trustsBothWays = 3;
// trustType
constexpr int withoutDnsName = 1;
constexpr int otherRealm = 3;  // no domain, but a Kerberos realm

using Row = std::map<std::string, std::string>;

// The entries of one level below a container, as the first values of the attributes.
Result<std::vector<Row>> entriesBelow(DirectoryServices& services, const platform::DirectoryPath& container,
                                      const std::string& filter, const std::vector<std::string>& attributes) {
    constexpr int oneLevel = 1, pageSize = 500;
    const auto search =
        services.openSearch(platform::directoryPathText(container), {}, platform::adsSecureAuthentication);
    if (!search) return fail(search.error());
    for (const auto& [preference, value] : {std::pair{platform::SearchPreference::scope, oneLevel},
                                            std::pair{platform::SearchPreference::pageSize, pageSize}})
        if (auto set = (*search)->setPreference(preference, value); !set) return fail(set.error());
    const auto rows = (*search)->execute(filter, attributes);
    if (!rows) return fail(rows.error());
    std::vector<Row> found;
    for (;;) {
        const auto more = (*rows)->next();
        if (!more) return fail(more.error());
        if (!*more) return found;
        Row& row = found.emplace_back();
        for (const std::string& attribute : attributes) {
            const auto column = (*rows)->column(attribute);
            if (!column) return fail(column.error());
            if (*column && !(*column)->values.empty())
                row[attribute] = platform::directoryText((*column)->values.front());
        }
    }
}

int number(const std::string& text) {
    int value = 0;
    std::from_chars(text.data(), text.data() + text.size(), value);
    return value;
}

// A trusted domain; nothing for a trust that lets nobody in from there.
std::optional<KnownDomain> trustedDomain(Row& trust) {
    const int direction = number(trust["trustDirection"]), type = number(trust["trustType"]);
    if ((direction & trustsThem) == 0 || type == otherRealm || trust["flatName"].empty()) return std::nullopt;
    return KnownDomain{.netBios = trust["flatName"],
                       .dns = type == withoutDnsName ? std::string() : trust["trustPartner"],
                       .trust = (direction & trustsBothWays) == trustsBothWays ? "TWOWAY" : "FROMBROKER"};
}

void addUnlessKnown(std::vector<KnownDomain>& domains, KnownDomain domain) {
    const bool known = std::ranges::any_of(
        domains, [&](const KnownDomain& other) { return CORE::equalFolded(other.netBios, domain.netBios); });
    if (!known) domains.push_back(std::move(domain));
}

struct DomainRoot {
    std::string own;  // naming contexts
    std::string configuration;
};

Result<DomainRoot> readRoot(DirectoryServices& services, const platform::DirectoryPath& path) {
    const auto root =
        services.openObject(platform::directoryPathText(path), {}, platform::adsSecureAuthentication);
    if (!root) return fail(root.error());
    const auto own = (*root)->get("defaultNamingContext");
    if (!own) return fail(own.error());
    const auto configuration = (*root)->get("configurationNamingContext");
    if (!configuration) return fail(configuration.error());
    return DomainRoot{platform::directoryText(*own), platform::directoryText(*configuration)};
}

Result<KnownDomains> readAll(DirectoryServices& services, const std::string& server) {
    const auto root = readRoot(services, {.server = server, .rootDse = true});
    if (!root) return fail(root.error());
    auto forest =
        entriesBelow(services, {.server = server, .dn = "CN=Partitions," + root->configuration},
                     "(&(objectClass=crossRef)(nETBIOSName=*))", {"nCName", "dnsRoot", "nETBIOSName"});
    if (!forest) return fail(forest.error());
    const auto own = std::ranges::find_if(
        *forest, [&](Row& reference) { return CORE::equalFolded(reference["nCName"], root->own); });
    if (own == forest->end()) return fail(1, L"the forest has no names for " + toWide(root->own));

    KnownDomains known{
        .primaryDns = (*own)["dnsRoot"],
        .domains = {{.netBios = (*own)["nETBIOSName"], .dns = (*own)["dnsRoot"], .trust = {}}}};
    auto trusts = entriesBelow(services, {.server = server, .dn = "CN=System," + root->own},
                               "(objectClass=trustedDomain)",
                               {"flatName", "trustPartner", "trustDirection", "trustType"});
    if (!trusts) return fail(trusts.error());
    for (Row& trust : *trusts)
        if (auto domain = trustedDomain(trust)) addUnlessKnown(known.domains, std::move(*domain));
    for (Row& reference : *forest)
        addUnlessKnown(known.domains,
                       {.netBios = reference["nETBIOSName"], .dns = reference["dnsRoot"], .trust = {}});
    return known;
}

bool lists(const PropertyBag& list, const KnownDomain& domain) {
    return list.contains(toWide(domain.dns)) || list.contains(toWide(domain.netBios));
}

}  // namespace

Result<KnownDomains> readKnownDomains(DirectoryServices& services, const std::string& domain) {
    auto known = readAll(services, domain);
    if (known) return known;
    const std::wstring name = domain.empty() ? L"this machine's domain" : toWide(domain);
    return fail(known.error().code, L"Failed to read the trusts of " + name + L" - " + known.error().text);
}

void filterDomains(KnownDomains& known, const PropertyBag& configuration) {
    const std::wstring inForce = configuration.get(L"effectiveList").str();
    const bool include = inForce == L"clusterInclude" || inForce == L"brokerInclude";
    if (!include && inForce != L"clusterExclude" && inForce != L"brokerExclude") return;
    const PropertyBag& level =
        inForce.starts_with(L"cluster")
            ? configuration.getBag(L"cluster")
            : configuration.getBag(L"brokerList").getBag(configuration.get(L"brokerName"));
    const PropertyBag& list = level.getBag(include ? L"includeList" : L"excludeList");
    std::erase_if(known.domains, [&](const KnownDomain& domain) {
        return !CORE::equalFolded(domain.dns, known.primaryDns) && lists(list, domain) != include;
    });
}

PropertyBag renderKnownDomains(const KnownDomains& known) {
    PropertyBag result, names, trusts;
    for (const KnownDomain& domain : known.domains) {
        names.add(toWide(domain.netBios), std::string_view(domain.dns));
        if (!domain.trust.empty()) trusts.add(toWide(domain.netBios), std::string_view(domain.trust));
    }
    result.set(L"primaryDomain", std::string_view(known.primaryDns));
    result.addBag(L"dnsBag", std::move(names));
    result.addBag(L"trustInformationBag", std::move(trusts));
    return result;
}

}  // namespace wsadmin
