#include "ldap/name_value.h"

#include "framework/core/corestring.h"
#include "ldap/modify.h"
#include "ldap/search.h"
#include "platform/module/module_log.h"

namespace wsadmin {
namespace {

bool beginsWith(std::string_view value, std::string_view prefix) {
    const std::wstring wide = CORE::toWide(value);
    const std::wstring begin = CORE::toWide(prefix);
    return wide.size() >= begin.size() &&
           CORE::equalFolded(std::wstring_view(wide).substr(0, begin.size()), begin);
}

}  // namespace

NameValueOutcome setNameValue(platform::LdapSession& session, const platform::LdapEntry& entry,
                              const std::string& attribute, std::string_view name, std::string_view value) {
    const std::string prefix = std::string(name) + "=";
    const std::string wanted = prefix + std::string(value);
    if (entry.dn.empty()) {
        logVerbose(L"Failed to get DN\n");
        return {};
    }
    const auto values = readValues(session, entry, attribute);
    if (!values) return {.code = values.error().code};
    logVerbose(L"Setting NV pair %s, %s=%s in %s\n", attribute, name, value, entry.dn);
    for (const std::string& present : *values) {
        if (CORE::equalFolded(present, wanted)) {
            logVerbose(L"Already set. No update required.");
            return {};
        }
        if (beginsWith(present, prefix)) {
            logVerbose(L"Name is present but with different value. Old value will be replaced.");
            int code = modifyNameValue(session, true, entry.dn, attribute, present);
            if (code == 0) code = modifyNameValue(session, false, entry.dn, attribute, wanted);
            return {.changed = code == 0, .code = code};
        }
    }
    logVerbose(L"Name not present. Value will be added.");
    return {.changed = true, .code = modifyNameValue(session, false, entry.dn, attribute, wanted)};
}

int modifyNameValue(platform::LdapSession& session, bool remove, const std::string& dn,
                    const std::string& attribute, const std::string& value) {
    logVerbose(remove ? L"Deleting NVPair %s %s\n" : L"Adding NVPair %s %s\n", attribute, value);
    const auto done =
        modifyAttribute(session, dn, remove ? platform::LdapModify::remove : platform::LdapModify::add,
                        attribute, {value}, OnRefusal::callerLogs);
    if (done) {
        if (!remove) logVerbose(L"Value set successfully.\n");
        return 0;
    }
    logError(L"Failed to modify entry %s in %s operation. Error %d (%s).", dn, remove ? L"Delete" : L"Modify",
             done.error().code, done.error().text);
    logError(L"Entry not %s", remove ? L"deleted" : L"modified");
    return done.error().code;
}

}  // namespace wsadmin
