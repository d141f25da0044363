#include "windows/stand_ins/start_tls.h"

#include <windows.h>
// After windows.h:
#include <winldap.h>

namespace {

ULONG LDAPAPI startTls(PLDAP handle, PULONG said, LDAPMessage**, PLDAPControlW*, PLDAPControlW*) {
    wchar_t oid[] = L"1.3.6.1.4.1.1466.20037";
    wchar_t* name = nullptr;
    berval* data = nullptr;
    const ULONG code = ldap_extended_operation_sW(handle, oid, nullptr, nullptr, nullptr, &name, &data);
    if (name) ldap_memfreeW(name);
    if (data) ber_bvfree(data);
    if (code == LDAP_SUCCESS) return wstest::startTlsHandshake;
    *said = code;
    return LDAP_OTHER;
}

}  // namespace

// The linker takes it before the one of the import library.
extern "C" {
extern const void* const __imp_ldap_start_tls_sW;
const void* const __imp_ldap_start_tls_sW = reinterpret_cast<const void*>(&startTls);
}
