// A filtering engine of the tests: a fwpuclnt.dll that hands out the structures that a test made.
#pragma once

#include <windows.h>
// After windows.h:
#include <fwpmu.h>

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

}  // namespace test
