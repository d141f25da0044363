// Sessions over the platform's LDAP client.
#include <deque>
#include <optional>
#include <utility>

#include "platform/ldap/ldap_request.h"
#include "platform/windows/ldap_connection.h"
#include "platform/windows/windows_platform.h"

namespace wsadmin::platform::windows {

namespace {

using Connection = std::shared_ptr<const LdapConnection>;

berval bervalOf(const std::string& bytes) noexcept {
    return {static_cast<ULONG>(bytes.size()), const_cast<char*>(bytes.data())};
}

// Texts in the client's form, at addresses that stay.
class WideTexts {
  public:
    wchar_t* add(std::string_view utf8) { return texts_.emplace_back(CORE::toWide(utf8)).data(); }

  private:
    std::deque<std::wstring> texts_;
};

// Controls as the client takes them, over values that stay where they are.
class ControlList {
  public:
    explicit ControlList(const std::vector<LdapControl>& controls) {
        for (const LdapControl& control : controls)
            owned_.push_back(
                {texts_.add(control.oid), bervalOf(control.value), static_cast<BOOLEAN>(control.critical)});
        for (LDAPControlW& control : owned_) list_.push_back(&control);
        list_.push_back(nullptr);
    }
    LDAPControlW** get() noexcept { return list_.size() > 1 ? list_.data() : nullptr; }

  private:
    WideTexts texts_;
    std::deque<LDAPControlW> owned_;
    std::vector<LDAPControlW*> list_;
};

// Modifications as the client takes them, over values that stay where they are.
class ModificationList {
  public:
    void add(ULONG operation, const std::string& attribute, const std::vector<std::string>& values) {
        Item& item = items_.emplace_back();
        for (const std::string& value : values) item.values.push_back(bervalOf(value));
        for (berval& value : item.values) item.pointers.push_back(&value);
        item.pointers.push_back(nullptr);
        item.mod.mod_op = operation | LDAP_MOD_BVALUES;
        item.mod.mod_type = texts_.add(attribute);
        // Without values a list that ends at once, never no list: not every client library takes that.
        item.mod.mod_vals.modv_bvals = item.pointers.data();
    }
    LDAPModW** get() {
        list_.clear();
        for (Item& item : items_) list_.push_back(&item.mod);
        list_.push_back(nullptr);
        return list_.data();
    }

  private:
    struct Item {
        LDAPModW mod{};
        std::vector<berval> values;
        std::vector<berval*> pointers;
    };
    WideTexts texts_;
    std::deque<Item> items_;
    std::vector<LDAPModW*> list_;
};

LdapEntry readEntry(LDAP* handle, LDAPMessage* message) {
    LdapEntry entry;
    LDAPMessage* found = ldap_first_entry(handle, message);
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

class PendingSearch final : public LdapPendingSearch {
  public:
    PendingSearch(Connection connection, ULONG id) : connection_(std::move(connection)), id_(id) {}
    ~PendingSearch() override {
        if (id_) ldap_abandon(connection_->handle(), *id_);
    }

    Result<LdapSearchResult> wait() override {
        LdapSearchResult result;
        while (id_) {
            const auto message = connection_->receive(*id_, connection_->endpoint().operationTimeout);
            if (!message) {
                id_.reset();  // gone, or given up already
                return fail(message.error());
            }
            switch (message->type) {
                case LDAP_RES_SEARCH_ENTRY:
                    result.entries.push_back(readEntry(connection_->handle(), message->message.get()));
                    break;
                case LDAP_RES_SEARCH_RESULT:
                    id_.reset();
                    if (auto ok = connection_->outcome(*message, &result.controls); !ok)
                        return fail(ok.error());
                    return result;
                default:  // a reference to another server: not followed
                    break;
            }
        }
        return fail(ldapFailure(ldapParamError));  // waited for twice
    }

  private:
    Connection connection_;
    std::optional<ULONG> id_;
};

ULONG scopeOf(LdapScope scope) noexcept {
    switch (scope) {
        case LdapScope::base:
            return LDAP_SCOPE_BASE;
        case LdapScope::oneLevel:
            return LDAP_SCOPE_ONELEVEL;
        default:
            return LDAP_SCOPE_SUBTREE;
    }
}

ULONG operationOf(LdapModify operation) noexcept {
    switch (operation) {
        case LdapModify::add:
            return LDAP_MOD_ADD;
        case LdapModify::remove:
            return LDAP_MOD_DELETE;
        default:
            return LDAP_MOD_REPLACE;
    }
}

class Session final : public LdapSession {
  public:
    explicit Session(std::shared_ptr<LdapConnection> connection) : connection_(std::move(connection)) {}

    Result<void> bind(const LdapCredentials& credentials) override { return connection_->bind(credentials); }

    Result<std::unique_ptr<LdapPendingSearch>> startSearch(const LdapSearch& search) override {
        const auto wire = wireSearch(search);
        if (!wire) return fail(wire.error());
        WideTexts texts;
        std::vector<wchar_t*> attributes;
        for (const std::string& attribute : wire->attributes) attributes.push_back(texts.add(attribute));
        attributes.push_back(nullptr);
        ControlList controls(wire->controls);
        ULONG id = 0;
        const ULONG sent =
            ldap_search_extW(handle(), texts.add(wire->base), scopeOf(wire->scope), texts.add(wire->filter),
                             attributes.size() > 1 ? attributes.data() : nullptr,
                             /*attrsonly=*/0, controls.get(), nullptr, /*TimeLimit=*/0,
                             static_cast<ULONG>(wire->sizeLimit), &id);
        if (sent != LDAP_SUCCESS) return fail(failureOf(sent));
        return std::make_unique<PendingSearch>(connection_, id);
    }

    Result<void> add(const LdapEntry& entry) override {
        const auto wire = wireEntry(entry);
        if (!wire) return fail(wire.error());
        ModificationList list;
        for (const LdapAttribute& attribute : wire->attributes)
            list.add(LDAP_MOD_ADD, attribute.name, attribute.values);
        std::wstring dn = CORE::toWide(wire->dn);
        ULONG id = 0;
        const ULONG sent = ldap_add_extW(handle(), dn.data(), list.get(), nullptr, nullptr, &id);
        return connection_->finish(sent, id);
    }

    Result<void> modify(const std::string& dn, const std::vector<LdapModification>& changes,
                        const std::vector<LdapControl>& controls) override {
        const auto wire = wireDn(dn);
        if (!wire) return fail(wire.error());
        if (auto ok = checkModifications(changes); !ok) return ok;
        ModificationList list;
        for (const LdapModification& change : changes)
            list.add(operationOf(change.operation), change.attribute, change.values);
        ControlList sentControls(controls);
        std::wstring name = CORE::toWide(*wire);
        ULONG id = 0;
        const ULONG sent =
            ldap_modify_extW(handle(), name.data(), list.get(), sentControls.get(), nullptr, &id);
        return connection_->finish(sent, id);
    }

    Result<void> remove(const std::string& dn, const std::vector<LdapControl>& controls) override {
        const auto wire = wireDn(dn);
        if (!wire) return fail(wire.error());
        ControlList sentControls(controls);
        std::wstring name = CORE::toWide(*wire);
        ULONG id = 0;
        const ULONG sent = ldap_delete_extW(handle(), name.data(), sentControls.get(), nullptr, &id);
        return connection_->finish(sent, id);
    }

    Result<void> rename(const std::string& dn, const std::string& newRdn, const std::string& newParent,
                        bool deleteOldRdn) override {
        WideTexts texts;
        wchar_t* parts[3] = {};
        const std::string* names[] = {&dn, &newRdn, &newParent};
        for (int i = 0; i < 3; ++i) {
            const auto wire = wireDn(*names[i]);
            if (!wire) return fail(wire.error());
            parts[i] = wire->empty() ? nullptr : texts.add(*wire);
        }
        if (!parts[0] || !parts[1]) return fail(ldapFailure(ldapInvalidDnSyntax));
        ULONG id = 0;
        const ULONG sent =
            ldap_rename_extW(handle(), parts[0], parts[1], parts[2], deleteOldRdn, nullptr, nullptr, &id);
        return connection_->finish(sent, id);
    }

  private:
    LDAP* handle() const noexcept { return connection_->handle(); }

    Connection connection_;
};

class Client final : public LdapClient {
  public:
    Result<std::unique_ptr<LdapSession>> open(const LdapEndpoint& endpoint) override {
        auto connection = LdapConnection::open(endpoint);
        if (!connection) return fail(connection.error());
        return std::make_unique<Session>(std::move(*connection));
    }
};

}  // namespace

std::shared_ptr<LdapClient> makeLdapClient() {
    return std::make_shared<Client>();
}

}  // namespace wsadmin::platform::windows
