#include "windows/stand_ins/firewall_policy.h"
// After windows.h:
#include <gtest/gtest.h>

#include <thread>

#include "platform/windows/windows_machine.h"
#include "windows/stand_ins/com_object.h"

namespace wsadmin::platform::windows {
namespace {

using test::firewall;

// All that a policy is asked for, and every rule switched over.
Result<std::wstring> askPolicy() {
    const auto policy = makeFirewall()->open();
    if (!policy) return fail(policy.error());
    const auto profiles = (*policy)->currentProfiles();
    if (!profiles) return fail(profiles.error());
    const auto on = (*policy)->enabled(firewallPrivate);
    if (!on) return fail(on.error());
    std::wstring told = std::to_wstring(*profiles) + L" " + std::to_wstring(*on);
    const auto rules = (*policy)->rules();
    if (!rules) return fail(rules.error());
    while (true) {
        const auto rule = (*rules)->next();
        if (!rule) return fail(rule.error());
        if (!*rule) return told;
        const auto name = (*rule)->name();
        if (!name) return fail(name.error());
        const auto enabled = (*rule)->enabled();
        if (!enabled) return fail(enabled.error());
        told += L" [" + *name + L"] " + std::to_wstring(*enabled);
        if (const auto set = (*rule)->setEnabled(*enabled == 0); !set) return fail(set.error());
    }
}

TEST(FirewallPolicies, AreAskedWithComOfTheirOwnAndReleaseEverything) {
    CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    auto policies = test::registerPolicies();
    constexpr wchar_t whole[] = L"6 -1 [inter-pod (J\u00f6rg)] 0 [inter-pod (J\u00f6rg)] 1 [] -1";
    const struct {
        std::string failing;  // a call
        HRESULT code;
        std::wstring text;  // of the answer, or of the failure
        HRESULT told = E_ACCESSDENIED;
    } rows[] = {
        {"", S_OK, whole, S_OK},
        {"CoInitializeEx", RPC_E_CHANGED_MODE, whole, S_OK},
        {"CoInitializeEx", E_ACCESSDENIED, L"CoInitializeEx"},
        {"CoCreateInstance", E_ACCESSDENIED, L"CoCreateInstance"},
        {"get_CurrentProfileTypes", E_ACCESSDENIED, L"get_CurrentProfileTypes"},
        {"get_FirewallEnabled", E_ACCESSDENIED, L"get_FirewallEnabled"},
        {"get_Rules", E_ACCESSDENIED, L"Unable to get rules"},
        {"get_Rules", S_OK, L"Unable to get rules", E_POINTER},
        {"get__NewEnum", E_ACCESSDENIED, L"Unable to get rules enumerator"},
        {"get__NewEnum", S_OK, L"Unable to get rules enumerator", E_POINTER},
        {"query enumerator", E_ACCESSDENIED, L"Unable to convert rules enumerator"},
        {"Next", E_ACCESSDENIED, L"Unable to get next from enumerator"},
        {"item", S_OK, L"Unable to convert rule", DISP_E_TYPEMISMATCH},
        {"query rule", E_ACCESSDENIED, L"Unable to convert rule"},
        {"get_Name", E_ACCESSDENIED, L"get_Name"},
        {"get_Enabled", E_ACCESSDENIED, L"get_Enabled"},
        {"put_Enabled", E_ACCESSDENIED, L"put_Enabled"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.failing);
        firewall = {};
        firewall.failing = row.failing;
        firewall.code = row.code;
        Result<std::wstring> told;
        std::thread([&told] { told = askPolicy(); }).join();  // which has no COM so far
        EXPECT_EQ(told ? *told : told.error().text, row.text);
        EXPECT_EQ(told ? S_OK : told.error().code, row.told);
        EXPECT_EQ(firewall.modes, std::vector<DWORD>{COINIT_MULTITHREADED | COINIT_DISABLE_OLE1DDE});
        EXPECT_EQ(firewall.rules[0].enabled, told ? VARIANT_TRUE : VARIANT_FALSE);
        EXPECT_EQ(firewall.rules[1].enabled, told ? VARIANT_FALSE : 1);
        EXPECT_EQ(firewall.rules[2].enabled, told ? VARIANT_FALSE : VARIANT_TRUE);
        EXPECT_EQ(firewall.owedEnds, 0);
        EXPECT_EQ(firewall.objectsAtEnd, 0);
        EXPECT_EQ(wstest::liveComObjects, 0);
        EXPECT_TRUE(firewall.names.empty());
    }
    policies.reset();
    CoUninitialize();
}

}  // namespace
}  // namespace wsadmin::platform::windows
