#include "ldap/domain_config.h"

#include <algorithm>
#include <array>

#include "ldap/domain_keys.h"
#include "ldap/layout.h"
#include "ldap/modify.h"
#include "ldap/search.h"
#include "platform/ldap/ldap_text.h"
#include "platform/module/module_log.h"
#include "platform/startup.h"

namespace wsadmin {

namespace startup = platform::startup;

using CORE::equalFolded;
using CORE::toUtf8;
using CORE::toWide;
using platform::LdapEntry;
using platform::LdapModify;

namespace {

// The names of a list type.
struct ListNames {
    DomainListType type;
    std::wstring_view request;  // as "listtype" names it
    const char* attribute;
    std::wstring_view key;       // in results and in the start-up bag
    std::wstring_view sentence;  // in the sentence that tells of a change
    std::vector<std::wstring> DomainLists::*values;
};
const std::array<ListNames, 3> listNames = {{
    {DomainListType::include, L"include", layout::attribute::includeList, startup::includeList,
     L"include list ", &DomainLists::include},
    {DomainListType::exclude, L"exclude", layout::attribute::excludeList, startup::excludeList,
     L"exclude list ", &DomainLists::exclude},
    {DomainListType::search, L"search", layout::attribute::searchExcludeList, startup::searchExclusionList,
     L"search list ", &DomainLists::search},
}};

const ListNames& namesOf(DomainListType type) {
    return listNames.at(static_cast<std::size_t>(type));
}

const std::wstring* findDomain(const std::vector<std::wstring>& list, std::wstring_view domain) {
    const auto found =
        std::ranges::find_if(list, [domain](const std::wstring& d) { return equalFolded(d, domain); });
    return found == list.end() ? nullptr : &*found;
}

Result<DomainLists> readLists(platform::LdapSession& session, const LdapEntry& entry) {
    DomainLists lists;
    for (const ListNames& names : listNames) {
        const auto domains = readValues(session, entry, names.attribute);
        if (!domains) return fail(L"Failed to perform search");
        for (const std::string& domain : *domains) (lists.*names.values).push_back(toWide(domain));
    }
    return lists;
}

void addLists(CORE::PropertyBag& bag, const DomainLists& lists) {
    for (const ListNames& names : listNames) {
        CORE::PropertyBag list;
        for (const std::wstring& domain : lists.*names.values) list.add(domain, std::wstring_view());
        bag.addBag(names.key, std::move(list));
    }
}

const DomainLists& listsFor(const DomainFilters& filters, const std::wstring& broker) {
    const BrokerDomains* found = broker.empty() ? nullptr : filters.broker(broker);
    return found ? found->lists : filters.cluster;
}

// The cluster's list cannot exclude the primary domain of any broker, a broker's list not its own.
Result<void> checkExclusion(const DomainFilters& filters, const DomainListRequest& request) {
    const auto isPrimary = [&](const BrokerDomains& broker) {
        return equalFolded(broker.dnsDomain, request.domain);
    };
    if (request.broker.empty()) {
        if (std::ranges::none_of(filters.brokers, isPrimary)) return {};
        return fail(request.domain + L" is a primary domain for a broker and cannot be excluded");
    }
    if (!isPrimary(*filters.broker(request.broker))) return {};
    return fail(request.domain + L" is the primary domain for the broker " + request.broker +
                L" and cannot be excluded");
}

}  // namespace

const std::vector<std::wstring>& DomainLists::of(DomainListType type) const noexcept {
    return this->*namesOf(type).values;
}

const BrokerDomains* DomainFilters::broker(std::wstring_view name) const noexcept {
    const auto found =
        std::ranges::find_if(brokers, [name](const BrokerDomains& b) { return equalFolded(b.name, name); });
    return found == brokers.end() ? nullptr : &*found;
}

std::wstring effectiveList(const DomainFilters& filters) {
    const BrokerDomains* here = filters.broker(filters.thisBroker);
    if (here && !here->lists.exclude.empty()) return L"brokerExclude";
    if (!filters.cluster.exclude.empty()) return L"clusterExclude";
    if (here && !here->lists.include.empty()) return L"brokerInclude";
    return filters.cluster.include.empty() ? L"unlimited" : L"clusterInclude";
}

CORE::PropertyBag renderDomainFilters(const DomainFilters& filters) {
    CORE::PropertyBag result, cluster, brokers;
    addLists(cluster, filters.cluster);
    for (const BrokerDomains& broker : filters.brokers) {
        CORE::PropertyBag bag;
        addLists(bag, broker.lists);
        bag.set(L"brokerDNSDomainName", std::wstring_view(broker.dnsDomain));
        brokers.addBag(broker.name, std::move(bag));
    }
    result.addBag(L"cluster", std::move(cluster));
    result.addBag(L"brokerList", std::move(brokers));
    result.set(L"effectiveList", std::wstring_view(effectiveList(filters)));
    result.set(L"brokerName", std::wstring_view(filters.thisBroker));
    return result;
}

Result<void> checkDomainChange(const DomainFilters& filters, const DomainListRequest& request) {
    using enum DomainListChange;
    if (!request.broker.empty() && !filters.broker(request.broker))
        return fail(L"Cannot find domain information for broker " + request.broker);
    if (request.change == add && request.type == DomainListType::exclude && !request.domain.empty())
        if (auto allowed = checkExclusion(filters, request); !allowed) return allowed;
    const auto& list = listsFor(filters, request.broker).of(request.type);
    if (request.change == removeAll) {
        if (list.empty()) return fail(L"The list already is empty");
        return {};
    }
    if (request.domain.empty()) return fail(L"A domain must be provided for this operation");
    const bool present = findDomain(list, request.domain) != nullptr;
    if (request.change == remove && !present)
        return fail(L"The domain " + request.domain + L" is not present in this list so cannot be removed");
    if (request.change == add && present)
        return fail(L"The domain " + request.domain +
                    L" is already present in this list and cannot be added again");
    return {};
}

std::wstring domainChangeDone(const DomainListRequest& request) {
    std::wstring sentence =
        request.change == DomainListChange::removeAll
            ? L"All domains have been removed from the "
            : L"The domain " + request.domain + L" has been " +
                  (request.change == DomainListChange::remove ? L"removed from the " : L"added to the ");
    sentence += namesOf(request.type).sentence;
    return sentence + (request.broker.empty() ? L"for the cluster." : L"for the broker " + request.broker);
}

Result<std::vector<BrokerDomains>> DomainConfig::readBrokers(platform::LdapSession& session) {
    const auto found = searchAllPages(session, layout::under(layout::container::brokers),
                                      "(&(objectClass=zre-PropertyObject)(!(zre-HDQSecurityServer=1)))");
    if (!found) return fail(found.error());
    std::vector<BrokerDomains> brokers;
    for (const LdapEntry& entry : *found) {
        auto lists = readLists(session, entry);
        if (!lists) return fail(lists.error());
        brokers.push_back({toWide(entry.first(layout::attribute::cn)),
                           toWide(entry.first(layout::attribute::dnsDomainName)), std::move(*lists)});
    }
    return brokers;
}

Result<DomainFilters> DomainConfig::readFilters() {
    const CORE::PropertyBag configuration = service().configuration();
    const bool readLdap = configuration.getBool(startup::enableLdapDomainConfig, true);
    const bool readRegistry = configuration.getBool(startup::enableRegistryDomainConfig, false);
    logDebug(L"Load domain config: readLdap=%s, readReg=%s", readLdap ? L"true" : L"false",
             readRegistry ? L"true" : L"false");
    DomainFilters filters;
    if (readLdap) {
        const auto session = directory();
        if (!session) return fail(session.error());
        const auto cluster = findEntry(**session, {});
        if (!cluster) return fail(cluster.error());
        auto brokers = readBrokers(**session);
        if (!brokers) return fail(brokers.error());
        auto lists = readLists(**session, *cluster);
        if (!lists) return fail(lists.error());
        filters.cluster = std::move(*lists);
        filters.brokers = std::move(*brokers);
    }
    if (readRegistry)
        for (const ListNames& names : listNames)
            for (const CORE::wstr& domain : configuration.get(names.key).split())
                if (!findDomain(filters.cluster.*names.values, domain.str()))
                    (filters.cluster.*names.values).push_back(domain.str());
    return filters;
}

// Without this server's name nobody could tell which of the brokers' lists are in force here.
Result<void> DomainConfig::load() {
    auto filters = readFilters();
    if (!filters) return fail(filters.error());
    const auto name = service().platform().names->netBios();
    if (!name) return fail(L"Could not obtain netbios computer name (" + name.error().text + L")");
    filters->thisBroker = *name;
    result() = renderDomainFilters(*filters);
    return {};
}

Result<DomainListRequest> DomainConfig::readRequest() {
    constexpr std::array<std::pair<std::wstring_view, DomainListChange>, 3> changes = {
        {{L"add", DomainListChange::add},
         {L"remove", DomainListChange::remove},
         {L"removeall", DomainListChange::removeAll}}};
    const std::wstring operation = request().text(key::listChange).str();
    const std::wstring listType = request().text(key::listType).str();
    const auto change =
        std::ranges::find_if(changes, [&](const auto& c) { return equalFolded(c.first, operation); });
    if (change == changes.end()) return fail(operation + L" is not a valid operation");
    const auto type =
        std::ranges::find_if(listNames, [&](const auto& n) { return equalFolded(n.request, listType); });
    if (type == listNames.end()) return fail(listType + L" is not a valid list type");
    return DomainListRequest{change->second, type->type, request().text(key::listBroker).str(),
                             request().text(key::listDomain).str()};
}

Result<LdapEntry> DomainConfig::findEntry(platform::LdapSession& session, const std::wstring& broker) {
    const std::wstring absent = broker.empty() ? L"Common global properties not found in LDAP"
                                               : L"Broker properties not found in LDAP";
    const EntrySentences sentences{
        .absent = absent, .searched = L"common global properies entry", .unmatched = absent};
    if (broker.empty())
        return readRequiredEntry(session, layout::under(layout::container::globalSettings), sentences,
                                 "(objectClass=*)");
    return readRequiredEntry(session, layout::brokerEntry(toUtf8(broker)), sentences,
                             "(&(objectClass=*)(!(zre-HDQSecurityServer=1)))");
}

Result<void> DomainConfig::change(const DomainListRequest& wanted, const DomainFilters& filters) {
    const auto session = directory();
    if (!session) return fail(session.error());
    const auto entry = findEntry(**session, wanted.broker);
    if (!entry) return fail(entry.error());
    const auto& list = listsFor(filters, wanted.broker).of(wanted.type);
    const bool adds = wanted.change == DomainListChange::add;
    std::vector<std::string> values;  // none: the whole list is removed
    if (adds)
        values = {toUtf8(wanted.domain)};
    else if (wanted.change == DomainListChange::remove)
        values = {toUtf8(*findDomain(list, wanted.domain))};
    const auto done = modifyAttribute(**session, entry->dn, adds ? LdapModify::add : LdapModify::remove,
                                      namesOf(wanted.type).attribute, std::move(values));
    if (!done)
        return fail((adds ? L"Failed to set domain in list - " : L"Failed to remove domain from list - ") +
                    done.error().text);
    result().set(L"result", std::wstring_view(domainChangeDone(wanted)));
    return {};
}

Result<void> DomainConfig::save() {
    const auto wanted = readRequest();
    if (!wanted) return fail(wanted.error());
    // A change of lists that are not in use would have no effect.
    if (!service().configuration().getBool(startup::enableLdapDomainConfig, true))
        return fail(L"LDAP not initialized");
    const auto filters = readFilters();
    if (!filters) return fail(filters.error());
    const auto allowed = checkDomainChange(*filters, *wanted);
    return allowed ? change(*wanted, *filters) : allowed;
}

}  // namespace wsadmin
