// In which domains, and by which filters, people are looked for.
#include "identity/user_search.h"

#include "identity/handlers.h"
#include "identity/scripted_people.h"

using namespace wstest;
using namespace wsadmin;

namespace {

constexpr int alice = 1102;
constexpr const char *corp = ScriptedPeople::corp, *catalogue = ScriptedPeople::catalogue,
                     *partner = ScriptedPeople::partner;
const std::wstring noDomains = L"Could not determine SID for UPN - no domains identified";

// Alice is found where that path is asked with that in the filter.
std::function<Answer(const Asked&)> aliceAt(const std::string& path, const std::string& filter) {
    return [=](const Asked& asked) {
        if (asked.path != path || asked.filter.find(filter) == std::string::npos) return Answer{};
        return Answer{.rows = {{{"objectSid", {sidValue(alice)}}}}};
    };
}

std::vector<std::string> paths(const std::vector<Asked>& searches) {
    std::vector<std::string> all;
    for (const Asked& asked : searches) all.push_back(asked.path);
    return all;
}

TEST(UserSearch, OfAPrincipalNameGoesFromTheLikelyDomainToTheTrustedOnes) {
    const std::string sam = "(sAMAccountName=alice)", upn = "(userPrincipalName=";
    const struct {
        std::string upn, holder, by;
        std::vector<std::string> searched;
    } rows[] = {
        {"alice@corp", corp, sam, {corp}},
        {"alice@PARTNER.example", partner, upn, {"LDAP://PARTNER.example", partner}},
        // Its domain is asked for the logon name, the forest as the likely and as the primary domain.
        {"alice@lab.corp.example", partner, upn, {"LDAP://lab.corp.example", catalogue, catalogue, partner}},
        {"alice@elsewhere", catalogue, upn, {"LDAP://elsewhere", catalogue}},
        {"alice@b@corp", catalogue, upn, {catalogue}},  // the first "@" counts: "b@corp" is no host
        {"alice@OLD", catalogue, upn, {catalogue}},     // no DNS name
        {"alice@corp/CN=x", catalogue, upn, {catalogue}},
        {"alice@corp.example:3268", catalogue, upn, {catalogue}},
        {"alice@DC=corp,DC=example", catalogue, upn, {catalogue}},
        {"alice@" + std::string(1'000'000, 'a'), catalogue, upn, {catalogue}},
        {"alice", partner, upn, {catalogue, partner}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.upn.substr(0, 60));
        ScriptedPeople people;
        people.answer = aliceAt(row.holder, row.by);
        EXPECT_EQ(upnToSid(people.service, requestOf(L"upn", {row.upn})).utf8(L"SID"), sidOf(alice));
        EXPECT_EQ(paths(people.searches), row.searched);
        people.expectAllGivenBack();
    }
}

TEST(UserSearch, PassesOverDomainsThatCannotBeAsked) {
    const struct {
        Answer forest;
        const wchar_t* line = nullptr;
        bool catalogueDown = false;
    } rows[] = {
        {{}, L"Bind to GC: failed", true},
        {{.code = adsServerDown}, L"Search failed on binding GC:"},
        {{.lastCode = adsServerDown}, L"Search failed on binding GC:"},
        {{.rows = {{}}, .columnCode = adsServerDown}, L"Search failed on binding GC:"},
        {{.rows = {{}}}},  // an entry without SID
        {{.rows = {{{"objectSid", {DirectoryBytes{"no SID"}}}}}}},
    };
    for (const auto& row : rows) {
        ScriptedPeople people;
        if (row.catalogueDown) people.directories->objects.erase("GC:");
        people.answer = [&](const Asked& asked) {
            return asked.path == catalogue ? row.forest : aliceAt(partner, "")(asked);
        };
        const LogCapture log(CORE::logWarning);
        EXPECT_EQ(upnToSid(people.service, requestOf(L"upn", {"alice"})).utf8(L"SID"), sidOf(alice));
        EXPECT_TRUE(!row.line || log.contains(CORE::logWarning, row.line)) << row.line;
        people.expectAllGivenBack();
    }
}

TEST(UserSearch, SaysInTheLogWhatItDoes) {
    ScriptedPeople people;
    people.answer = aliceAt(catalogue, "(userPrincipalName=");
    people.service.domainMap->getDomainMap(true);
    const LogCapture log;
    const auto result = upnToSid(people.service, requestOf({{L"upn", "ali*@CORP.example"}}));
    ASSERT_EQ(result.get(L"SID"), CORE::toWide(sidOf(alice)));
    const std::wstring bySam = L"(&(objectClass=user)(|(sAMAccountName=ali\\2A)))",
                       byUpn = L"(&(objectClass=user)(|(userPrincipalName=ali\\2A@CORP.example)))";
    std::vector<std::wstring> said;
    for (const LogLine& line : log.lines())
        if (line.text.find(L"onnection") == std::wstring::npos && line.text.find(L"pDS") != 0 &&
            line.text.find(L"Released") != 0)  // not the pool's
            said.push_back(line.text);
    EXPECT_EQ(said,
              (std::vector<std::wstring>{
                  L"Will search for CORP.example\\ali* with a bind location of LDAP://CORP.example",
                  L"Domain list used for search is CORP.example=LDAP://CORP.example",
                  L"Checking domain CORP.example using bind address=LDAP://CORP.example search=" + bySam,
                  L"Returned sid is ", L"The most likely domain for the search is CORP.example",
                  L"The most likely domain has a bind location of GC:",
                  L"Domain list used for search is CORP.example=GC:",
                  L"Checking domain CORP.example using bind address=GC: search=" + byUpn,
                  L"Found the user sid " + CORE::toWide(sidOf(alice)) + L" with the binding GC:",
                  L"Returned sid is " + CORE::toWide(sidOf(alice)),
                  L"A match was found using the domain extracted from the UPN"}));
}

TEST(UserSearch, AsksForAllPrincipalNamesAtOnce) {
    ScriptedPeople people;
    CORE::PropertyBag asked = requestOf({{L"upn", "a@x"}, {L"UPN", ""}, {L"Upn", "b)(cn=*@y"}});
    static_cast<void>(getEntitlementGroups(people.service, asked));
    ASSERT_FALSE(people.searches.empty());
    EXPECT_EQ(people.searches.front().filter,
              "(&(objectClass=user)(|(userPrincipalName=a@x)(userPrincipalName=b\\29\\28cn=\\2A@y)))");

    for (int i = 0; i < 10'000; ++i) asked.add(L"upn", std::string_view("u" + std::to_string(i)));
    people.searches.clear();
    const auto result = getEntitlementGroups(people.service, asked);
    EXPECT_EQ(paths(people.searches), (std::vector<std::string>{catalogue, partner}));
    EXPECT_EQ(result.getErrorText(), L"Failed to obtain sid for user with specified upns (first upn=a@x)");
}

TEST(UserSearch, OfACertificateAsksForIssuerAndSubjectAndThenForTheSubject) {
    ScriptedPeople people;
    const auto result = getEntitlementGroups(
        people.service, requestOf({{L"subjectDN", "CN=Al,C=EX"}, {L"issuerDN", "CN=CA, C=EX"}}));
    EXPECT_EQ(result.getErrorText(),
              L"Failed to obtain sid for user with subject=CN=Al,C=EX issuer=CN=CA, C=EX");
    std::vector<std::string> asked, expected;
    for (const Asked& search : people.searches) asked.push_back(search.path + search.filter);
    for (const char* identity : {"X509:<I>C=EX,CN=CA<S>C=EX,CN=Al", "X509:<S>C=EX,CN=Al"})
        for (const std::string path : {catalogue, partner})
            expected.push_back(path + "(&(objectClass=user)(altSecurityIdentities=" + identity + "))");
    EXPECT_EQ(asked, expected);
}

TEST(UserSearch, WithoutADomainMapHasASentence) {
    const std::wstring noInformation = L"Unable to obtain user information from Active Directory";
    const struct {
        CORE::PropertyBag (*handler)(ServiceContext&, const CORE::PropertyBag&);
        CORE::PropertyBag request;
        std::wstring sentence;
    } rows[] = {
        {upnToSid, requestOf({{L"upn", "alice@corp"}}), noDomains},
        {getEntitlementGroups, requestOf({{L"upn", "alice@corp"}}), noDomains},
        {getUserContext, requestOf({{L"subjectDN", "CN=Al"}, {L"issuerDN", "CN=CA"}}), noDomains},
        {getUserContext, requestOf({{L"SID", sidOf(alice)}}), noInformation},
        {getUserInformation, requestOf({{L"SID", sidOf(alice)}}), noInformation},
        {usernameToSID, requestOf({{L"username", "CORP\\a-name-beyond-20-characters"}}), L""},
    };
    CORE::PropertyBag broken;
    broken.setError(L"nobody knows");
    for (const bool service : {true, false})
        for (const auto& row : rows) {
            SCOPED_TRACE(CORE::toUtf8(row.request.flattenForDisplay()));
            ScriptedPeople people(broken);
            if (!service) people.service.domainMap = {};
            const LogCapture log(CORE::logError);
            const auto result = row.handler(people.service, row.request);
            EXPECT_EQ(result.getErrorText(), row.sentence);
            EXPECT_EQ(result.get(L"SID"), L"");
            EXPECT_TRUE(log.contains(CORE::logError, L"The domain map has no part primaryDomain"));
            EXPECT_TRUE(people.searches.empty());
        }
}

}  // namespace
