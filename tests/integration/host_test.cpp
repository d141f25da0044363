// The service host as a process, with many clients and with hostile ones.
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iostream>
#include <list>
#include <thread>

#include "cases/runner/lab_folder.h"
#include "channel/channel_client.h"
#include "integration/running_host.h"
#include "support/raw_peer.h"

namespace integration {
namespace {

using Clock = std::chrono::steady_clock;
using asio::ip::tcp;

constexpr std::size_t clientCount = 64;
constexpr std::size_t floodSize = 4000;
// What hostile clients may cost the slowest of the others: so many times what it needs without them, and
// seconds.
constexpr double slowdown = 10, leeway = 5;
// MiB that the host may keep of what a flood has cost, and of what a peer has that does not read.
constexpr std::size_t keptOfFlood = 32, keptOfUnread = 256;
const std::string sampleLab = std::string("lab = '") + WS_SOURCE_DIR + "/labs/sample'\n";

const std::vector<Request> mixed{
    {"getMachineInfo", Json::array({{"desktopName", "sales"}})},
    {"getEntitledDesktops", Json::array({{"SID", "S-1-5-21-2000-2000-2000-1103"}})},
    {"usernameToSID", Json::array({{"username", "CORP\\alice"}})},
    {"getAgentVersion", Json::array({{"ticket", "sample-agents-ticket"}, {"ipAddress", "10.0.1.11"}})},
    {"setClusterName", Json::array({{"clustername", "North"}})},
    {"getAppdataLocation", Json::array()},
    {"getMachineAgentInfo", Json::array({{"desktopName", "sales"}})},
    {"isFirewallOn", Json::array()}};

// What each of the clients needed, sorted; all of them are answered alike. They have the tickets of the
// options in turn.
std::vector<double> secondsOfClients(const std::vector<Words>& options, const std::string& expected) {
    std::vector<double> seconds(clientCount);
    std::vector<std::thread> threads;
    for (std::size_t i = 0; i < clientCount; ++i)
        threads.emplace_back([&, i] {
            const auto begin = Clock::now();
            EXPECT_EQ(askBatch(Build::native, options[i % options.size()], mixed).output, expected);
            seconds[i] = std::chrono::duration<double>(Clock::now() - begin).count();
        });
    for (std::thread& thread : threads) thread.join();
    std::ranges::sort(seconds);
    return seconds;
}

void tell(const char* what, const std::vector<double>& seconds) {
    const auto at = [&](std::size_t percent) { return seconds[(seconds.size() - 1) * percent / 100]; };
    std::cout << what << ": " << seconds.size() << " clients of " << mixed.size()
              << " requests, seconds: median " << at(50) << ", 90% " << at(90) << ", 99% " << at(99)
              << ", all " << seconds.back() << std::endl;
}

tcp::endpoint endpointOf(const RunningHost& host) {
    const auto target = channel::parseAddress(host.address());
    return {asio::ip::make_address(target->host), target->port};
}

// With that ticket of makeTicket.
wstest::RawPeer peerOf(const RunningHost& host, const std::string& ticket = "ticket") {
    return {endpointOf(host), channel::parseTicket(wstest::fileText(host.ticketFile(ticket))).value()};
}

class HostOfMany : public testing::Test {
  protected:
    std::size_t openFiles() const {
        const std::filesystem::directory_iterator files("/proc/" + std::to_string(host_.process()) + "/fd");
        return static_cast<std::size_t>(std::distance(begin(files), end(files)));
    }
    std::size_t residentMiB() const {
        std::ifstream pages("/proc/" + std::to_string(host_.process()) + "/statm");
        std::size_t total = 0, resident = 0;
        pages >> total >> resident;
        return resident * static_cast<std::size_t>(::sysconf(_SC_PAGESIZE)) >> 20;
    }
    // Waits for it, but not for ever.
    static bool comes(const std::function<bool()>& what) {
        for (int i = 0; i < 1000 && !what(); ++i) std::this_thread::sleep_for(std::chrono::milliseconds(20));
        return what();
    }

    RunningHost host_{sampleLab};
    const std::vector<Words> options_{host_.makeTicket("all"), host_.makeTicket("all", "another")};
    const std::string expected_ =
        askBatch(Build::native, {"--lab", WS_SOURCE_DIR "/labs/sample"}, mixed).output;
};

TEST_F(HostOfMany, AnswersAsInProcessAndHostileClientsHoldNobodyUp) {
    static_cast<void>(askBatch(Build::native, options_.front(), mixed));
    host_.makeTicket("all", "deaf");
    const std::size_t files = openFiles();
    const auto alone = secondsOfClients(options_, expected_);
    tell("alone", alone);
    const std::size_t resident = residentMiB();
    // One end of each connection of the flood is this process's.
    rlimit limit{};
    ::getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = limit.rlim_max;
    ::setrlimit(RLIMIT_NOFILE, &limit);
    asio::io_context context;
    std::list<tcp::socket> flood;
    const auto openMany = [&] {
        std::error_code error;
        for (std::size_t i = 0; i < floodSize; ++i) {
            flood.emplace_back(context).connect(endpointOf(host_), error);
            EXPECT_FALSE(error) << error.message();
            if (i % 3 == 0) asio::write(flood.back(), asio::buffer(std::string(500, 'x')), error);
        }
    };
    const auto areGone = [&] {
        flood.clear();
        return comes([&] { return openFiles() <= files; });
    };
    openMany();
    EXPECT_TRUE(areGone());
    const std::size_t flooded = residentMiB();
    EXPECT_LT(flooded, resident + keptOfFlood);
    std::thread floods(openMany);
    // Asks and never reads, with a valid ticket, until the host cuts it off; then once more.
    std::atomic<bool> done{false};
    std::thread deaf([&] {
        channel::Frame question{
            .kind = channel::FrameKind::request, .worker = L"ws_admin", .operation = L"getMachineInfo"};
        question.bag.setBool(L"forceFullListing", true);
        while (!done) {
            wstest::RawPeer peer = peerOf(host_, "deaf");
            peer.socket.non_blocking(peer.finishHandshake());
            while (!done && peer.send(question)) ++question.number;
        }
    });
    const auto seconds = secondsOfClients(options_, expected_);
    done = true;
    floods.join();
    deaf.join();
    tell("beside hostile ones", seconds);
    EXPECT_LT(seconds.back(), slowdown * alone.back() + leeway);
    EXPECT_TRUE(areGone()) << openFiles() << " in place of " << files;
    EXPECT_TRUE(comes([&] { return residentMiB() < resident + keptOfUnread; })) << residentMiB();
    std::cout << "memory in MiB: " << resident << ", after a flood " << flooded << ", at the end "
              << residentMiB() << std::endl;
    EXPECT_EQ(host_.stop(), 0);
}

TEST_F(HostOfMany, TicketsAreCommands) {
    const std::string id =
        host_.ticket({"make", "--rights", "read", "--label", "a reader", host_.ticketFile("r")});
    const auto asked = [&](const std::string& operation, const std::string& key,
                           const std::string& ticket = "r") {
        return ask(Build::native,
                   {"--connect", host_.address(), "--ticket", host_.ticketFile(ticket), operation, key});
    };
    host_.makeTicket("agent", "a");
    EXPECT_EQ(asked("getMachineInfo", "desktopName=sales", "a").json["error"]["text"],
              "Worker ws_admin takes no messages of remote machines");
    EXPECT_NE(host_.ticket({"list"}).find("a reader"), std::string::npos);
    EXPECT_EQ(asked("getMachineInfo", "desktopName=sales").status, 0);
    const Answer refused = asked("setClusterName", "clustername=South");
    EXPECT_EQ(refused.status, 1);
    EXPECT_EQ(refused.json["error"]["text"], "The ticket does not permit operations that change something");
    const Outcome sealed = run({WS_BIN_DIR "/hdqadmin", "--encrypt", "x", "--connect", host_.address(),
                                "--ticket", host_.ticketFile("r")});
    EXPECT_TRUE(sealed.output.starts_with("{1}")) << sealed.errors;
    host_.ticket({"revoke", id.substr(0, id.find('\n'))});
    EXPECT_EQ(asked("getMachineInfo", "desktopName=sales").status, 3);
    EXPECT_EQ(host_.stop(), 0);
}

// The domain controller would answer in ten minutes.
TEST(StoppingHost, EndsTheWaitOfARequestAndAnswersIt) {
    const Json keys{{"lab", "labs/sample"}, {"toml", "[directory.faults]\nslow = 600000"}};
    const wstest::LabFolder lab({"", 0, keys, {}}, WS_SOURCE_DIR);
    RunningHost host("lab = '" + lab.path().string() + "'\n[startup]\nInitiateDomainChecks = false\n");
    host.makeTicket("read");
    wstest::RawPeer peer = peerOf(host);
    ASSERT_TRUE(peer.finishHandshake());
    channel::Frame question{.kind = channel::FrameKind::request,
                            .number = 1,
                            .worker = L"ws_admin",
                            .operation = L"usernameToSID"};
    question.bag.set(L"username", std::wstring_view(L"BRANCH\\olga"));
    ASSERT_TRUE(peer.send(question));
    question.number = 2;
    question.operation = L"getAppdataLocation";
    ASSERT_TRUE(peer.send(question));
    EXPECT_EQ(peer.next().value().number, 2u) << "the first one waits";
    EXPECT_EQ(host.stop(), 0);
    const auto answer = peer.next();
    ASSERT_TRUE(answer);
    EXPECT_EQ(answer->number, 1u);
}

// The installer runs for a second and a half, and nothing ends it.
TEST(StoppingHost, WaitsForAProgramAndNamesIt) {
    const Json keys{{"lab", "labs/sample"},
                    {"toml", "[[program]]\nname = '*\\adaminstall.exe'\nduration = 1500\nexit-code = 1\n"}};
    const wstest::LabFolder lab({"", 0, keys, {}}, WS_SOURCE_DIR);
    RunningHost host("lab = '" + lab.path().string() + "'\n", {"--log", "verbose"});
    host.makeTicket("all");
    wstest::RawPeer peer = peerOf(host);
    ASSERT_TRUE(peer.finishHandshake());
    ASSERT_TRUE(
        peer.send({.kind = channel::FrameKind::request, .worker = L"ws_admin", .operation = L"qrvLdapInit"}));
    for (int i = 0; i < 1000 && host.log().find("Running: ") == std::string::npos; ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    EXPECT_EQ(host.stop(), 0);
    const auto answer = peer.next();
    ASSERT_TRUE(answer);
    const std::string ended = "instance create command failed - exit status 1", log = host.log();
    EXPECT_NE(CORE::toUtf8(answer->bag.getErrorText()).find(ended), std::string::npos);
    for (const char* before : {"Stopping: new requests are refused",
                               "Waiting for program C:\\Windows\\adam\\adaminstall.exe to end"})
        EXPECT_LT(log.find(before), log.find(ended)) << before << log;
}

// The tool has a key of its own, under which the host could read nothing.
TEST(HostOfAPod, ReadsWhatTheToolEncrypts) {
    const wstest::TempFolder folder;
    std::filesystem::copy(WS_SOURCE_DIR "/labs", folder.path() / "labs",
                          std::filesystem::copy_options::recursive);
    const std::string lab = folder.utf8("labs/federation"),
                      password = folder.write("password", "Passw0rd.Fix");
    EXPECT_EQ(ask(Build::native, {"--lab", lab, "--machine", "VCS1", "--save", "qrvLdapInit"}).status, 0);
    RunningHost host("lab = '" + lab + "'\nmachine = 'VCS3'\n");
    Words join = host.makeTicket("all");
    join.insert(join.end(), {"qrvLdapJoin", "servername=vcs1.corp.example", "sourceusername=CORP\\admin",
                             "sourcepassword=@" + password});
    const Answer joined = ask(Build::native, join, {"env", "XDG_STATE_HOME=" + folder.utf8("state")});
    EXPECT_EQ(joined.status, 0) << joined.json << joined.errors;
    EXPECT_EQ(host.stop(), 0);
}

class AgentHost : public testing::TestWithParam<Build> {};

// A host of its own as the agent, and the tool as the server.
TEST_P(AgentHost, AnswersTheToolInAProcessOfItsOwn) {
    const wstest::TempFolder folder;
    for (const char* name : {"logs", "bundles"}) std::filesystem::create_directory(folder.path() / name);
    folder.write("logs/agent.log", "what happened");
    RunningHost agent("[files]\nlogs = ['" + folder.utf8("logs") + "']\nbundles = ['" +
                          folder.utf8("bundles") + "']\n[agent]\nversion = \"7.2\"\n",
                      {"--agent"}, GetParam());
    agent.makeTicket("agent");
    const std::string config = folder.write("tool.toml", "[startup]\nInitiateDomainChecks = false\n");
    const auto asked = [&](Words request) {
        request.insert(request.begin(), {"--config", config});
        request.insert(request.end(),
                       {"ticket=@" + agent.ticketFile("ticket"), "ipAddress=" + agent.address()});
        return ask(GetParam(), request, {"env", "-C", folder.path().string()});
    };
    EXPECT_EQ(asked({"getAgentVersion"}).json["result"].dump(), R"([["Version","7.2"]])");
    EXPECT_EQ(asked({"setAgentLogLevel", "LogLevel=error"}).status, 0);
    EXPECT_EQ(asked({"getAgentLogLevel"}).json["result"].dump(), R"([["LogLevel","error"]])");
    EXPECT_EQ(asked({"getAgentLogs"}).json["result"][0][0], "agent.log");
    EXPECT_EQ(asked({"copyAgentLog", "filename=agent.log", "localFilename=copy.log"}).status, 0);
    EXPECT_EQ(folder.read("copy.log"), "what happened");
    EXPECT_EQ(asked({"createAgentDCT", "localFilename=bundle.txt"}).status, 0);
    EXPECT_EQ(folder.read("bundle.txt"), "version 7.2\n== agent.log\nwhat happened");
    EXPECT_TRUE(std::filesystem::is_empty(folder.path() / "bundles"));
    const int status = agent.stop();
    EXPECT_TRUE(status == 0 || GetParam() == Build::windows) << status;
    EXPECT_EQ(asked({"getAgentVersion"}).json["error"]["text"], "Cannot obtain channel for remote access");
}

INSTANTIATE_TEST_SUITE_P(, AgentHost, testing::Values(Build::native, Build::windows),
                         testing::PrintToStringParamName());

}  // namespace
}  // namespace integration
