// The cleanup of replication conflicts and deleted references where a server made the tombstones and keeps
// the links.
#include "integration/directory.h"

namespace integration {
namespace {

const std::string servers = "OU=Servers,DC=vdi,DC=talvex,DC=int";
const std::string taken = "CN=taken," + servers,
                  desktop = "CN=desk-plain,OU=Applications,DC=vdi,DC=talvex,DC=int";

Request request(const std::string& resolve) {
    return {"showAndResolveLDAPCollisions", Json::array({{"resolveCollisions", resolve}})};
}

// Every entry with every value and the number of its last change.
std::string everything() {
    const Outcome found = run({"sh", "-c",
                               "ldapsearch -LLL -o ldif_wrap=no -x -H ldap://$WS_TEST_LDAP_HOST "
                               "-D $WS_TEST_LDAP_USER@$WS_TEST_LDAP_DOMAIN -w $WS_TEST_LDAP_PASSWORD "
                               "-b \"$1\" '(objectClass=*)' '*' uSNChanged",
                               "sh", servers});
    EXPECT_EQ(found.status, 0) << found.errors;
    return found.output;
}

void expectLinesInOrder(const std::string& log, const std::vector<std::string>& lines) {
    std::size_t from = 0;
    for (const std::string& line : lines) {
        const auto at = log.find(": " + line + "\n", from);
        ASSERT_NE(at, log.npos) << "not there, or before another one: " << line << "\n" << log;
        from = at + 1;
    }
}

class Cleanup : public testing::TestWithParam<Build> {
  protected:
    Cleanup() {
        const Outcome left = run({WS_SOURCE_DIR "/tests/servers/leftovers"});
        EXPECT_EQ(left.status, 0) << left.errors;
    }
    // What the requests, asked of one process, log.
    std::string logOf(const std::vector<Request>& requests) const {
        auto options = server_.options();
        options.insert(options.end(), {"--log", "info"});
        const auto answers = askAll(GetParam(), options, requests);
        for (const Answer& answer : answers)
            EXPECT_EQ(answer.json.dump(), R"({"handled":true,"error":null,"result":[]})");
        std::string log = answers.front().errors;
        std::erase(log, '\r');
        return log;
    }

    const ServerState server_;
};

TEST_P(Cleanup, ReportsWithoutAChangeAndLeavesNoMarkerBehind) {
    const std::string before = everything();
    expectLinesInOrder(logOf({request("false")}),
                       {"6 collision entry references found.", "3 deleted entry references found.",
                        "4 collision entries found."});
    EXPECT_EQ(everything(), before);

    const std::string log = logOf({request("true"), request("true"), request("false")});
    expectLinesInOrder(log, {"6 collision entry references resolved.", "2 deleted entry references removed.",
                             "4 collision entries removed.", "6 collision entry references resolved.",
                             "2 deleted entry references removed.", "0 collision entries removed.",
                             "6 collision entry references found.", "5 deleted entry references found.",
                             "0 collision entries found."});
    EXPECT_NE(log.find(": Failed to remove attr in entry CN=kept," + servers), log.npos) << log;
    EXPECT_EQ(everything().find("CNF:"), std::string::npos);
    server_.expectStored({{{"dn", "CN=one," + servers}, {"zre-MemberDNOf", taken}},
                          {{"dn", "CN=many," + servers}, {"zre-Servers", {taken, "CN=pm-01," + servers}}},
                          {{"dn", "CN=both," + servers}, {"zre-Servers", taken}},
                          {{"dn", taken}, {"memberOf", desktop}},
                          {{"dn", "CN=follows," + servers}, {"zre-MemberDNOf", "CN=free," + servers}},
                          {{"dn", "CN=follows-too," + servers}, {"zre-MemberDNOf", "CN=free," + servers}},
                          {{"dn", "CN=lost-one," + servers}, {"zre-MemberDNOf", Json::array()}},
                          {{"dn", "CN=lost-many," + servers}, {"zre-Servers", "CN=pm-01," + servers}},
                          {{"dn", "CN=unused," + servers}, {"cn", nullptr}}});
}

INSTANTIATE_TEST_SUITE_P(Builds, Cleanup, testing::Values(Build::native, Build::windows));

}  // namespace
}  // namespace integration
