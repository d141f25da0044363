// Requests that assign machines of a pool at the same time.
#include <gtest/gtest.h>

#include <condition_variable>
#include <map>
#include <mutex>
#include <thread>
#include <utility>

#include "identity/pod_lab.h"
#include "machines/machine_operations.h"
#include "support/log_capture.h"

namespace {

using namespace wsadmin;
using namespace wstest;

const std::string base = "DC=vdi,DC=talvex,DC=int";

std::string machineDn(const std::string& name) {
    return "CN=" + name + ",OU=Servers," + base;
}

std::string machine(const std::string& name, const std::string& owner = {}) {
    return "dn: " + machineDn(name) + "\nobjectClass: zre-VM\nzre-DisplayName: " + name +
           "\nzre-MemberDNOf: CN=sales,OU=Server Groups," + base + "\n" +
           (owner.empty() ? "" : "zre-SIDString: " + owner + "\n") + "\n";
}

PodContent poolWith(const std::string& machines) {
    std::string pod;
    for (const char* unit : {"Servers", "Server Groups"})
        pod += std::string("dn: OU=") + unit + "," + base + "\nobjectClass: organizationalUnit\n\n";
    return {.pod = pod + "dn: CN=sales,OU=Server Groups," + base +
                   "\nobjectClass: zre-ServerPool\nzre-ServerPoolType: 1\n\n" + machines};
}

// An empty SID takes the assignment away.
CORE::PropertyBag assign(PodLab& lab, const std::string& name, const std::string& sid) {
    auto request = requestOf({{L"desktop", "sales"}, {L"machineName", name}});
    sid.empty() ? request.set(L"removeAssignment", L"true") : request.set(L"sid", sid);
    return ask<&Machine::setVMOwnership>(*lab.service, request);
}

std::unique_ptr<platform::LdapSession> boundSession(platform::LdapClient& client) {
    auto session = client.open({}).value();
    EXPECT_TRUE(session->bind({}));
    return session;
}

std::string ownerOf(platform::LdapClient& client, const std::string& name) {
    const auto found = boundSession(client)->search(
        {.base = machineDn(name), .scope = platform::LdapScope::base, .filter = "(objectClass=*)"});
    return std::string(found.value().entries.at(0).first("zre-SIDString"));
}

bool writes(const std::string& call) {
    return call.starts_with("ldap modify");
}

TEST(Ownership, IsRolledBackWhenAConcurrentRequestAssignedToo) {
    const std::string alice = sidOf(1001), bob = sidOf(1002), carol = sidOf(1003);
    using Owners = std::map<int, std::pair<std::string, std::string>>;  // machine and SID by our write
    const struct {
        std::string before;
        Owners others;
        std::string after;
    } rows[] = {
        {carol, {{1, {"vm2", alice}}}, carol},
        {"", {{1, {"vm2", alice}}}, ""},                         // it belonged to nobody
        {carol, {{1, {"vm2", alice}}, {2, {"vm1", bob}}}, bob},  // a third has taken it meanwhile
    };
    for (const auto& row : rows) {
        PodLab lab(poolWith(machine("vm1", row.before) + machine("vm2")));
        platform::LdapClient& client = *lab.platform->ldap;
        int number = 0;
        bool ours = true;
        lab.counts->before = [&](const std::string& call) {
            if (!ours || !writes(call)) return;
            const auto other = row.others.find(++number);
            if (other == row.others.end()) return;
            const auto& [name, sid] = other->second;
            ours = false;
            EXPECT_TRUE(boundSession(client)->modify(
                machineDn(name), {{platform::LdapModify::replace, "zre-SIDString", {sid}}}, {}));
            ours = true;
        };
        const LogCapture log(CORE::logError);
        EXPECT_EQ(assign(lab, "vm1", alice).getErrorText(),
                  L"The machine (vm2) in this pool is already assigned to the specified user");
        EXPECT_EQ(ownerOf(client, "vm1"), row.after);
        EXPECT_EQ(ownerOf(client, "vm2"), alice) << row.after;
        EXPECT_EQ(log.contains(CORE::logError, L"Entry not modified"), row.after == bob);
    }
}

// A barrier: no request writes before all of them have read.
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

TEST(Ownership, NeverGivesAUserTwoMachinesOfAPool) {
    constexpr int count = 8;
    std::vector<std::string> names;
    std::string machines;
    for (int i = 0; i < count; ++i) machines += machine(names.emplace_back("vm" + std::to_string(i)));
    PodLab lab(poolWith(machines));
    for (int round = 0; round < 10; ++round) {
        Gate gate(count);
        lab.counts->before = [&gate](const std::string& call) {
            if (writes(call)) gate.pass();  // whoever writes again finds it open
        };
        std::vector<CORE::PropertyBag> answers(count);
        {
            std::vector<std::jthread> administrators;
            for (std::size_t i = 0; i < count; ++i)
                administrators.emplace_back([&, i] { answers[i] = assign(lab, names[i], sidOf(1001)); });
        }
        lab.counts->before = {};
        int owned = 0;
        for (std::size_t i = 0; i < count; ++i) {
            const bool told =
                answers[i].get(L"textmessage") == L"Successfully assigned machine to specified user";
            EXPECT_EQ(ownerOf(*lab.platform->ldap, names[i]), told ? sidOf(1001) : "");
            owned += told;
            if (told) assign(lab, names[i], "");
        }
        EXPECT_LE(owned, 1);
    }
}

}  // namespace
