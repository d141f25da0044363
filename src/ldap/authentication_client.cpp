#include "ldap/authentication_client.h"

#include <utility>

#include "framework/core/message.h"

namespace wsadmin {

using CORE::MessageHandler;
using CORE::PropertyBag;

namespace {

PropertyBag send(const wchar_t* worker, const wchar_t* operation, const PropertyBag& request,
                 const wchar_t* failure) {
    PropertyBag response;
    if (!MessageHandler::SendMsg(worker, operation, request, response)) {
        response.clear();
        response.setError(1, failure);
    }
    return response;
}

PropertyBag sendToWinauth(const wchar_t* operation, const PropertyBag& request) {
    return send(L"winauth", operation, request, L"Failed to issue request to winauth service");
}

}  // namespace

std::uint64_t ws_winauth::askAvailable(CORE::ThreadGroup& owner, std::function<void(bool)> answer) {
    constexpr int waitMs = 10000;
    PropertyBag request;
    request.set(L"QueueName", std::wstring_view(L"winauth"));
    request.setInt(L"Timeout", waitMs);
    const auto done = [answer = std::move(answer)](CORE::RespType type, const PropertyBag&) {
        answer(type == CORE::RespType::handled);
    };
    return MessageHandler::SendAsyncMsg(L"System", L"IsWorkerInstalled", std::move(request), done,
                                        {.callbackOwner = &owner});
}

PropertyBag ws_winauth::getTrustedDomains(std::wstring_view initialDomain) {
    PropertyBag request;
    if (!initialDomain.empty()) request.set(L"initialDomain", initialDomain);
    return sendToWinauth(L"getTrustedDomains", request);
}

PropertyBag ws_winauth::setDomainConfig(const PropertyBag& configuration) {
    return sendToWinauth(L"setDomainConfig", configuration);
}

PropertyBag ws_adminaccess::loadDomainConfig() {
    return send(L"ws_admin", L"loadDomainConfig", {}, L"Failed to issue request to ws_admin service");
}

}  // namespace wsadmin
