#include "clientauth/client_accounts.h"

#include <utility>
#include <vector>

#include "framework/core/security.h"
#include "identity/account_lookup.h"
#include "identity/sid_search.h"
#include "ldap/connection_mgr.h"
#include "ldap/directory_rows.h"
#include "platform/ldap/ldap_text.h"
#include "platform/module/module_log.h"
#include "platform/startup.h"

namespace wsadmin {

using CORE::toUtf8;
using CORE::toWide;
using platform::DirectoryObject;
using platform::Sid;

namespace {

constexpr char pathColumn[] = "ADsPath";
constexpr char userClass[] = "user";
constexpr char accountControl[] = "userAccountControl";

// The name of a domain's root.
std::string domainRoot(const std::wstring& dnsName) {
    std::string dn;
    for (const CORE::mstr& label : CORE::mstr(toUtf8(dnsName)).split('.'))
        dn += (dn.empty() ? "DC=" : ",DC=") + platform::escapeDnValue(label);
    return dn;
}

Failure adsFailure(int code) {
    return {code, std::wstring(platform::adsCodeText(code))};
}

// A step of several, which ends them: its line is logged and told.
template <class... Args>
tl::unexpected<Failure> failedStep(const Failure& cause, std::wstring_view format, const Args&... args) {
    std::wstring line = CORE::formatText(format, args..., cause.code);
    logError(L"%s", line);
    logWarning(L"%s", cause.text);
    return fail(cause.code, std::move(line));
}

Result<void> setExpiry(DirectoryObject& user, bool expires) {
    constexpr std::int32_t neverExpires = 0x10000;
    const auto control = user.get(accountControl);
    const auto* flags = control ? std::get_if<std::int32_t>(&*control) : nullptr;
    if (!flags)
        return failedStep(control ? adsFailure(platform::adsUnspecified) : control.error(),
                          L"Failed to get userAccountControl. error=0x%x");
    const auto put = user.put(accountControl, expires ? *flags & ~neverExpires : *flags | neverExpires);
    if (!put) return failedStep(put.error(), L"Failed to set userAccountControl. error=0x%x");
    return {};
}

}  // namespace

Result<ClientAccounts> ClientAccounts::of(DomainBindings& domains) {
    using namespace platform::startup;
    const CORE::PropertyBag configuration = domains.service().configuration();
    platform::DirectoryCredentials credentials;
    const std::wstring user = configuration.get(clientAuthAdminUser).str();
    if (user.empty()) return ClientAccounts(domains, std::move(credentials));
    const std::wstring domain = configuration.get(clientAuthAdminDomain).str();
    credentials.user = toUtf8(domain.empty() ? user : domain + L"\\" + user);
    CORE::mstr password = CORE::SecurityManager::System().Decrypt(configuration.get(clientAuthAdminPassword));
    credentials.password = CORE::secretstring(password);
    password.clearAndWipe();
    if (credentials.password.empty())
        return fail(L"The password of the administrative account " + toWide(credentials.user) +
                    L" cannot be decrypted");
    return ClientAccounts(domains, std::move(credentials));
}

std::wstring ClientAccounts::dnsNameOf(const std::wstring& domain) const {
    const auto& known = domains_.domains();
    if (!known) return {};
    std::wstring dnsName = known->dnsName(domain);
    return dnsName.empty() && known->all.contains(domain) ? domain : dnsName;
}

bool ClientAccounts::standsIn(const std::wstring& unitDn, const std::wstring& domain) const {
    return CORE::equalFolded(toWide(platform::dnsDomainOf(toUtf8(unitDn))), dnsNameOf(domain));
}

bool ClientAccounts::isSameDomain(const std::wstring& one, const std::wstring& other) const {
    if (CORE::equalFolded(one, other)) return true;
    const std::wstring name = dnsNameOf(one);
    return !name.empty() && CORE::equalFolded(name, dnsNameOf(other));
}

Result<DirectoryObjectPtr> ClientAccounts::open(const std::string& path) {
    return domains_.service().platform().directoryServices->openObject(path, credentials_,
                                                                       platform::adsSecureAuthentication);
}

// --- what accounts are made of

Result<DirectoryObjectPtr> ClientAccounts::openUnit(const std::wstring& dn) {
    const auto& known = domains_.domains();
    if (!known) return fail(known.error());
    const std::string name = toUtf8(dn), domain = platform::dnsDomainOf(name);
    if (domain.empty() || !known->all.contains(toWide(domain)))
        return fail(adsFailure(platform::adsNoSuchObject));
    return open(platform::directoryPathText({.dn = name}));
}

Result<DirectoryObjectPtr> ClientAccounts::openUsers(const std::wstring& domain) {
    if (const auto& known = domains_.domains(); !known) return fail(known.error());
    const std::wstring dnsName = dnsNameOf(domain);
    if (dnsName.empty()) return fail(adsFailure(platform::adsNoSuchDomain));
    return open(platform::directoryPathText({.dn = "CN=Users," + domainRoot(dnsName)}));
}

Result<std::optional<std::string>> ClientAccounts::findPath(const std::string& binding,
                                                            const std::string& filter) {
    const DomainSearch search(domains_, binding, ConnectionMgr::subtree, credentials_);
    if (!search) return fail(CORE::formatText(L"Bind to %s failed", binding));
    const auto rows = readRows(*search, filter, {pathColumn}, 1);
    if (!rows) return fail(rows.error());
    if (rows->empty()) return std::optional<std::string>();
    return rows->front().text(pathColumn);
}

Result<std::optional<std::string>> ClientAccounts::findGroup(const std::wstring& name,
                                                             const std::wstring& domain) {
    const auto& known = domains_.domains();
    if (!known) return fail(known.error());
    const std::string filter =
        "(&(objectClass=group)" + platform::filterTerm("sAMAccountName", toUtf8(name)) + ")";
    const std::wstring only = dnsNameOf(domain);
    Result<std::optional<std::string>> outcome;
    for (const bool own : {true, false})
        for (const CORE::BagProperty& one : known->all.props()) {
            const std::wstring dnsName = toWide(one.name);
            const bool asked = domain.empty() || CORE::equalFolded(dnsName, only);
            if (!asked || known->primary.contains(dnsName) != own) continue;
            auto found = findPath(ldapBinding(dnsName), filter);
            if (found && *found) return found;
            if (!found) outcome = std::move(found);
        }
    return outcome;
}

// --- making one

Result<DirectoryObjectPtr> ClientAccounts::create(DirectoryObject& unit, const NewAccount& account) {
    const std::string name = toUtf8(account.clientId);
    auto user = unit.create(userClass, "CN=" + platform::escapeDnValue(name));
    if (!user) return failedStep(user.error(), L"Failed to create the user object. error=0x%x");
    if (const auto put = (*user)->put("sAMAccountName", name); !put)
        return failedStep(put.error(), L"Failed to set sAMAccoutName. error=0x%x");
    if (const auto put = (*user)->put("displayName", name); !put)
        return failedStep(put.error(), L"Failed to set displayName. error=0x%x");
    if (const auto written = (*user)->setInfo(); !written)
        return failedStep(written.error(), L"Failed to SetInfo. error=0x%x");
    return user;
}

Result<void> ClientAccounts::complete(DirectoryObject& user, const NewAccount& account) {
    if (!account.password.empty())
        if (const auto set = user.setPassword(account.password); !set)
            return failedStep(set.error(), L"Failed to SetPassword. error=0x%x");
    if (auto set = setExpiry(user, account.expirePassword); !set) return set;
    if (const auto put = user.putAccountDisabled(false); !put)
        return failedStep(put.error(), L"Failed to put_AccountDisabled. error=0x%x");
    if (!account.description.empty())
        if (const auto put = user.put("description", toUtf8(account.description)); !put)
            return failedStep(put.error(), L"Failed to put_Description. error=0x%x");
    if (const auto written = user.setInfo(); !written)
        return failedStep(written.error(), L"Failed to SetInfo after setting properties. error=0x%x");
    return account.groupPath.empty() ? Result<void>() : join(user, account);
}

Result<void> ClientAccounts::join(DirectoryObject& user, const NewAccount& account) {
    const std::string path = user.path();
    if (path.empty())
        return failedStep(adsFailure(platform::adsUnspecified),
                          L"Failed to get created user ADsPath error=0x%x");
    const auto group = open(account.groupPath);
    if (!group)
        return failedStep(group.error(), L"Failed to get AD group object '%s' error=0x%x", account.group);
    if (const auto added = (*group)->addMember(path); !added)
        return failedStep(added.error(), L"Failed to add user '%s' to group '%s' error=0x%x",
                          account.clientId, account.group);
    return {};
}

Result<Sid> ClientAccounts::sidOf(DirectoryObject& user, const NewAccount& account) {
    auto sid = userOf(domains_, account.domain + L"\\" + account.clientId);
    logDebug(L"usernameToSID returns SID '%s' for newly created user '%s'", sid ? sid->text() : std::string(),
             account.clientId);
    if (sid) return *sid;
    logDebug(L"Emtpy SID from usernameToSID for newly created user '%s', using alternative method to get SID",
             account.clientId);
    const auto value = user.get("objectSid");
    const auto* bytes = value ? std::get_if<platform::DirectoryBytes>(&*value) : nullptr;
    if (bytes) sid = Sid::fromBytes(bytes->bytes);
    if (!sid) return fail(L"User creation code returns an empty user SID.");
    return *sid;
}

// --- one that is there

Result<std::string> ClientAccounts::findUser(const Sid& sid) {
    const auto found = searchBySids(domains_, {sid}, "(objectClass=user)", {pathColumn});
    if (const auto row = found.rows.find(sid); row != found.rows.end()) return row->second.text(pathColumn);
    return fail(adsFailure(found.uncertain.empty() ? platform::adsNoSuchObject : platform::adsServerDown));
}

Result<void> ClientAccounts::update(const std::string& path, const CORE::secretstring& password,
                                    const std::optional<std::wstring>& description) {
    const auto user = open(path);
    if (!user) return failedStep(user.error(), L"Failed to open the user object. error=0x%x");
    if (!password.empty())
        if (const auto set = (*user)->setPassword(password); !set)
            return failedStep(set.error(), L"Failed to SetPassword. error=0x%x");
    if (description) {
        const auto put = description->empty()
                             ? (*user)->putEx(platform::PutOperation::clear, "description", {})
                             : (*user)->put("description", toUtf8(*description));
        if (!put) return failedStep(put.error(), L"Failed to put description. error=0x%x");
    }
    if (const auto written = (*user)->setInfo(); !written)
        return failedStep(written.error(), L"Failed to SetInfo after updating AD user. error=0x%x");
    return {};
}

// Through its container: that takes the right to delete users there, where deleting the object with all below
// it would take more. The container stays open for the next removal.
Result<void> ClientAccounts::remove(const std::string& path) {
    auto container = platform::parseDirectoryPath(path);
    const auto names = container ? platform::explodeDn(container->dn) : std::nullopt;
    const auto parent = container ? platform::parentDn(container->dn) : std::nullopt;
    if (!names || names->empty() || !parent) return fail(adsFailure(platform::adsBadPathName));
    container->dn = *parent;
    std::string containerPath = platform::directoryPathText(*container);
    if (!container_ || containerPath != containerPath_) {
        auto opened = open(containerPath);
        if (!opened) return fail(opened.error());
        container_ = std::move(*opened);
        containerPath_ = std::move(containerPath);
    }
    auto removed = container_->removeChild(userClass, names->front());
    if (!removed) container_.reset();  // its connection may be lost
    return removed;
}

}  // namespace wsadmin
