// The firewall's policy object.
#include "platform/windows/com.h"
// After the platform's base headers:
#include <netfw.h>

#include <utility>

#include "platform/windows/system_failure.h"
#include "platform/windows/windows_machine.h"

namespace wsadmin::platform::windows {

namespace {

auto comFailure(HRESULT code, std::wstring_view step) {
    return fail(static_cast<int>(code), std::wstring(step));
}

// Takes over the interface that a call gave. A success that gave none is a failure all the same.
template <class T>
Result<UniqueCom<T>> received(HRESULT code, T* given, std::wstring_view step) {
    if (SUCCEEDED(code) && given) return UniqueCom<T>(given);
    return comFailure(FAILED(code) ? code : E_POINTER, step);
}

template <class T>
Result<UniqueCom<T>> converted(IUnknown& object, std::wstring_view step) {
    void* found = nullptr;
    const HRESULT code = object.QueryInterface(__uuidof(T), &found);
    return received(code, static_cast<T*>(found), step);
}

// COM on this thread for as long as it lives. A thread that has it in another mode keeps that, and owes no
// end.
class ComThread {
  public:
    ComThread() : code_(CoInitializeEx(nullptr, COINIT_MULTITHREADED | COINIT_DISABLE_OLE1DDE)) {}
    ~ComThread() {
        if (SUCCEEDED(code_)) CoUninitialize();
    }
    ComThread(const ComThread&) = delete;
    ComThread& operator=(const ComThread&) = delete;
    HRESULT code() const noexcept { return code_; }
    bool usable() const noexcept { return SUCCEEDED(code_) || code_ == RPC_E_CHANGED_MODE; }

  private:
    HRESULT code_;
};

class RealRule final : public FirewallRule {
  public:
    explicit RealRule(UniqueCom<INetFwRule> rule) : rule_(std::move(rule)) {}
    Result<std::wstring> name() override {
        Bstr name;
        const HRESULT code = rule_->get_Name(name.receive());
        if (FAILED(code)) return comFailure(code, L"get_Name");
        return std::wstring(name.get() ? name.get() : L"", SysStringLen(name.get()));
    }
    Result<FirewallFlag> enabled() override {
        VARIANT_BOOL enabled = VARIANT_FALSE;
        const HRESULT code = rule_->get_Enabled(&enabled);
        if (FAILED(code)) return comFailure(code, L"get_Enabled");
        return FirewallFlag{enabled};
    }
    Result<void> setEnabled(bool enabled) override {
        const HRESULT code = rule_->put_Enabled(enabled ? VARIANT_TRUE : VARIANT_FALSE);
        if (FAILED(code)) return comFailure(code, L"put_Enabled");
        return {};
    }

  private:
    UniqueCom<INetFwRule> rule_;
};

class RealRules final : public FirewallRules {
  public:
    explicit RealRules(UniqueCom<IEnumVARIANT> rules) : rules_(std::move(rules)) {}
    Result<std::unique_ptr<FirewallRule>> next() override {
        Variant item;
        ULONG fetched = 0;
        const HRESULT code = rules_->Next(1, item.receive(), &fetched);
        if (FAILED(code)) return comFailure(code, L"Unable to get next from enumerator");
        if (code != S_OK || fetched == 0) return nullptr;
        constexpr wchar_t unconverted[] = L"Unable to convert rule";
        const VARTYPE type = V_VT(&item.get());
        if ((type != VT_DISPATCH && type != VT_UNKNOWN) || !V_UNKNOWN(&item.get()))
            return comFailure(DISP_E_TYPEMISMATCH, unconverted);
        auto rule = converted<INetFwRule>(*V_UNKNOWN(&item.get()), unconverted);
        if (!rule) return fail(rule.error());
        return std::make_unique<RealRule>(std::move(*rule));
    }

  private:
    UniqueCom<IEnumVARIANT> rules_;
};

class RealPolicy final : public FirewallPolicy {
  public:
    RealPolicy(std::unique_ptr<ComThread> thread, UniqueCom<INetFwPolicy2> policy)
        : thread_(std::move(thread)), policy_(std::move(policy)) {}
    Result<std::int32_t> currentProfiles() override {
        LONG profiles = 0;
        const HRESULT code = policy_->get_CurrentProfileTypes(&profiles);
        if (FAILED(code)) return comFailure(code, L"get_CurrentProfileTypes");
        return static_cast<std::int32_t>(profiles);
    }
    Result<FirewallFlag> enabled(FirewallProfile profile) override {
        VARIANT_BOOL enabled = VARIANT_FALSE;
        const HRESULT code =
            policy_->get_FirewallEnabled(static_cast<NET_FW_PROFILE_TYPE2>(profile), &enabled);
        if (FAILED(code)) return comFailure(code, L"get_FirewallEnabled");
        return FirewallFlag{enabled};
    }
    Result<std::unique_ptr<FirewallRules>> rules() override {
        INetFwRules* given = nullptr;
        const HRESULT got = policy_->get_Rules(&given);
        const auto rules = received(got, given, L"Unable to get rules");
        if (!rules) return fail(rules.error());
        IUnknown* made = nullptr;
        const HRESULT enumerated = (*rules)->get__NewEnum(&made);
        const auto enumerator = received(enumerated, made, L"Unable to get rules enumerator");
        if (!enumerator) return fail(enumerator.error());
        auto variants = converted<IEnumVARIANT>(**enumerator, L"Unable to convert rules enumerator");
        if (!variants) return fail(variants.error());
        return std::make_unique<RealRules>(std::move(*variants));
    }

  private:
    std::unique_ptr<ComThread> thread_;  // ends after the policy is released
    UniqueCom<INetFwPolicy2> policy_;
};

class RealFirewall final : public Firewall {
  public:
    Result<std::unique_ptr<FirewallPolicy>> open() override {
        auto thread = std::make_unique<ComThread>();
        if (!thread->usable()) return comFailure(thread->code(), L"CoInitializeEx");
        void* made = nullptr;
        const HRESULT code = CoCreateInstance(__uuidof(NetFwPolicy2), nullptr, CLSCTX_INPROC_SERVER,
                                              __uuidof(INetFwPolicy2), &made);
        auto policy = received(code, static_cast<INetFwPolicy2*>(made), L"CoCreateInstance");
        if (!policy) return fail(policy.error());
        return std::make_unique<RealPolicy>(std::move(thread), std::move(*policy));
    }
};

}  // namespace

std::shared_ptr<Firewall> makeFirewall() {
    return std::make_shared<RealFirewall>();
}

}  // namespace wsadmin::platform::windows
