// Directories as network services: addresses, accounts and slowness. What else a fault does is shown by the
// cases that have one.
#include "lab/directory_fixture.h"

namespace wsadmin::platform::lab {
namespace {

using std::chrono::milliseconds;
using namespace std::string_literals;

LdapCredentials credentials(const std::string& user, const std::string& password,
                            const std::string& domain = {}) {
    return {LdapCredentials::Method::negotiate, user, domain, CORE::secretstring(password)};
}

int bindTo(LabNetwork& network, const std::string& host, std::uint16_t port, bool tls = false) {
    const auto session = network.open({host, port, tls});
    return session ? codeOf((*session)->bind({})) : -1;
}

TEST(LabServer, IsReachedByItsAddressesOnly) {
    TestDirectory test;
    EXPECT_EQ(bindTo(test.network, "", 389), ldapSuccess);
    EXPECT_EQ(bindTo(test.network, "LAB.example", 3268), ldapSuccess);
    EXPECT_EQ(bindTo(test.network, "", 636, true), ldapSuccess);
    EXPECT_EQ(bindTo(test.network, "", 389, true), ldapServerDown);
    EXPECT_EQ(bindTo(test.network, "", 390), ldapServerDown);
    EXPECT_EQ(bindTo(test.network, "elsewhere", 389), ldapServerDown);
    const auto nobody = test.network.open({"elsewhere"});
    EXPECT_EQ(codeOf(readEntry(**nobody, "")), ldapServerDown);
    EXPECT_EQ(codeOf((*nobody)->remove("DC=t")), ldapServerDown);
}

TEST(LabServer, AdmitsItsAccounts) {
    Account account{"Admin", "CORP", "corp.example", CORE::secretstring("secret")};
    // The entry of that name has no password of its own.
    TestDirectory test(testContent + "\ndn: CN=admin,DC=t\nobjectClass: user\nsAMAccountName: Admin\n"s, {},
                       {}, {account});
    const struct {
        LdapCredentials given;
        int code;
    } table[] = {
        {{}, ldapSuccess},  // the process itself
        {credentials("admin", "secret"), ldapSuccess},
        {credentials("admin", "secret", "corp"), ldapSuccess},
        {credentials("ADMIN", "secret", "Corp.Example"), ldapSuccess},
        {credentials("corp\\admin", "secret"), ldapSuccess},
        {credentials("admin@CORP.example", "secret"), ldapSuccess},
        {credentials("admin", "Secret"), ldapInvalidCredentials},
        {credentials("admin", ""), ldapInvalidCredentials},
        {credentials("admin", "secret", "other"), ldapInvalidCredentials},
        {credentials("admin@other.example", "secret"), ldapInvalidCredentials},
        {credentials("somebody", "secret"), ldapInvalidCredentials},
    };
    for (const auto& row : table) EXPECT_EQ(codeOf(test.open()->bind(row.given)), row.code) << row.given.user;
    const auto anonymous = test.open();
    EXPECT_EQ(codeOf(anonymous->bind({LdapCredentials::Method::anonymous, {}, {}, {}})), ldapSuccess);
    EXPECT_EQ(codeOf(readEntry(*anonymous, "DC=t")), ldapOperationsError);
    EXPECT_EQ(codeOf(readEntry(*anonymous, "")), ldapSuccess);
    EXPECT_EQ(codeOf(searchBelow(*anonymous, "", "(cn=*)")), ldapOperationsError);
}

// As domain controllers take it.
LdapModification passwordChange(const std::string& password) {
    std::string wire;
    for (const char c : '"' + password + '"') wire += std::string{c, '\0'};
    return {LdapModify::replace, "unicodePwd", {wire}};
}

TEST(LabServer, AUserThatIsMadeInADomainBindsWithItsOwnPassword) {
    TestDirectory test(
        "dn: DC=t\nobjectClass: domainDNS\nobjectSid: S-1-5-21-1-2-3\n\n"
        "dn: CN=old,DC=t\nobjectClass: user\nsAMAccountName: old\nobjectSid: S-1-5-21-1-2-3-1500\n\n"
        "dn: CN=Configuration,DC=t\nobjectClass: configuration\n\n"
        "dn: CN=Partitions,CN=Configuration,DC=t\nobjectClass: crossRefContainer\n\n"
        "dn: CN=CORP,CN=Partitions,CN=Configuration,DC=t\nobjectClass: crossRef\nnCName: DC=t\n"
        "nETBIOSName: CORP\n",
        activeDirectory());
    ASSERT_TRUE(test.loaded) << failureText(test.loaded.error());
    const auto plain = test.bound();
    LdapEndpoint endpoint;
    endpoint.startTls = StartTls::required;
    const auto session = std::move(test.network.open(endpoint).value());
    ASSERT_TRUE(session->bind({}));
    const auto add = [&](const char* dn, const char* name) {
        return codeOf(session->add({dn,
                                    {{"objectClass", {"user"}},
                                     {"sAMAccountName", {name}},
                                     {"userPrincipalName", {std::string(name) + "@mail.example"}}}}));
    };
    EXPECT_EQ(add("CN=other,DC=t", "OLD"), ldapAlreadyExists);
    EXPECT_EQ(add("CN=new,DC=t", "kiosk"), ldapSuccess);
    const LdapEntry made = readEntry(*session, "CN=new,DC=t").value().entries.at(0);
    EXPECT_EQ(Sid::fromBytes(made.first("objectSid"))->text(), "S-1-5-21-1-2-3-1501");
    EXPECT_EQ(made.first("userAccountControl"), "546");
    EXPECT_EQ(made.first("primaryGroupID"), "513");
    EXPECT_EQ(made.first("pwdLastSet"), "0");
    EXPECT_TRUE(made.first("objectCategory").starts_with("CN=person,CN=Schema,"))
        << made.first("objectCategory");

    const auto set = [&](LdapSession& by, LdapModification change) {
        return codeOf(by.modify("CN=new,DC=t", {std::move(change)}));
    };
    EXPECT_EQ(set(*plain, passwordChange("secret")), ldapUnwillingToPerform);
    for (const std::string& sent : {"secret"s, "\"\0"s, passwordChange("secret").values.front() + "x"})
        EXPECT_EQ(set(*session, {LdapModify::replace, "unicodePwd", {sent}}), ldapUnwillingToPerform);
    EXPECT_EQ(set(*session, passwordChange("secret")), ldapSuccess);
    EXPECT_EQ(readEntry(*session, "CN=new,DC=t").value().entries.at(0).first("pwdLastSet"),
              "134116992000000000");
    EXPECT_EQ(codeOf(test.open()->bind(credentials("kiosk", "secret"))), ldapInvalidCredentials)
        << "disabled";
    EXPECT_EQ(set(*session, {LdapModify::replace, "userAccountControl", {"512"}}), ldapSuccess);
    const struct {
        LdapCredentials given;
        int code;
    } table[] = {
        {credentials("kiosk", "secret"), ldapSuccess},
        {credentials("Kiosk", "secret", "corp"), ldapSuccess},
        {credentials("corp\\KIOSK", "secret"), ldapSuccess},
        {credentials("kiosk@t", "secret"), ldapSuccess},
        {credentials("kiosk@Mail.example", "secret"), ldapSuccess},
        {credentials("cn=NEW, dc=t", "secret"), ldapSuccess},
        {credentials("kiosk", "Secret"), ldapInvalidCredentials},
        {credentials("CN=new,DC=t", "other"), ldapInvalidCredentials},
        {credentials("kiosk@t", ""), ldapInvalidCredentials},
        {credentials("old", "any"), ldapSuccess},  // who has no password is anybody
        {credentials("other\\kiosk", "any"), ldapSuccess},
    };
    for (const auto& row : table) EXPECT_EQ(codeOf(test.open()->bind(row.given)), row.code) << row.given.user;
}

TEST(LabServer, WithoutAccountsAdmitsWhoeverGivesAPassword) {
    TestDirectory test;
    EXPECT_EQ(codeOf(test.open()->bind(credentials("anybody", "any"))), ldapSuccess);
    // As the real clients refuse it: servers take such a bind for an anonymous one.
    EXPECT_EQ(codeOf(test.open()->bind(credentials("anybody", ""))), ldapInvalidCredentials);
    EXPECT_EQ(codeOf(test.open()->bind({LdapCredentials::Method::simple, {}, {}, {}})), ldapParamError);
}

TEST(LabServer, ASlowOneTakesTimeOfTheLab) {
    Faults slow;
    slow.slow = milliseconds(5001);
    TestDirectory test(testContent, {}, slow);
    const auto before = test.clock->now();
    EXPECT_EQ(codeOf(test.open()->bind({})), ldapTimeout);  // slower than the connect time-out
    EXPECT_EQ(test.clock->now() - before, milliseconds(5000));
    LdapEndpoint patient;
    patient.connectTimeout = milliseconds(6000);
    const auto session = std::move(test.network.open(patient).value());
    EXPECT_EQ(codeOf(session->bind({})), ldapSuccess);
    EXPECT_EQ(codeOf(readEntry(*session, "DC=t")), ldapSuccess);
    EXPECT_EQ(test.clock->now() - before, milliseconds(5000 + 2 * 5001));
}

TEST(LabServer, WhatASlowOneDelaysEndsWhenTheServiceStops) {
    Faults slow;
    slow.slow = milliseconds(4000);
    TestDirectory test(testContent, {}, slow);
    LdapEndpoint hasty;
    hasty.connectTimeout = milliseconds(1);
    const auto session = test.bound(), late = std::move(test.network.open(hasty).value());
    const auto before = test.clock->now();
    test.network.stop();
    for (const auto& ended :
         {session->bind({}), late->bind({}), session->modify("OU=a,DC=t", {{LdapModify::add, "url", {"x"}}})})
        EXPECT_EQ(failureText(ended.error()), "The service is stopping");
    EXPECT_EQ(codeOf(readEntry(*session, "DC=t")), ldapUserCancelled);
    EXPECT_EQ(test.clock->now(), before);
    EXPECT_EQ(test.changedFile(), "");
}

TEST(LabServer, ThatDiedIsGoneForNewSessions) {
    Faults faults;
    faults.dieAfterOperations = 1;
    TestDirectory test(testContent, {}, faults);
    const auto session = test.bound();
    EXPECT_EQ(codeOf(readEntry(*session, "DC=t")), ldapSuccess);
    EXPECT_EQ(codeOf(readEntry(*session, "DC=t")), ldapServerDown);
    EXPECT_EQ(codeOf(test.open()->bind({})), ldapServerDown);
}

}  // namespace
}  // namespace wsadmin::platform::lab
