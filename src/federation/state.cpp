#include "federation/state.h"

#include "federation/entry_attributes.h"
#include "federation/local_layer.h"
#include "federation/names.h"
#include "ldap/layout.h"
#include "platform/ldap/ldap_text.h"
#include "platform/module/module_log.h"

namespace wsadmin::qrv {

Result<std::string> State::entryOf(Member member) const {
    if (member == Member::pod) return layout::under(layout::container::federatedPod);
    const auto name = platform_.names->netBios();
    if (!name) {
        logError(L"Failed to obtain server NETBIOS name");
        return fail(name.error());
    }
    return "cn=" + platform::escapeDnValue(CORE::toUtf8(*name)) + "," +
           layout::under(layout::container::federatedServers);
}

Result<std::wstring> State::read(Member member, const char* attribute) {
    const auto dn = entryOf(member);
    if (!dn) return fail(dn.error());
    return readText(platform_, localPath(platform_, *dn), attribute);
}

Result<void> State::write(Member member, const char* attribute, const std::string& value) {
    const auto dn = entryOf(member);
    if (!dn) return fail(dn.error());
    return writeText(platform_, localPath(platform_, *dn), *dn, attribute, value);
}

Result<int> State::flag(Member member) {
    const auto text = read(member, attribute::state);
    if (!text) return fail(text.error());
    const CORE::wstr number(*text);
    if (!number.isNum()) return fail(L"The state flag is no number");
    return number.toInt();
}

Result<void> State::setFlag(Member member, int value) {
    return write(member, attribute::state, std::to_string(value));
}

void State::setProgress(int percent) {
    static_cast<void>(write(Member::server, attribute::percent, std::to_string(percent)));
}

void State::setOutcome(std::wstring_view code) {
    static_cast<void>(write(Member::server, attribute::lastError, CORE::toUtf8(code)));
}

Result<std::wstring> State::outcome() {
    return read(Member::server, attribute::lastError);
}

}  // namespace wsadmin::qrv
