// Listings of machines, on a lab.
#include <gtest/gtest.h>

#include "machines/handlers.h"
#include "machines/machines_lab.h"

namespace {

using namespace wsadmin;
using namespace wstest;

std::string full(const std::string& name, const std::string& sid, const std::string& owner,
                 const std::string& pool, const std::string& status = "remote") {
    return "machine-entry={dn=" + machineDn(name) + ", machine-name=" + name + ", assigned-user-sid=" + sid +
           owner + ", id=" + name +
           ", state=, moid=, ipHost=, ipHostOverride=, vmpath=, template=, created=" + pool +
           ", local-status=" + status + "}";
}

TEST(MachineListing, ShowsWhatIsAskedFor) {
    PeopleLab lab(officeWith(
        machine("vm1", "sales", sidOf(1001)) + machine("vm2", "sales", sidOf(4444)) +
        machine("vm3", "gone", "nobody", {{"zre-mVDIOfflineUser", "somebody"}}) + machine("vm4", "") +
        record(machineDn("pm"), {{"objectClass", "zre-PM"}}) +  // without a name for people
        record(machineDn("other"), {{"objectClass", "container"}})));
    const std::string sales = ", pool-dn=" + poolDn("sales") + ", pool-name=sales",
                      alice = ", assigned-user-domain=corp.example, assigned-user-account-name=alice";
    const auto brief = [](const std::string& cn, const std::string& name) {
        return "machine-entry={dn=" + machineDn(cn) + ", machine-name=" + name + "}";
    };
    const std::string vm1 = full("vm1", sidOf(1001), alice, sales), vm2 = full("vm2", sidOf(4444), "", sales),
                      vm3 = full("vm3", "nobody", "", ", pool-dn=" + poolDn("gone") + ", pool-name=gone",
                                 "local"),
                      vm4 = full("vm4", "", "", "");
    const auto list = [](const std::string& entries) { return "machine-list={" + entries + "}"; };
    const std::string bothGiven =
        "! A machine name cannot be specified with either a desktopname and/or a username";
    const struct {
        Attributes request;
        std::string answer;
    } rows[] = {
        {{},
         list(brief("vm1", "vm1") + ", " + brief("vm2", "vm2") + ", " + brief("vm3", "vm3") + ", " +
              brief("vm4", "vm4") + ", " + brief("pm", ""))},
        {{{"machineName", "vm4"}}, list(vm4)},
        {{{"machineName", "VM3"}}, list(vm3)},
        {{{"machineName", "*"}}, list("")},
        {{{"desktopName", "sales"}}, list(vm1 + ", " + vm2)},
        {{{"username", "CORP\\alice"}}, list(vm1)},
        {{{"username", "CORP\\alice"}, {"desktopName", "sales"}}, list(vm1)},
        {{{"username", "CORP\\alice"}, {"desktopName", "shared"}}, list("")},
        {{{"machineDn", machineDn("vm2")}, {"forceFullListing", "true"}}, list(vm2)},
        {{{"username", "CORP\\nobody"}}, "! Cannot determine SID for user"},
        {{{"username", "CORP\\nobody"}, {"machineName", "vm1"}}, "! Cannot determine SID for user"},
        {{{"username", "CORP\\alice"}, {"machineName", "vm1"}}, bothGiven},
        {{{"desktopName", "sales"}, {"machineName", "vm1"}}, bothGiven},
        {{{"desktopName", "gone"}}, "! Could not locate pool gone"},
        {{{"desktopName", "sales,OU=Servers"}}, "! Could not locate pool sales,OU=Servers"},
        {{{"machineDn", "no name"}}, "! Failed to perform search"},
    };
    for (const auto& row : rows)
        EXPECT_EQ(textOf(getMachineInfo(*lab.service, bagOf(row.request))), row.answer)
            << row.request.size() << (row.request.empty() ? "" : row.request.front().second);
    lab.closeBindings();
    EXPECT_EQ(lab.counts->live, 0);
}

TEST(MachineListing, BearsAnEntryWithThousandsOfValues) {
    Attributes many;
    for (int i = 0; i < 10000; ++i) many.emplace_back("description", "value " + std::to_string(i));
    PeopleLab lab(officeWith(machine("vm1", "sales", "", many)));
    EXPECT_EQ(getMachineInfo(*lab.service, bagOf({{"desktopName", "sales"}})).getBag(L"machine-list").size(),
              1U);
}

// Names of pools go into names and filters; owners are compared as SIDs, and shown as they are written.
TEST(MachineListing, TakesNamesAndOwnersAsTheyAre) {
    const std::string pool = R"(a, (b)\\*+c #1)", written = R"(a\, (b)\\\\*\+c #1)";
    std::string lower = sidOf(1001);
    lower[0] = 's';
    PeopleLab lab(officeWith(poolRecord(written, 1) + machine("vm1", written, lower) +
                             machine("vm2", "sales", sidOf(1002))));
    const auto answer = getMachineInfo(*lab.service, bagOf({{"desktopName", pool}}));
    const auto& list = answer.getBag(L"machine-list");
    ASSERT_EQ(list.size(), 1U) << textOf(answer);
    const auto& entry = list.getBag(L"machine-entry");
    EXPECT_EQ(CORE::toUtf8(entry.get(L"pool-name")), pool);
    EXPECT_EQ(CORE::toUtf8(entry.get(L"assigned-user-sid")), lower);
    EXPECT_EQ(entry.get(L"assigned-user-account-name"), L"alice");
    EXPECT_EQ(textOf(setVMOwnership(*lab.service, bagOf({{"desktop", pool}, {"sid", lower}}))),
              "! The machine (vm1) in this pool is already assigned to the specified user");
}

// Nor do the searches for owners grow with the pages: those that a page brings wait for more.
TEST(MachineListing, AsksForEachOwnerOnce) {
    constexpr int count = 600;
    std::string machines;
    for (int i = 0; i < count; ++i)
        machines += machine("vm" + std::to_string(i), "sales", sidOf(1001 + i / 250));
    PeopleLab lab(officeWith(machines));
    static_cast<void>(getMachineInfo(*lab.service, bagOf({{"machineName", "vm0"}})));  // makes the domain map
    lab.counts->forget();
    const auto answer = getMachineInfo(*lab.service, bagOf({{"desktopName", "sales"}}));
    EXPECT_EQ(answer.getBag(L"machine-list").size(), static_cast<std::size_t>(count));
    EXPECT_EQ(answer.getBag(L"machine-list").getBag(count - 1).get(L"assigned-user-account-name"), L"carol");
    EXPECT_EQ(lab.counts->searchesFor("objectSid="), 1);
    EXPECT_EQ(lab.counts->searchesFor("zre-MemberDNOf="), 3);  // pages
}

TEST(MachineListing, IsWholeOrNotAtAll) {
    std::string machines;
    for (int i = 0; i < 1000; ++i) machines += machine("vm" + std::to_string(i), "sales");
    const struct {
        std::string faults, sentence;
    } rows[] = {
        {"die-after-pages = 3", "! Failed to perform search"},
        {"refuse-page-cookies = true", "! Failed to perform search"},
    };
    for (const auto& row : rows)
        for (const char* whole : {"false", "true"}) {
            PodContent content = officeWith(machines);
            content.podFaults = row.faults;
            PeopleLab lab(content);
            const auto answer = getMachineInfo(*lab.service, bagOf({{"forceFullListing", whole}}));
            EXPECT_EQ(textOf(answer), row.sentence) << row.faults;
            EXPECT_TRUE(answer.empty());
        }
}

TEST(AgentAddresses, AreListedAndSet) {
    PeopleLab lab(
        officeWith(machine("vm1", "sales", "",
                           {{"ipHostNumber", "10.0.0.1"}, {"zre-ipHostNumberOverride", "a.example"}}) +
                   machine("vm2", "sales")));
    const std::string notAssigned = "! Failed to assign network address to configuration - ";
    const struct {
        bool sets;
        Attributes request;
        std::string answer, stored;
    } rows[] = {
        {false, {}, "! A desktop pool name must be provided", "a.example"},
        {false,
         {{"desktopName", "sales"}},
         "machine-list={machine-entry={machine-name=vm1, ipHost=10.0.0.1, ipHostOverride=a.example}, "
         "machine-entry={machine-name=vm2, ipHost=, ipHostOverride=}}",
         "a.example"},
        {false, {{"desktopName", "sales"}, {"machineName", "vm9"}}, "! No machines found", "a.example"},
        {false, {{"desktopName", "gone"}}, "! Could not locate pool gone", "a.example"},
        {true, {{"machineName", "vm1"}}, "! A desktop pool name must be provided", "a.example"},
        {true,
         {{"desktopName", "sales"}, {"ipAddress", "10.0.0.2"}},
         "! A machine name must be provided when setting an IP/DNS value",
         "a.example"},
        {true,
         {{"desktopName", "sales"}, {"machineName", "vm1"}, {"ipAddress", "10.0.0.256"}},
         notAssigned + "\"10.0.0.256\" is no IP address and no DNS name",
         "a.example"},
        {true,
         {{"desktopName", "sales"}, {"machineName", "vm1"}, {"ipAddress", "fe80::1"}},
         "status=OK",
         "fe80::1"},
        {true,
         {{"desktopName", "sales"}, {"machineName", "vm1"}, {"ipAddress", "host_1.example"}},
         "status=OK",
         "host_1.example"},
        {true,
         {{"desktopName", "sales"}, {"machineName", "vm9"}, {"ipAddress", ""}},
         "! No machines found",
         "host_1.example"},
        {true, {{"desktopName", "sales"}, {"machineName", "vm1"}}, "status=OK", ""},
        {true,
         {{"desktopName", "sales"}, {"machineName", "vm1"}},
         "! Failed to remove assigned network address from configuration - No Such Attribute",
         ""},
    };
    for (const auto& row : rows) {
        const auto answer = row.sets ? setMachineAgentInfo(*lab.service, bagOf(row.request))
                                     : getMachineAgentInfo(*lab.service, bagOf(row.request));
        EXPECT_EQ(textOf(answer), row.answer);
        EXPECT_EQ(storedValues(lab, machineDn("vm1"), "zre-ipHostNumberOverride"), row.stored) << row.answer;
    }
}

}  // namespace
