#include "windows/stand_ins/security_authority.h"

#include <cstdlib>
#include <new>

#include "windows/stand_ins/hidden_function.h"

namespace test {

SecurityAuthority& securityAuthority() {
    static SecurityAuthority authority;
    return authority;
}

namespace {

std::string textOf(const LSA_STRING& text) {
    return {text.Buffer, text.Length};
}

void noteQuestion(SecurityAuthority& authority, const void* block, std::size_t size) {
    const auto* question = static_cast<const KERB_S4U_LOGON*>(block);
    authority.message = question->MessageType;
    authority.flags = question->Flags;
    authority.hasRealm = question->ClientRealm.Length != 0;
    const UNICODE_STRING& upn = question->ClientUpn;
    const auto* first = reinterpret_cast<const char*>(upn.Buffer);
    const auto* begin = static_cast<const char*>(block);
    authority.upnInBlock = first >= begin + sizeof *question && first + upn.Length <= begin + size &&
                           upn.MaximumLength >= upn.Length;
    if (authority.upnInBlock) authority.upn.assign(upn.Buffer, upn.Length / sizeof(wchar_t));
}

// The function of the library that the stand-in hides.
template <class Function>
Function* real(const char* name) {
    return reinterpret_cast<Function*>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"advapi32.dll"), name)));
}

BOOL WINAPI tokenInformation(HANDLE token, TOKEN_INFORMATION_CLASS what, void* data, DWORD room,
                             DWORD* size) {
    SecurityAuthority& authority = securityAuthority();
    if (!authority.tokenErrors.empty()) {
        const auto error = authority.tokenErrors.front();
        authority.tokenErrors.erase(authority.tokenErrors.begin());
        if (error) {
            SetLastError(*error);
            return FALSE;
        }
    }
    const BOOL ok = real<decltype(GetTokenInformation)>("GetTokenInformation")(token, what, data, room, size);
    if (!ok && authority.tokenSize) *size = authority.tokenSize;
    return ok;
}

BOOL WINAPI lookUpName(const wchar_t* system, const wchar_t* name, PSID sid, DWORD* sidSize, wchar_t* domain,
                       DWORD* domainSize, SID_NAME_USE* use) {
    const BOOL ok = real<decltype(LookupAccountNameW)>("LookupAccountNameW")(system, name, sid, sidSize,
                                                                             domain, domainSize, use);
    return ok || (!sid && securityAuthority().contentWithoutRoom);
}

}  // namespace
}  // namespace test

// The program's own, so that memory can run out.
void* operator new(std::size_t size) {
    void* const memory = size < test::hugeSize ? std::malloc(size ? size : 1) : nullptr;
    if (!memory) throw std::bad_alloc();
    return memory;
}
[[gnu::noinline]] void operator delete(void* memory) noexcept {
    std::free(memory);
}
[[gnu::noinline]] void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}

// Under the names that the adapters are linked by, so that the linker takes these before the libraries' own.
extern "C" {

WS_STANDS_IN(GetTokenInformation, test::tokenInformation);
WS_STANDS_IN(LookupAccountNameW, test::lookUpName);

NTSTATUS NTAPI LsaConnectUntrusted(PHANDLE handle) {
    test::SecurityAuthority& authority = test::securityAuthority();
    if (authority.connect < 0) return authority.connect;
    ++authority.connections;
    ++authority.openConnections;
    *handle = &authority;
    return 0;
}

NTSTATUS NTAPI LsaDeregisterLogonProcess(HANDLE handle) {
    if (handle == &test::securityAuthority()) --test::securityAuthority().openConnections;
    return 0;
}

NTSTATUS NTAPI LsaLookupAuthenticationPackage(HANDLE, PLSA_STRING name, PULONG package) {
    test::SecurityAuthority& authority = test::securityAuthority();
    authority.packageName = test::textOf(*name);
    *package = test::kerberosNumber;
    return authority.package;
}

// As the real one it may leave a profile behind when it fails, and no token.
NTSTATUS NTAPI LsaLogonUser(HANDLE, PLSA_STRING origin, SECURITY_LOGON_TYPE type, ULONG package,
                            PVOID question, ULONG size, PTOKEN_GROUPS, PTOKEN_SOURCE source, PVOID* profile,
                            PULONG profileSize, PLUID, PHANDLE token, PQUOTA_LIMITS, PNTSTATUS) {
    test::SecurityAuthority& authority = test::securityAuthority();
    authority.origin = test::textOf(*origin);
    authority.type = type;
    authority.packageNumber = package;
    authority.source.assign(source->SourceName, TOKEN_SOURCE_LENGTH);
    test::noteQuestion(authority, question, size);
    *profile = ::operator new(16);
    *profileSize = 16;
    ++authority.openProfiles;
    if (authority.logon >= 0) *token = authority.token;
    return authority.logon;
}

NTSTATUS NTAPI LsaFreeReturnBuffer(PVOID buffer) {
    ::operator delete(buffer);
    --test::securityAuthority().openProfiles;
    return 0;
}
}
