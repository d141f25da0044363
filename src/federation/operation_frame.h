// The frame that every operation of the federation but qrvLdapInfo runs inside: one at a time, with an
// administrator's rights, on a server whose state its rule allows, and with the state flags marked meanwhile.
#pragma once

#include <functional>

#include "federation/operation_rules.h"
#include "ldap/service_context.h"

namespace wsadmin::qrv {

// Runs the body of an operation. `answer` is the operation's result, to which a failure may add the outcome
// of the step that failed. The calling thread holds a DirectoryThread. Waits without a limit for an operation
// that runs; one whose turn comes after the service was told to stop changes nothing and fails.
Result<void> runFramed(ServiceContext& service, const OperationRule& rule, CORE::PropertyBag& answer,
                       const std::function<Result<void>()>& body);

Result<void> requireAdministrator(const platform::Platform& platform);
Result<void> requireLayer(const platform::Platform& platform, Layer layer);

}  // namespace wsadmin::qrv
