// A pod that joins another one's federation and leaves it, over replica.jsonl: sentence, outcome, progress,
// flags and what is left where a step fails.
#include "federation/federation_lab.h"
#include "federation/local_layer.h"
#include "platform/lab/lab_network.h"
#include "support/log_capture.h"
#include "support/process_memory.h"
#include "support/rows.h"

namespace wstest {

namespace {

using lab::Faults;

constexpr char serversOfTheLayer[] =
    "CN=Servers,CN=Default-First-Site-Name,CN=Sites,CN=Configuration,CN={53eb3830-74ef-8025-b031-"
    "01811f459a41}";

// A federation of VCS1, and VCS3 of another pod, whose ports are counted.
class TwoPods {
  public:
    explicit TwoPods(bool joined = false, const std::string& folder = WS_SOURCE_DIR "/labs/federation")
        : lab(folder) {
        EXPECT_EQ(lab.run("VCS1", "init").getErrorText(), L"");
        machine = lab.machines.at("VCS3");
        if (joined) join(L"VCS1");
        setClock(std::make_shared<ManualClock>());
        recorded(*machine, calls);
    }
    void join(const wchar_t* server) {
        EXPECT_EQ(lab.run("VCS3", "join", FederationLab::from(server)).getErrorText(), L"");
    }
    // At the time of VCS1's.
    void setClock(std::shared_ptr<ManualClock> clock) {
        const auto ahead = lab.machines.at("VCS1")->clock->now() - clock->now();
        clock->advance(std::chrono::floor<std::chrono::milliseconds>(ahead));
        machine->clock = clock_ = std::move(clock);
    }
    void setFaults(const std::string& server, Faults faults) const {
        const auto network = std::dynamic_pointer_cast<lab::LabNetwork>(machine->ldap);
        network->at(server + ".corp.example:22389")->setFaults(std::move(faults));
    }
    // While what the row says goes wrong.
    CORE::PropertyBag askBroken(const char* operation, const Json& in,
                                const FederationLab::Pairs& request = {}) {
        Faults faults;
        faults.refuseConnections = in.contains("sourceDown");
        if (in.contains("source")) faults.fail = {{in["source"][0], in["source"][1], {}, 1, 0}};
        setFaults("vcs1", faults);
        if (in.contains("meets"))
            std::dynamic_pointer_cast<lab::LabNetwork>(machine->ldap)
                ->addUnreachable("VCS1", static_cast<ProbeOutcome>(in["meets"].get<int>()));
        clock_->advance(in.value("clock", 0));
        if (in.contains("entryOf")) {
            EXPECT_TRUE(
                source()->add({staleEntry, {{"objectClass", {"server"}}, {"dNSHostName", {in["entryOf"]}}}}));
        }
        if (in.contains("keeps")) {
            EXPECT_TRUE(machine->registry->write(qrv::productKey, L"CleanupFailedQrvJoin", L"false"));
        }
        calls->restart(faultOf(in));
        auto answer = lab.run("VCS3", operation, request);
        EXPECT_EQ(calls->faultHappened(), in.contains("call"));
        EXPECT_EQ(calls->live, 0);
        return answer;
    }
    void mend(const Json& in) {
        calls->restart();
        setFaults("vcs1", {});
        setClock(clock_);
        if (in.contains("entryOf")) {
            EXPECT_TRUE(source()->remove(staleEntry, {}));
        }
    }
    // That VCS1 replicates with, itself among them.
    std::string servers() const {
        std::set<std::string> names;
        const auto found =
            source()->search({.base = serversOfTheLayer, .filter = "(objectClass=server)"}).value();
        for (const auto& entry : found.entries) names.insert(entry.dn.substr(3, entry.dn.find('$') - 3));
        return joined(names);
    }

    FederationLab lab;
    std::shared_ptr<Platform> machine;
    std::shared_ptr<PortCalls> calls = std::make_shared<PortCalls>();

  private:
    std::unique_ptr<LdapSession> source() const {
        return boundTo(*machine, {.host = "vcs1.corp.example", .port = 22389});
    }

    const std::string staleEntry = "CN=VCS3$TalvexHDQDSG," + std::string(serversOfTheLayer);
    std::shared_ptr<ManualClock> clock_;
};

void addLogged(Json& out, const LogCapture& log, const Json& in) {
    for (const LogLine& line : log.lines())
        for (const std::string start : in.value("see", Json::array()))
            if (const auto text = CORE::toUtf8(line.text); text.starts_with(start)) out.push_back(text);
}

// A step is told with its sentence as a warning, and the answer has its outcome. What a failed join has
// installed is gone, and the next one succeeds.
Json join(const Json& in) {
    TwoPods pods;
    const LogCapture log;
    auto request = FederationLab::from(L"VCS1", in.value("password", std::string("Passw0rd.Fix")));
    if (in.contains("plain")) request[L"sourcepassword"] = L"Passw0rd.Fix";
    const auto answer = pods.askBroken("join", in, request);
    const std::string outcome = pods.lab.ofServer("VCS3", "zre-QuorinLastError");
    Json found{CORE::toUtf8(answer.getErrorText()), outcome,
               pods.lab.ofServer("VCS3", "zre-QuorinEnabledPercent")};
    addLogged(found, log, in);
    if (in.contains("keeps")) {
        EXPECT_EQ(pods.lab.flags("VCS3"), "-1 -1");
        EXPECT_EQ(pods.lab.tree("VCS3"), "POD1: VCS1");
        return found;
    }
    EXPECT_EQ(pods.lab.flags("VCS3"), answer.getError() ? "0 0" : "1 1");
    if (answer.getError()) {
        EXPECT_TRUE(log.contains(CORE::logWarning, answer.getErrorText().str()));
        EXPECT_EQ(answer.utf8(L"QuorinLastError"), outcome);
        EXPECT_EQ(pods.lab.tree("VCS3"), "-");
        pods.mend(in);
        pods.join(L"vcs1.corp.example");
    }
    EXPECT_EQ(pods.lab.tree("VCS1"), "POD1: VCS1, POD2: VCS3");
    EXPECT_EQ(pods.servers(), "VCS1 VCS3");
    return found;
}

// Sentence, progress, flags, whether the layer is left, and what VCS1 has afterwards: the tree and the
// servers that it replicates with.
Json leave(const Json& in) {
    TwoPods pods(true);
    const LogCapture log;
    const auto answer = pods.askBroken("unjoin", in);
    pods.mend(in);
    Json found{CORE::toUtf8(answer.getErrorText()),
               pods.lab.ofServer("VCS3", "zre-QuorinEnabledPercent"),
               pods.lab.flags("VCS3"),
               pods.lab.tree("VCS3") != "-",
               pods.lab.tree("VCS1"),
               pods.servers()};
    addLogged(found, log, in);
    return found;
}

}  // namespace

TEST(Federation, EachStepThatFailsIsTold) {
    tryRows(WS_SOURCE_DIR "/tests/federation/replica.jsonl", {{"join", join}, {"leave", leave}});
}

// Nothing is waited for any more. What a join has made is removed; an unjoin goes on, unless it waits to use
// force.
TEST(Federation, WaitsForNothingOnceTheServiceStops) {
    constexpr std::wstring_view interrupted =
        L"Global LDAP instance uninstall command failed - interrupted for service shutdown";
    for (const char* operation : {"join", "unjoin"}) {
        const bool joins = operation == std::string_view("join");
        for (int wait = 1;; ++wait) {
            SCOPED_TRACE(operation + std::string(", wait ") + std::to_string(wait));
            TwoPods pods(!joins);
            Faults busy;
            busy.pendingOperations = 2;
            busy.fail = {{"link", replicationBusy, {}, 2, 0}, {"sync-event", 8453, {}, 2, 0}};
            pods.setFaults("vcs1", busy);
            if (!joins) pods.setFaults("vcs3", busy);
            std::optional<TestService> service;
            const auto clock = std::make_shared<StoppingClock>([&service] { service->stop(); }, wait);
            pods.setClock(clock);
            service.emplace(pods.machine);
            if (!joins)
                pods.calls->restart(
                    PortFault{.call = "processes run C:\\Windows\\adam\\adamuninstall.exe /i:TalvexHDQDSG /q",
                              .code = 5});
            const auto answer = FederationLab::run(
                *service, operation, joins ? FederationLab::from(L"VCS1") : FederationLab::Pairs());
            if (!clock->stoppedAt) {
                EXPECT_EQ(answer.getErrorText(), L"");
                EXPECT_GT(wait, 5);
                break;
            }
            EXPECT_EQ(clock->now(), *clock->stoppedAt);
            const std::wstring error = answer.getErrorText().str();
            EXPECT_TRUE(joins ? !error.empty() : error == interrupted);
            EXPECT_EQ(pods.lab.flags("VCS3"), joins ? "0 0" : "-1 -1");
        }
    }
}

#if defined(__linux__) && !defined(__SANITIZE_THREAD__)
TEST(Federation, LeavesNoPasswordInMemoryOrInTheLog) {
    // The end of a password of a length that nothing else has: memory that is given back is soon used again.
    static constexpr std::string_view inverted = "\x87\xae\xc8\xd2\x89\xbd\xcd\xd2\x92\xb4\xc6\xd2\x85\xab";
    static constexpr std::size_t before = 900;
    // A lab's file keeps in memory what is written to it.
    class FilesWithoutPassword final : public CountingFiles {
      public:
        using CountingFiles::CountingFiles;
        // The first question follows the look-ups in the source.
        Result<bool> exists(const std::wstring& path) const override {
            EXPECT_FALSE(isInMemory(inverted)) << CORE::toUtf8(path);
            return CountingFiles::exists(path);
        }
        Result<void> write(const std::wstring& path, std::string_view content) override {
            const auto line = content.find("SourcePassword=");
            if (line == content.npos) return CountingFiles::write(path, content);
            EXPECT_EQ(content.find('\n', line) - line,
                      sizeof "SourcePassword=" - 1 + before + inverted.size());
            return CountingFiles::write(path, std::string(content.substr(0, line)) +
                                                  std::string(content.substr(content.find('\n', line) + 1)));
        }
    };
    // A lab keeps the passwords that it knows. VCS1 of this one admits any.
    const TempFolder labs;
    std::filesystem::copy(WS_SOURCE_DIR "/labs", labs.path(), std::filesystem::copy_options::recursive);
    const std::string file = fileText(labs.utf8("federation/VCS1.toml"));
    labs.write("federation/VCS1.toml", file.substr(0, file.find("[[directory.account]]")));
    TwoPods pod(false, labs.utf8("federation"));
    pod.machine->files = std::make_shared<FilesWithoutPassword>(pod.machine->files, pod.calls);
    const auto request = FederationLab::from(L"VCS1", secretOf(inverted, before).view());
    const LogCapture log(CORE::logDebug);  // its lines are a part of the memory
    EXPECT_EQ(pod.lab.run("VCS3", "join", request).getErrorText(), L"");
    expectNotInMemory(inverted);
    const auto held = secretOf(inverted, before);
    EXPECT_TRUE(isInMemory(inverted)) << "the search finds nothing at all";
}
#endif

}  // namespace wstest
