// Over rows.jsonl: the texts of an installation, byte for byte, and the services of the layer. Over
// life.jsonl: the whole life of a federation, from nothing to nothing.
#include "support/rows.h"
#include "federation/federation_lab.h"
#include "federation/installation_texts.h"
#include "federation/service_configuration.h"
#include "platform/lab/services.h"
#include "support/log_capture.h"

namespace wstest {

namespace {

constexpr char podGuid[] = "6f1c2d10-0000-4000-8000-000000000001";
constexpr char newGuid[] = "7f1c2d10-0000-4000-8000-000000000001";

std::string textOf(const Json& in) {
    const auto given = [&](const char* name, const char* usual) {
        return in.value(name, std::string(usual));
    };
    const std::string file = in.at("file"), pod = given("podGuid", podGuid);
    const qrv::AnswersOfMachine machine{
        .administrators = given("administrators", "BUILTIN\\Administrators"),
        .dataFolder = "C:\\ProgramData\\Talvex\\HDQ\\ldap\\data\\TalvexHDQDSG"};
    if (file == "answers.txt") return std::string(qrv::answerFile(machine).view());
    if (file == "replica_answers.txt")
        return std::string(
            qrv::replicaAnswerFile(machine, given("source", "vcs9.corp.example"),
                                   {.user = given("user", "CORP\\admin"),
                                    .password = CORE::secretstring(given("password", "secret"))})
                .view());
    if (file == "cross_reference.ldif")
        return qrv::crossReference(newGuid, given("address", "127.0.0.1:22389"));
    if (file == "role_membership.ldif") return qrv::roleMembership(pod);
    return qrv::starterData({.netBiosName = given("netBiosName", "VCS1"),
                             .hostName = given("hostName", "vcs1.corp.example"),
                             .podGuid = pod,
                             .podName = given("podName", "Cluster-POD1"),
                             .federationGuid = newGuid});
}

// The lines that are others than those of the file; all of them where it has fewer or more.
Json text(const Json& in) {
    const std::string made = textOf(in), kept = fileText(WS_SOURCE_DIR "/tests/federation/texts/" +
                                                         in.at("file").get<std::string>());
    std::istringstream ours(made), theirs(kept);
    Json other = Json::array();
    const bool alike = std::ranges::count(made, '\n') == std::ranges::count(kept, '\n');
    for (std::string line, expected; std::getline(ours, line); expected.clear())
        if (!std::getline(theirs, expected) || line != expected || !alike) other.push_back(line);
    return other;
}

// What is given are descriptions and the broker's dependencies; a service that is not given is not there.
Json services(const Json& in) {
    std::vector<lab::LabService> given;
    for (const auto& [key, name] : {std::pair{"pod", L"ADAM_TalvexHDQDS"}, {"layer", L"ADAM_TalvexHDQDSG"}})
        if (in.contains(key)) given.push_back({name, CORE::toWide(in[key].get<std::string>())});
    if (in.contains("broker")) {
        auto& broker = given.emplace_back(lab::LabService{.name = L"wsbroker"});
        for (const std::string name : in["broker"]) broker.dependencies.push_back(CORE::toWide(name));
    }
    const auto services = std::make_shared<lab::LabServices>(given);
    const auto calls = std::make_shared<PortCalls>();
    Platform machine;
    machine.services = std::make_shared<CountingServiceControl>(lab::makeLabServiceControl(services), calls);
    calls->restart(faultOf(in));
    const LogCapture log(in.value("all", false) ? CORE::logDebug : CORE::logInfo);
    qrv::configureGlobalService(machine, in.at("enable"));
    EXPECT_EQ(calls->faultHappened(), in.contains("call"));
    EXPECT_EQ(calls->live, 0);
    Json description, dependencies;
    for (const auto& service : services->now()) {
        if (service.name == L"ADAM_TalvexHDQDSG") description = CORE::toUtf8(service.description);
        if (service.name != L"wsbroker") continue;
        dependencies = Json::array();
        for (const auto& name : service.dependencies) dependencies.push_back(CORE::toUtf8(name));
    }
    Json found{description, dependencies};
    for (const auto& [level, line] : log.lines())
        found.push_back(CORE::toUtf8(CORE::logLevelName(level)) + " " + CORE::toUtf8(line));
    return found;
}

// What is asked succeeds, and every server that has the layer has the same content.
Json asked(FederationLab& lab, const Json& in) {
    const std::string machine = in["at"], from = in.value("from", std::string());
    auto keys = from.empty() ? FederationLab::Pairs() : FederationLab::from(CORE::toWide(from).c_str());
    const Json given = in.value("keys", Json::object());
    for (const auto& [name, value] : given.items())
        keys[CORE::toWide(name)] = CORE::toWide(value.get<std::string>());
    const std::string operation = in["do"];
    EXPECT_EQ(lab.run(machine, operation, keys).getErrorText(), L"");
    std::set<std::string> trees, first, difference;
    std::string servers;
    for (const auto& [name, unused] : lab.machines) {
        const std::string tree = lab.tree(name);
        if (tree == "-") continue;
        trees.insert(tree);
        servers += name.back();
        const auto content = lab.contentOf(name);
        if (first.empty()) first = content;
        std::ranges::set_symmetric_difference(content, first, std::inserter(difference, difference.end()));
    }
    EXPECT_EQ(difference, std::set<std::string>());
    return {trees.empty() ? "-" : joined(trees), servers, lab.flags(machine)};
}

}  // namespace

TEST(Federation, TextsAndServices) {
    tryRows(WS_SOURCE_DIR "/tests/federation/rows.jsonl", {{"text", text}, {"services", services}});
}

TEST(FederationLife, FromNothingToNothing) {
    FederationLab lab;
    tryRows(WS_SOURCE_DIR "/tests/federation/life.jsonl",
            {{"ask", [&lab](const Json& in) { return asked(lab, in); }}});
}

}  // namespace wstest
