// Owners of machines, the mark for space reclamation and default desktops: what is answered, and what stands
// in the directory afterwards.
#include <gtest/gtest.h>

#include <condition_variable>
#include <map>
#include <mutex>
#include <thread>
#include <utility>

#include "machines/handlers.h"
#include "machines/machines_lab.h"

namespace {

using namespace wsadmin;
using namespace wstest;

const Attributes removal = {{"removeAssignment", "true"}};

Attributes operator+(Attributes some, const Attributes& more) {
    some.insert(some.end(), more.begin(), more.end());
    return some;
}

Attributes of(const std::string& pool, const std::string& machine, const std::string& user = {}) {
    Attributes keys = {{"desktop", pool}, {"machineName", machine}};
    if (!user.empty()) keys.emplace_back("userName", user);
    return keys;
}

TEST(Ownership, FollowsTheRulesOfThePool) {
    PeopleLab lab(officeWith(machine("vm1", "sales") + machine("vm2", "sales", sidOf(1002)) +
                             machine("vm3", "sales", sidOf(4444), {{"zre-mVDIOfflineState", "checked out"}}) +
                             machine("vm4", "sales", "", {{"zre-mVDIOfflineState", "checked in"}}) +
                             machine("vm5", "shared")));
    const std::string
        assigned = "textmessage=Successfully assigned machine to specified user",
        removed = "textmessage=Successfully removed owner from specified machine.",
        noUser = "! Failed to obtain sid for specified user",
        noMachine = "! No virtual or physical machine entry was found matching the specified criteria",
        local = "! Desktop is in Local Mode.  Re-assignment or removal of assignment is not allowed.",
        alice = sidOf(1001), bob = sidOf(1002);
    const struct {
        Attributes request;
        std::string answer, vm1, vm2;
    } rows[] = {
        {of("gone", "vm1", "CORP\\alice"), "! Could not locate pool information", "", bob},
        {of("shared", "vm5", "CORP\\alice"), "! The specified pool is not a persistent pool", "", bob},
        {of("sales", "vm1"), "! A user must be specified when setting an assignment", "", bob},
        {of("sales", "vm1", "CORP\\nobody"), noUser, "", bob},
        {of("sales", "vm1") + Attributes{{"sid", "*"}}, noUser, "", bob},
        {of("sales", "vm9", "CORP\\alice"), noMachine, "", bob},
        {of("sales", "vm5", "CORP\\alice"), noMachine, "", bob},  // of another pool
        {of("sales", "*", "CORP\\alice"), noMachine, "", bob},
        {of("sales", "vm3", "CORP\\alice"), local, "", bob},
        {of("sales", "vm3") + removal, local, "", bob},
        {of("sales", "vm1", "CORP\\bob"),
         "! The machine (vm2) in this pool is already assigned to the specified user", "", bob},
        {of("sales", "vm1", "CORP\\alice"), assigned, alice, bob},
        {of("sales", "vm1", "alice@corp.example"),
         "! The machine (vm1) in this pool is already assigned to the specified user", alice, bob},
        {of("sales", "vm2") + Attributes{{"sid", sidOf(1003)}}, assigned, alice,
         sidOf(1003)},  // another owner
        {of("sales", "vm1") + removal, removed, "", sidOf(1003)},
        {of("sales", "vm1") + removal, "! The specified machine has no owner, not updated.", "", sidOf(1003)},
        {of("sales", "", "CORP\\carol") + removal, removed, "", ""},  // whichever the user has
        {of("sales", "") + removal, "! A machine name or user must be specified", "", ""},
        {of("sales", "", "CORP\\alice") + removal, noMachine, "", ""},
        {of("sales", "vm4", "CORP\\alice"), assigned, "", ""},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(textOf(setVMOwnership(*lab.service, bagOf(row.request))), row.answer);
        EXPECT_EQ(storedValues(lab, machineDn("vm1"), "zre-SIDString"), row.vm1) << row.answer;
        EXPECT_EQ(storedValues(lab, machineDn("vm2"), "zre-SIDString"), row.vm2) << row.answer;
    }
}

using Owners = std::vector<std::pair<std::string, std::string>>;  // machine and SID

// Somebody else sets owners just before one of our writes.
class RacingSession : public CountingSession {
  public:
    RacingSession(std::unique_ptr<platform::LdapSession> session, std::shared_ptr<LdapCounts> counts,
                  std::map<int, Owners> others)
        : CountingSession(std::move(session), std::move(counts)), others_(std::move(others)) {}
    Done modify(const std::string& dn, const Modifications& changes, const Controls& controls) override {
        for (const auto& [name, sid] : others_[++writes_])
            static_cast<void>(CountingSession::modify(
                machineDn(name), {{platform::LdapModify::replace, "zre-SIDString", {sid}}}, {}));
        return CountingSession::modify(dn, changes, controls);
    }

  private:
    std::map<int, Owners> others_;  // by the number of our write
    int writes_ = 0;
};

class RacingClient : public platform::LdapClient {
  public:
    RacingClient(std::shared_ptr<LdapClient> client, std::shared_ptr<LdapCounts> counts,
                 std::map<int, Owners> others)
        : client_(std::move(client)), counts_(std::move(counts)), others_(std::move(others)) {}
    Result<std::unique_ptr<platform::LdapSession>> open(const platform::LdapEndpoint& endpoint) override {
        auto session = client_->open(endpoint);
        if (!session) return session;
        return std::make_unique<RacingSession>(std::move(*session), counts_, others_);
    }

  private:
    std::shared_ptr<LdapClient> client_;
    std::shared_ptr<LdapCounts> counts_;
    std::map<int, Owners> others_;
};

TEST(Ownership, IsTakenBackWhenAnotherRequestCameBetween) {
    const std::string alice = sidOf(1001), bob = sidOf(1002), carol = sidOf(1003);
    const struct {
        const char* what;
        std::string before;
        std::map<int, Owners> others;
        std::string after;
    } rows[] = {
        {"it belonged to somebody", carol, {{1, {{"vm2", alice}}}}, carol},
        {"it belonged to nobody", "", {{1, {{"vm2", alice}}}}, ""},
        {"a third has taken it meanwhile", carol, {{1, {{"vm2", alice}}}, {2, {{"vm1", bob}}}}, bob},
    };
    for (const auto& row : rows) {
        PeopleLab lab(officeWith(machine("vm1", "sales", row.before) + machine("vm2", "sales")));
        const auto client = lab.platform->ldap;
        lab.platform->ldap = std::make_shared<RacingClient>(client, lab.counts, row.others);
        EXPECT_EQ(textOf(setVMOwnership(*lab.service, bagOf(of("sales", "vm1", "CORP\\alice")))),
                  "! The machine (vm2) in this pool is already assigned to the specified user");
        EXPECT_EQ(storedValues(lab, machineDn("vm1"), "zre-SIDString"), row.after) << row.what;
        EXPECT_EQ(storedValues(lab, machineDn("vm2"), "zre-SIDString"), alice) << row.what;
    }
}

// Requests that all have looked before the first of them writes.
class Gate {
  public:
    explicit Gate(int count) : missing_(count) {}
    void pass() {
        std::unique_lock hold(mutex_);
        if (--missing_ == 0) open_.notify_all();
        open_.wait(hold, [this] { return missing_ <= 0; });
    }

  private:
    std::mutex mutex_;
    std::condition_variable open_;
    int missing_;
};

class GatedSession : public CountingSession {
  public:
    GatedSession(std::unique_ptr<platform::LdapSession> session, std::shared_ptr<LdapCounts> counts,
                 std::shared_ptr<Gate> gate)
        : CountingSession(std::move(session), std::move(counts)), gate_(std::move(gate)) {}
    Done modify(const std::string& dn, const Modifications& changes, const Controls& controls) override {
        if (const auto gate = std::exchange(gate_, nullptr)) gate->pass();
        return CountingSession::modify(dn, changes, controls);
    }

  private:
    std::shared_ptr<Gate> gate_;
};

class GatedClient : public platform::LdapClient {
  public:
    GatedClient(std::shared_ptr<LdapClient> client, std::shared_ptr<LdapCounts> counts, int sessions)
        : client_(std::move(client)), counts_(std::move(counts)), gate_(std::make_shared<Gate>(sessions)) {}
    Result<std::unique_ptr<platform::LdapSession>> open(const platform::LdapEndpoint& endpoint) override {
        auto session = client_->open(endpoint);
        if (!session) return session;
        return std::make_unique<GatedSession>(std::move(*session), counts_, gate_);
    }

  private:
    std::shared_ptr<LdapClient> client_;
    std::shared_ptr<LdapCounts> counts_;
    std::shared_ptr<Gate> gate_;
};

TEST(Ownership, NeverGivesAUserTwoMachinesOfAPool) {
    constexpr int count = 8;
    std::string machines;
    for (int i = 0; i < count; ++i) machines += machine("vm" + std::to_string(i), "sales");
    PeopleLab lab(officeWith(machines));
    const auto client = lab.platform->ldap;
    const Attributes alice = {{"sid", sidOf(1001)}};
    for (int round = 0; round < 10; ++round) {
        lab.platform->ldap = std::make_shared<GatedClient>(client, lab.counts, count);
        std::vector<std::string> answers(count);
        {
            std::vector<std::jthread> administrators;
            for (std::size_t i = 0; i < count; ++i)
                administrators.emplace_back([&lab, &alice, &answers, i] {
                    answers[i] = textOf(
                        setVMOwnership(*lab.service, bagOf(of("sales", "vm" + std::to_string(i)) + alice)));
                });
        }
        lab.platform->ldap = client;
        int owned = 0;
        for (std::size_t i = 0; i < count; ++i) {
            const std::string name = "vm" + std::to_string(i);
            const bool told = answers[i] == "textmessage=Successfully assigned machine to specified user";
            EXPECT_EQ(storedValues(lab, machineDn(name), "zre-SIDString"), told ? sidOf(1001) : "");
            owned += told;
            if (told) static_cast<void>(setVMOwnership(*lab.service, bagOf(of("sales", name) + removal)));
        }
        EXPECT_LE(owned, 1);
    }
}

TEST(Ownership, SaysWhereTheDirectoryFails) {
    const struct {
        std::string fault, answer;
        Attributes request;
    } rows[] = {
        {"operation = \"search\"\ndn = \"OU=Servers," + podBase + "\"",
         "! Could not locate a virtual or physical machine entry to update",
         of("sales", "vm1", "CORP\\alice")},
        {"operation = \"search\"\ndn = \"" + wstest::poolDn("sales") + "\"\ncode = 51",
         "! Could not locate pool information", of("sales", "vm1", "CORP\\alice")},
        {"operation = \"modify\"\ncode = 50", "! Could not update entry with new owner",
         of("sales", "vm1", "CORP\\alice")},
        {"operation = \"modify\"\ncode = 50", "! Could not remove owner from existing entry.",
         of("sales", "vm1") + removal},
    };
    for (const auto& row : rows) {
        PodContent content = officeWith(machine("vm1", "sales", sidOf(1002)));
        content.podFaults = "[[directory.faults.fail]]\n" + row.fault;
        PeopleLab lab(content);
        EXPECT_EQ(textOf(setVMOwnership(*lab.service, bagOf(row.request))), row.answer);
        EXPECT_EQ(storedValues(lab, machineDn("vm1"), "zre-SIDString"), sidOf(1002)) << row.answer;
    }
}

TEST(SpaceReclamation, MarksVirtualMachinesOfThePool) {
    PeopleLab lab(officeWith(record(wstest::poolDn("odd"), {{"objectClass", "container"}}) +
                             machine("vm1", "sales", "", {{"zre-SeSparseStatus", "DONE"}}) +
                             record(machineDn("pm1"), {{"objectClass", "zre-PM"},
                                                       {"zre-DisplayName", "pm1"},
                                                       {"zre-MemberDNOf", wstest::poolDn("sales")}})));
    const auto absent = [](const std::string& name) {
        return "! Machine entry not found in LDAP for machine '" + name + "'";
    };
    const struct {
        Attributes request;
        std::string answer, stored;
    } rows[] = {
        {{{"machineName", "vm1"}}, "! Could not locate pool ", "DONE"},
        {{{"machineName", "vm1"}, {"desktopName", "gone"}}, "! Could not locate pool gone", "DONE"},
        {{{"machineName", "vm1"}, {"desktopName", "odd"}}, "! Could not locate pool (no entry) odd", "DONE"},
        {{{"machineName", "vm1"}, {"desktopName", "shared"}}, absent("vm1"), "DONE"},
        {{{"machineName", "pm1"}, {"desktopName", "sales"}}, absent("pm1"), "DONE"},
        {{{"desktopName", "sales"}}, absent(""), "DONE"},
        {{{"machineName", "vm1"}, {"desktopName", "sales"}},
         "textmessage=The machine was marked for space reclamation.",
         "NEEDED_EXPLICIT"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(textOf(markMachineForSpaceReclamation(*lab.service, bagOf(row.request))), row.answer);
        EXPECT_EQ(storedValues(lab, machineDn("vm1"), "zre-SeSparseStatus"), row.stored) << row.answer;
    }
}

// All marks of the user, as "desktop=value".
std::string marksOf(PodLab& lab, const std::string& sid) {
    auto session = lab.platform->ldap->open({.host = {}, .port = 389});
    if (!session || !(*session)->bind({})) return "!";
    const auto found = (*session)->search(
        {.base = "OU=Properties," + podBase,
         .filter =
             "(&(objectClass=zre-Prop)(objectClass=zre-DesktopApplication-a)(objectClass=zre-NameValuePairs)"
             "(member=<SID=" +
             sid + ">)(zre-Origin=CN=" + sid + ",CN=ForeignSecurityPrincipals," + podBase + "))",
         .attributes = {}});
    std::string text;
    if (found)
        for (const auto& entry : found->entries)
            text += std::string(entry.first("zre-Target")) + " " +
                    std::string(entry.first("zre-NameValuePair")) + "; ";
    return text;
}

TEST(DefaultDesktop, IsOneAtMost) {
    PeopleLab lab(officeWith(desktop("one", "sales", {}) + desktop("two", "shared", {})));
    const std::string done = "textmessage=Default desktop set successfully.",
                      one = "CN=one,OU=Applications," + podBase, two = "CN=two,OU=Applications," + podBase,
                      yes = " useForThinClient=true; ", no = " useForThinClient=false; ";
    const struct {
        Attributes request;
        std::string answer, marks;
    } rows[] = {
        {{}, "! Account details for user \"\" not found.", ""},
        {{{"username", "CORP\\nobody"}, {"desktopname", "one"}},
         "! Account details for user \"CORP\\nobody\" not found.",
         ""},
        {{{"username", "CORP\\alice"}}, "! Default desktop setting not found.", ""},
        {{{"username", "CORP\\alice"}, {"desktopname", "*"}}, "! Desktop entry for \"*\" not found.", ""},
        {{{"username", "CORP\\alice"}, {"desktopname", "one"}}, done, one + yes},
        {{{"username", "CORP\\alice"}, {"desktopname", "ONE"}}, done, one + yes},
        {{{"username", "CORP\\alice"}, {"desktopname", "three"}},
         "! Desktop entry for \"three\" not found.",
         one + yes},
        {{{"username", "CORP\\alice"}, {"desktopname", "two"}}, done, one + no + two + yes},
        {{{"username", "CORP\\bob"}, {"desktopname", "one"}}, done, one + no + two + yes},
        {{{"username", "CORP\\alice"}, {"desktopname", ""}},
         "textmessage=Default desktop setting successfully removed.",
         one + no + two + no},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(textOf(setDefaultDesktop(*lab.service, bagOf(row.request))), row.answer);
        EXPECT_EQ(marksOf(lab, sidOf(1001)), row.marks) << row.answer;
    }
    EXPECT_EQ(marksOf(lab, sidOf(1002)), one + yes);
}

TEST(DefaultDesktop, SaysWhereTheDirectoryFails) {
    const struct {
        std::string fault, answer;
    } rows[] = {
        {"operation = \"search\"\ncode = 51\ndn = \"OU=Applications," + podBase + "\"",
         "! Failed to search - Busy"},
        {"operation = \"search\"\ncode = 51\ndn = \"OU=Properties," + podBase + "\"",
         "! Failed to search - Busy"},
        {"operation = \"add\"\ncode = 50", "! Failed to add entry CN="},
    };
    for (const auto& row : rows) {
        PodContent content = officeWith(desktop("one", "sales", {}));
        content.podFaults = "[[directory.faults.fail]]\n" + row.fault;
        PeopleLab lab(content);
        const std::string answer = textOf(
            setDefaultDesktop(*lab.service, bagOf({{"username", "CORP\\alice"}, {"desktopname", "one"}})));
        EXPECT_EQ(answer.substr(0, row.answer.size()), row.answer);
    }
}

}  // namespace
