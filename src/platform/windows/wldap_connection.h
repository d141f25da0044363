// A connection of the platform's LDAP client: its handle, its time limits and its codes.
#pragma once

#include "platform/windows/handles.h"
// After the platform's headers:
#include <chrono>
#include <memory>

#include "platform/ldap_session.h"

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
    struct Scope {};  // the client needs no guard
    using Id = ULONG;

    static Result<std::shared_ptr<LdapConnection>> open(const LdapEndpoint& endpoint);

    LDAP* handle() const noexcept { return handle_.get(); }
    const LdapEndpoint& endpoint() const noexcept { return endpoint_; }

    Result<void> bind(const LdapCredentials& credentials) const;
    // Requests, on their way when these return (wldap_requests.cpp).
    Result<ULONG> sendSearch(const LdapSearch& wire) const;
    Result<ULONG> sendAdd(const LdapEntry& wire) const;
    Result<ULONG> sendModify(const std::string& dn, const std::vector<LdapModification>& changes,
                             const std::vector<LdapControl>& controls) const;
    Result<ULONG> sendRemove(const std::string& dn, const std::vector<LdapControl>& controls) const;
    Result<ULONG> sendRename(const std::string& dn, const std::string& newRdn, const std::string& newParent,
                             bool deleteOldRdn) const;
    Result<LdapEntry> readEntry(const LdapMessage& message, std::size_t) const;

    // The next message that answers an operation, 85 when none comes in time; the operation is then
    // abandoned.
    Result<LdapMessage> receive(ULONG id, std::chrono::milliseconds limit) const;
    Result<void> finish(ULONG id, std::chrono::milliseconds limit) const;
    // The outcome in a result message; controls, of a search, are what came with it.
    Result<void> outcome(const LdapMessage& message, std::vector<LdapControl>* controls = nullptr) const;
    void abandon(ULONG id) const noexcept;

  private:
    LdapConnection(UniqueLdap handle, LdapEndpoint endpoint)
        : handle_(std::move(handle)), endpoint_(std::move(endpoint)) {}
    ULONG setOptions() const;
    Result<void> bindSimply(const std::wstring& name, std::wstring& password,
                            std::chrono::milliseconds limit) const;
    Result<void> awaitAnswer(std::chrono::milliseconds limit) const;
    Result<void> negotiate(const LdapCredentials& credentials, std::chrono::milliseconds limit) const;

    UniqueLdap handle_;
    LdapEndpoint endpoint_;
};

}  // namespace wsadmin::platform::windows
