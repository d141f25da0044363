#include "platform/lab/matcher.h"

#include <algorithm>
#include <charconv>

namespace wsadmin::platform::lab {

namespace {

constexpr std::string_view bitAndRule = "1.2.840.113556.1.4.803";
constexpr std::string_view bitOrRule = "1.2.840.113556.1.4.804";
constexpr std::string_view inChainRule = "1.2.840.113556.1.4.1941";

std::optional<std::int64_t> integer(std::string_view text) {
    std::int64_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc{} || end != text.data() + text.size()) return std::nullopt;
    return value;
}

bool substringsMatch(std::string_view value, const std::vector<std::string>& fragments) {
    const auto& first = fragments.front();
    const auto& last = fragments.back();
    if (value.size() < first.size() + last.size() || !value.starts_with(first) || !value.ends_with(last))
        return false;
    value = value.substr(first.size(), value.size() - first.size() - last.size());
    for (std::size_t i = 1; i + 1 < fragments.size(); ++i) {
        const auto at = value.find(fragments[i]);
        if (at == value.npos) return false;
        value.remove_prefix(at + fragments[i].size());
    }
    return true;
}

// Values of these change or are made on the fly, so no index is kept of them.
bool indexed(const AttributeType& type, AttributeId id) {
    return !type.backLink() && id != attrDistinguishedName && (id < attrWhenCreated || id > attrIsDeleted);
}

}  // namespace

Matcher::Term Matcher::compile(const Filter& filter) const {
    Term term;
    switch (filter.kind) {
        case Filter::Kind::all:
            term.rule = Rule::all;
            break;
        case Filter::Kind::any:
            term.rule = Rule::any;
            break;
        case Filter::Kind::no:
            term.rule = Rule::none;
            break;
        default:
            return compileAssertion(filter);
    }
    for (const auto& part : filter.parts) term.parts.push_back(compile(part));
    return term;
}

Matcher::Term Matcher::compileAssertion(const Filter& filter) const {
    Term term;
    const auto attribute = store_.schema.find(filter.attribute);
    if (!attribute) return term;  // nobody has it: neither true nor false
    term.attribute = *attribute;
    term.syntax = store_.schema.attribute(*attribute).syntax;
    switch (filter.kind) {
        case Filter::Kind::present:
            term.rule = *attribute == attrObjectClass ? Rule::everything : Rule::present;
            return term;
        case Filter::Kind::substrings:
            if (term.syntax != Syntax::text && term.syntax != Syntax::octets) return term;
            for (const auto& fragment : filter.fragments)
                term.fragments.push_back(matchKey(term.syntax, fragment));
            if (!term.fragments.empty()) term.rule = Rule::substrings;
            return term;
        case Filter::Kind::extensible:
            compileExtensible(filter, term);
            return term;
        default:
            break;
    }
    const auto key = assertionKey(term, filter.value);
    if (!key) return term;
    term.key = *key;
    const bool ordered = term.syntax != Syntax::dn;
    if (filter.kind == Filter::Kind::greaterOrEqual)
        term.rule = ordered ? Rule::atLeast : Rule::undefined;
    else if (filter.kind == Filter::Kind::lessOrEqual)
        term.rule = ordered ? Rule::atMost : Rule::undefined;
    else
        term.rule = Rule::equal;
    return term;
}

void Matcher::compileExtensible(const Filter& filter, Term& term) const {
    if (filter.dnAttributes) return;
    if (filter.rule == inChainRule && term.syntax == Syntax::dn) {
        const auto key = assertionKey(term, filter.value);
        if (!key) return;
        term.key = *key;
        term.rule = Rule::inChain;
        term.chain = chainOf(term);
        return;
    }
    const auto bits = integer(filter.value);
    if (!bits || (term.syntax != Syntax::integer && term.syntax != Syntax::largeInteger)) return;
    term.bits = *bits;
    if (filter.rule == bitAndRule) term.rule = Rule::bitsAnd;
    if (filter.rule == bitOrRule) term.rule = Rule::bitsOr;
}

std::optional<std::string> Matcher::assertionKey(const Term& term, const std::string& value) const {
    if (term.syntax != Syntax::dn) {
        const auto stored = storedValue(term.syntax, value);
        if (!stored) return std::nullopt;
        return matchKey(term.syntax, *stored);
    }
    const auto target = store_.resolve(value);
    if (target) return referenceValue(*target);
    if (target.error().code == ldapInvalidDnSyntax) return std::nullopt;
    return store_.keyOf(term.attribute, danglingValue(value));
}

// All entries from which the target is reached by following the attribute any number of times.
std::unordered_set<NodeId> Matcher::chainOf(const Term& term) const {
    std::unordered_set<NodeId> reached;
    const auto start = referenceTarget(term.key);
    if (!start) return reached;
    const auto& type = store_.schema.attribute(term.attribute);
    const auto forward = type.backLink() ? store_.schema.forwardOf(term.attribute) : term.attribute;
    std::vector<NodeId> open = {*start};
    const auto visit = [&](NodeId id) {
        if (reached.insert(id).second) open.push_back(id);
    };
    while (!open.empty() && forward) {
        const NodeId id = open.back();
        open.pop_back();
        if (type.backLink()) {
            for (const auto value : store_.tree.at(id).entry.find(*forward))
                if (const auto target = referenceTarget(value)) visit(*target);
        } else {
            for (const NodeId referrer : store_.indexes.referrers(store_, id))
                if (store_.has(referrer, *forward, referenceValue(id))) visit(referrer);
        }
    }
    return reached;
}

Matcher::Truth Matcher::evaluate(const Term& term, NodeId id) const {
    switch (term.rule) {
        case Rule::all:
        case Rule::any:
            return evaluateParts(term, id);
        case Rule::none: {
            const Truth part = evaluate(term.parts.front(), id);
            return part == Truth::undefined ? part : part == Truth::yes ? Truth::no : Truth::yes;
        }
        case Rule::undefined:
            return Truth::undefined;
        default:
            return holds(term, id) ? Truth::yes : Truth::no;
    }
}

Matcher::Truth Matcher::evaluateParts(const Term& term, NodeId id) const {
    const Truth decisive = term.rule == Rule::all ? Truth::no : Truth::yes;
    Truth result = term.rule == Rule::all ? Truth::yes : Truth::no;
    for (const auto& part : term.parts) {
        const Truth truth = evaluate(part, id);
        if (truth == decisive) return truth;
        if (truth == Truth::undefined) result = truth;
    }
    return result;
}

bool Matcher::holds(const Term& term, NodeId id) const {
    if (term.rule == Rule::everything) return true;
    if (term.rule == Rule::inChain) return term.chain.contains(id);
    if (term.rule == Rule::equal) return store_.has(id, term.attribute, term.key);
    bool found = false;
    store_.forEachValue(id, term.attribute,
                        [&](std::string_view value) { found = found || valueMatches(term, value); });
    return found;
}

bool Matcher::valueMatches(const Term& term, std::string_view value) const {
    switch (term.rule) {
        case Rule::present:
            return true;
        case Rule::atLeast:
            return compareValues(term.syntax, value, term.key) >= 0;
        case Rule::atMost:
            return compareValues(term.syntax, value, term.key) <= 0;
        case Rule::substrings:
            return substringsMatch(matchKey(term.syntax, value), term.fragments);
        case Rule::bitsAnd:
            return (integer(value).value_or(0) & term.bits) == term.bits;
        case Rule::bitsOr:
            return (integer(value).value_or(0) & term.bits) != 0;
        default:
            return false;
    }
}

std::optional<std::vector<NodeId>> Matcher::candidates(const Term& term) const {
    switch (term.rule) {
        case Rule::undefined:
            return std::vector<NodeId>{};
        case Rule::any:
            return candidatesOfAny(term);
        case Rule::inChain: {
            std::vector<NodeId> ids(term.chain.begin(), term.chain.end());
            std::sort(ids.begin(), ids.end());
            return ids;
        }
        case Rule::all: {
            std::optional<std::vector<NodeId>> fewest;
            for (const auto& part : term.parts) {
                auto some = candidates(part);
                if (some && (!fewest || some->size() < fewest->size())) fewest = std::move(some);
            }
            return fewest;
        }
        case Rule::equal: {
            const auto target = referenceTarget(term.key);
            if (term.attribute == attrDistinguishedName)
                return target ? std::vector<NodeId>{*target} : std::vector<NodeId>{};
            if (!indexed(store_.schema.attribute(term.attribute), term.attribute)) return std::nullopt;
            return store_.indexes.candidates(store_, term.attribute, term.key);
        }
        default:
            return std::nullopt;
    }
}

std::optional<std::vector<NodeId>> Matcher::candidatesOfAny(const Term& term) const {
    std::vector<NodeId> all;
    for (const auto& part : term.parts) {
        const auto some = candidates(part);
        if (!some) return std::nullopt;
        all.insert(all.end(), some->begin(), some->end());
    }
    std::sort(all.begin(), all.end());
    all.erase(std::unique(all.begin(), all.end()), all.end());
    return all;
}

}  // namespace wsadmin::platform::lab
