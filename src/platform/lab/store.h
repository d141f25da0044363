// The data of one directory, and what all its operations share: names, references and look-up of values. Not
// thread safe by itself; Directory guards it.
#pragma once

#include <functional>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "platform/clock.h"
#include "platform/lab/index.h"
#include "platform/lab/schema.h"
#include "platform/lab/tree.h"
#include "platform/ldap/sid.h"
#include "platform/ldap_session.h"
#include "platform/result.h"

namespace wsadmin::platform::lab {

// A value of DN syntax as it is stored: a reference to an entry, or the text of a name that no entry has.
std::string referenceValue(NodeId target);
std::string danglingValue(std::string_view text);
std::optional<NodeId> referenceTarget(std::string_view stored);  // nothing when it dangles
std::string_view danglingText(std::string_view stored);

class Store {
  public:
    explicit Store(const Clock& clock) : clock_(clock), tree(schema) {}

    // --- names

    // The entry that a name means: a DN, "<SID=...>" or "<GUID=...>". Failures: 34 for what is no name, 32
    // for no entry. Tombstones are found.
    Result<NodeId> resolve(std::string_view name) const;
    std::optional<NodeId> findBySid(std::string_view sidText) const;
    std::optional<NodeId> findByGuid(std::string_view binary) const;
    std::string referenceText(std::string_view stored) const;  // the DN of a stored reference

    void addContext(const std::string& name);  // a naming context; the first is the default one

    // --- values

    // Calls each(value) for every value of the attribute in stored form, also for what the directory itself
    // makes.
    void forEachValue(NodeId id, AttributeId attribute,
                      const std::function<void(std::string_view)>& each) const;
    bool has(NodeId id, AttributeId attribute, std::string_view key) const;  // key as matchKey gives it
    bool isRdnAttribute(NodeId id, AttributeId attribute) const { return tree.at(id).rdnType == attribute; }
    // What a stored value is looked up by; equal values have equal keys.
    std::string keyOf(AttributeId attribute, std::string_view stored) const;

    Seconds now() const { return std::chrono::floor<std::chrono::seconds>(clock_.now()); }

  private:
    const Clock& clock_;

  public:
    Schema schema;
    Tree tree;
    Indexes indexes;
    std::vector<Dn> contexts;  // names of the naming contexts, whether or not their entries are there
    std::vector<std::string> suffixes;  // of the naming contexts, as written; the first is the default one
    std::uint64_t usn = 0;              // the last one given
    std::size_t dangling = 0;  // how many references were stored as text; more than there are, never less
    bool constructs = false;   // attributes of accounts, as a domain's directory does
    bool loading = false;      // entries come from files: more is allowed
    std::uint16_t file = 0;    // while loading, the one they come from
    std::unordered_map<std::string, NodeId> resolved;  // while loading: names in values, for the next time
    std::set<std::uint16_t> changedFiles;
};

}  // namespace wsadmin::platform::lab
