#include "identity/sid_search.h"

#include <algorithm>
#include <set>
#include <span>

#include "platform/ldap/batches.h"
#include "platform/ldap/ldap_text.h"
#include "platform/module/module_log.h"
#include "platform/text/hex.h"

namespace wsadmin {

using platform::Sid;

namespace {

constexpr char sidAttribute[] = "objectSid";
constexpr char nameAttribute[] = "distinguishedName";
constexpr std::string_view catalogue = "GC:";

using RowsBySid = std::map<Sid, DirectoryRow>;

class SidSearch {
  public:
    SidSearch(DomainBindings& bindings, std::vector<Sid> sids, std::string_view condition,
              std::vector<std::string> attributes)
        : bindings_(bindings),
          missing_(sids.begin(), sids.end()),
          condition_(condition),
          attributes_(std::move(attributes)) {
        for (const char* always : {sidAttribute, nameAttribute}) attributes_.emplace_back(always);
    }

    bool done() const noexcept { return missing_.empty(); }

    // Adds the missing entries that the binding has.
    void addFrom(const std::string& binding) {
        auto found = search(binding, missing_, condition_, attributes_);
        std::erase_if(missing_, [&found](const Sid& sid) { return found.contains(sid); });
        result_.rows.merge(found);
    }

    // The DNS names of the domains in which the global catalogue has the missing entries.
    std::set<std::string> domainsByCatalogue() {
        std::set<std::string> domains;
        for (const auto& [sid, row] :
             search(std::string(catalogue), missing_, condition_, {sidAttribute, nameAttribute})) {
            domains.insert(platform::dnsDomainOf(row.text(nameAttribute)));
            catalogued_.insert(sid);
        }
        return domains;
    }

    SidSearchResult finish() {
        if (skipped_) result_.uncertain = uncertain();
        return std::move(result_);
    }

  private:
    // A SID begins with that of its domain: if the domain has answered without the entry, nobody has the SID.
    std::set<Sid> uncertain() {
        std::set<Sid> domains, answered;
        for (const Sid& sid : missing_) domains.insert(sid.domain());
        const std::vector<std::string> bindings(answered_.begin(), answered_.end());
        for (const std::string& binding : bindings)
            for (const auto& [sid, row] : search(binding, domains, "(objectClass=domainDNS)", {sidAttribute}))
                answered.insert(sid);
        std::set<Sid> doubtful = missing_;
        std::erase_if(doubtful, [&](const Sid& sid) {
            return !catalogued_.contains(sid) && answered.contains(sid.domain());
        });
        return doubtful;
    }

    static std::string filterOf(std::span<const Sid> sids, std::string_view condition) {
        std::string filter = "(&" + std::string(condition) + "(|";
        for (const Sid& sid : sids) {
            filter += "(objectSid=";
            for (const char byte : sid.bytes()) platform::appendEscapedByte(filter, byte);
            filter += ")";
        }
        return filter + "))";
    }

    RowsBySid search(const std::string& binding, const std::set<Sid>& sids, std::string_view condition,
                     const std::vector<std::string>& attributes) {
        RowsBySid found;
        if (sids.empty()) return found;
        const auto skip = [&](std::wstring_view format) {
            logWarning(format, binding);
            skipped_ = true;
            return found;
        };
        const DomainSearch search(bindings_, binding);
        if (!search) return skip(L"Bind to %s failed");
        const std::vector<Sid> wanted(sids.begin(), sids.end());
        for (const auto batch : platform::batchesOf(wanted, sidsPerSearch)) {
            auto rows = readRows(*search, filterOf(batch, condition), attributes, 0, OnRefusal::logsDebug);
            if (!rows) return skip(L"Search failed on binding %s");
            for (DirectoryRow& row : *rows)
                if (const auto sid = Sid::fromBytes(row.text(sidAttribute)))
                    found.emplace(*sid, std::move(row));
        }
        answered_.insert(binding);
        return found;
    }

    DomainBindings& bindings_;
    std::set<Sid> missing_;
    std::set<Sid> catalogued_;        // which the global catalogue has
    std::set<std::string> answered_;  // bindings
    bool skipped_ = false;            // a binding could not be asked
    std::string condition_;
    std::vector<std::string> attributes_;
    SidSearchResult result_;
};

}  // namespace

SidSearchResult searchBySids(DomainBindings& bindings, std::vector<Sid> sids, std::string_view condition,
                             std::vector<std::string> attributes) {
    const auto& domains = bindings.domains();
    if (!domains) return {.uncertain = {sids.begin(), sids.end()}};
    SidSearch search(bindings, std::move(sids), condition, std::move(attributes));
    for (const CORE::BagProperty& domain : domains->primary.props())
        search.addFrom("LDAP://" + std::string(domain.name));
    const auto inForest = [&](const CORE::BagProperty& domain) {
        return domain.value == catalogue && !domains->primary.contains(CORE::toWide(domain.name));
    };
    if (!search.done() && std::ranges::any_of(domains->all.props(), inForest))
        for (const std::string& domain : search.domainsByCatalogue()) search.addFrom("LDAP://" + domain);
    for (const CORE::BagProperty& domain : domains->trusted.props())
        search.addFrom(std::string(domain.value));
    return search.finish();
}

}  // namespace wsadmin
