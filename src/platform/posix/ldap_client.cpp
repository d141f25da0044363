// Sessions over OpenLDAP's client library.
#include <deque>
#include <optional>
#include <utility>

#include "platform/ldap/ldap_request.h"
#include "platform/posix/ldap_connection.h"
#include "platform/posix/pipe_signal.h"
#include "platform/posix/posix_platform.h"

namespace wsadmin::platform::posix {

namespace {

using Connection = std::shared_ptr<const LdapConnection>;

// libldap's parameters are not const, though it only reads them.
char* plain(const std::string& text) noexcept {
    return const_cast<char*>(text.c_str());
}
berval bervalOf(const std::string& bytes) noexcept {
    return {bytes.size(), const_cast<char*>(bytes.data())};
}

// Controls as libldap takes them, over values that stay where they are.
class ControlList {
  public:
    explicit ControlList(const std::vector<LdapControl>& controls) {
        for (const LdapControl& control : controls)
            owned_.push_back(
                {plain(control.oid), bervalOf(control.value), static_cast<char>(control.critical)});
        for (LDAPControl& control : owned_) list_.push_back(&control);
        list_.push_back(nullptr);
    }
    LDAPControl** get() noexcept { return list_.size() > 1 ? list_.data() : nullptr; }

  private:
    std::deque<LDAPControl> owned_;
    std::vector<LDAPControl*> list_;
};

// Modifications as libldap takes them, over texts that stay where they are.
class ModificationList {
  public:
    void add(int operation, const std::string& attribute, const std::vector<std::string>& values) {
        Item& item = items_.emplace_back();
        for (const std::string& value : values) item.values.push_back(bervalOf(value));
        for (berval& value : item.values) item.pointers.push_back(&value);
        item.pointers.push_back(nullptr);
        item.mod.mod_op = operation | LDAP_MOD_BVALUES;
        item.mod.mod_type = plain(attribute);
        item.mod.mod_bvalues = values.empty() ? nullptr : item.pointers.data();
    }
    LDAPMod** get() {
        list_.clear();
        for (Item& item : items_) list_.push_back(&item.mod);
        list_.push_back(nullptr);
        return list_.data();
    }

  private:
    struct Item {
        LDAPMod mod{};
        std::vector<berval> values;
        std::vector<berval*> pointers;
    };
    std::deque<Item> items_;
    std::vector<LDAPMod*> list_;
};

struct BerFreer {
    void operator()(BerElement* ber) const noexcept { ber_free(ber, 0); }
};

// `attributes`: how many it may have, a guess.
Result<LdapEntry> readEntry(const LdapConnection& connection, LDAPMessage* message, std::size_t attributes) {
    LDAP* handle = connection.handle();
    BerElement* position = nullptr;
    berval text{};
    if (const int code = ldap_get_dn_ber(handle, message, &position, &text); code != LDAP_SUCCESS)
        return fail(connection.failure(code));
    const std::unique_ptr<BerElement, BerFreer> owner(position);
    LdapEntry entry{{text.bv_val, text.bv_len}, {}};
    entry.attributes.reserve(attributes);
    while (true) {
        berval* values = nullptr;
        const int code = ldap_get_attribute_ber(handle, message, position, &text, &values);
        if (code != LDAP_SUCCESS) return fail(connection.failure(code));
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

class PendingSearch final : public LdapPendingSearch {
  public:
    PendingSearch(Connection connection, int id) : connection_(std::move(connection)), id_(id) {}
    ~PendingSearch() override {
        const PipeSignalBlock noSignal;
        if (id_) connection_->abandon(*id_);
    }

    Result<LdapSearchResult> wait() override {
        const PipeSignalBlock noSignal;
        LdapSearchResult result;
        std::size_t attributes = 0;  // of the entry before: those of one search are much alike
        while (id_) {
            const auto message = connection_->receive(*id_, connection_->endpoint().operationTimeout);
            if (!message) {
                id_.reset();  // gone, or given up already
                return fail(message.error());
            }
            switch (ldap_msgtype(message->get())) {
                case LDAP_RES_SEARCH_ENTRY: {
                    auto entry = readEntry(*connection_, message->get(), attributes);
                    if (!entry) return fail(entry.error());
                    attributes = entry->attributes.size();
                    result.entries.push_back(std::move(*entry));
                    break;
                }
                case LDAP_RES_SEARCH_RESULT: {
                    id_.reset();
                    if (auto ok = connection_->outcome(*message, &result.controls); !ok)
                        return fail(ok.error());
                    return result;
                }
                default:  // a reference to another server: not followed
                    break;
            }
        }
        return fail(ldapFailure(ldapParamError));  // waited for twice
    }

  private:
    Connection connection_;
    std::optional<int> id_;
};

int scopeOf(LdapScope scope) noexcept {
    switch (scope) {
        case LdapScope::base:
            return LDAP_SCOPE_BASE;
        case LdapScope::oneLevel:
            return LDAP_SCOPE_ONELEVEL;
        default:
            return LDAP_SCOPE_SUBTREE;
    }
}

int operationOf(LdapModify operation) noexcept {
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
    explicit Session(Connection connection) : connection_(std::move(connection)) {}

    Result<void> bind(const LdapCredentials& credentials) override {
        const PipeSignalBlock noSignal;
        return bindConnection(*connection_, credentials);
    }

    Result<std::unique_ptr<LdapPendingSearch>> startSearch(const LdapSearch& search) override {
        const PipeSignalBlock noSignal;
        const auto wire = wireSearch(search);
        if (!wire) return fail(wire.error());
        std::vector<char*> attributes;
        for (const std::string& attribute : wire->attributes) attributes.push_back(plain(attribute));
        attributes.push_back(nullptr);
        ControlList controls(wire->controls);
        int id = 0;
        const int sent =
            ldap_search_ext(connection_->handle(), wire->base.c_str(), scopeOf(wire->scope),
                            wire->filter.c_str(), attributes.size() > 1 ? attributes.data() : nullptr,
                            /*attrsonly=*/0, controls.get(), nullptr, nullptr, wire->sizeLimit, &id);
        if (sent != LDAP_SUCCESS) return fail(connection_->failure(sent));
        return std::make_unique<PendingSearch>(connection_, id);
    }

    Result<void> add(const LdapEntry& entry) override {
        const PipeSignalBlock noSignal;
        const auto wire = wireEntry(entry);
        if (!wire) return fail(wire.error());
        ModificationList list;
        for (const LdapAttribute& attribute : wire->attributes)
            list.add(LDAP_MOD_ADD, attribute.name, attribute.values);
        int id = 0;
        const int sent =
            ldap_add_ext(connection_->handle(), wire->dn.c_str(), list.get(), nullptr, nullptr, &id);
        return connection_->finish(sent, id);
    }

    Result<void> modify(const std::string& dn, const std::vector<LdapModification>& changes,
                        const std::vector<LdapControl>& controls) override {
        const PipeSignalBlock noSignal;
        const auto wire = wireDn(dn);
        if (!wire) return fail(wire.error());
        if (auto ok = checkModifications(changes); !ok) return ok;
        ModificationList list;
        for (const LdapModification& change : changes)
            list.add(operationOf(change.operation), change.attribute, change.values);
        ControlList sentControls(controls);
        int id = 0;
        const int sent = ldap_modify_ext(connection_->handle(), wire->c_str(), list.get(), sentControls.get(),
                                         nullptr, &id);
        return connection_->finish(sent, id);
    }

    Result<void> remove(const std::string& dn, const std::vector<LdapControl>& controls) override {
        const PipeSignalBlock noSignal;
        const auto wire = wireDn(dn);
        if (!wire) return fail(wire.error());
        ControlList sentControls(controls);
        int id = 0;
        const int sent =
            ldap_delete_ext(connection_->handle(), wire->c_str(), sentControls.get(), nullptr, &id);
        return connection_->finish(sent, id);
    }

    Result<void> rename(const std::string& dn, const std::string& newRdn, const std::string& newParent,
                        bool deleteOldRdn) override {
        const PipeSignalBlock noSignal;
        const auto wire = wireDn(dn);
        const auto rdn = wireDn(newRdn);
        const auto parent = wireDn(newParent);
        for (const auto* part : {&wire, &rdn, &parent})
            if (!*part) return fail(part->error());
        int id = 0;
        const int sent =
            ldap_rename(connection_->handle(), wire->c_str(), rdn->c_str(),
                        parent->empty() ? nullptr : parent->c_str(), deleteOldRdn, nullptr, nullptr, &id);
        return connection_->finish(sent, id);
    }

  private:
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

}  // namespace wsadmin::platform::posix
