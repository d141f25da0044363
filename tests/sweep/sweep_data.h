// The data of the fault sweep: what is asked beside the examples of the operation table, which codes a call
// fails with, and which answers are neither complete nor an error.
#pragma once

#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "platform/platform.h"

namespace sweep {

// Operations of the federation are asked on the lab that has one.
inline constexpr std::wstring_view onFederatedLab[] = {L"getGlobalEntitledDesktops"};

struct Request {
    std::wstring_view operation;
    std::wstring_view keys;  // as typed to the tool
};

// What the example of the operation does not reach.
inline constexpr Request moreRequests[] = {
    {L"getEntitlementGroups", L"dn=\"CN=Alice Able,OU=Staff,DC=corp,DC=example\" includeUserSID=true"},
    {L"getEntitlementGroups", L"SID=S-1-5-21-2000-2000-2000-1105"},
    {L"getEntitlementGroups", L"subjectDN=\"CN=Alice, O=Corp, C=EX\" issuerDN=\"CN=Corp CA, O=Corp, C=EX\""},
    {L"getUserInformation", L"SID=S-1-5-21-3000-3000-3000-1101"},
    {L"updateSingleUserFSP", L"username=bob@mail.example"},
    {L"usernameToSID", L"username=olga"},
    {L"usernameToSID", L"username=bob@mail.example"},
    {L"getUnentitledMachines", L""},
    {L"getUnentitledPolicies", L""},
    {L"deleteConnectionServerEntry", L"servername=VSS1"},
    {L"setDefaultDesktop", L"username=\"CORP\\bob\" desktopname=sales"},
    {L"setDefaultDesktop", L"username=\"CORP\\alice\""},
    {L"getUserContext", L"SID=S-1-5-21-2000-2000-2000-1105 listNames=true"},
    {L"setVMOwnership", L"desktop=sales machineName=vm-sales-01 removeAssignment=true"},
    {L"setVMOwnership",
     L"desktop=engineering machineName=vm-engineering-15 sid=S-1-5-21-2000-2000-2000-1106"},
    {L"getMachineInfo", L""},
    {L"getMachineInfo", L"username=\"CORP\\bob\""},
    {L"getMachineInfo", L"machineName=vm-sales-01"},
    {L"checkAdminPermission", L"permission=Read"},
    {L"saveDomainConfig", L"operation=add connectionserver=VCS1 listtype=search domain=legacy.example"},
    {L"saveDomainConfig", L"operation=removeall listtype=exclude"},
    {L"getMachineAgentInfo", L"desktopName=sales machineName=vm-sales-01"},
    {L"setMachineAgentInfo", L"desktopName=sales machineName=vm-sales-03"},
    {L"getDomainHealth", L""},
    {L"upnToSid", L"upn=olga@branch.example"},
    {L"upnToSid", L"upn=bob@mail.example"},
};

struct Code {
    int code;
    bool lasting = false;  // the port stays dead
};
struct CodesOfCalls {
    std::string_view calls;  // how their names begin; the first row that fits counts
    std::vector<Code> codes;
};

// Of so many calls of one kind each fails with all its codes, of further ones with one of them in turn.
inline constexpr std::size_t manyOfAKind = 3;

inline constexpr int answeredWithError = 1, notHandled = 2;  // of a message

// The codes that a call fails with, one at a time.
inline const std::vector<Code>& codesOf(std::string_view call) {
    using namespace wsadmin::platform;
    constexpr int systemNoName = 1355, systemNoPath = 3, systemDenied = 5, systemNoFile = 2;
    static const std::vector<CodesOfCalls> table = {
        {"ldap open", {{ldapServerDown, true}}},
        {"ldap bind", {{ldapServerDown, true}, {ldapInvalidCredentials}}},
        {"ldap search", {{ldapServerDown, true}, {ldapFilterError}}},
        {"ldap ", {{ldapServerDown, true}, {ldapInsufficientRights}, {ldapNoSuchObject}}},
        {"ads setPreference", {{adsBadParameter}}},
        {"ads column", {{adsUnspecified}}},
        {"ads get", {{adsServerDown, true}, {adsPropertyNotFound}}},
        {"ads next", {{adsServerDown, true}, {adsAccessDenied}}},
        {"ads ", {{adsServerDown, true}, {adsAccessDenied}, {adsNoSuchObject}}},
        {"accounts bufferSizesFor", {{accountNoServer, true}, {accountNoneMapped}}},
        {"accounts token", {{accountInsufficientBuffer}, {accountNotEnoughMemory}, {accountNoServer}}},
        {"accounts logOn", {{accountNoServer}, {accountNoSuchPackage}, {accountDisabled}}},
        {"accounts ", {{accountNoServer, true}, {accountNoToken}}},
        {"names ", {{systemNoName}}},
        {"folders ", {{systemNoPath}}},
        {"registry ", {{systemDenied}}},
        {"processes ", {{systemNoFile}}},
        {"message ", {{answeredWithError}, {notHandled}}},
    };
    for (const CodesOfCalls& row : table)
        if (call.starts_with(row.calls)) return row.codes;
    throw std::logic_error("no codes are known for " + std::string(call));
}

// What stands for all faults of the calls by which a service learns the domains.
inline constexpr std::string_view learningDomains = "learning the domains";

enum class Partial {
    fewerEntries,    // some of the complete answer's entries are missing
    changesMissing,  // the complete answer, but not everything was written
    other,           // another answer
};
struct PartialAnswer {
    std::wstring_view operation;
    std::string_view fault;  // how the name of the fault begins: the failing call, or `learningDomains`
    Partial kind;
    std::string_view why;
    std::string_view answer{};  // of `other`: the answer, with * for any text
};

// Answers that are neither complete nor an error, as docs/choices.md has them.
inline constexpr std::string_view notBound =
                                      "a domain that does not answer is listed as one that cannot be bound",
                                  corpNotBound =
                                      "*{name=CORP * contactable=CANNOTBIND trustType=PRIMARYDOMAIN}*",
                                  branchNotBound =
                                      "*{name=BRANCH * contactable=CANNOTBIND trustType=TWOWAY}*",
                                  sidAlone = "a group whose name cannot be looked up has its SID only",
                                  ownerAlone = "an owner whose account cannot be looked up has the SID only",
                                  nobody = "of a domain that cannot be asked nobody is reported",
                                  noSid = "the SID is empty where there is none to be had",
                                  onlyLogged = "what cannot be read or written is only logged",
                                  mixed = "mixed mode is assumed where nobody tells the mode";
inline constexpr PartialAnswer partialAnswers[] = {
    {L"Diag", "ads openObject LDAP://corp", Partial::other, notBound, corpNotBound},
    {L"Diag", "ads get LDAP://corp", Partial::other, notBound, corpNotBound},
    {L"Diag", "ads openObject LDAP://branch", Partial::other, notBound, branchNotBound},
    {L"Diag", "ads get LDAP://branch", Partial::other, notBound, branchNotBound},
    {L"getDomainHealth", "ads openObject LDAP://corp", Partial::other, notBound, corpNotBound},
    {L"getDomainHealth", "ads get LDAP://corp", Partial::other, notBound, corpNotBound},
    {L"getDomainHealth", "ads openObject LDAP://branch", Partial::other, notBound, branchNotBound},
    {L"getDomainHealth", "ads get LDAP://branch", Partial::other, notBound, branchNotBound},
    {L"getDomainHealth", "message winauth getTrustedDomains", Partial::other,
     "the error stands beside what was last known", "!1 *; domain{*"},
    {L"getDomainType", "ads ", Partial::other, mixed, "isMixedMode=true"},
    {L"getNetBiosName", "names ", Partial::fewerEntries, "the name is left out where it cannot be read"},
    {L"getAppdataLocation", "folders ", Partial::other, "the next best folder is named",
     "appdataLocation=C:\\Program Files\\Talvex\\Talvex Vorn"},
    {L"checkLdapConnectivity", "ldap open", Partial::fewerEntries, "without a session nothing is answered"},
    {L"checkLdapConnectivity", "ldap bind", Partial::fewerEntries, "without a session nothing is answered"},
    {L"checkLdapConnectivity", "ldap ", Partial::other, "the failure is the answer", "result=failed *"},

    {L"usernameToSID", "ads ", Partial::other, noSid, "sid="},
    {L"usernameToSID", "accounts ", Partial::other, noSid, "sid="},
    {L"usernameToSID", learningDomains, Partial::other, noSid, "sid="},
    {L"getUserTokenGroups", "accounts token user", Partial::fewerEntries,
     "the user's own SID is left out where neither the token nor the request has it"},
    {L"getEntitlementGroups", "ads setPreference LDAP://corp", Partial::fewerEntries, sidAlone},
    {L"getEntitlementGroups", "ads execute LDAP://corp", Partial::fewerEntries, sidAlone},
    {L"getEntitlementGroups", "ads next LDAP://corp", Partial::fewerEntries, sidAlone},
    {L"getEntitlementGroups", "ads column LDAP://corp", Partial::fewerEntries, sidAlone},
    {L"getEntitlementGroups", "accounts namesOf", Partial::fewerEntries, sidAlone},
    {L"getUserContext", "ads setPreference LDAP://corp", Partial::fewerEntries, sidAlone},
    {L"getUserContext", "ads execute LDAP://corp", Partial::fewerEntries, sidAlone},
    {L"getUserContext", "ads next LDAP://corp", Partial::fewerEntries, sidAlone},
    {L"getUserContext", "ads column LDAP://corp", Partial::fewerEntries, sidAlone},
    {L"getUserContext", "accounts namesOf", Partial::fewerEntries, sidAlone},
    {L"getUserInformation", "ads setPreference LDAP://", Partial::fewerEntries, sidAlone},
    {L"getUserInformation", "ads execute LDAP://", Partial::fewerEntries, sidAlone},
    {L"getUserInformation", "ads next LDAP://", Partial::fewerEntries, sidAlone},
    {L"getUserInformation", "ads column LDAP://", Partial::fewerEntries, sidAlone},
    {L"getUserInformation", "accounts namesOf", Partial::fewerEntries, sidAlone},
    {L"updateSingleUserFSP", "ldap modify", Partial::changesMissing, onlyLogged},
    {L"updateAllUserFSPs", "ldap modify", Partial::changesMissing, onlyLogged},
    {L"updateAllUserFSPs", "ads ", Partial::changesMissing, onlyLogged},
    {L"updateAllUserFSPs", learningDomains, Partial::changesMissing, onlyLogged},

    {L"getMachineInfo", "ads ", Partial::fewerEntries, ownerAlone},
    {L"getMachineInfo", learningDomains, Partial::fewerEntries, ownerAlone},
    {L"markMachineForSpaceReclamation", "ldap modify", Partial::changesMissing,
     "the second of the two writes decides"},
    {L"setDefaultDesktop", "ldap modify", Partial::changesMissing,
     "an assignment that is gone has no mark to be removed"},
    {L"deleteConnectionServerEntry", "ldap modify", Partial::changesMissing,
     "the last write to the server's own entry decides"},
    {L"getUnentitledMachines", "ads ", Partial::fewerEntries, nobody},
    {L"getUnentitledMachines", learningDomains, Partial::fewerEntries, nobody},
    {L"getUnentitledPolicies", "ldap result of search CN=", Partial::fewerEntries,
     "what is set for a desktop that is gone is passed over"},
    {L"getUnentitledPolicies", "ads ", Partial::fewerEntries, nobody},
    {L"getUnentitledPolicies", learningDomains, Partial::fewerEntries, nobody},
};

}  // namespace sweep
