// Directories that are slow or die in between: the operation's sentence, nothing of what was read before, and
// no session left open.
#include <gtest/gtest.h>

#include <set>

#include "identity/handlers.h"
#include "identity/pod_lab.h"

using namespace wstest;
using namespace wsadmin;

namespace {

using Handler = CORE::PropertyBag (*)(ServiceContext&, const CORE::PropertyBag&);

constexpr char pod[] = R"(
dn: CN=sales,OU=Applications,DC=vdi,DC=talvex,DC=int
objectClass: zre-DesktopApplication
member: <SID=S-1-5-21-2000-2000-2000-1>

dn: CN=Masters,OU=Groups,DC=vdi,DC=talvex,DC=int
objectClass: zre-AdminRole
zre-AdminRolePermissions: Full=Allow
member: <SID=S-1-5-21-2000-2000-2000-1>
)";
// One of Alice's groups is found by her token, the other only by its members.
constexpr char corp[] = R"(
dn: CN=Alice,DC=corp,DC=example
objectClass: user
sAMAccountName: alice
userPrincipalName: alice@corp.example
objectSid: S-1-5-21-2000-2000-2000-1102
tokenGroups: S-1-5-21-2000-2000-2000-1

dn: CN=Doors,DC=corp,DC=example
objectClass: group
sAMAccountName: doors
groupType: -2147483644
objectSid: S-1-5-21-2000-2000-2000-2
member: CN=Alice,DC=corp,DC=example
)";

const std::wstring down = L"Failed to bind to LDAP - Server Down",
                   noInformation = L"Unable to obtain user information from Active Directory";

struct Question {
    const char* what;
    Handler handler;
    CORE::PropertyBag request;
    bool ofPeople;  // it is their directory that fails, not the pod's
    std::wstring whenSlow;
    std::set<CORE::wstr> whenDying;
};

std::vector<Question> questions() {
    const auto staff = requestOf(L"sid", {sidOf(1)});
    const std::wstring noUpn =
        L"Failed to obtain sid for user with specified upns (first upn=alice@corp.example)";
    return {
        {"desktops",
         getEntitledDesktops,
         staff,
         false,
         down,
         {L"No entitlements", L"Failed to find entitlements"}},
        {"permission",
         checkAdminPermission,
         staff,
         false,
         down,
         {L"Failed to open LDAP entry LDAP://127.0.0.1/ou=groups,dc=vdi,dc=talvex,dc=int"}},
        {"context by SID",
         getUserContext,
         requestOf(L"SID", {sidOf(1102)}),
         true,
         noInformation,
         {noInformation}},
        {"context by UPN",
         getUserContext,
         requestOf(L"upn", {"alice@corp.example"}),
         true,
         noUpn,
         {noUpn, noInformation}},
    };
}

struct Answered {
    CORE::PropertyBag bag;
    int live = 0, opened = 0;
};

// The lab's clock stands still but for waiting, which takes no time.
Answered ask(const Question& question, const std::string& fault) {
    const std::string faults =
        fault.empty() || !question.ofPeople ? "" : "[directory.faults]\n" + fault + "\n";
    PeopleLab lab({.pod = pod,
                   .corp = corp,
                   .corpKeys = faults,
                   .machine = "[clock]\nnow = \"2026-01-01T00:00:00Z\"\n",
                   .podFaults = question.ofPeople ? "" : fault});
    Answered answered{question.handler(*lab.service, question.request)};
    lab.closeBindings();
    answered.live = lab.counts->live;
    answered.opened = lab.counts->opened;
    return answered;
}

// Nothing beside the error but the directory's code, where that is told.
void expectFailure(const Answered& answered, std::wstring_view sentence) {
    EXPECT_EQ(answered.bag.getErrorText(), sentence);
    EXPECT_EQ(answered.bag.getError(), 1);
    EXPECT_EQ(answered.bag.size(), answered.bag.contains(L"ldaperr") ? 1U : 0U);
    EXPECT_EQ(answered.live, 0);
}

TEST(FailingDirectory, ThatIsSlowIsWaitedForUntilItIsAsGoodAsDown) {
    for (const Question& question : questions()) {
        SCOPED_TRACE(question.what);
        const auto whole = ask(question, "").bag.flattenForDisplay();
        const Answered patient = ask(question, "slow = 900");
        EXPECT_EQ(patient.bag.flattenForDisplay(), whole);
        EXPECT_EQ(patient.live, 0);
        expectFailure(ask(question, "slow = 600000"), question.whenSlow);
    }
}

TEST(FailingDirectory, ThatDiesAtAnyStepGivesNothing) {
    for (const Question& question : questions()) {
        SCOPED_TRACE(question.what);
        const Answered whole = ask(question, "");
        EXPECT_EQ(whole.bag.getErrorText(), L"");
        EXPECT_EQ(whole.live, 0);
        EXPECT_GT(whole.opened, 0);
        std::set<CORE::wstr> sentences;
        int operations = 0;
        for (;; ++operations) {
            SCOPED_TRACE(operations);
            ASSERT_LT(operations, 100);
            const Answered dying = ask(question, "die-after-operations = " + std::to_string(operations));
            if (dying.bag.flattenForDisplay() == whole.bag.flattenForDisplay()) break;
            const CORE::wstr sentence = dying.bag.getErrorText();
            expectFailure(dying, sentence);
            sentences.insert(sentence);
        }
        EXPECT_GE(operations, 2);
        EXPECT_EQ(sentences, question.whenDying);
    }
}

}  // namespace
