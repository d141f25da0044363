// Logons by user principal name, without a password.
#include <cstring>
#include <limits>
#include <new>

#include "platform/windows/windows_accounts.h"

namespace wsadmin::platform::windows {

namespace {

constexpr char sourceName[TOKEN_SOURCE_LENGTH + 1] = "ws_admin";  // exactly as long as it may be

tl::unexpected<LogonFailure> failAt(LogonStep step, Failure cause) {
    return tl::unexpected<LogonFailure>(LogonFailure{step, std::move(cause)});
}

// The authority counts lengths in 16 bits.
template <class Character>
bool fits(const std::basic_string<Character>& text) {
    return text.size() * sizeof(Character) < std::numeric_limits<USHORT>::max();
}

LSA_STRING lsaText(std::string& text) {
    const auto length = static_cast<USHORT>(text.size());
    return {length, length, text.data()};
}

// What the package is asked for. It takes the name only out of the block that the question stands in. Without
// a realm it finds the user's itself.
std::vector<std::byte> questionFor(const std::wstring& upn) {
    const auto length = static_cast<USHORT>(upn.size() * sizeof(wchar_t));
    std::vector<std::byte> block(sizeof(KERB_S4U_LOGON) + length);
    auto* logon = new (block.data()) KERB_S4U_LOGON{};
    logon->MessageType = KerbS4ULogon;
    logon->ClientUpn = {length, length, reinterpret_cast<wchar_t*>(logon + 1)};
    std::memcpy(logon->ClientUpn.Buffer, upn.data(), length);
    return block;
}

TOKEN_SOURCE source() {
    TOKEN_SOURCE source{};
    std::memcpy(source.SourceName, sourceName, TOKEN_SOURCE_LENGTH);
    AllocateLocallyUniqueId(&source.SourceIdentifier);
    return source;
}

LogonResult logOnThrough(HANDLE authority, ULONG package, const std::wstring& upn, std::string origin) {
    LSA_STRING originName = lsaText(origin);
    auto question = questionFor(upn);
    TOKEN_SOURCE from = source();
    void* profile = nullptr;
    ULONG profileSize = 0;
    LUID logonId{};
    HANDLE token = nullptr;
    QUOTA_LIMITS quotas{};
    NTSTATUS detail = 0;
    const NTSTATUS status = LsaLogonUser(authority, &originName, Network, package, question.data(),
                                         static_cast<ULONG>(question.size()), nullptr, &from, &profile,
                                         &profileSize, &logonId, &token, &quotas, &detail);
    const UniqueLsaProfile freed(profile);
    UniqueHandle owned(token);
    if (status < 0) return failAt(LogonStep::logon, statusFailure(status));
    // Not every platform that says yes has a token to give.
    if (!owned) return failAt(LogonStep::logon, systemFailure(ERROR_NO_TOKEN));
    return makeToken(std::move(owned));
}

}  // namespace

LogonResult logOnWithoutPassword(const std::wstring& upn, const std::string& origin) {
    if (!fits(upn) || !fits(origin)) return failAt(LogonStep::logon, systemFailure(ERROR_INVALID_PARAMETER));
    HANDLE handle = nullptr;
    NTSTATUS status = LsaConnectUntrusted(&handle);
    if (status < 0) return failAt(LogonStep::connect, statusFailure(status));
    const UniqueLsaLogon authority(handle);

    std::string name = MICROSOFT_KERBEROS_NAME_A;
    LSA_STRING packageName = lsaText(name);
    ULONG package = 0;
    status = LsaLookupAuthenticationPackage(authority.get(), &packageName, &package);
    if (status < 0) return failAt(LogonStep::package, statusFailure(status));
    return logOnThrough(authority.get(), package, upn, origin);
}

}  // namespace wsadmin::platform::windows
