// A connection of the platform's LDAP client: its handle, its time limits and its codes.
#pragma once

#include "platform/windows/handles.h"
// After the platform's headers:
#include <memory>

#include "platform/ldap/ldap_limits.h"

namespace wsadmin::platform::windows {

// The types of the platform's client.
struct Library {
    using Character = wchar_t;
    using Berval = berval;
    using Timeval = l_timeval;
    using Control = LDAPControlW;
    using Modification = LDAPModW;
};

struct LdapMessage {
    int type = 0;
    UniqueLdapMessage message;
};

// The failure for a code of the client.
Failure failureOf(ULONG code);

// Shared by a session and its searches on their way; unbinds when the last of them goes.
class LdapConnection {
  public:
    using Id = ULONG;

    static Result<std::shared_ptr<LdapConnection>> open(const LdapEndpoint& endpoint,
                                                        std::shared_ptr<const LdapStop> stop);

    LDAP* handle() const noexcept { return handle_.get(); }
    const LdapEndpoint& endpoint() const noexcept { return endpoint_; }

    Result<void> bind(const LdapCredentials& credentials);
    // The security layer of a negotiated bind is not looked at: by default it only signs.
    bool confidential() const noexcept { return endpoint_.tls || startedTls_; }
    bool connected() const noexcept { return false; }  // the client reads by itself and does not say
    // Requests, on their way when these return (wldap_requests.cpp).
    Result<ULONG> sendSearch(const LdapSearch& wire) const;
    Result<ULONG> sendAdd(const LdapEntry& wire) const;
    Result<ULONG> sendModify(const std::string& dn, const std::vector<LdapModification>& changes,
                             const std::vector<LdapControl>& controls) const;
    Result<ULONG> sendRemove(const std::string& dn, const std::vector<LdapControl>& controls) const;
    Result<ULONG> sendRename(const std::string& dn, const std::string& newRdn, const std::string& newParent,
                             bool deleteOldRdn) const;
    Result<LdapEntry> readEntry(const LdapMessage& message, std::size_t) const;

    // The next message that answers an operation; the operation is abandoned when the wait ends without one.
    Result<LdapMessage> receive(ULONG id, const LdapWait& wait) const;
    Result<void> finish(ULONG id, const LdapWait& wait) const;
    // The outcome in a result message; controls, of a search, are what came with it.
    Result<void> outcome(const LdapMessage& message, std::vector<LdapControl>* controls = nullptr) const;
    void abandon(ULONG id) const noexcept;

  private:
    LdapConnection(UniqueLdap handle, LdapEndpoint endpoint, std::shared_ptr<const LdapStop> stop)
        : handle_(std::move(handle)), endpoint_(std::move(endpoint)), stop_(std::move(stop)) {}
    ULONG setOptions() const;
    ULONG setTlsOptions() const;
    Result<void> connectAndBind(const LdapCredentials& credentials);
    Result<void> protect(bool simple, std::string_view user);
    Result<void> checkTlsVersion() const;
    Result<void> bindSimply(const std::wstring& name, std::wstring& password, const LdapWait& wait) const;
    Result<void> awaitAnswer(const LdapWait& wait) const;
    Result<void> negotiate(const LdapCredentials& credentials, const LdapWait& wait) const;

    UniqueLdap handle_;
    LdapEndpoint endpoint_;
    std::shared_ptr<const LdapStop> stop_;
    bool startedTls_ = false;
};

}  // namespace wsadmin::platform::windows
