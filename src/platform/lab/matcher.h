// A search filter over one directory, ready to be asked about entries: RFC 4511's three-valued logic with
// AD's matching.
#pragma once

#include <optional>
#include <unordered_set>
#include <vector>

#include "platform/lab/store.h"

namespace wsadmin::platform::lab {

class Matcher {
  public:
    // Good as long as the store does not change.
    Matcher(const Store& store, const Filter& filter) : store_(store), top_(compile(filter)) {}

    bool matches(NodeId id) const { return evaluate(top_, id) == Truth::yes; }
    // Entries among which all matches are, in order of creation; nothing when only a walk over all entries
    // tells.
    std::optional<std::vector<NodeId>> candidates() const { return candidates(top_); }

  private:
    enum class Truth { no, undefined, yes };
    enum class Rule {
        all,
        any,
        none,
        everything,
        present,
        equal,
        atLeast,
        atMost,
        substrings,
        bitsAnd,
        bitsOr,
        inChain,
        undefined
    };
    struct Term {
        Rule rule = Rule::undefined;
        std::vector<Term> parts;
        AttributeId attribute = 0;
        Syntax syntax = Syntax::text;
        std::string key;                     // as Store::keyOf gives it
        std::vector<std::string> fragments;  // folded
        std::int64_t bits = 0;
        std::unordered_set<NodeId> chain;  // inChain: the entries that match
    };

    Term compile(const Filter& filter) const;
    Term compileAssertion(const Filter& filter) const;
    void compileExtensible(const Filter& filter, Term& term) const;
    std::optional<std::string> assertionKey(const Term& term, const std::string& value) const;
    std::unordered_set<NodeId> chainOf(const Term& term) const;

    Truth evaluate(const Term& term, NodeId id) const;
    Truth evaluateParts(const Term& term, NodeId id) const;
    bool holds(const Term& term, NodeId id) const;
    bool valueMatches(const Term& term, std::string_view value) const;
    std::optional<std::vector<NodeId>> candidates(const Term& term) const;
    std::optional<std::vector<NodeId>> candidatesOfAny(const Term& term) const;

    const Store& store_;
    Term top_;
};

}  // namespace wsadmin::platform::lab
