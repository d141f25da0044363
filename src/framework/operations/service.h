// Rows of the operations of the service itself.
#pragma once

#include "framework/operation_table.h"
#include "framework/operations/domains.h"
#include "framework/operations/nested_keys.h"
#include "framework/service_operations.h"

namespace wsadmin::row {

inline constexpr KeyInfo domainHealth[] = {
    {L"DOMAINHEALTH", L"bag", L"", L"what getDomainHealth answers; an error of it stays in here"},
};
inline constexpr wchar_t domainHealthPath[] = L"DOMAINHEALTH";
inline constexpr auto DiagResult = joined<domainHealth, under<domainHealthPath, getDomainHealthResult>>;
inline constexpr Operation Diag{
    .name = L"Diag",
    .bag = wsadmin::Diag,
    .text = L"Reports the state of the service, which is the health of the domains that it knows.",
    .result = DiagResult,
};

inline constexpr KeyInfo setServiceConfigurationRequest[] = {
    {L"forestCheckInterval", L"integer", L"15",
     L"minutes that the knowledge of the domains is kept before it is gathered anew; at least 15"},
};
inline constexpr Operation setServiceConfiguration{
    .name = L"setServiceConfiguration",
    .bag = wsadmin::setServiceConfiguration,
    .changes = true,
    .text = L"Sets how often the running service gathers its knowledge of domains and trusts anew.",
    .request = setServiceConfigurationRequest,
    .example = L"forestCheckInterval=30",
};

inline constexpr KeyInfo getAppdataLocationResult[] = {
    {L"appdataLocation", L"text", L"", L"the folder's path"},
};
inline constexpr Operation getAppdataLocation{
    .name = L"getAppdataLocation",
    .bag = wsadmin::getAppdataLocation,
    .text = L"Tells the folder on this server in which the system keeps its own files.",
    .result = getAppdataLocationResult,
};

}  // namespace wsadmin::row
