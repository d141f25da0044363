// What people may use and administer: the same questions to a real pod and to a lab with the same entries
// (tests/servers/pod.ldif), with the tools of both builds.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "integration/directory.h"
#include "integration/tool.h"

namespace integration {
namespace {

using Lines = std::vector<std::string>;
using testing::UnorderedElementsAreArray;

std::string sid(int rid) {
    return "S-1-5-21-2000-2000-2000-" + std::to_string(rid);
}

// The answer's records as JSON, a line each, or its sentence.
Lines recordsOf(const Answer& answer) {
    if (const std::string sentence = answer.errorText(); !sentence.empty()) return {"! " + sentence};
    Lines lines;
    for (const auto& entry : answer.json.at("result"))
        lines.push_back(entry[1].is_array()
                            ? entry[1].dump()
                            : entry[0].get<std::string>() + "=" + entry[1].get<std::string>());
    return lines;
}

struct Case {
    Request request;
    Lines answer;
};

Request about(const std::string& operation, const Lines& sids, const Lines& permissions = {}) {
    Request request{operation, {}};
    for (const std::string& one : sids) request.keys.emplace_back("sid", one);
    for (const std::string& one : permissions) request.keys.emplace_back("permission", one);
    return request;
}

Case permission(const Lines& sids, const Lines& permissions, const std::string& answer) {
    return {about("checkAdminPermission", sids, permissions), {answer}};
}

std::string pool(const std::string& cn, const std::string& display, const std::string& description,
                 const std::string& folder, const std::string& status, const std::string& more = {}) {
    return R"([["cn",")" + cn + R"("],["display-name",")" + display + R"("],["description",")" + description +
           R"("],["folder",")" + folder + R"("],["status",")" + status + "\"]" + more + "]";
}

std::string role(const std::string& cn, const std::string& path, const std::string& description,
                 const std::string& status) {
    return R"([["cn",")" + cn + R"("],["display-name",")" + path + R"("],["description",")" + description +
           R"("],["status",")" + status + "\"]]";
}

std::vector<Case> cases() {
    const std::string automatic = pool("desk-auto", "Auto desktop", "", "/Sales", "enabled"),
                      plain = pool("desk-plain", "", "", "/", "enabled"),
                      closed = pool("desk-closed", "Closed desktop", "Until the next course", "/Sales/EMEA",
                                    "disabled");
    const std::string noFilter = "! Failed to construct LDAP filter", ok = "result=OK",
                      denied = "! Permission Denied";
    Lines thousand;
    for (int rid = 1000; rid <= 2000; ++rid) thousand.push_back(sid(rid));
    return {
        {about("getEntitledDesktops", {sid(1102)}), {plain}},
        {about("getEntitledDesktops", {sid(1103), sid(1109)}), {automatic, closed}},
        {about("getEntitledDesktops", thousand), {automatic, plain, closed}},
        {about("getEntitledDesktops", {sid(1108)}), {}},
        {about("getEntitledDesktops", {}), {}},
        {about("getEntitledDesktops", {sid(1102), "*"}), {noFilter}},
        {about("getEntitledMirapaks", {sid(1109), sid(1111), sid(1102)}),
         {pool("pkg-writer", "Writer", "", "/", "enabled", R"(,["MirapakType","Mirapak Application"])"),
          pool("pkg-office", "Office programs", "", "/Sales", "enabled",
               R"(,["MirapakType","Mirapak Application Group"])")}},
        {about("getAdminRoles", {sid(1102), sid(1104), sid(1111), sid(1113)}),
         {role("Directory Administrators", "/Directory Administrators", "", "enabled"),
          role("Administrators (Read only)", "/Administrators (Read only)", "May look at everything",
               "enabled"),
          role("Inventory Administrators", "/Inventory Administrators", "", "disabled"),
          role("North", "/Regions/North", "", "enabled")}},
        {about("getAdminRoles", {"(cn=*"}), {noFilter}},
        {about("getGlobalEntitledDesktops", {sid(1102)}), {"! No entitlements"}},  // no federation here
        permission({sid(1113)}, {"Anything"}, ok),
        permission({sid(1113)}, {}, ok),
        permission({sid(1104)}, {"Read", "Machine"}, ok),
        permission({sid(1104)}, {"Read"}, denied),
        permission({sid(1104)}, {"*"}, denied),
        permission({sid(1102)}, {}, denied),  // the role stands below a container
        permission({"S-1-5-18"}, {"Anything"}, ok),
        permission({"everybody"}, {}, noFilter),
    };
}

class Entitlements : public testing::TestWithParam<std::tuple<Build, Place>> {};

TEST_P(Entitlements, AreTheSameOnAServerAndInALab) {
    const auto [build, place] = GetParam();
    const std::vector<Case> all = cases();
    std::vector<Request> requests;
    for (const Case& one : all) requests.push_back(one.request);
    const auto answers = askAll(build, makePod(place)->options(), requests);
    for (std::size_t i = 0; i < all.size(); ++i)
        EXPECT_THAT(recordsOf(answers[i]), UnorderedElementsAreArray(all[i].answer))
            << all[i].request.operation << " " << i;
}

TEST_P(Entitlements, PrincipalsCarryWhoTheyAre) {
    const auto [build, place] = GetParam();
    const auto pod = makePod(place);
    const std::string container = ",CN=ForeignSecurityPrincipals,DC=vdi,DC=talvex,DC=int";
    for (const std::string operation : {"updateAllUserFSPs", "updateSingleUserFSP"}) {
        SCOPED_TRACE(operation);
        std::vector<std::string> arguments = pod->options();
        arguments.insert(arguments.end(), {operation, "username=CORP\\alice"});
        const Answer answer = ask(build, arguments);
        EXPECT_EQ(answer.status, 0) << answer.errors;
        EXPECT_THAT(pod->values("CN=" + sid(1102) + container, "description"),
                    UnorderedElementsAreArray(
                        {"USER=alice", "DOMAIN=corp.example", "EMAIL=", "DISPLAYNAME=corp.example\\alice",
                         "GIVENNAME=", "SN=", "CN=Alice Able",
                         "DISTINGUISHEDNAME=CN=Alice Able,OU=Staff,DC=corp,DC=example"}));
        // A group's is left as it is.
        EXPECT_TRUE(pod->values("CN=" + sid(1111) + container, "description").empty());
    }
}

INSTANTIATE_TEST_SUITE_P(Each, Entitlements,
                         testing::Combine(testing::Values(Build::native, Build::windows),
                                          testing::Values(Place::server, Place::lab)),
                         [](const auto& instance) {
                             return testing::PrintToString(std::get<0>(instance.param)) + "_" +
                                    testing::PrintToString(std::get<1>(instance.param));
                         });

}  // namespace
}  // namespace integration
