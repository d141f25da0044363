#include "identity/principals.h"

#include "ldap/layout.h"

namespace wsadmin {

std::string principalDn(const platform::Sid& sid) {
    return "cn=" + sid.text() + ",cn=ForeignSecurityPrincipals," + layout::namingContext;
}

Result<std::vector<platform::Sid>> sidList(const CORE::PropertyBag& request) {
    std::vector<platform::Sid> sids;
    CORE::wstr value;
    for (std::size_t position = 0; request.getNext(L"sid", value, position);) {
        const auto sid = platform::Sid::parse(std::wstring_view(value));
        if (!sid) return wsadmin::fail(1, L"\"" + value.str() + L"\" is no SID");
        sids.push_back(*sid);
    }
    return sids;
}

}  // namespace wsadmin
