// Machines, their owners and what outlived an entitlement: the same requests in the same order to a real pod
// and to a lab with the same entries (tests/servers/pod.ldif), and what stands in the directory afterwards.
#include <gtest/gtest.h>

#include "integration/directory.h"
#include "integration/tool.h"

namespace integration {
namespace {

const std::string base = "DC=vdi,DC=talvex,DC=int";

std::string sid(int rid) {
    return "S-1-5-21-2000-2000-2000-" + std::to_string(rid);
}

std::string machineDn(const std::string& name) {
    return "CN=" + name + ",OU=Servers," + base;
}

std::string textOf(const Answer& answer) {
    const std::string sentence = answer.errorText();
    return sentence.empty() ? answer.json.at("result").dump() : "! " + sentence;
}

std::string message(const std::string& text) {
    return R"([["textmessage",")" + text + "\"]]";
}

struct Case {
    Request request;
    std::string answer;
};

Request ownership(const std::string& machine, const std::string& user, bool remove = false) {
    Request request{"setVMOwnership",
                    {{"desktop", "pool-auto"}, {"machineName", machine}, {"userName", user}}};
    if (remove) request.keys.emplace_back("removeAssignment", "true");
    return request;
}

Request desktop(const std::string& user, const std::string& name) {
    return {"setDefaultDesktop", {{"username", user}, {"desktopname", name}}};
}

Request address(const std::string& text) {
    return {"setMachineAgentInfo",
            {{"desktopName", "pool-auto"}, {"machineName", "vm-auto-01"}, {"ipAddress", text}}};
}

std::vector<Case> changes() {
    const std::string isSet = message("Default desktop set successfully.");
    return {
        {{"getMachineInfo", {{"desktopName", "pool-auto"}, {"username", "CORP\\bob"}}},
         R"([["machine-list",[["machine-entry",[["dn","CN=vm-auto-01,OU=Servers,DC=vdi,DC=talvex,DC=int"],)"
         R"(["machine-name","vm-auto-01"],["assigned-user-sid","S-1-5-21-2000-2000-2000-1103"],)"
         R"(["assigned-user-domain","corp.example"],["assigned-user-account-name","bob"],["id","vm-auto-01"],)"
         R"(["state","READY"],["moid","vm-1001"],["ipHost","10.0.0.11"],["ipHostOverride",""],["vmpath",""],)"
         R"(["template",""],["created",""],)"
         R"(["pool-dn","CN=pool-auto,OU=Server Groups,DC=vdi,DC=talvex,DC=int"],["pool-name","pool-auto"],)"
         R"(["local-status","remote"]]]]]])"},
        {{"getMachineInfo", {{"username", "CORP\\nobody"}}}, "! Cannot determine SID for user"},
        {ownership("vm-auto-02", "CORP\\bob"),
         "! The machine (vm-auto-01) in this pool is already assigned to the specified user"},
        {ownership("vm-auto-03", "CORP\\alice"),
         "! Desktop is in Local Mode.  Re-assignment or removal of assignment is not allowed."},
        {ownership("vm-auto-02", "alice@corp.example"),
         message("Successfully assigned machine to specified user")},
        {ownership("vm-auto-01", "", true), message("Successfully removed owner from specified machine.")},
        {ownership("vm-auto-01", "", true), "! The specified machine has no owner, not updated."},
        {{"markMachineForSpaceReclamation", {{"desktopName", "pool-auto"}, {"machineName", "vm-auto-01"}}},
         message("The machine was marked for space reclamation.")},
        {address("vm1.example"), R"([["status","OK"]])"},
        {{"getMachineAgentInfo", {{"desktopName", "pool-auto"}, {"machineName", "vm-auto-01"}}},
         R"([["machine-list",[["machine-entry",[["machine-name","vm-auto-01"],["ipHost","10.0.0.11"],)"
         R"(["ipHostOverride","vm1.example"]]]]]])"},
        {desktop("CORP\\alice", ""), "! Default desktop setting not found."},
        {desktop("CORP\\alice", "desk-auto"), isSet},
        {desktop("CORP\\alice", "desk-closed"), isSet},
        {desktop("CORP\\alice", "nothing"), "! Desktop entry for \"nothing\" not found."},
    };
}

// Only Lotte is reported: Bob is entitled himself, Carol through groups.
const std::string lotte =
    R"([["cn","Lotte Locked"],["dn","CN=Lotte Locked,OU=Staff,DC=corp,DC=example"],["domain","CORP"],)"
    R"(["domain-full","corp.example"],["account-name","lotte"],["user-principal-name","lotte@corp.example"],)"
    R"(["account-properties",[["normal-user-account",""],["account-locked-out",""]]],)"
    R"(["sid","S-1-5-21-2000-2000-2000-1114"]])";
const std::string deskAuto = R"([["display-name","Auto desktop"],["name","desk-auto"]])";
const std::string machines =
    R"([["machine",[["display-name","vm-auto-03"],["name","vm-auto-03"],["moid",""],["vmpath",""],)"
    R"(["pool-dn","CN=pool-auto,OU=Server Groups,DC=vdi,DC=talvex,DC=int"],["nodarium-dn",""],)"
    R"(["nodarium-url",""],["unentitled-type",[["assigned-to-user",""],["checked-out-by-user",""]]]]]])";
const std::string policies =
    R"([["policy",[["display-name","Lotte on automatic desktops"],["description",""],["name","pol-lotte"],)"
    R"(["state","Not Set"],["offline-allowed","Inherit"],["client-rollback-allowed","Inherit"],)"
    R"(["offline-cache-lifetime",""],["usb-allowed","Inherit"],["mmr-allowed","Deny"],)"
    R"(["remote-allowed","Inherit"],["hostcard-acceleration","Inherit"]]]])";

std::string report(const std::string& kind, bool byUser, const std::string& items) {
    const std::string user = R"(["user",)" + lotte + "]", desk = R"(["desktop",)" + deskAuto + "]",
                      list = "[\"" + kind + "-list\"," + items + "]";
    const std::string text =
        byUser
            ? R"(["byuser-list",[["user-entry",[)" + user + R"(,["desktop-list",[["desktop-entry",[)" + desk
            : R"(["bydesktop-list",[["desktop-entry",[)" + desk + R"(,["user-list",[["user-entry",[)" + user;
    return "[[\"unentitled-" + kind + "-report\",[" + text + "," + list + "]]]]]]]]]]]";
}

class Machines : public testing::TestWithParam<std::tuple<Build, Place>> {};

TEST_P(Machines, AreTheSameOnAServerAndInALab) {
    const auto [build, place] = GetParam();
    const auto pod = makePod(place);
    std::vector<Case> all;
    for (const bool byUser : {true, false}) {
        const std::string flag = byUser ? "true" : "false";
        all.push_back(
            {{"getUnentitledMachines", {{"listbyuser", flag}}}, report("machine", byUser, machines)});
        all.push_back(
            {{"getUnentitledPolicies", {{"listbyuser", flag}}}, report("policy", byUser, policies)});
    }
    for (Case& one : changes()) all.push_back(std::move(one));
    std::vector<Request> requests;
    for (const Case& one : all) requests.push_back(one.request);
    const auto answers = askAll(build, pod->options(), requests);
    for (std::size_t i = 0; i < all.size(); ++i)
        EXPECT_EQ(textOf(answers[i]), all[i].answer)
            << requests[i].operation << " " << nlohmann::json(requests[i].keys);

    using Values = std::vector<std::string>;
    EXPECT_EQ(pod->values(machineDn("vm-auto-01"), "zre-SIDString"), Values{});
    EXPECT_EQ(pod->values(machineDn("vm-auto-02"), "zre-SIDString"), Values{sid(1102)});
    EXPECT_EQ(pod->values(machineDn("vm-auto-03"), "zre-SIDString"), Values{sid(1114)});
    EXPECT_EQ(pod->values(machineDn("vm-auto-01"), "zre-SeSparseStatus"), Values{"NEEDED_EXPLICIT"});
    EXPECT_EQ(pod->values(machineDn("vm-auto-01"), "zre-ipHostNumberOverride"), Values{"vm1.example"});
}

INSTANTIATE_TEST_SUITE_P(Each, Machines,
                         testing::Combine(testing::Values(Build::native, Build::windows),
                                          testing::Values(Place::server, Place::lab)),
                         [](const auto& instance) {
                             return testing::PrintToString(std::get<0>(instance.param)) + "_" +
                                    testing::PrintToString(std::get<1>(instance.param));
                         });

}  // namespace
}  // namespace integration
