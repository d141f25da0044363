// What outlived an entitlement, on a lab.
#include <gtest/gtest.h>

#include "machines/handlers.h"
#include "machines/machines_lab.h"
#include "support/log_capture.h"

namespace {

using namespace wsadmin;
using namespace wstest;

// Who is reported for what: "outer: inner: items; ", by the names of the entries.
std::string outline(const CORE::PropertyBag& answer, bool byUser, bool machines) {
    if (answer.getError()) return textOf(answer);
    const auto name = [](const CORE::PropertyBag& entry, const wchar_t* thing) {
        const CORE::PropertyBag& bag = entry.getBag(thing);
        const std::wstring_view key = std::wstring_view(thing) == L"user" ? L"account-name" : L"name";
        return CORE::toUtf8(bag.get(key, bag.get(L"sid")));
    };
    const wchar_t *outer = byUser ? L"user" : L"desktop", *inner = byUser ? L"desktop" : L"user";
    const auto list = [](const wchar_t* thing) { return std::wstring(thing) + L"-list"; };
    const auto entry = [](const wchar_t* thing) { return std::wstring(thing) + L"-entry"; };
    const CORE::PropertyBag& all =
        answer.getBag(machines ? L"unentitled-machine-report" : L"unentitled-policy-report")
            .getBag(byUser ? L"byuser-list" : L"bydesktop-list");
    std::string text;
    for (std::size_t i = 0; const auto* one = all.getNextBag(entry(outer), i);) {
        text += name(*one, outer) + ":";
        const CORE::PropertyBag& below = one->getBag(list(inner));
        for (std::size_t j = 0; const auto* two = below.getNextBag(entry(inner), j);) {
            text += " " + name(*two, inner) + ":";
            const CORE::PropertyBag& items = two->getBag(machines ? L"machine-list" : L"policy-list");
            for (std::size_t k = 0;
                 const auto* item = items.getNextBag(machines ? L"machine" : L"policy", k);) {
                text += " " + CORE::toUtf8(item->get(L"name"));
                for (const auto& flag : item->getBag(L"unentitled-type").props())
                    text += "+" + std::string(flag.name);
            }
        }
        text += "; ";
    }
    return text;
}

const std::string desks =
    desktop("front", "sales", {sidOf(1001), sidOf(1102)}) + desktop("back", "shared", {sidOf(1002)});

TEST(UnentitledMachines, AreThoseOfWhoLostTheDesktop) {
    PeopleLab lab(officeWith(desks + machine("alices", "sales", sidOf(1001)) +  // on the list
                             machine("carols", "sales", sidOf(1003)) +          // through two groups
                             machine("bobs", "sales", sidOf(1002)) +            // not at all
                             machine("both", "sales", sidOf(1002), {{"zre-mVDIOfflineUser", sidOf(1002)}}) +
                             machine("lent", "sales", sidOf(1001), {{"zre-mVDIOfflineUser", sidOf(1002)}}) +
                             machine("marked", "shared", sidOf(1001), {{"zre-mVDIOfflineUser", "yes"}}) +
                             machine("left", "shared", sidOf(4444)) +  // nobody any more
                             machine("free", "sales") + machine("poolless", "", sidOf(1002)) +
                             machine("lost", "gone", sidOf(1002)) + machine("odd", "sales", "nobody")));
    EXPECT_EQ(outline(getUnentitledMachines(*lab.service, {}), true, true),
              "alice: back: marked+assigned-to-user+checked-out-by-user; "
              "bob: front: bobs+assigned-to-user both+assigned-to-user+checked-out-by-user "
              "lent+checked-out-by-user; " +
                  sidOf(4444) + ": back: left+assigned-to-user; ");
    EXPECT_EQ(outline(getUnentitledMachines(*lab.service, bagOf({{"listbyuser", "false"}})), false, true),
              "back: alice: marked+assigned-to-user+checked-out-by-user " + sidOf(4444) +
                  ": left+assigned-to-user; "
                  "front: bob: bobs+assigned-to-user both+assigned-to-user+checked-out-by-user "
                  "lent+checked-out-by-user; ");
    const auto report = getUnentitledMachines(*lab.service, {});
    const std::string text = textOf(report);
    EXPECT_NE(
        text.find("machine={display-name=bobs, name=bobs, moid=, vmpath=, pool-dn=" +
                  wstest::poolDn("sales") + ", nodarium-dn=CN=nd1,OU=Nodarium,OU=Properties," + podBase +
                  ", nodarium-url=https://nd1.example/sdk, unentitled-type={assigned-to-user=}}"),
        std::string::npos)
        << text;
    EXPECT_NE(text.find("desktop={display-name=Desktop front, name=front}"), std::string::npos) << text;
    EXPECT_NE(text.find("user={cn=bob, dn=CN=bob,DC=corp,DC=example, domain=CORP, domain-full=corp.example, "
                        "account-name=bob, account-properties={normal-user-account=}, sid=" +
                        sidOf(1002) + "}"),
              std::string::npos)
        << text;
    lab.closeBindings();
    EXPECT_EQ(lab.counts->live, 0);
}

// What is asked grows with users, pools and pages, not with machines.
TEST(UnentitledMachines, AskOncePerUserAndPool) {
    constexpr int count = 600;
    std::string machines;
    for (int i = 0; i < count; ++i)
        machines += machine("vm" + std::to_string(i), "sales", sidOf(i % 2 ? 1003 : 1002));
    PeopleLab lab(officeWith(desks + machines));
    static_cast<void>(getMachineInfo(*lab.service, bagOf({{"machineName", "vm0"}})));  // makes the domain map
    lab.counts->forget();
    const auto answer = getUnentitledMachines(*lab.service, {});
    EXPECT_EQ(lab.counts->searchesFor("zre-Servers="), 1);
    EXPECT_EQ(lab.counts->searchesFor("objectclass=zre-VM"), 3);  // pages
    EXPECT_LE(lab.counts->searches().size(), 20U);
    EXPECT_NE(textOf(answer).find("account-name=bob"), std::string::npos);
    EXPECT_EQ(textOf(answer).find("account-name=carol"), std::string::npos);
}

TEST(UnentitledMachines, NobodyIsReportedWhoCouldNotBeAsked) {
    PodContent content = officeWith(desks + machine("bobs", "sales", sidOf(1002)));
    content.corpFaults = "refuse-connections = true";
    PeopleLab lab(content);
    EXPECT_EQ(outline(getUnentitledMachines(*lab.service, {}), true, true), "");
}

TEST(UnentitledMachines, NobodyIsReportedWhoseGroupsCannotBeRead) {
    PodContent content =
        officeWith(desks + machine("bobs", "sales", sidOf(1002)) + machine("alices", "shared", sidOf(1001)));
    content.corpFaults =
        "[[directory.faults.fail]]\noperation = \"search\"\ndn = \"CN=bob,DC=corp,DC=example\"\ncode = 50";
    PeopleLab lab(content);
    const LogCapture log(CORE::logWarning);
    EXPECT_EQ(outline(getUnentitledMachines(*lab.service, {}), true, true),
              "alice: back: alices+assigned-to-user; ");
    EXPECT_TRUE(
        log.contains(CORE::logWarning, CORE::toWide("Failed to determine whether " + sidOf(1002) +
                                                    " is entitled to CN=front,OU=Applications," + podBase)));
}

// Groups that are in each other, and a desktop with more members than a directory gives at once.
TEST(UnentitledMachines, GroupsInARingAndLongMemberLists) {
    std::vector<std::string> members;
    for (int i = 0; i < 9999; ++i) members.push_back(sidOf(100000 + i));
    members.push_back(sidOf(1203));
    PodContent content =
        officeWith(desktop("wide", "sales", members) + machine("rings", "sales", sidOf(1201)) +
                   machine("last", "sales", sidOf(100000 + 9998)) + machine("bobs", "sales", sidOf(1002)));
    content.corp += person("ring", 1201) + group("One", 1202, {"ring", "Two"}) + group("Two", 1203, {"One"});
    content.corp +=
        person("knot", 1204) + group("Three", 1205, {"knot", "Four"}) + group("Four", 1206, {"Three"});
    content.pod += machine("knots", "sales", sidOf(1204));
    PeopleLab lab(content);
    EXPECT_EQ(outline(getUnentitledMachines(*lab.service, {}), true, true),
              "bob: wide: bobs+assigned-to-user; knot: wide: knots+assigned-to-user; ");
    EXPECT_EQ(lab.counts->searchesFor("zre-Servers="), 1);
}

TEST(UnentitledMachines, SayWhereTheDirectoryFails) {
    std::string many;
    for (int i = 0; i < 600; ++i) many += machine("vm" + std::to_string(i), "sales", sidOf(1002));
    const std::string nowhere = "CN=nd1,OU=Nodarium,OU=Properties," + podBase;
    const struct {
        std::string faults, sentence;
    } rows[] = {
        {"die-after-pages = 2", "! Failed to search for machines"},
        {"refuse-page-cookies = true", "! Failed to search for machines"},
        {"[[directory.faults.fail]]\noperation = \"search\"\ndn = \"" + nowhere + "\"",
         "! Failed to obtain information on machine"},
        {"[[directory.faults.fail]]\noperation = \"search\"\ndn = \"CN=front,OU=Applications," + podBase +
             "\"",
         "! Failed when searching for desktop"},
    };
    for (const auto& row : rows) {
        PodContent content = officeWith(desks + many);
        content.podFaults = row.faults;
        PeopleLab lab(content);
        const auto answer = getUnentitledMachines(*lab.service, {});
        EXPECT_EQ(textOf(answer), row.sentence);
        EXPECT_TRUE(answer.empty());
    }
}

std::string principalContainer(const std::string& principal) {
    return record("CN=" + principal + ",OU=Policies," + podBase, {{"objectClass", "container"}});
}

std::string policy(const std::string& name, const std::string& principal, const std::string& target,
                   const Attributes& more = {}) {
    const std::string dn = "CN=" + name + ",CN=" + principal + ",OU=Policies," + podBase;
    Attributes all = {{"objectClass", "zre-mVDIPolicyObject"}, {"zre-DisplayName", "Policy " + name}};
    all.insert(all.end(), more.begin(), more.end());
    return record(dn, all) +
           record("CN=link," + dn, {{"objectClass", "zre-policyLinkObject"}, {"zre-DN", target}});
}

TEST(UnentitledPolicies, AreThoseOfWhoLostTheDesktop) {
    const std::string front = "CN=front,OU=Applications," + podBase;
    std::string containers;
    for (const std::string& principal :
         {sidOf(1001), sidOf(1002), sidOf(1003), sidOf(4444), std::string("somebody")})
        containers += principalContainer(principal);
    const std::string policies = policy("a", sidOf(1001), front) + policy("c", sidOf(1003), front) +
                                 policy("b", sidOf(1002), front,
                                        {{"zre-Disabled", "1"},
                                         {"zre-AllowMMR", "0"},
                                         {"zre-AllowUSBAccess", "1"},
                                         {"zre-mVDIOfflineCacheLifetime", "3600"}}) +
                                 policy("b2", sidOf(1002), "CN=other,OU=Elsewhere," + podBase) +
                                 policy("left", sidOf(4444), front) + policy("odd", "somebody", front) +
                                 policy("gone", sidOf(1002), "CN=gone,OU=Applications," + podBase);
    PeopleLab lab(officeWith(desks + containers + policies));
    EXPECT_EQ(outline(getUnentitledPolicies(*lab.service, {}), true, false), "bob: front: b; ");
    EXPECT_EQ(outline(getUnentitledPolicies(*lab.service, bagOf({{"listbyuser", "0"}})), false, false),
              "front: bob: b; ");
    const std::string text = textOf(getUnentitledPolicies(*lab.service, {}));
    EXPECT_NE(
        text.find(
            "policy={display-name=Policy b, description=, name=b, state=Disabled, "
            "offline-allowed=Inherit, client-rollback-allowed=Inherit, offline-cache-lifetime=3600, "
            "usb-allowed=Allow, mmr-allowed=Deny, remote-allowed=Inherit, hostcard-acceleration=Inherit}"),
        std::string::npos)
        << text;
}

// A link right below the user's container has no policy.
TEST(UnentitledPolicies, SayWhereTheDirectoryFails) {
    const std::string front = "CN=front,OU=Applications," + podBase,
                      bobs = "CN=" + sidOf(1002) + ",OU=Policies,";
    const std::string lost =
        record("CN=lost," + bobs + podBase, {{"objectClass", "zre-policyLinkObject"}, {"zre-DN", front}});
    const auto refused = [](const std::string& dn) {
        return "[[directory.faults.fail]]\noperation = \"search\"\ndn = \"" + dn + "\"\ncode = 51";
    };
    const struct {
        std::string links, faults, answer;
        std::vector<LogLine> lines;
    } rows[] = {
        {lost,
         "",
         "! Failed to obtain policy information",
         {{CORE::logError, L"Failed to obtain information on policy"},
          {CORE::logError,
           L"Failed to obtain information on policy, Policy DN = " + CORE::toWide(bobs + podBase)}}},
        {policy("b", sidOf(1002), front),
         refused("CN=b," + bobs + podBase),
         "! Failed to obtain policy information",
         {{CORE::logError, L"Failed to search for policy"}}},
        {policy("b", sidOf(1002), front),
         refused("OU=Policies," + podBase),
         "! Failed to perform search",
         {}},
        {policy("b", sidOf(4444), front),
         "",
         "",
         {{CORE::logWarning, L"Error: Not found in Active Directory"},
          {CORE::logWarning, L"Could not determine a DN for SID=" + CORE::toWide(sidOf(4444))}}},
        {policy("b", "somebody", front),
         "",
         "",
         {{CORE::logWarning, L"Could not determine a SID for fsp=CN=link,CN=b,CN=somebody,OU=Policies," +
                                 CORE::toWide(podBase)}}},
        {policy("b", sidOf(1002), front),
         "",
         "bob: front: b; ",
         {{CORE::logDebug, L"Found policy link object (points to dn=" + CORE::toWide(front) + L")"},
          {CORE::logDebug, L"Determining DN for sid=" + CORE::toWide(sidOf(1002)) +
                               L", using bind=LDAP://corp.example, filter=(&(objectClass=user)(objectSid=" +
                               CORE::toWide(sidOf(1002)) + L"))"},
          {CORE::logDebug, L"All link objects processed, preparing output (list by user)"},
          {CORE::logDebug, L"Checking user=" + CORE::toWide(sidOf(1002))},
          {CORE::logDebug, L"Checking desktop=" + CORE::toWide(front)}}},
    };
    for (const auto& row : rows) {
        PodContent content =
            officeWith(desks + principalContainer(sidOf(1002)) + principalContainer(sidOf(4444)) +
                       principalContainer("somebody") + row.links);
        content.podFaults = row.faults;
        PeopleLab lab(content);
        const LogCapture log;
        const auto answer = getUnentitledPolicies(*lab.service, {});
        EXPECT_EQ(outline(answer, true, false), row.answer);
        EXPECT_TRUE(answer.getError() == 0 || answer.empty());
        for (const LogLine& line : row.lines)
            EXPECT_TRUE(log.contains(line.level, line.text)) << CORE::toUtf8(line.text);
    }
}

// The users of a page are read in one search.
TEST(UnentitledPolicies, AskForTheUsersOfAPageTogether) {
    PodContent content = officeWith(desks);
    for (int rid = 2000; rid < 2200; ++rid) {
        content.corp += person("user" + std::to_string(rid), rid);
        content.pod +=
            principalContainer(sidOf(rid)) + policy("p", sidOf(rid), "CN=front,OU=Applications," + podBase);
    }
    PeopleLab lab(content);
    static_cast<void>(getMachineInfo(*lab.service, bagOf({{"machineName", "vm0"}})));  // makes the domain map
    lab.counts->forget();
    static_cast<void>(getUnentitledPolicies(*lab.service, {}));
    EXPECT_LE(lab.counts->searchesFor("(objectSid="), 2);
    EXPECT_EQ(lab.counts->searchesFor("objectclass=zre-DesktopApplication"), 2) << "the members, the record";
}

}  // namespace
