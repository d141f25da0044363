// A connection of the platform's LDAP client: its handle, its time limits and its codes.
#pragma once

#include "platform/windows/handles.h"
// After the platform's headers:
#include <chrono>
#include <memory>

#include "platform/ldap_session.h"

namespace wsadmin::platform::windows {

struct LdapMessage {
    ULONG type = 0;
    UniqueLdapMessage message;
};

// The failure for a code of the client.
Failure failureOf(ULONG code);

// Shared by a session and its searches on their way; unbinds when the last of them goes.
class LdapConnection {
  public:
    static Result<std::shared_ptr<LdapConnection>> open(const LdapEndpoint& endpoint);

    LDAP* handle() const noexcept { return handle_.get(); }
    const LdapEndpoint& endpoint() const noexcept { return endpoint_; }

    Result<void> bind(const LdapCredentials& credentials) const;
    // The next message that answers an operation, 85 when none comes in time; the operation is then
    // abandoned.
    Result<LdapMessage> receive(ULONG id, std::chrono::milliseconds limit) const;
    // The end of an operation that the client answered with `sent` when it was to be sent.
    Result<void> finish(ULONG sent, ULONG id, std::chrono::milliseconds limit) const;
    Result<void> finish(ULONG sent, ULONG id) const { return finish(sent, id, endpoint_.operationTimeout); }
    // The outcome in a result message; controls are what came with it.
    Result<void> outcome(const LdapMessage& message, std::vector<LdapControl>* controls = nullptr) const;

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
