#include "identity/principals.h"

#include "ldap/layout.h"

namespace wsadmin {

std::string principalDn(const platform::Sid& sid) {
    return "cn=" + sid.text() + ",cn=ForeignSecurityPrincipals," + layout::namingContext;
}

Result<std::vector<platform::Sid>> sidList(const std::vector<std::wstring>& texts) {
    std::vector<platform::Sid> sids;
    for (const std::wstring& text : texts) {
        const auto sid = platform::Sid::parse(std::wstring_view(text));
        if (!sid) return fail(L"\"" + text + L"\" is no SID");
        sids.push_back(*sid);
    }
    return sids;
}

}  // namespace wsadmin
