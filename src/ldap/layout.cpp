#include "ldap/layout.h"

#include "framework/core/corestring.h"
#include "platform/ldap/ldap_text.h"

namespace wsadmin::layout {

std::string serverEntry(std::string_view serverName) {
    return "cn=" + platform::escapeDnValue(serverName) + "," + under(container::servers);
}

std::string brokerEntry(std::string_view serverName) {
    return "cn=" + platform::escapeDnValue(serverName) + "," + under(container::brokers);
}

std::string federationCopy(std::string_view serverDn) {
    CORE::mstr copy(serverDn);
    copy.toLower();
    copy.findAndReplace("ou=properties", "ou=qrv,ou=properties");
    return copy.str();
}

}  // namespace wsadmin::layout
