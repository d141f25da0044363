#include "netsec/firewall_rules_manager.h"

#include <utility>

#include "netsec/firewall_state.h"
#include "netsec/netsec_keys.h"
#include "platform/module/module_log.h"

namespace wsadmin {

namespace {

constexpr std::size_t mostRules = 1'000'000;  // of an enumeration that does not end
constexpr int unexpected = static_cast<int>(0x8000FFFFU);
constexpr int notImplemented = static_cast<int>(0x80004001U);

// The sentence and the code of a failed step, as the log tells them.
Failure stepFailure(std::wstring sentence, const Failure& cause) {
    return {cause.code, std::move(sentence)};
}

unsigned hresult(const Failure& failure) {
    return static_cast<unsigned>(failure.code);
}

void logUnfound(const Failure& failure) {
    logWarning(L"Unable to get firewall rule. HRESULT: 0x%08lx", hresult(failure));
}

}  // namespace

Result<std::unique_ptr<platform::FirewallPolicy>> FirewallRulesManager::open() {
    const auto& firewall = service().platform().firewall;
    auto policy = firewall ? firewall->open()
                           : Result<std::unique_ptr<Policy>>(fail(notImplemented, L"CoCreateInstance"));
    if (!policy) {
        logError(L"%s failed. Return value: 0x%08lx.", policy.error().text, hresult(policy.error()));
        logError(L"Unable to check firewall state, could not initialize");
    }
    return policy;
}

Result<bool> FirewallRulesManager::isProfileOn(Policy& policy, platform::FirewallProfile bit,
                                               const wchar_t* name) {
    const std::wstring key = L"HKLM\\SOFTWARE\\Policies\\Microsoft\\WindowsFirewall\\" + std::wstring(name);
    const auto value = service().platform().registry->read(key, L"EnableFirewall");
    if (!value)
        return fail(stepFailure(L"Failed to get group policy for " + std::wstring(name) + L" profile",
                                value.error()));
    const int groupPolicy = firewall::groupPolicyOf(*value);
    logDebug(L"Active profile %s found, GPO enable value: %d", name, groupPolicy);
    if (const auto said = firewall::onByGroupPolicy(groupPolicy)) return *said;
    const auto enabled = policy.enabled(bit);
    if (!enabled)
        return fail(stepFailure(L"Failed to get FirewallEnabled for " + std::wstring(name) + L" profile",
                                enabled.error()));
    logDebug(L"Active profile %s get_FirewallEnabled response is %d", name, *enabled);
    return *enabled == platform::firewallTrue;
}

Result<bool> FirewallRulesManager::isOn(Policy& policy) {
    const auto active = policy.currentProfiles();
    if (!active) return fail(stepFailure(L"get_CurrentProfileTypes failed", active.error()));
    for (const auto& [bit, name] : firewall::profiles) {
        if (!(*active & bit)) continue;
        const auto on = isProfileOn(policy, bit, name);
        if (!on || *on) return on;
    }
    return false;
}

Result<void> FirewallRulesManager::isFirewallOn() {
    constexpr wchar_t sentence[] = L"Failed to query firewall status";
    const auto policy = open();
    if (!policy) return fail(sentence);
    const auto on = isOn(**policy);
    if (!on) {
        logWarning(L"%s. HRESULT: 0x%08lx", on.error().text, hresult(on.error()));
        return fail(sentence);
    }
    logVerbose(L"Checks for isFirewallEnabled completed. result=%d", int{*on});
    result().setBool(L"FirewallOn", *on);
    return {};
}

Result<FirewallRulesManager::Rules> FirewallRulesManager::find(Policy& policy, const CORE::wstr& name) {
    const auto failed = [](const Failure& failure) {
        logWarning(L"%s. HRESULT: 0x%08lx", failure.text, hresult(failure));
        return fail(failure);
    };
    auto all = policy.rules();
    if (!all) return failed(all.error());
    Rules found;
    for (std::size_t count = 0; count < mostRules; ++count) {
        auto rule = (*all)->next();
        if (!rule) return failed(rule.error());
        if (!*rule) return found;
        const auto known = (*rule)->name();
        if (!known) return failed(stepFailure(L"get_Name failed", known.error()));
        if (*known != name.str()) continue;
        logDebug(L"Matching firewall rule found");
        found.push_back(std::move(*rule));
    }
    return failed({unexpected, L"Unable to get next from enumerator"});
}

Result<bool> FirewallRulesManager::exists(const CORE::wstr& name) {
    const auto policy = open();
    if (!policy) return fail(policy.error());
    const auto rules = find(**policy, name);
    if (!rules) {
        logUnfound(rules.error());
        return fail(rules.error());
    }
    return !rules->empty();
}

Result<bool> FirewallRulesManager::isEnabled(const CORE::wstr& name) {
    const auto policy = open();
    if (!policy) return fail(policy.error());
    const auto rules = find(**policy, name);
    if (!rules || rules->empty()) {
        const Failure failure = rules ? Failure{0} : rules.error();
        logUnfound(failure);
        return fail(failure);
    }
    if (rules->size() > 1) logVerbose(L"Multiple rules match specified name, using first result: %s", name);
    const auto enabled = rules->front()->enabled();
    if (!enabled) {
        logWarning(L"Unable to get firewall rule enabled state. HRESULT: 0x%08lx", hresult(enabled.error()));
        return fail(enabled.error());
    }
    return *enabled == platform::firewallTrue;
}

Result<void> FirewallRulesManager::setEnabled(const CORE::wstr& name, bool enabled) {
    const auto policy = open();
    if (!policy) return fail(policy.error());
    const auto rules = find(**policy, name);
    if (!rules || rules->empty()) {
        const Failure failure = rules ? Failure{0} : rules.error();
        logUnfound(failure);
        return fail(failure);
    }
    for (const auto& rule : *rules) {
        const auto set = rule->setEnabled(enabled);
        if (set) continue;
        logWarning(L"Unable to set firewall rule enabled state. HRESULT: 0x%08lx", hresult(set.error()));
        return set;
    }
    return {};
}

Result<void> FirewallRulesManager::isFirewallRuleEnabled() {
    const CORE::wstr name = request().text(key::ruleName);
    if (name.empty()) return fail(L"Require rule name");
    const auto there = exists(name);
    if (!there || !*there) return fail(L"Unable to find rule");
    // A rule whose state cannot be read counts as switched off; the log tells why.
    result().setBool(L"ENABLED", isEnabled(name).value_or(false));
    return {};
}

Result<void> FirewallRulesManager::switchRule(bool enabled) {
    const CORE::wstr name = request().text(key::ruleName);
    if (name.empty()) return fail(L"Require rule name");
    const auto there = exists(name);
    if (there && *there && setEnabled(name, enabled)) {
        logVerbose(L"Firewall rule %s is now %s", name, enabled ? L"enabled" : L"disabled");
        return {};
    }
    if (there && !*there && request().boolean(key::ruleMayNotExist)) {
        logVerbose(L"Firewall rule does not exist, but this is expected");
        return {};
    }
    return fail(L"Unable to set firewall rule enabled state");
}

}  // namespace wsadmin
