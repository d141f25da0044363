#include "clientauth/client_auth_config.h"

#include <algorithm>
#include <chrono>

#include "clientauth/client_identifier.h"
#include "clientauth/client_removal.h"
#include "clientauth/clientauth_keys.h"
#include "clientauth/generated_password.h"
#include "framework/core/coreexception.h"
#include "framework/core/security.h"
#include "identity/account_lookup.h"
#include "ldap/layout.h"
#include "ldap/search.h"
#include "platform/ldap/ldap_text.h"
#include "platform/ldap/lost_connection.h"
#include "platform/module/module_log.h"

namespace wsadmin {

using CORE::toUtf8;
using CORE::toWide;
using platform::LdapModification;
using platform::LdapModify;

namespace {

bool isGiven(std::wstring_view option) {
    return option != notGiven;
}

std::string clientDn(std::wstring_view clientId) {
    return "cn=" + platform::escapeDnValue(toUtf8(clientId)) + "," +
           layout::under(layout::container::properties);
}

// What the failure of a step is told as.
tl::unexpected<Failure> accountFailed(Failure failure, std::wstring_view verb) {
    if (failure.code == platform::adsAccessDenied) failure.text = rightsSentence(verb);
    return fail(std::move(failure));
}

}  // namespace

Result<void> ClientAuthConfig::clientAuthConfig() {
    operation_ = request().text(key::clientOperation).str();
    if (is(L"enableServer") || is(L"disableServer")) return switchServer(is(L"enableServer"));
    if (!is(L"add") && !is(L"remove") && !is(L"setdefaults") && !is(L"update"))
        return fail(L"Unsupported operation.");
    const auto session = directory();
    if (!session) return fail(session.error());
    session_ = *session;
    readOptions();
    if (clientId_.size() > longestIdentifier)
        return fail(L"clientid should be less than or equal to 20 characters.");
    if (auto found = findIdentifier(); !found) return found;
    auto accounts = ClientAccounts::of(domains());
    if (!accounts) return fail(accounts.error());
    accounts_.emplace(std::move(*accounts));

    using Step = Result<void> (ClientAuthConfig::*)();
    for (const Step step : {&ClientAuthConfig::checkUnit, &ClientAuthConfig::checkGroup,
                            &ClientAuthConfig::checkRemovalOptions, &ClientAuthConfig::makePassword})
        if (auto done = (this->*step)(); !done) return done;
    if (is(L"setdefaults")) return setDefaults();
    if (is(L"add")) return add();
    if (is(L"update")) return update();
    if (is(L"remove")) return remove();
    return fail(L"Unknown operation: " + operation_);
}

Result<void> ClientAuthConfig::switchServer(bool enabled) {
    const std::wstring name = request().text(key::switchedServer).str();
    if (name.empty()) return fail(L"Missing or blank parameter server");
    const auto session = directory();
    if (!session) return fail(session.error());
    const std::string dn = layout::serverEntry(toUtf8(name));
    const auto found = findEntry(**session, dn, "objectClass=*", {layout::attribute::cn});
    if (!found) return fail(L"Failed to search - " + found.error().text);
    if (found->empty())
        return fail(L"Connection Server \"" + name + L"\" is not present in this configuration.");
    const auto flag = [](const char* attribute, bool value) {
        return LdapModification{
            .operation = LdapModify::replace, .attribute = attribute, .values = {value ? "1" : "0"}};
    };
    const auto written = (*session)->modify(
        dn, {flag(layout::attribute::clientAuthEnabled, enabled),
             flag(layout::attribute::clientAuthPasswordRequired, request().boolean(key::requiresPassword))});
    if (!written)
        return fail(L"Failed to update client authentication LDAP entry " + toWide(dn) + L" - " +
                    written.error().text);
    result().set(L"textmessage", L"The specified Connection Server has been configured.");
    return {};
}

void ClientAuthConfig::readOptions() {
    clientId_ = request().text(key::clientId).str();
    domain_ = request().text(key::clientDomain).str();
    group_ = request().text(key::clientGroup).str();
    ou_ = request().text(key::clientOu).str();
    description_ = request().text(key::clientDescription).str();
    expirePassword_ = truthOf(request().text(key::expirePassword));
    password_ = CORE::secretstring(request().utf8(key::clientPassword));
}

// --- the steps before the operation

std::vector<std::wstring> ClientAuthConfig::prefixes() {
    constexpr wchar_t here[] = L"Group::clientAuthGetPrefixList";
    auto found = readClientPrefixes(*session_);
    if (found) return std::move(*found);
    const Failure& why = found.error();
    if (platform::isConnectionLost(why.code))
        logWarning(L"%s: unable to initialize LDAP connection, %s", here, why.text);
    else
        logWarning(L"%s: failed to search for entry \"%s\" - %s (%d)", here, clientDefaultsDn(), why.text,
                   why.code);
    return {std::wstring(customPrefix)};
}

Result<void> ClientAuthConfig::findIdentifier() {
    if (is(L"setdefaults")) return {};
    if (clientId_.empty()) return fail(L"Missing or blank parameter clientid");
    auto kept = keptIdentifier(clientId_, prefixes());
    if (!kept)
        return fail(
            L"clientid parameter must be one of these forms: <MAC address>, cm-<MAC address>, or "
            L"custom-<name>, where <MAC address> is of the form aa:cc:ff:11:33:99");
    clientId_ = std::move(*kept);
    auto found = findClient(*session_, toUtf8(clientId_));
    if (!found) return fail(found.error());
    client_ = std::move(*found);
    if (is(L"add") && client_)
        return fail(L"clientid '" + clientId_ + L"' already exists, possibly under a " +
                    L"different domain.  Please remove clientid before adding.");
    if (!is(L"add") && !client_)
        return fail(L"clientid '" + clientId_ + L"' does not exist and cannot be removed or updated.");
    if (domain_.empty()) return fail(L"Missing or blank parameter domain");
    return {};
}

Result<void> ClientAuthConfig::checkUnit() {
    if (!isGiven(ou_)) return {};
    if (is(L"remove") || is(L"update")) return fail(L"remove or update with -ou option not supported.");
    auto unit = accounts_->openUnit(ou_);
    if (!unit && unit.error().code != platform::adsNoSuchObject)
        return fail(L"Failed to search - " + unit.error().text);
    if (!unit) return fail(L"The specified OU does not exist: " + ou_);
    unit_ = std::move(*unit);
    return {};
}

Result<void> ClientAuthConfig::checkGroup() {
    if (!isGiven(group_)) return {};
    if (is(L"remove") || is(L"update"))
        return fail(L"remove or update with -group/-nogroup option not supported.");
    return findGroup(domain_);
}

Result<void> ClientAuthConfig::findGroup(const std::wstring& domain) {
    if (group_.empty()) return {};  // none is to be joined
    auto path = accounts_->findGroup(group_, is(L"add") ? domain : std::wstring());
    if (!path) return fail(L"Failed to search - " + path.error().text);
    if (!*path) return fail(L"The specified group does not exist: " + group_);
    groupPath_ = std::move(**path);
    return {};
}

Result<void> ClientAuthConfig::checkRemovalOptions() {
    if (request().boolean(key::forcesRemoval) && !is(L"remove"))
        return fail(L"-force can only be used with remove.");
    if (!password_.empty() && is(L"remove")) return fail(L"remove with -password option not supported.");
    return {};
}

// Protected before anything is changed: a password that cannot be kept is not set either.
Result<void> ClientAuthConfig::makePassword() {
    if (!is(L"add") && !is(L"update")) return {};
    if (request().boolean(key::generatesPassword)) {
        const auto now = std::chrono::floor<std::chrono::seconds>(service().platform().clock->now());
        auto made = generatePassword(static_cast<std::uint32_t>(now.time_since_epoch().count()));
        if (!made) return fail(L"Error generating password");
        password_ = std::move(*made);
    }
    if (password_.empty()) return {};
    try {
        protectedPassword_ = toUtf8(CORE::SecurityManager::System().Encrypt(password_.view()));
    } catch (const CORE::coreException& error) {
        return fail(L"The password cannot be protected: " + error.text());
    }
    return {};
}

// --- the operations

Result<void> ClientAuthConfig::setDefaults() {
    namespace attribute = layout::attribute;
    if (!isGiven(ou_) && !expirePassword_ && !isGiven(group_))
        return fail(
            L"No setting specified for -setdefaults. Please specify at least one of: -ou, [-expirepassword | "
            L"-noexpirepassword] or one of the group options");
    std::vector<LdapModification> changes;
    const auto set = [&changes](const char* name, std::string value) {
        LdapModification change{.operation = LdapModify::replace, .attribute = name};
        if (!value.empty()) change.values.push_back(std::move(value));
        changes.push_back(std::move(change));
    };
    if (isGiven(ou_))
        set(attribute::clientDefaultOu, toUtf8(ou_));
    else
        logDebug(L"setdefaults: leaving OU unchanged.");
    if (expirePassword_)
        set(attribute::clientDefaultExpirePassword, *expirePassword_ ? "true" : "false");
    else
        logDebug(L"setdefaults: leaving expirepassword unchanged.");
    if (isGiven(group_))
        set(attribute::clientDefaultGroup, toUtf8(group_));
    else
        logDebug(L"setdefaults: leaving Group unchanged");
    const std::string dn = clientDefaultsDn();
    if (const auto written = session_->modify(dn, changes); !written)
        return fail(L"Failed to update default settings LDAP entry " + toWide(dn) + L" - " +
                    written.error().text);
    result().set(L"textmessage", L"The default setting(s) have been set.");
    return {};
}

Result<void> ClientAuthConfig::fillFromDefaults() {
    if (isGiven(ou_) && isGiven(group_) && expirePassword_) {
        logDebug(L"-clientauth -add: Not using defaults as all options have been specified");
        return {};
    }
    const auto defaults = readClientDefaults(*session_);
    if (!defaults) return fail(L"Failed to look up default settings.");
    if (!isGiven(ou_)) ou_ = defaults->ou;
    if (!expirePassword_) expirePassword_ = defaults->expirePassword;
    if (isGiven(group_) || !isGiven(defaults->group)) return {};
    group_ = defaults->group;
    return findGroup(domain_);  // before an account is made that could not join it
}

// The one of the request is open already. Its domain is the account's: an account of another would be looked
// up, and deleted, where somebody else may have the name.
Result<void> ClientAuthConfig::openUnit() {
    const auto notFound = [this](const std::wstring& why) {
        return fail(L"Organizational Unit '" + (isGiven(ou_) ? ou_ : L"CN=Users") + L"' was not found.  " +
                    L"Please make sure it exists and the distinguished name is " +
                    L"specified as a full path.  ERROR: " + why);
    };
    if (!unit_) {
        auto unit = isGiven(ou_) ? accounts_->openUnit(ou_) : accounts_->openUsers(domain_);
        if (!unit && unit.error().code == platform::adsAccessDenied)
            return accountFailed(unit.error(), L"create");
        if (!unit) return notFound(unit.error().text);
        unit_ = std::move(*unit);
    }
    if (isGiven(ou_) && !accounts_->standsIn(ou_, domain_))
        return notFound(L"it does not stand in the domain " + domain_);
    return {};
}

Result<void> ClientAuthConfig::add() {
    if (auto filled = fillFromDefaults(); !filled) return filled;
    if (auto opened = openUnit(); !opened) return opened;
    NewAccount account{.clientId = clientId_,
                       .domain = domain_,
                       .description = isGiven(description_) ? description_ : std::wstring(),
                       .group = group_,
                       .groupPath = groupPath_,
                       .password = password_,
                       .expirePassword = expirePassword_.value_or(false)};
    const auto user = ClientAccounts::create(*unit_, account);
    if (!user) return accountFailed(user.error(), L"create");
    auto finished = finishAccount(**user, account);
    if (!finished)
        logError(
            L"The account %s\\%s was created and stays in Active Directory without a client "
            L"authentication entry",
            domain_, clientId_);
    return finished;
}

Result<void> ClientAuthConfig::finishAccount(platform::DirectoryObject& user, const NewAccount& account) {
    if (auto completed = accounts_->complete(user, account); !completed)
        return accountFailed(completed.error(), L"create");
    const auto sid = accounts_->sidOf(user, account);
    if (!sid) return fail(sid.error());
    const ClientAccount client{.dn = clientDn(clientId_), .clientId = clientId_, .domain = domain_};
    if (auto added = addClient(*session_, client, *sid, protectedPassword_); !added) return added;
    result().set(L"textmessage", L"Client authentication user was added successfully.");
    return {};
}

// Of another domain the account would be somebody else's.
Result<ClientAccount> ClientAuthConfig::requestedClient() {
    if (!client_ || client_->dn.empty() || !accounts_->isSameDomain(client_->domain, domain_))
        return fail(L"Failed to find entry with domain and username.");
    ClientAccount client = *client_;
    client.domain = domain_;
    return client;
}

Result<void> ClientAuthConfig::update() {
    const auto client = requestedClient();
    if (!client) return fail(client.error());
    const auto sid = userOf(domains(), client->qualifiedName());
    if (!sid) return fail(L"Failed to get SID for domain and username: " + client->qualifiedName());
    const auto path = accounts_->findUser(*sid);
    if (!path)
        return fail(L"Failed to update user in Active Directory: " + client->qualifiedName() + L". " +
                    path.error().text);
    const auto updated = accounts_->update(
        *path, password_, isGiven(description_) ? std::optional(description_) : std::nullopt);
    if (!updated) return accountFailed(updated.error(), L"update");
    if (!protectedPassword_.empty())
        if (auto kept = replaceClientPassword(*session_, *client, protectedPassword_); !kept) return kept;
    result().set(L"textmessage", L"Client authentication user was updated successfully.");
    return {};
}

Result<void> ClientAuthConfig::remove() {
    const auto client = requestedClient();
    if (!client) return fail(client.error());
    ClientRemoval removal(domains(), *session_, *accounts_, request().boolean(key::forcesRemoval));
    if (auto removed = removal.remove(*client); !removed) return removed;
    result().set(L"textmessage", L"Client authentication user was removed successfully.");
    return {};
}

}  // namespace wsadmin
