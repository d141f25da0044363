#include "framework/core/asio_parts.h"  // first: it says how asio allocates
//
#include "platform/lab/network_policy.h"

#include <algorithm>
#include <asio/ip/address.hpp>
#include <cerrno>
#include <utility>

#include "framework/core/corestring.h"

namespace wsadmin::platform::lab {

namespace {

using CORE::toWide;

constexpr int notFound = static_cast<int>(0x80070002U);  // the file, an HRESULT

std::string_view remoteOf(const LabIpsecRule& rule) {
    return rule.endpoint1 == "any" ? rule.endpoint2 : rule.endpoint1;
}

// A rule of the policy by its place; rules that came or went meanwhile are told by the name.
class PlacedRule final : public FirewallRule {
  public:
    PlacedRule(std::shared_ptr<LabPolicy> policy, std::size_t place, std::string name)
        : policy_(std::move(policy)), place_(place), name_(std::move(name)) {}

    Result<std::wstring> name() override { return toWide(name_); }
    Result<FirewallFlag> enabled() override {
        const NetworkPolicy now = policy_->now();
        if (!isThere(now)) return fail(notFound, L"The rule is gone.");
        return now.firewallRules[place_].enabled ? firewallTrue : FirewallFlag{0};
    }
    Result<void> setEnabled(bool enabled) override {
        bool there = false;
        policy_->change([&](NetworkPolicy& now) {
            there = isThere(now);
            return there && std::exchange(now.firewallRules[place_].enabled, enabled) != enabled;
        });
        if (!there) return fail(notFound, L"The rule is gone.");
        return {};
    }

  private:
    bool isThere(const NetworkPolicy& now) const {
        return place_ < now.firewallRules.size() && now.firewallRules[place_].name == name_;
    }

    std::shared_ptr<LabPolicy> policy_;
    std::size_t place_;
    std::string name_;
};

class PlacedRules final : public FirewallRules {
  public:
    explicit PlacedRules(std::shared_ptr<LabPolicy> policy)
        : policy_(std::move(policy)), rules_(policy_->now().firewallRules) {}
    Result<std::unique_ptr<FirewallRule>> next() override {
        if (place_ == rules_.size()) return nullptr;
        const std::size_t place = place_++;
        return std::make_unique<PlacedRule>(policy_, place, rules_[place].name);
    }

  private:
    std::shared_ptr<LabPolicy> policy_;
    std::vector<LabFirewallRule> rules_;
    std::size_t place_ = 0;
};

class LabFirewallPolicy final : public FirewallPolicy {
  public:
    explicit LabFirewallPolicy(std::shared_ptr<LabPolicy> policy) : policy_(std::move(policy)) {}
    Result<std::int32_t> currentProfiles() override { return policy_->now().activeProfiles; }
    Result<FirewallFlag> enabled(FirewallProfile profile) override {
        return (policy_->now().enabledProfiles & profile) ? firewallTrue : FirewallFlag{0};
    }
    Result<std::unique_ptr<FirewallRules>> rules() override { return std::make_unique<PlacedRules>(policy_); }

  private:
    std::shared_ptr<LabPolicy> policy_;
};

class LabFirewall final : public Firewall {
  public:
    explicit LabFirewall(std::shared_ptr<LabPolicy> policy) : policy_(std::move(policy)) {}
    Result<std::unique_ptr<FirewallPolicy>> open() override {
        return std::make_unique<LabFirewallPolicy>(policy_);
    }

  private:
    std::shared_ptr<LabPolicy> policy_;
};

template <class Entry>
class LabEntries final : public FilteringEntries<Entry> {
  public:
    explicit LabEntries(std::vector<Entry> entries) : entries_(std::move(entries)) {}
    Result<std::vector<Entry>> next() override {
        const auto count = std::min<std::size_t>(filteringBatch, entries_.size() - given_);
        const auto from = entries_.begin() + static_cast<std::ptrdiff_t>(given_);
        given_ += count;
        return std::vector<Entry>(from, from + static_cast<std::ptrdiff_t>(count));
    }

  private:
    std::vector<Entry> entries_;
    std::size_t given_ = 0;
};

class LabEngine final : public FilteringEngine {
  public:
    explicit LabEngine(NetworkPolicy policy) : policy_(std::move(policy)) {}
    Result<std::unique_ptr<FilteringEntries<SecurityAssociation>>> securityAssociations() override {
        return std::make_unique<LabEntries<SecurityAssociation>>(associationsOf(policy_));
    }
    Result<std::unique_ptr<FilteringEntries<MainModeContext>>> mainModeContexts() override {
        return std::make_unique<LabEntries<MainModeContext>>(contextsOf(policy_));
    }

  private:
    NetworkPolicy policy_;
};

std::optional<std::string> textOf(const SecurityAssociation& association) {
    if (const auto* four = std::get_if<Ipv4>(&association.remote))
        return asio::ip::address_v4(*four).to_string();
    if (const auto* six = std::get_if<Ipv6>(&association.remote)) {
        asio::ip::address_v6::bytes_type bytes{};
        std::ranges::copy(*six, bytes.begin());
        return asio::ip::address_v6(bytes).to_string();
    }
    return std::nullopt;
}

class LabFiltering final : public FilteringPlatform {
  public:
    explicit LabFiltering(std::shared_ptr<LabPolicy> policy) : policy_(std::move(policy)) {}
    Result<std::unique_ptr<FilteringEngine>> open() override {
        return std::make_unique<LabEngine>(policy_->now());
    }
    Result<AddressText> addressText() override { return AddressText(textOf); }

  private:
    std::shared_ptr<LabPolicy> policy_;
};

// The line of a program in quotation marks, as the interpreter has it: the first and the last mark of the
// line taken away, and without the redirection of its output.
std::optional<std::pair<std::wstring, std::wstring>> programIn(std::string_view line) {
    if (line.size() < 2 || !line.starts_with("\"\"") || !line.ends_with('"')) return std::nullopt;
    line = line.substr(2, line.size() - 3);
    constexpr std::string_view nowhere = " > NUL";
    if (line.ends_with(nowhere)) line.remove_suffix(nowhere.size());
    const auto end = line.find('"');
    if (end == line.npos) return std::nullopt;
    auto arguments = line.substr(end + 1);
    arguments.remove_prefix(std::min(arguments.find_first_not_of(' '), arguments.size()));
    return std::pair(toWide(line.substr(0, end)), toWide(arguments));
}

class LabCommands final : public CommandInterpreter {
  public:
    LabCommands(std::shared_ptr<LabPolicy> policy, std::shared_ptr<Processes> programs)
        : policy_(std::move(policy)), programs_(std::move(programs)) {}
    Result<int> run(const CORE::secretstring& line, const CORE::coreevent* stop) override {
        if (stop && stop->isSet()) return fail(ECANCELED, L"The service is stopping");
        const auto program = programs_ ? programIn(line.view()) : std::nullopt;
        if (!program) return runCommandLine(line.view(), *policy_);
        const auto ended = programs_->run(program->first, program->second);
        return ended ? ended->value_or(1) : 1;  // a program that is not there is the interpreter's own error
    }

  private:
    std::shared_ptr<LabPolicy> policy_;
    std::shared_ptr<Processes> programs_;
};

}  // namespace

std::vector<SecurityAssociation> associationsOf(const NetworkPolicy& policy) {
    std::vector<SecurityAssociation> found;
    for (const LabIpsecRule& quick : policy.quickMode)
        for (const LabPeer& peer : policy.peers) {
            const auto isPeers = [&](const LabIpsecRule& rule) { return remoteOf(rule) == peer.address; };
            if (!isPeers(quick) || std::ranges::none_of(policy.mainMode, isPeers)) continue;
            SecurityAssociation association{.filterName = toWide(quick.name), .remote = {}};
            const auto address = asio::ip::make_address(peer.seenAs);
            if (address.is_v4()) {
                association.remote = Ipv4{address.to_v4().to_uint()};
            } else {
                Ipv6 bytes{};
                std::ranges::copy(address.to_v6().to_bytes(), bytes.begin());
                association.remote = bytes;
            }
            found.push_back(std::move(association));
        }
    return found;
}

std::vector<MainModeContext> contextsOf(const NetworkPolicy& policy) {
    std::vector<MainModeContext> contexts;
    for (const auto* rules : {&policy.mainMode, &policy.quickMode})
        for (const LabIpsecRule& rule : *rules) contexts.push_back({toWide(rule.name)});
    return contexts;
}

std::shared_ptr<Firewall> makeLabFirewall(std::shared_ptr<LabPolicy> policy) {
    return std::make_shared<LabFirewall>(std::move(policy));
}

std::shared_ptr<FilteringPlatform> makeLabFiltering(std::shared_ptr<LabPolicy> policy) {
    return std::make_shared<LabFiltering>(std::move(policy));
}

std::shared_ptr<CommandInterpreter> makeLabCommands(std::shared_ptr<LabPolicy> policy,
                                                    std::shared_ptr<Processes> programs) {
    return std::make_shared<LabCommands>(std::move(policy), std::move(programs));
}

}  // namespace wsadmin::platform::lab
