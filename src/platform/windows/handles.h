// Owners of the platform's handles and memory: one alias for each kind.
#pragma once

#include <windows.h>

#include <ntsecapi.h>
#include <winldap.h>
// After winldap.h:
#include <winber.h>

#include <memory>
#include <type_traits>

namespace wsadmin::platform::windows {

// Frees by calling a function of the platform.
template <auto function>
struct Freer {
    template <class T>
    void operator()(T* object) const noexcept {
        function(object);
    }
};

struct BerFreer {
    void operator()(BerElement* ber) const noexcept { ber_free(ber, 0); }
};

struct ComReleaser {
    template <class T>
    void operator()(T* object) const noexcept {
        object->Release();
    }
};

using UniqueHandle = std::unique_ptr<void, Freer<CloseHandle>>;  // null, never INVALID_HANDLE_VALUE
// Of a function that answers INVALID_HANDLE_VALUE where it fails, as CreateFile does.
inline UniqueHandle validHandle(HANDLE handle) noexcept {
    return UniqueHandle(handle == INVALID_HANDLE_VALUE ? nullptr : handle);
}
template <class T>
using UniqueLocal = std::unique_ptr<T, Freer<LocalFree>>;
using UniqueKey = std::unique_ptr<std::remove_pointer_t<HKEY>, Freer<RegCloseKey>>;
using UniqueLsaLogon = std::unique_ptr<void, Freer<LsaDeregisterLogonProcess>>;
using UniqueLsaProfile = std::unique_ptr<void, Freer<LsaFreeReturnBuffer>>;
using UniqueLsaPolicy = std::unique_ptr<void, Freer<LsaClose>>;
using UniqueLsaNames = std::unique_ptr<LSA_TRANSLATED_NAME, Freer<LsaFreeMemory>>;
using UniqueLsaDomains = std::unique_ptr<LSA_REFERENCED_DOMAIN_LIST, Freer<LsaFreeMemory>>;
using UniqueLdap = std::unique_ptr<LDAP, Freer<ldap_unbind>>;
using UniqueLdapMessage = std::unique_ptr<LDAPMessage, Freer<ldap_msgfree>>;
using UniqueLdapText = std::unique_ptr<wchar_t, Freer<ldap_memfreeW>>;
using UniqueLdapValues = std::unique_ptr<berval*, Freer<ldap_value_free_len>>;
using UniqueLdapControls = std::unique_ptr<LDAPControlW*, Freer<ldap_controls_freeW>>;
using UniqueBer = std::unique_ptr<BerElement, BerFreer>;
template <class T>
using UniqueCom = std::unique_ptr<T, ComReleaser>;

}  // namespace wsadmin::platform::windows
