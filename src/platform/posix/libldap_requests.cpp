// Requests and entries as OpenLDAP's client library takes and gives them.
#include "platform/ldap/library_session.h"
#include "platform/posix/libldap_connection.h"
#include "platform/posix/posix_platform.h"

namespace wsadmin::platform::posix {

namespace {

struct BerFreer {
    void operator()(BerElement* ber) const noexcept { ber_free(ber, 0); }
};

}  // namespace

Result<int> LdapConnection::sendSearch(const LdapSearch& wire) {
    NameArray<Library> attributes(wire.attributes);
    ControlArray<Library> controls(wire.controls);
    return send([&](int* id) {
        return ldap_search_ext(handle_, wire.base.c_str(), static_cast<int>(wire.scope), wire.filter.c_str(),
                               attributes.get(), /*attrsonly=*/0, controls.get(), nullptr, nullptr,
                               wire.sizeLimit, id);
    });
}

Result<int> LdapConnection::sendAdd(const LdapEntry& wire) {
    ModificationArray<Library> attributes(wire.attributes);
    return send([&](int* id) {
        return ldap_add_ext(handle_, wire.dn.c_str(), attributes.get(), nullptr, nullptr, id);
    });
}

Result<int> LdapConnection::sendModify(const std::string& dn, const std::vector<LdapModification>& changes,
                                       const std::vector<LdapControl>& controls) {
    ModificationArray<Library> modifications(changes);
    ControlArray<Library> sentControls(controls);
    return send([&](int* id) {
        return ldap_modify_ext(handle_, dn.c_str(), modifications.get(), sentControls.get(), nullptr, id);
    });
}

Result<int> LdapConnection::sendRemove(const std::string& dn, const std::vector<LdapControl>& controls) {
    ControlArray<Library> sentControls(controls);
    return send(
        [&](int* id) { return ldap_delete_ext(handle_, dn.c_str(), sentControls.get(), nullptr, id); });
}

Result<int> LdapConnection::sendRename(const std::string& dn, const std::string& newRdn,
                                       const std::string& newParent, bool deleteOldRdn) {
    return send([&](int* id) {
        return ldap_rename(handle_, dn.c_str(), newRdn.c_str(),
                           newParent.empty() ? nullptr : newParent.c_str(), deleteOldRdn, nullptr, nullptr,
                           id);
    });
}

Result<LdapEntry> LdapConnection::readEntry(const LdapMessage& message, std::size_t attributes) const {
    BerElement* position = nullptr;
    berval text{};
    if (const int code = ldap_get_dn_ber(handle_, message.message.get(), &position, &text);
        code != LDAP_SUCCESS)
        return fail(failure(code));
    const std::unique_ptr<BerElement, BerFreer> owner(position);
    LdapEntry entry{{text.bv_val, text.bv_len}, {}};
    entry.attributes.reserve(attributes);
    while (true) {
        berval* values = nullptr;
        const int code = ldap_get_attribute_ber(handle_, message.message.get(), position, &text, &values);
        if (code != LDAP_SUCCESS) return fail(failure(code));
        if (!text.bv_val) return entry;
        LdapAttribute& attribute = entry.attributes.emplace_back();
        attribute.name.assign(text.bv_val, text.bv_len);
        std::size_t count = 0;
        while (values && values[count].bv_val) ++count;
        attribute.values.reserve(count);
        for (const berval* value = values; value && value->bv_val; ++value)
            attribute.values.emplace_back(value->bv_val, value->bv_len);
        ber_memfree(values);  // the values themselves stand in the message
    }
}

std::shared_ptr<LdapClient> makeLdapClient() {
    return std::make_shared<LibraryClient<LdapConnection>>();
}

}  // namespace wsadmin::platform::posix
