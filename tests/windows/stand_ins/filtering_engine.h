// A filtering engine of the tests: a fwpuclnt.dll that hands out the structures that a test made.
#pragma once

#include <windows.h>
// After windows.h:
#include <fwpmu.h>

#include <algorithm>
#include <string>
#include <vector>

namespace test {

struct FilteringStandIn {
    std::vector<IPSEC_SA_DETAILS0> associations;
    std::vector<FWPM_PROVIDER_CONTEXT0> contexts;
    // The function of which one call fails, which one, and with what.
    std::string failing;
    int occurrence = 1;
    DWORD code = ERROR_SUCCESS;
    // The functions, and what they were asked for.
    std::vector<std::string> calls;
};

__declspec(dllexport) FilteringStandIn& filteringStandIn();

// What the engine has.
inline FWPM_FILTER0 filterOf(std::wstring& name) {
    FWPM_FILTER0 made{};
    made.displayData = {name.data(), nullptr};
    return made;
}

// Every address but the given ones is another.
inline IPSEC_SA_DETAILS0 association(FWP_IP_VERSION version, FWPM_FILTER0* filter) {
    IPSEC_SA_DETAILS0 made{};
    made.ipVersion = made.traffic.ipVersion = made.saBundle.ipVersion = version;
    made.saDirection = FWP_DIRECTION_OUTBOUND;
    std::ranges::fill(made.traffic.localV6Address, UINT8{0x77});
    made.saBundle.peerV4PrivateAddress = 0x77777777;
    made.transportFilter = filter;
    return made;
}

inline IPSEC_SA_DETAILS0 associationTo(UINT32 remote, FWPM_FILTER0* filter) {
    auto made = association(FWP_IP_VERSION_V4, filter);
    made.traffic.remoteV4Address = remote;
    return made;
}

inline FWPM_PROVIDER_CONTEXT0 context(FWPM_PROVIDER_CONTEXT_TYPE type, wchar_t* name) {
    static IKEEXT_POLICY0 policy{};
    FWPM_PROVIDER_CONTEXT0 made{};
    made.displayData = {name, nullptr};
    made.type = type;
    made.ikeMmPolicy = &policy;
    return made;
}

}  // namespace test
