// The texts of an installation, byte for byte, by rows of data.
#include "support/rows.h"
#include "federation/installation_texts.h"
#include "support/temp_folder.h"

namespace wstest {

namespace {

using namespace wsadmin;

constexpr char podGuid[] = "6f1c2d10-0000-4000-8000-000000000001";
constexpr char newGuid[] = "7f1c2d10-0000-4000-8000-000000000001";

std::string textOf(const Json& in) {
    const auto given = [&](const char* name, const char* usual) {
        return in.value(name, std::string(usual));
    };
    const std::string file = in.at("file"), pod = given("podGuid", podGuid);
    if (file == "answers.txt")
        return qrv::answerFile(given("administrators", "BUILTIN\\Administrators"),
                               "C:\\ProgramData\\Talvex\\HDQ\\ldap\\data\\TalvexHDQDSG");
    if (file == "cross_reference.ldif")
        return qrv::crossReference(newGuid, given("address", "127.0.0.1:22389"));
    if (file == "role_membership.ldif") return qrv::roleMembership(pod);
    return qrv::starterData({.netBiosName = given("netBiosName", "VCS1"),
                             .hostName = given("hostName", "vcs1.corp.example"),
                             .podGuid = pod,
                             .podName = given("podName", "Cluster-POD1"),
                             .federationGuid = newGuid});
}

// With their ends.
std::vector<std::string> linesOf(const std::string& text) {
    std::vector<std::string> lines(1);
    for (const char c : text) {
        if (!lines.back().empty() && lines.back().back() == '\n') lines.emplace_back();
        lines.back() += c;
    }
    return lines;
}

// The lines that are others than those of the file.
Json text(const Json& in) {
    const auto made = linesOf(textOf(in));
    const auto kept =
        linesOf(fileText(WS_SOURCE_DIR "/tests/federation/texts/" + in.at("file").get<std::string>()));
    if (made.size() != kept.size()) return made;
    Json other = Json::array();
    for (std::size_t i = 0; i < made.size(); ++i)
        if (made[i] != kept[i]) other.push_back(made[i].substr(0, made[i].find('\n')));
    return other;
}

}  // namespace

TEST(Federation, TextsOfAnInstallation) {
    tryRows(WS_SOURCE_DIR "/tests/federation/rows.jsonl", {{"text", text}});
}

}  // namespace wstest
