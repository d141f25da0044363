#include "platform/lab/constructed.h"

#include <charconv>
#include <unordered_set>

namespace wsadmin::platform::lab {

namespace {

using Ticks = std::int64_t;  // of 100 ns; as a time since 1601-01-01

constexpr std::uint32_t securityGroup = 0x80000000;
constexpr std::int64_t lockedOut = 0x10, passwordExpired = 0x800000;
// Accounts of trusts and computers, those that need a smart card, and passwords that never expire.
constexpr std::int64_t passwordStays = 0x800 | 0x1000 | 0x2000 | 0x10000 | 0x40000;

std::optional<std::int64_t> numberOf(const Store& store, NodeId id, AttributeId attribute) {
    for (const auto value : store.tree.at(id).entry.find(attribute)) {
        std::int64_t number = 0;
        std::from_chars(value.data(), value.data() + value.size(), number);
        return number;
    }
    return std::nullopt;
}

std::optional<Sid> sidOf(const Store& store, NodeId id) {
    for (const auto value : store.tree.at(id).entry.find(attrObjectSid)) return Sid::fromBytes(value);
    return std::nullopt;
}

bool isSecurityGroup(const Store& store, NodeId id) {
    return !store.tree.at(id).deleted &&
           (static_cast<std::uint32_t>(numberOf(store, id, attrGroupType).value_or(0)) & securityGroup) != 0;
}

// The groups that hold an entry, as they are found: what does not count for security does not pass its
// members on either.
class Membership {
  public:
    explicit Membership(const Store& store, NodeId member) : store_(store), seen_{member} {}

    void enter(NodeId group) {
        if (isSecurityGroup(store_, group) && seen_.insert(group).second) groups_.push_back(group);
    }
    void enterGroupsOf(NodeId member) {
        const auto self = referenceValue(member);
        for (const NodeId referrer : store_.indexes.referrers(store_, member))
            if (store_.has(referrer, attrMember, self)) enter(referrer);
    }
    const std::vector<NodeId>& all() {
        for (; expanded_ < groups_.size(); ++expanded_) enterGroupsOf(groups_[expanded_]);
        return groups_;
    }

  private:
    const Store& store_;
    std::unordered_set<NodeId> seen_;
    std::vector<NodeId> groups_;
    std::size_t expanded_ = 0;
};

void tokenGroups(const Store& store, NodeId id, const std::function<void(std::string_view)>& each) {
    const auto own = sidOf(store, id);
    if (!own) return;
    Membership membership(store, id);
    if (const auto primary = numberOf(store, id, attrPrimaryGroupId)) {
        const auto sid = own->domain().text() + "-" + std::to_string(static_cast<std::uint32_t>(*primary));
        if (const auto group = store.findBySid(sid)) membership.enter(*group);
    }
    membership.enterGroupsOf(id);
    for (const NodeId group : membership.all())
        if (const auto sid = sidOf(store, group)) each(sid->bytes());
}

// A duration is negative; any other, and the least number, keep the account locked until somebody unlocks it.
bool isLockedOut(const Store& store, NodeId id) {
    const auto since = numberOf(store, id, attrLockoutTime).value_or(0);
    if (since == 0) return false;
    const auto duration = numberOf(store, store.tree.contextOf(id), attrLockoutDuration).value_or(0);
    return duration >= 0 || ticksNow(store) + duration <= since;
}

void accountControl(const Store& store, NodeId id, const std::function<void(std::string_view)>& each) {
    if (!store.has(id, attrObjectClass, "user")) return;
    std::int64_t flags = isLockedOut(store, id) ? lockedOut : 0;
    const bool mustChange = numberOf(store, id, attrPwdLastSet) == 0;
    if (mustChange && (numberOf(store, id, attrUserAccountControl).value_or(0) & passwordStays) == 0)
        flags |= passwordExpired;
    each(std::to_string(flags));
}

}  // namespace

Ticks ticksNow(const Store& store) {
    constexpr Ticks secondsFrom1601 = 11644473600, ticksPerSecond = 10000000;
    return (store.now().time_since_epoch().count() + secondsFrom1601) * ticksPerSecond;
}

void forEachConstructed(const Store& store, NodeId id, AttributeId attribute, LdapScope scope,
                        const std::function<void(std::string_view)>& each) {
    if (attribute == attrTokenGroups && scope == LdapScope::base) tokenGroups(store, id, each);
    if (attribute == attrAccountControlComputed) accountControl(store, id, each);
}

}  // namespace wsadmin::platform::lab
