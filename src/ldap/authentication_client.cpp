#include "ldap/authentication_client.h"

#include <utility>

#include "framework/core/message.h"

namespace wsadmin {

using CORE::MessageHandler;
using CORE::PropertyBag;

namespace {

constexpr wchar_t noWinauth[] = L"Failed to issue request to winauth service";

PropertyBag notSent(const wchar_t* failure) {
    PropertyBag response;
    response.setError(1, failure);
    return response;
}

std::uint64_t sendToWinauth(CORE::ThreadGroup& owner, const wchar_t* operation, PropertyBag request,
                            std::function<void(PropertyBag)> answer) {
    const auto done = [answer = std::move(answer)](CORE::RespType type, const PropertyBag& response) {
        answer(type == CORE::RespType::handled ? response : notSent(noWinauth));
    };
    return MessageHandler::SendAsyncMsg(L"winauth", operation, std::move(request), done,
                                        {.callbackOwner = &owner});
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

std::uint64_t ws_winauth::getTrustedDomains(CORE::ThreadGroup& owner, std::wstring_view initialDomain,
                                            std::function<void(PropertyBag)> answer) {
    PropertyBag request;
    if (!initialDomain.empty()) request.set(L"initialDomain", initialDomain);
    return sendToWinauth(owner, L"getTrustedDomains", std::move(request), std::move(answer));
}

std::uint64_t ws_winauth::setDomainConfig(CORE::ThreadGroup& owner, PropertyBag configuration,
                                          std::function<void(PropertyBag)> answer) {
    return sendToWinauth(owner, L"setDomainConfig", std::move(configuration), std::move(answer));
}

PropertyBag ws_adminaccess::loadDomainConfig() {
    PropertyBag response;
    const bool handled = MessageHandler::SendMsg(L"ws_admin", L"loadDomainConfig", {}, response);
    return handled ? response : notSent(L"Failed to issue request to ws_admin service");
}

}  // namespace wsadmin
