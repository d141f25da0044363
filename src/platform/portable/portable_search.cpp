#include "platform/portable/portable_search.h"

#include <algorithm>
#include <functional>
#include <utility>

namespace wsadmin::platform {

namespace {

constexpr std::string_view pathColumn = "ADsPath";

class PortableRows final : public DirectoryRows {
  public:
    // sizeLimit 0: none.
    PortableRows(PortableBinding binding, LdapSearch search, int pageSize, int sizeLimit)
        : binding_(std::move(binding)),
          pages_(*binding_.session, std::move(search), pageSize),
          rowsLeft_(sizeLimit),
          limited_(sizeLimit > 0) {}

    Result<bool> next() override {
        if (limited_ && rowsLeft_-- <= 0) return end();
        if (++row_ < page_.size()) return true;
        row_ = 0;
        do {
            const auto more = pages_.next(page_);
            if (!more) return fail(binding_.failure(more.error().cause));
            if (!*more) return false;
        } while (page_.empty());
        if (auto loaded = loadTypes(); !loaded) {
            page_.clear();
            return fail(binding_.failure(loaded.error()));
        }
        return true;
    }

    Result<std::optional<DirectoryColumn>> column(std::string_view name) override {
        if (row_ >= page_.size()) return fail(adsFailure(adsBadParameter));
        if (CORE::equalFolded(name, pathColumn)) return pathOfRow();
        const LdapAttribute* attribute = page_[row_].find(name);
        if (!attribute) return std::nullopt;
        return typed(*attribute);
    }

    Result<std::vector<DirectoryColumn>> columns() override {
        if (row_ >= page_.size()) return fail(adsFailure(adsBadParameter));
        std::vector<DirectoryColumn> all;
        for (const LdapAttribute& attribute : page_[row_].attributes) all.push_back(typed(attribute));
        all.push_back(pathOfRow());
        return all;
    }

  private:
    using Typed = std::pair<std::string, AttributeType>;

    bool end() {
        page_.clear();
        rowsLeft_ = 0;
        return false;
    }

    DirectoryColumn pathOfRow() const {
        return {std::string(pathColumn), {directoryPathText(binding_.pathTo(page_[row_].dn))}};
    }

    DirectoryColumn typed(const LdapAttribute& attribute) const {
        DirectoryColumn column{attribute.name, {}};
        const auto known = std::ranges::find(types_, attribute.name, &Typed::first);
        const AttributeType type = known == types_.end() ? AttributeType::text : known->second;
        column.values.reserve(attribute.values.size());
        for (const std::string& value : attribute.values) column.values.push_back(typedValue(type, value));
        return column;
    }

    // Looks up the types of the page's attributes that no page before had.
    Result<void> loadTypes() {
        std::vector<std::string> names;
        const auto has = [](const auto& list, const std::string& name, auto member) {
            return std::ranges::find(list, name, member) != list.end();
        };
        for (const LdapEntry& entry : page_)
            for (const LdapAttribute& attribute : entry.attributes)
                if (!has(types_, attribute.name, &Typed::first) &&
                    !has(names, attribute.name, std::identity()))
                    names.push_back(attribute.name);
        if (names.empty()) return {};
        if (auto loaded = binding_.types->load(*binding_.session, names); !loaded) return loaded;
        for (std::string& name : names) {
            const AttributeType type = binding_.types->of(name);
            types_.emplace_back(std::move(name), type);
        }
        return {};
    }

    PortableBinding binding_;
    LdapPages pages_;
    std::vector<LdapEntry> page_;
    std::vector<Typed> types_;  // of the attributes as the server spells them
    std::size_t row_ = 0;
    int rowsLeft_;
    bool limited_;
};

}  // namespace

Result<void> PortableSearch::setPreference(SearchPreference preference, int value) {
    constexpr int highestScope = static_cast<int>(LdapScope::subtree);  // the codes are the same
    if (value < 0 || (preference == SearchPreference::scope && value > highestScope))
        return fail(adsFailure(adsBadParameter));
    switch (preference) {
        case SearchPreference::scope:
            scope_ = static_cast<LdapScope>(value);
            return {};
        case SearchPreference::pageSize:
            pageSize_ = value > 0 ? value : LdapPages::onlyWhereNeeded;
            return {};
        case SearchPreference::sizeLimit:
            sizeLimit_ = value;
            return {};
        case SearchPreference::tombstone:
            tombstones_ = value != 0;
            return {};
        case SearchPreference::timeLimit:  // the session has a limit of its own
            return {};
    }
    return fail(adsFailure(adsBadParameter));
}

Result<std::unique_ptr<DirectoryRows>> PortableSearch::execute(const std::string& filter,
                                                               const std::vector<std::string>& attributes) {
    LdapSearch search{.base = binding_.path.dn,
                      .scope = scope_,
                      .filter = filter,
                      .attributes = attributes,
                      .controls = {}};
    if (tombstones_) search.controls.push_back({.oid = controls::showDeleted, .value = {}, .critical = true});
    const int usual = pageSize_ > 0 ? pageSize_ : LdapPages::defaultPageSize;
    const int pageSize = sizeLimit_ > 0 ? std::min(sizeLimit_, usual) : pageSize_;
    return std::make_unique<PortableRows>(binding_, std::move(search), pageSize, sizeLimit_);
}

}  // namespace wsadmin::platform
