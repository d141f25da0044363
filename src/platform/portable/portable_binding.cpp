#include "platform/portable/portable_binding.h"

#include <algorithm>
#include <array>
#include <utility>

#include "platform/ldap/ldap_request.h"
#include "platform/ldap/lost_connection.h"

namespace wsadmin::platform {

namespace {

struct Mapping {
    int ldapCode;
    std::uint32_t hresult;
};

// As the platform maps them: HRESULTs of the directory's own system errors.
constexpr Mapping mappings[] = {
    {ldapOperationsError, 0x80072020},
    {ldapProtocolError, 0x80072021},
    {ldapTimeLimitExceeded, 0x80072022},
    {ldapSizeLimitExceeded, 0x80072023},
    {ldapAdminLimitExceeded, 0x80072024},
    {ldapAuthMethodNotSupported, 0x80072027},
    {ldapReferral, 0x8007202B},
    {ldapUnavailableCriticalExtension, 0x8007202C},
    {ldapConfidentialityRequired, 0x8007202D},
    {ldapNoSuchAttribute, 0x8007200A},
    {ldapUndefinedType, 0x8007200C},
    {ldapConstraintViolation, 0x8007202F},
    {ldapAttributeOrValueExists, 0x8007200D},
    {ldapInvalidSyntax, 0x8007200B},
    {ldapNoSuchObject, 0x80072030},
    {ldapInvalidDnSyntax, 0x80072032},
    {ldapInappropriateAuth, 0x80072029},
    {ldapInvalidCredentials, 0x8007052E},
    {ldapInsufficientRights, 0x80070005},
    {ldapBusy, 0x8007200E},
    {ldapUnavailable, 0x8007200F},
    {ldapUnwillingToPerform, 0x80072035},
    {ldapNamingViolation, 0x80072037},
    {ldapObjectClassViolation, 0x80072014},
    {ldapNotAllowedOnNonLeaf, 0x80072015},
    {ldapNotAllowedOnRdn, 0x80072016},
    {ldapAlreadyExists, 0x80071392},
    {ldapResultsTooLarge, 0x80072038},
    {ldapAffectsMultipleDsas, 0x80072039},
    {ldapServerDown, 0x8007203A},
    {ldapLocalError, 0x8007203B},
    {ldapEncodingError, 0x8007203C},
    {ldapDecodingError, 0x8007203D},
    {ldapTimeout, 0x800705B4},
    {ldapAuthUnknown, 0x8007202A},
    {ldapFilterError, 0x8007203E},
    {ldapUserCancelled, 0x800704C7},
    {ldapParamError, 0x8007203F},
    {ldapConnectError, 0x800704C9},
    {ldapNotSupported, 0x80072040},
    {ldapNoResultsReturned, 0x80072041},
    {ldapControlNotFound, 0x80072042},
};

int codeOf(int ldapCode) {
    const auto* const found = std::ranges::find(mappings, ldapCode, &Mapping::ldapCode);
    return found == std::end(mappings) ? static_cast<int>(adsUnspecified) : static_cast<int>(found->hresult);
}

}  // namespace

Failure adsFailure(const Failure& ldapFailure) {
    const int code = codeOf(ldapFailure.code);
    return {code, directoryErrorText(code, adsCodeText(code), static_cast<std::uint32_t>(ldapFailure.code),
                                     ldapFailure.text)};
}

Failure adsFailure(int code) {
    return {code, directoryErrorText(code, adsCodeText(code), 0, {})};
}

DirectoryPath PortableBinding::pathTo(std::string dn) const {
    DirectoryPath other = path;
    other.rootDse = false;
    other.dn = std::move(dn);
    return other;
}

Result<std::shared_ptr<LdapSession>> PortableBinding::confidentialSession() const {
    if (session->confidential()) return session;
    LdapEndpoint protectedEndpoint = endpoint;
    protectedEndpoint.startTls = StartTls::required;
    auto opened = client->open(protectedEndpoint);
    if (!opened) return fail(adsFailure(opened.error()));
    if (auto bound = (*opened)->bind(credentials); !bound) return fail(adsFailure(bound.error()));
    if (!(*opened)->confidential())
        return fail(adsFailure(Failure{ldapConfidentialityRequired,
                                       L"No new password is sent to " + CORE::toWide(hostOf(endpoint)) +
                                           L", because the connection has no TLS"}));
    return std::shared_ptr<LdapSession>(std::move(*opened));
}

Failure PortableBinding::failure(const Failure& cause) const {
    // A server that sends without end may go on with it.
    if (isConnectionLost(cause.code) || cause.code == ldapResultsTooLarge) lost->store(true);
    return adsFailure(cause);
}

}  // namespace wsadmin::platform
