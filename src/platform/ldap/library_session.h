// What the adapters of OpenLDAP's and of the Windows client library share: the session over a connection, and
// the parts of a request as arguments of the C interface that both have (draft-ietf-ldapext-ldap-c-api).
// `Library` names the types that differ:
//   Character (of texts), Berval, Timeval, Control, Modification
#pragma once

#include <algorithm>
#include <deque>
#include <memory>
#include <optional>
#include <type_traits>
#include <utility>
#include <vector>

#include "platform/ldap/ldap_limits.h"
#include "platform/ldap/ldap_request.h"

namespace wsadmin::platform {

// A time limit as a library takes it; 0 would mean "do not wait" to one, "no limit" to the other.
template <class Library>
typename Library::Timeval timevalOf(std::chrono::milliseconds time) noexcept {
    using Timeval = typename Library::Timeval;
    const auto count = std::max<std::chrono::milliseconds::rep>(time.count(), 1);
    return {static_cast<decltype(Timeval::tv_sec)>(count / 1000),
            static_cast<decltype(Timeval::tv_usec)>(count % 1000 * 1000)};
}

// Texts in the library's form, at addresses that stay. Its parameters are not const, though it only reads
// them.
template <class Library>
class LibraryTexts {
    using Character = typename Library::Character;
    static constexpr bool isUtf8 = std::is_same_v<Character, char>;

  public:
    Character* add(std::string_view utf8) {
        if constexpr (isUtf8)
            return texts_.emplace_back(utf8).data();
        else
            return texts_.emplace_back(CORE::toWide(utf8)).data();
    }
    Character* addOrNull(std::string_view utf8) { return utf8.empty() ? nullptr : add(utf8); }

    static std::string utf8Of(const Character* text) {
        if constexpr (isUtf8)
            return text;
        else
            return CORE::toUtf8(text);
    }

  private:
    std::deque<std::basic_string<Character>> texts_;
};

template <class Library>
typename Library::Berval bervalOf(const std::string& bytes) noexcept {
    using Berval = typename Library::Berval;
    return {static_cast<decltype(Berval::bv_len)>(bytes.size()), const_cast<char*>(bytes.data())};
}

// The names of attributes; none: all.
template <class Library>
class NameArray {
  public:
    explicit NameArray(const std::vector<std::string>& names) {
        for (const std::string& name : names) list_.push_back(texts_.add(name));
        list_.push_back(nullptr);
    }
    typename Library::Character** get() noexcept { return list_.size() > 1 ? list_.data() : nullptr; }

  private:
    LibraryTexts<Library> texts_;
    std::vector<typename Library::Character*> list_;
};

// Controls over values that stay where they are.
template <class Library>
class ControlArray {
    using Control = typename Library::Control;

  public:
    explicit ControlArray(const std::vector<LdapControl>& controls) {
        for (const LdapControl& control : controls)
            owned_.push_back({texts_.add(control.oid), bervalOf<Library>(control.value),
                              static_cast<decltype(Control::ldctl_iscritical)>(control.critical)});
        for (Control& control : owned_) list_.push_back(&control);
        list_.push_back(nullptr);
    }
    Control** get() noexcept { return list_.size() > 1 ? list_.data() : nullptr; }

  private:
    LibraryTexts<Library> texts_;
    std::deque<Control> owned_;
    std::vector<Control*> list_;
};

// The controls of a result, which a library lists up to a null.
template <class Library>
void appendControls(typename Library::Control* const* list, std::vector<LdapControl>& controls) {
    for (; list && *list; ++list) {
        const auto& value = (*list)->ldctl_value;
        controls.push_back({LibraryTexts<Library>::utf8Of((*list)->ldctl_oid),
                            value.bv_val ? std::string(value.bv_val, value.bv_len) : std::string(),
                            (*list)->ldctl_iscritical != 0});
    }
}

// Modifications over values that stay where they are.
template <class Library>
class ModificationArray {
    using Modification = typename Library::Modification;
    using Berval = typename Library::Berval;

  public:
    explicit ModificationArray(const std::vector<LdapModification>& changes) {
        for (const auto& [operation, attribute, values] : changes) add(operation, attribute, values);
        finish();
    }
    // Those of a new entry.
    explicit ModificationArray(const std::vector<LdapAttribute>& attributes) {
        for (const auto& [name, values] : attributes) add(LdapModify::add, name, values);
        finish();
    }
    Modification** get() noexcept { return list_.data(); }

  private:
    void add(LdapModify operation, const std::string& attribute, const std::vector<std::string>& values) {
        constexpr int valuesAreBervals = 0x80;
        Item& item = items_.emplace_back();
        for (const std::string& value : values) item.values.push_back(bervalOf<Library>(value));
        for (Berval& value : item.values) item.pointers.push_back(&value);
        item.pointers.push_back(nullptr);
        item.modification.mod_op =
            static_cast<decltype(Modification::mod_op)>(static_cast<int>(operation) | valuesAreBervals);
        item.modification.mod_type = texts_.add(attribute);
        // Without values a list that ends at once, never no list: not every library takes that.
        item.modification.mod_vals.modv_bvals = item.pointers.data();
    }
    void finish() {
        for (Item& item : items_) list_.push_back(&item.modification);
        list_.push_back(nullptr);
    }

    struct Item {
        Modification modification{};
        std::vector<Berval> values;
        std::vector<Berval*> pointers;
    };
    LibraryTexts<Library> texts_;
    std::deque<Item> items_;
    std::vector<Modification*> list_;
};

// The session of a Connection, which is shared with the searches on their way. A Connection has
//   bind, send...    a request, made fit for the library; answers the identifier of its messages
//   receive          the next message for an identifier, abandoned where it does not come in time
//   finish           waits for the end of an operation without entries
//   confidential     as the session's
//   outcome          what a result message says
//   readEntry        an entry's message
template <class Connection>
class LibrarySearch final : public LdapPendingSearch {
  public:
    using Id = typename Connection::Id;

    LibrarySearch(std::shared_ptr<Connection> connection, Id id, const LdapSpent& spent)
        : connection_(std::move(connection)), id_(id), allowance_(connection_->endpoint().limits, spent) {}
    ~LibrarySearch() override {
        if (id_) connection_->abandon(*id_);
    }

    Result<LdapSearchResult> wait() override {
        constexpr int entryMessage = 0x64, resultMessage = 0x65;  // others refer to servers: not followed
        const LdapEndpoint& endpoint = connection_->endpoint();
        LdapSearchResult result;
        while (id_) {
            const auto asked = std::chrono::steady_clock::now();
            const auto message = connection_->receive(
                *id_, {.until = asked + std::min(endpoint.operationTimeout, allowance_.timeLeft()),
                       .bytes = endpoint.limits.bytes});
            if (!message) id_.reset();  // gone, or given up already
            if (auto ok = allowance_.wait(std::chrono::steady_clock::now() - asked); !ok)
                return fail(ok.error());
            if (!message) return fail(message.error());
            if (message->type == resultMessage) {
                id_.reset();
                if (auto ok = connection_->outcome(*message, &result.controls); !ok) return fail(ok.error());
                return result;
            }
            LdapEntry entry;
            if (message->type == entryMessage) {
                // The entries of one search have much the same number of attributes.
                auto read = connection_->readEntry(
                    *message, result.entries.empty() ? 0 : result.entries.back().attributes.size());
                if (!read) return fail(read.error());
                entry = std::move(*read);
            }
            if (auto ok = allowance_.take(entry); !ok) return fail(ok.error());
            if (message->type == entryMessage) result.entries.push_back(std::move(entry));
        }
        return fail(ldapFailure(ldapParamError));  // waited for twice
    }

  private:
    std::shared_ptr<Connection> connection_;
    std::optional<Id> id_;
    LdapAllowance allowance_;
};

template <class Connection>
class LibrarySession final : public LdapSession {
  public:
    explicit LibrarySession(std::shared_ptr<Connection> connection) : connection_(std::move(connection)) {}

    Result<void> bind(const LdapCredentials& credentials) override {
        if (auto ok = checkCredentials(credentials); !ok) return ok;
        return connection_->bind(credentials);
    }

    Result<std::unique_ptr<LdapPendingSearch>> startSearch(const LdapSearch& search) override {
        const auto wire = wireSearch(search);
        if (!wire) return fail(wire.error());
        const auto id = connection_->sendSearch(*wire);
        if (!id) return fail(id.error());
        return std::make_unique<LibrarySearch<Connection>>(connection_, *id, search.spent);
    }

    Result<void> add(const LdapEntry& entry) override {
        const auto wire = wireEntry(entry);
        if (!wire) return fail(wire.error());
        return finish(connection_->sendAdd(*wire));
    }

    Result<void> modify(const std::string& dn, const std::vector<LdapModification>& changes,
                        const std::vector<LdapControl>& controls) override {
        const auto wire = wireDn(dn);
        if (!wire) return fail(wire.error());
        if (auto ok = checkModifications(changes); !ok) return ok;
        return finish(connection_->sendModify(*wire, changes, controls));
    }

    Result<void> remove(const std::string& dn, const std::vector<LdapControl>& controls) override {
        const auto wire = wireDn(dn);
        if (!wire) return fail(wire.error());
        return finish(connection_->sendRemove(*wire, controls));
    }

    Result<void> rename(const std::string& dn, const std::string& newRdn, const std::string& newParent,
                        bool deleteOldRdn) override {
        const auto wire = wireDn(dn), rdn = wireDn(newRdn), parent = wireDn(newParent);
        for (const auto* part : {&wire, &rdn, &parent})
            if (!*part) return fail(part->error());
        if (wire->empty() || rdn->empty()) return fail(ldapFailure(ldapInvalidDnSyntax));
        return finish(connection_->sendRename(*wire, *rdn, *parent, deleteOldRdn));
    }

    bool confidential() const override { return connection_->confidential(); }
    bool connected() const override { return connection_->connected(); }
    LdapLimits limits() const override { return connection_->endpoint().limits; }

  private:
    Result<void> finish(const Result<typename Connection::Id>& sent) {
        if (!sent) return fail(sent.error());
        const LdapEndpoint& endpoint = connection_->endpoint();
        return connection_->finish(*sent,
                                   {.until = std::chrono::steady_clock::now() + endpoint.operationTimeout,
                                    .bytes = endpoint.limits.bytes,
                                    .ofChange = true});
    }

    std::shared_ptr<Connection> connection_;
};

template <class Connection>
class LibraryClient final : public LdapClient {
  public:
    Result<std::unique_ptr<LdapSession>> open(const LdapEndpoint& endpoint) override {
        if (auto ok = checkEndpoint(endpoint); !ok) return fail(ok.error());
        auto connection = Connection::open(endpoint, stop_);
        if (!connection) return fail(connection.error());
        return std::make_unique<LibrarySession<Connection>>(std::move(*connection));
    }
    void stop() override { stop_->set(); }

  private:
    std::shared_ptr<LdapStop> stop_ = std::make_shared<LdapStop>();
};

}  // namespace wsadmin::platform
