#include "identity/sid_search.h"

#include <algorithm>
#include <set>
#include <span>

#include "ldap/connection_mgr.h"
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
    SidSearch(ConnectionMgr& pool, std::vector<Sid> sids, std::string_view condition,
              std::vector<std::string> attributes)
        : pool_(pool), missing_(std::move(sids)), condition_(condition), attributes_(std::move(attributes)) {
        std::ranges::sort(missing_);
        const auto repeated = std::ranges::unique(missing_);
        missing_.erase(repeated.begin(), repeated.end());
        for (const char* always : {sidAttribute, nameAttribute}) attributes_.emplace_back(always);
    }

    bool done() const noexcept { return missing_.empty(); }

    // Adds the missing entries that the binding has.
    void addFrom(const std::string& binding) {
        auto found = search(binding, attributes_);
        std::erase_if(missing_, [&found](const Sid& sid) { return found.contains(sid); });
        result_.rows.merge(found);
    }

    // The DNS names of the domains in which the global catalogue has the missing entries.
    std::set<std::string> domainsByCatalogue() {
        std::set<std::string> domains;
        for (const auto& [sid, row] : search(std::string(catalogue), {sidAttribute, nameAttribute}))
            domains.insert(platform::dnsDomainOf(row.text(nameAttribute)));
        return domains;
    }

    SidSearchResult takeResult() { return std::move(result_); }

  private:
    std::string filterOf(std::span<const Sid> sids) const {
        std::string filter = "(&" + condition_ + "(|";
        for (const Sid& sid : sids) {
            filter += "(objectSid=";
            for (const char byte : sid.bytes()) platform::appendEscapedByte(filter, byte);
            filter += ")";
        }
        return filter + "))";
    }

    RowsBySid search(const std::string& binding, const std::vector<std::string>& attributes) {
        RowsBySid found;
        if (done()) return found;
        const auto skip = [&](std::wstring_view format) {
            logWarning(format, binding);
            result_.incomplete = true;
        };
        const PooledSearch search(pool_, pool_.getConnection(binding));
        if (!search) {
            skip(L"Bind to %s failed");
            return found;
        }
        for (const auto batch : platform::batchesOf(missing_, sidsPerSearch)) {
            auto rows = readRows(*search, filterOf(batch), attributes);
            if (!rows) {
                skip(L"Search failed on binding %s");
                break;
            }
            for (DirectoryRow& row : *rows)
                if (const auto sid = Sid::fromBytes(row.text(sidAttribute)))
                    found.emplace(*sid, std::move(row));
        }
        return found;
    }

    ConnectionMgr& pool_;
    std::vector<Sid> missing_;
    std::string condition_;
    std::vector<std::string> attributes_;
    SidSearchResult result_;
};

}  // namespace

SidSearchResult searchBySids(ServiceContext& service, const DomainBindings& domains, std::vector<Sid> sids,
                             std::string_view condition, std::vector<std::string> attributes) {
    const auto pool = service.connections();
    if (!pool) return {.incomplete = true};
    SidSearch search(*pool, std::move(sids), condition, std::move(attributes));
    for (const CORE::BagProperty& domain : domains.primary.props())
        search.addFrom("LDAP://" + std::string(domain.name));
    const auto inForest = [&](const CORE::BagProperty& domain) {
        return domain.value == catalogue && !domains.primary.contains(CORE::toWide(domain.name));
    };
    if (!search.done() && std::ranges::any_of(domains.all.props(), inForest))
        for (const std::string& domain : search.domainsByCatalogue()) search.addFrom("LDAP://" + domain);
    for (const CORE::BagProperty& domain : domains.trusted.props()) search.addFrom(std::string(domain.value));
    return search.takeResult();
}

}  // namespace wsadmin
