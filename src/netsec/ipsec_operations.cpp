#include "netsec/ipsec_operations.h"

#include "netsec/ipsec_rules.h"
#include "netsec/ipsec_rules_manager.h"
#include "netsec/netsec_keys.h"
#include "platform/text/network_address.h"

namespace wsadmin {

namespace {

constexpr wchar_t invalidEndpoint[] = L"Invalid remote endpoint";

Result<void> failedTo(std::wstring_view what, std::string_view endpoint) {
    return fail(L"Failed to " + std::wstring(what) + L" IPsec rules for endpoint \"" +
                CORE::toWide(endpoint) + L"\"");
}

bool isUsableKey(std::string_view key) {
    return !key.empty() && ipsec::staysQuoted(key);
}

}  // namespace

// The keys are read in place: no text of theirs outlives the request.
Result<void> IPsecOperations::add() {
    const std::string_view endpoint = request().utf8(key::remoteEndpoint);
    const std::string_view preSharedKey = request().utf8(key::preSharedKey);
    const std::string_view pfsSharedKey = request().utf8(key::pfsSharedKey);
    if (!platform::isIpAddress(endpoint)) return fail(invalidEndpoint);
    if (!isUsableKey(preSharedKey)) return fail(L"Invalid pre-shared key");
    if (!isUsableKey(pfsSharedKey)) return fail(L"Invalid PFS pre-shared key");
    IPsecRules rules(service().platform(), service().stopping(), endpoint);
    if (!rules.addRules(request().text(key::ruleAction).str(), preSharedKey, pfsSharedKey))
        return failedTo(L"add", endpoint);
    return {};
}

Result<void> IPsecOperations::remove() {
    const std::string_view endpoint = request().utf8(key::remoteEndpoint);
    if (!platform::isIpAddress(endpoint)) return fail(invalidEndpoint);
    if (!IPsecRules(service().platform(), service().stopping(), endpoint).deleteRules())
        return failedTo(L"delete", endpoint);
    return {};
}

Result<void> IPsecOperations::getEndpoints() {
    const std::string_view endpoint = request().utf8(key::remoteEndpoint);
    if (endpoint.empty()) return fail(invalidEndpoint);
    return IPsecRules(service().platform(), service().stopping(), endpoint).getEndpoints(result());
}

Result<void> IPsecOperations::verifyActive() {
    const std::string_view endpoint = request().utf8(key::remoteEndpoint);
    if (endpoint.empty()) return fail(invalidEndpoint);
    IPsecRules rules(service().platform(), service().stopping(), endpoint);
    result().setBool(L"IPsecRulesActive", rules.verifyActive());
    return {};
}

Result<void> IPsecOperations::monitor() {
    const auto manager = service().ipsecRules();
    if (!manager) return fail(L"There is no monitor of the IPsec rules");
    manager->monitor();
    return {};
}

}  // namespace wsadmin
