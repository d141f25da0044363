// Names of the federation's entries, attributes, services and outcomes, each written once.
#pragma once

#include <string>
#include <string_view>

namespace wsadmin::qrv {

// Below the naming context of the global layer.
inline constexpr char federationEntry[] = "CN=Common,OU=Global,OU=Properties,";
inline constexpr char properties[] = "OU=Properties,";
inline constexpr char pods[] = "OU=Pod,OU=Properties,";
inline constexpr char podsByDisplayName[] = "OU=POD,OU=Properties,";  // the same, as the look-up writes it
inline constexpr char rootEntry[] = "RootDSE";

// The groups of the pod's administrators, in the order in which they are touched.
inline constexpr const char* administratorGroups[] = {"Directory Administrators",
                                                      "Administrators (Read only)"};

namespace attribute {
inline constexpr char state[] = "zre-QuorinEnabled";
inline constexpr char percent[] = "zre-QuorinEnabledPercent";
inline constexpr char lastError[] = "zre-QuorinLastError";
inline constexpr char touchTime[] = "zre-TouchTime";
inline constexpr char guid[] = "zre-GUID";
inline constexpr char url[] = "zre-URL";
inline constexpr char siteDn[] = "zre-SiteDN";
inline constexpr char version[] = "zre-VornVersionNumber";
inline constexpr char created[] = "whenCreated";
inline constexpr char changed[] = "whenChanged";
inline constexpr char configurationContext[] = "configurationNamingContext";
inline constexpr char schemaContext[] = "schemaNamingContext";
inline constexpr char serviceName[] = "dsServiceName";
inline constexpr char hostName[] = "dnsHostName";
inline constexpr char objectGuid[] = "objectGUID";
inline constexpr char roleOwner[] = "fSMORoleOwner";
}  // namespace attribute

// How the last step of an installation ended.
namespace outcome {
inline constexpr std::wstring_view ok = L"QRV_OP_OK";
inline constexpr std::wstring_view error = L"QRV_OP_ERROR";
inline constexpr std::wstring_view fileSystem = L"QRV_OP_FILESYSTEM_ERROR";
inline constexpr std::wstring_view data = L"QRV_OP_CANNOT_APPLY_DATA";
inline constexpr std::wstring_view schema = L"QRV_OP_CANNOT_APPLY_SCHEMA";
inline constexpr std::wstring_view unreachable = L"QRV_OP_UNREACHABLE_SERVER";
inline constexpr std::wstring_view noPermission = L"QRV_OP_NO_PERMISSION";
inline constexpr std::wstring_view noTimeSync = L"QRV_OP_NO_TIME_SYNC";
inline constexpr std::wstring_view replication = L"QRV_OP_REPLICATION_ERROR";
}  // namespace outcome

}  // namespace wsadmin::qrv
