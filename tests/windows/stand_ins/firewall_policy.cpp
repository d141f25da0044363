#include "windows/stand_ins/com_object.h"
// After windows.h:
#include <netfw.h>
// After netfw.h:
#include "windows/stand_ins/firewall_policy.h"
#include "windows/stand_ins/hidden_function.h"

namespace test {

FirewallStandIn firewall;

namespace {

using wstest::ComObject;

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
    explicit RuleObject(FirewallStandIn::Rule& rule) : OneInterface("query rule"), rule_(rule) {}
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
    FirewallStandIn::Rule& rule_;
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
        hiddenFunction<decltype(CoInitializeEx)>(L"ole32.dll", "CoInitializeEx")(reserved, mode);
    if (SUCCEEDED(code)) ++firewall.owedEnds;
    return code;
}

void WINAPI uninitialise() {
    --firewall.owedEnds;
    firewall.objectsAtEnd += wstest::liveComObjects;
    hiddenFunction<decltype(CoUninitialize)>(L"ole32.dll", "CoUninitialize")();
}

void WINAPI freeText(BSTR text) {
    firewall.names.erase(text);
    hiddenFunction<decltype(SysFreeString)>(L"oleaut32.dll", "SysFreeString")(text);
}

}  // namespace

std::shared_ptr<void> registerPolicies() {
    return std::make_shared<PolicyClass>();
}

}  // namespace test

WS_STANDS_IN(CoInitializeEx, test::initialise);
WS_STANDS_IN(CoUninitialize, test::uninitialise);
WS_STANDS_IN(SysFreeString, test::freeText);
