// Requests and entries as the platform's LDAP client takes and gives them.
#include "platform/ldap/library_session.h"
#include "platform/windows/windows_platform.h"
#include "platform/windows/wldap_connection.h"

namespace wsadmin::platform::windows {

namespace {

Result<ULONG> sent(ULONG code, ULONG id) {
    if (code != LDAP_SUCCESS) return fail(failureOf(code));
    return id;
}

}  // namespace

Result<ULONG> LdapConnection::sendSearch(const LdapSearch& wire) const {
    LibraryTexts<Library> texts;
    NameArray<Library> attributes(wire.attributes);
    ControlArray<Library> controls(wire.controls);
    ULONG id = 0;
    const ULONG code =
        ldap_search_extW(handle_.get(), texts.add(wire.base), static_cast<ULONG>(wire.scope),
                         texts.add(wire.filter), attributes.get(), /*attrsonly=*/0, controls.get(), nullptr,
                         /*TimeLimit=*/0, static_cast<ULONG>(wire.sizeLimit), &id);
    return sent(code, id);
}

Result<ULONG> LdapConnection::sendAdd(const LdapEntry& wire) const {
    LibraryTexts<Library> texts;
    ModificationArray<Library> attributes(wire.attributes);
    ULONG id = 0;
    const ULONG code =
        ldap_add_extW(handle_.get(), texts.add(wire.dn), attributes.get(), nullptr, nullptr, &id);
    return sent(code, id);
}

Result<ULONG> LdapConnection::sendModify(const std::string& dn, const std::vector<LdapModification>& changes,
                                         const std::vector<LdapControl>& controls) const {
    LibraryTexts<Library> texts;
    ModificationArray<Library> modifications(changes);
    ControlArray<Library> sentControls(controls);
    ULONG id = 0;
    const ULONG code =
        ldap_modify_extW(handle_.get(), texts.add(dn), modifications.get(), sentControls.get(), nullptr, &id);
    return sent(code, id);
}

Result<ULONG> LdapConnection::sendRemove(const std::string& dn,
                                         const std::vector<LdapControl>& controls) const {
    LibraryTexts<Library> texts;
    ControlArray<Library> sentControls(controls);
    ULONG id = 0;
    const ULONG code = ldap_delete_extW(handle_.get(), texts.add(dn), sentControls.get(), nullptr, &id);
    return sent(code, id);
}

Result<ULONG> LdapConnection::sendRename(const std::string& dn, const std::string& newRdn,
                                         const std::string& newParent, bool deleteOldRdn) const {
    LibraryTexts<Library> texts;
    ULONG id = 0;
    const ULONG code = ldap_rename_extW(handle_.get(), texts.add(dn), texts.add(newRdn),
                                        texts.addOrNull(newParent), deleteOldRdn, nullptr, nullptr, &id);
    return sent(code, id);
}

Result<LdapEntry> LdapConnection::readEntry(const LdapMessage& message, std::size_t) const {
    LdapEntry entry;
    LDAP* handle = handle_.get();
    LDAPMessage* found = ldap_first_entry(handle, message.message.get());
    if (!found) return entry;
    if (const UniqueLdapText dn(ldap_get_dnW(handle, found)); dn) entry.dn = CORE::toUtf8(dn.get());
    BerElement* position = nullptr;
    UniqueLdapText name(ldap_first_attributeW(handle, found, &position));
    const UniqueBer owner(position);
    for (; name; name.reset(ldap_next_attributeW(handle, found, position))) {
        LdapAttribute& attribute = entry.attributes.emplace_back();
        attribute.name = CORE::toUtf8(name.get());
        const UniqueLdapValues values(ldap_get_values_lenW(handle, found, name.get()));
        for (berval** value = values.get(); value && *value; ++value)
            attribute.values.emplace_back((*value)->bv_val, (*value)->bv_len);
    }
    return entry;
}

std::shared_ptr<LdapClient> makeLdapClient() {
    return std::make_shared<LibraryClient<LdapConnection>>();
}

}  // namespace wsadmin::platform::windows
