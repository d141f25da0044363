// The parts of the security authority that Wine has not, or cannot make fail: they answer as they are told,
// note what they were asked, and count what is still open.
#pragma once

#include <windows.h>
// After windows.h:
#include <ntsecapi.h>

#include <optional>
#include <string>
#include <vector>

namespace test {

struct SecurityAuthority {
    // Answers.
    NTSTATUS connect = 0;
    NTSTATUS package = 0;
    NTSTATUS logon = 0;
    HANDLE token = nullptr;  // given away with a logon that succeeds
    // Of the next questions about a token, in their order; nothing: it is answered.
    std::vector<std::optional<DWORD>> tokenErrors;
    DWORD tokenSize = 0;              // 0: as it is
    bool contentWithoutRoom = false;  // a look-up by name succeeds without buffers

    // What a logon was asked with.
    std::string packageName, origin;
    SECURITY_LOGON_TYPE type = UndefinedLogonType;
    ULONG packageNumber = 0;
    std::string source;
    KERB_LOGON_SUBMIT_TYPE message{};
    ULONG flags = 0;
    std::wstring upn;
    bool upnInBlock = false;
    bool hasRealm = false;

    int connections = 0;  // all that there were
    int openConnections = 0;
    int openProfiles = 0;
};

SecurityAuthority& securityAuthority();

inline constexpr ULONG kerberosNumber = 2;
inline constexpr DWORD hugeSize = 1u << 30;  // nobody in the program is given that much memory

}  // namespace test
