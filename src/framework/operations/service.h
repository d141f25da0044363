// Rows of the operations of the service itself.
#pragma once

#include "framework/operation_table.h"
#include "framework/operations/domains.h"
#include "framework/operations/nested_keys.h"
#include "framework/service_operations.h"

namespace wsadmin::row {

inline constexpr Key domainHealth[] = {
    {L"DOMAINHEALTH", KeyType::bag, L"", L"what getDomainHealth answers; an error of it stays in here"},
};
inline constexpr wchar_t domainHealthPath[] = L"DOMAINHEALTH";
inline constexpr auto DiagResult = joined<domainHealth, under<domainHealthPath, getDomainHealthResult>>;
inline constexpr Operation Diag{
    .name = L"Diag",
    .run = answer<&ServiceOperations::diag>,
    .text = L"Reports the state of the service, which is the health of the domains that it knows.",
    .result = DiagResult,
};

inline constexpr Key setServiceConfigurationRequest[] = {key::forestCheckInterval};
inline constexpr Operation setServiceConfiguration{
    .name = L"setServiceConfiguration",
    .run = answer<&ServiceOperations::setServiceConfiguration>,
    .changes = true,
    .text =
        L"Sets how often the running service gathers its knowledge of domains and trusts anew, until it "
        L"ends.",
    .request = setServiceConfigurationRequest,
    .example = L"forestCheckInterval=30",
};

inline constexpr Key getAppdataLocationResult[] = {
    {L"appdataLocation", KeyType::text, L"", L"the folder's path"},
};
inline constexpr Operation getAppdataLocation{
    .name = L"getAppdataLocation",
    .run = answer<&ServiceOperations::getAppdataLocation>,
    .text = L"Tells the folder on this server in which the system keeps its own files.",
    .result = getAppdataLocationResult,
};

}  // namespace wsadmin::row
