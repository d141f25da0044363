#include "windows/stand_ins/com_object.h"
#include "windows/stand_ins/hidden_function.h"
// After the platform's base headers:
#include <netfw.h>
// After the platform's headers:
#include <gtest/gtest.h>

#include <map>
#include <set>
#include <thread>

#include "platform/windows/windows_machine.h"

namespace wsadmin::platform::windows {
namespace {

using wstest::ComObject;

struct RuleOfTest {
    std::wstring name;
    VARIANT_BOOL enabled;
};

struct FirewallOfTest {
    std::vector<RuleOfTest> rules{
        {L"inter-pod (J\u00f6rg)", VARIANT_FALSE}, {L"inter-pod (J\u00f6rg)", 1}, {L"", VARIANT_TRUE}};
    // The call that fails, and with what. A success then gives nothing.
    std::string failing;
    HRESULT code = S_OK;

    std::vector<DWORD> modes;  // that COM was asked for
    int owedEnds = 0;          // of COM
    int objectsAtEnd = 0;      // that were alive when COM was ended
    std::set<BSTR> names;      // that were given and are not freed
};
FirewallOfTest firewall;

template <class Give>
HRESULT step(const char* call, Give give) {
    if (call == firewall.failing) return firewall.code;
    give();
    return S_OK;
}

// What nobody here asks for.
// clang-format off
#define WS_ABSENT(method, ...) HRESULT WINAPI method(__VA_ARGS__) override { return E_NOTIMPL; }
#define WS_PROPERTY(name, type) WS_ABSENT(get_##name, type*) WS_ABSENT(put_##name, type)
#define WS_SETTING(name, type) \
    WS_ABSENT(get_##name, NET_FW_PROFILE_TYPE2, type*) WS_ABSENT(put_##name, NET_FW_PROFILE_TYPE2, type)

class AbsentRule : public ComObject<INetFwRule> {
    WS_ABSENT(put_Name, BSTR) WS_PROPERTY(Description, BSTR) WS_PROPERTY(ApplicationName, BSTR)
    WS_PROPERTY(ServiceName, BSTR) WS_PROPERTY(Protocol, LONG) WS_PROPERTY(LocalPorts, BSTR)
    WS_PROPERTY(RemotePorts, BSTR) WS_PROPERTY(LocalAddresses, BSTR) WS_PROPERTY(RemoteAddresses, BSTR)
    WS_PROPERTY(IcmpTypesAndCodes, BSTR) WS_PROPERTY(Direction, NET_FW_RULE_DIRECTION)
    WS_PROPERTY(Interfaces, VARIANT) WS_PROPERTY(InterfaceTypes, BSTR) WS_PROPERTY(Grouping, BSTR)
    WS_PROPERTY(Profiles, LONG) WS_PROPERTY(EdgeTraversal, VARIANT_BOOL) WS_PROPERTY(Action, NET_FW_ACTION)
};

class AbsentPolicy : public ComObject<INetFwPolicy2> {
    WS_ABSENT(put_FirewallEnabled, NET_FW_PROFILE_TYPE2, VARIANT_BOOL) WS_SETTING(ExcludedInterfaces, VARIANT)
    WS_SETTING(BlockAllInboundTraffic, VARIANT_BOOL) WS_SETTING(NotificationsDisabled, VARIANT_BOOL)
    WS_SETTING(UnicastResponsesToMulticastBroadcastDisabled, VARIANT_BOOL)
    WS_ABSENT(get_ServiceRestriction, INetFwServiceRestriction**) WS_ABSENT(RestoreLocalFirewallDefaults)
    WS_ABSENT(EnableRuleGroup, LONG, BSTR, VARIANT_BOOL) WS_ABSENT(IsRuleGroupEnabled, LONG, BSTR, VARIANT_BOOL*)
    WS_SETTING(DefaultInboundAction, NET_FW_ACTION) WS_SETTING(DefaultOutboundAction, NET_FW_ACTION)
    WS_ABSENT(get_IsRuleGroupCurrentlyEnabled, BSTR, VARIANT_BOOL*)
    WS_ABSENT(get_LocalPolicyModifyState, NET_FW_MODIFY_STATE*)
};
// clang-format on

// An object of one interface, which a failing call may keep back.
template <class Interface, class Base>
class OneInterface : public Base {
  public:
    explicit OneInterface(const char* query) : query_(query) {}
    HRESULT WINAPI QueryInterface(REFIID id, void** found) override {
        if (id != IID_IUnknown && query_ == firewall.failing) return firewall.code;
        return this->answer(id, found, {{__uuidof(Interface), this}, {IID_IUnknown, this}});
    }

  private:
    const char* query_;
};

class RuleObject final : public OneInterface<INetFwRule, AbsentRule> {
  public:
    explicit RuleObject(RuleOfTest& rule) : OneInterface("query rule"), rule_(rule) {}
    HRESULT WINAPI get_Name(BSTR* name) override {
        return step("get_Name", [&] {
            *name = SysAllocStringLen(rule_.name.data(), static_cast<UINT>(rule_.name.size()));
            firewall.names.insert(*name);
        });
    }
    HRESULT WINAPI get_Enabled(VARIANT_BOOL* enabled) override {
        return step("get_Enabled", [&] { *enabled = rule_.enabled; });
    }
    HRESULT WINAPI put_Enabled(VARIANT_BOOL enabled) override {
        return step("put_Enabled", [&] { rule_.enabled = enabled; });
    }

  private:
    RuleOfTest& rule_;
};

class RuleEnumerator final : public OneInterface<IEnumVARIANT, ComObject<IEnumVARIANT>> {
  public:
    RuleEnumerator() : OneInterface("query enumerator") {}
    HRESULT WINAPI Next(ULONG count, VARIANT* items, ULONG* fetched) override {
        *fetched = 0;
        if (count != 1) return E_NOTIMPL;
        if (at_ == firewall.rules.size()) return S_FALSE;
        return step("Next", [&] {
            V_VT(items) = VT_I4;
            step("item", [&] {
                V_VT(items) = static_cast<VARTYPE>(at_ % 2 ? VT_UNKNOWN : VT_DISPATCH);
                V_DISPATCH(items) = new RuleObject(firewall.rules[at_]);
            });
            *fetched = 1;
            ++at_;
        });
    }
    WS_ABSENT(Skip, ULONG)
    WS_ABSENT(Reset)
    WS_ABSENT(Clone, IEnumVARIANT**)

  private:
    std::size_t at_ = 0;
};

class RuleCollection final : public OneInterface<INetFwRules, ComObject<INetFwRules>> {
  public:
    RuleCollection() : OneInterface("query rules") {}
    HRESULT WINAPI get__NewEnum(IUnknown** made) override {
        return step("get__NewEnum", [&] { *made = new RuleEnumerator; });
    }
    WS_ABSENT(get_Count, LONG*)
    WS_ABSENT(Add, INetFwRule*)
    WS_ABSENT(Remove, BSTR)
    WS_ABSENT(Item, BSTR, INetFwRule**)
};

class PolicyObject final : public OneInterface<INetFwPolicy2, AbsentPolicy> {
  public:
    PolicyObject() : OneInterface("query policy") {}
    HRESULT WINAPI get_CurrentProfileTypes(LONG* profiles) override {
        return step("get_CurrentProfileTypes",
                    [&] { *profiles = NET_FW_PROFILE2_PRIVATE | NET_FW_PROFILE2_PUBLIC; });
    }
    HRESULT WINAPI get_FirewallEnabled(NET_FW_PROFILE_TYPE2 profile, VARIANT_BOOL* enabled) override {
        return step("get_FirewallEnabled",
                    [&] { *enabled = profile == NET_FW_PROFILE2_PRIVATE ? VARIANT_TRUE : 1; });
    }
    HRESULT WINAPI get_Rules(INetFwRules** rules) override {
        return step("get_Rules", [&] { *rules = new RuleCollection; });
    }
};

// While it lives, the threads of its apartment find the policies of the tests.
class PolicyClass : public OneInterface<IClassFactory, ComObject<IClassFactory>> {
  public:
    PolicyClass() : OneInterface("query class") {
        --wstest::liveComObjects;  // COM's own
        CoRegisterClassObject(__uuidof(NetFwPolicy2), this, CLSCTX_INPROC_SERVER, REGCLS_MULTIPLEUSE,
                              &cookie_);
    }
    ~PolicyClass() override {
        CoRevokeClassObject(cookie_);
        ++wstest::liveComObjects;
    }
    HRESULT WINAPI CreateInstance(IUnknown*, REFIID id, void** made) override {
        HRESULT queried = E_FAIL;
        const HRESULT code = step("CoCreateInstance", [&] {
            auto* policy = new PolicyObject;
            queried = policy->QueryInterface(id, made);
            policy->Release();
        });
        return FAILED(code) ? code : queried;
    }
    WS_ABSENT(LockServer, BOOL)

  private:
    DWORD cookie_ = 0;
};

HRESULT WINAPI initialise(void* reserved, DWORD mode) {
    firewall.modes.push_back(mode);
    if (firewall.failing == "CoInitializeEx") return firewall.code;
    const auto code =
        test::hiddenFunction<decltype(CoInitializeEx)>(L"ole32.dll", "CoInitializeEx")(reserved, mode);
    if (SUCCEEDED(code)) ++firewall.owedEnds;
    return code;
}

void WINAPI uninitialise() {
    --firewall.owedEnds;
    firewall.objectsAtEnd += wstest::liveComObjects;
    test::hiddenFunction<decltype(CoUninitialize)>(L"ole32.dll", "CoUninitialize")();
}

void WINAPI freeText(BSTR text) {
    firewall.names.erase(text);
    test::hiddenFunction<decltype(SysFreeString)>(L"oleaut32.dll", "SysFreeString")(text);
}

}  // namespace

WS_STANDS_IN(CoInitializeEx, initialise);
WS_STANDS_IN(CoUninitialize, uninitialise);
WS_STANDS_IN(SysFreeString, freeText);

namespace {

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
    auto policies = std::make_unique<PolicyClass>();
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
