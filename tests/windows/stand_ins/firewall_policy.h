// The platform's firewall, which Wine does not have: the COM objects that stand for its policy and rules
// answer as they are told, and COM's calls are counted.
#pragma once

#include <windows.h>
// After windows.h:
#include <objbase.h>
#include <oleauto.h>

#include <memory>
#include <set>
#include <string>
#include <vector>

namespace test {

struct FirewallStandIn {
    struct Rule {
        std::wstring name;
        VARIANT_BOOL enabled;
    };
    std::vector<Rule> rules{
        {L"inter-pod (J\u00f6rg)", VARIANT_FALSE}, {L"inter-pod (J\u00f6rg)", 1}, {L"", VARIANT_TRUE}};
    // The call that fails, and with what. A success then gives nothing.
    std::string failing;
    HRESULT code = S_OK;

    std::vector<DWORD> modes;  // that COM was asked for
    int owedEnds = 0;          // of COM
    int objectsAtEnd = 0;      // that were alive when COM was ended
    std::set<BSTR> names;      // that were given and are not freed
};
extern FirewallStandIn firewall;

// While it lives, the threads of its apartment find these policies.
std::shared_ptr<void> registerPolicies();

}  // namespace test
