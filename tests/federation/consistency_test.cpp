// The agreement of the directory instances, over consistency.jsonl: two machines of a lab whose clock takes
// no time.
#include <gtest/gtest.h>

#include "federation/consistency.h"
#include "federation/idle_replication.h"
#include "federation/sample_pod.h"
#include "federation/stopping_clock.h"
#include "framework/core/security.h"
#include "support/log_capture.h"
#include "support/small_lab.h"

namespace wstest {

namespace {

using namespace wsadmin;
using namespace wsadmin::platform;
using CORE::toUtf8;
using CORE::toWide;

constexpr char configurationDn[] = "CN=Configuration,CN={53eb3830-74ef-8025-b031-01811f459a41}";
constexpr char globalDn[] = "dc=vdiglobal,dc=talvex,dc=int";

// Notes what is asked of the schema master's tool, and when; the exit codes are the test's.
class RoleTool final : public Processes {
  public:
    RoleTool(std::shared_ptr<Processes> lab, std::shared_ptr<Clock> clock, std::vector<int> runs)
        : lab_(std::move(lab)), clock_(std::move(clock)), begin_(clock_->now()), runs_(std::move(runs)) {}
    Result<std::optional<int>> run(const std::wstring& program, const std::wstring& arguments) override {
        const auto now = std::chrono::duration_cast<std::chrono::seconds>(clock_->now() - begin_).count();
        const std::wstring head = L"roles connections \"connect to server localhost:22389\" quit \"";
        EXPECT_TRUE(arguments.starts_with(head) && arguments.ends_with(L" schema master\" quit quit"));
        const std::wstring verb =
            arguments.substr(head.size(), arguments.find(L' ', head.size()) - head.size());
        asked.push_back(std::to_string(now) + " " + toUtf8(verb));
        const std::size_t last = runs_.empty() ? 0 : runs_.size() - 1;
        const int code = runs_.empty() ? 0 : runs_[std::min(asked.size() - 1, last)];
        return code == 0 ? lab_->run(program, arguments) : Result<std::optional<int>>(code);
    }
    std::vector<std::string> asked;

  private:
    std::shared_ptr<Processes> lab_;
    std::shared_ptr<Clock> clock_;
    std::chrono::system_clock::time_point begin_;
    std::vector<int> runs_;
};

// An entry whose objectGUID is a text that the directory gives.
class TextGuids final : public CountingDirectoryServices {
  public:
    TextGuids(std::shared_ptr<DirectoryServices> services, std::string guid)
        : CountingDirectoryServices(std::move(services), std::make_shared<PortCalls>()),
          guid_(std::move(guid)) {}
    Result<std::unique_ptr<DirectoryObject>> openObject(const std::string& path,
                                                        const DirectoryCredentials& credentials,
                                                        std::uint32_t flags) override {
        struct Object final : CountingObject {
            using CountingObject::CountingObject;
            Result<DirectoryValue> get(std::string_view name) override {
                if (name == "objectGUID") return DirectoryValue(guid);
                return CountingObject::get(name);
            }
            std::string guid;
        };
        auto opened = real_->openObject(path, credentials, flags);
        if (!opened) return opened;
        auto object = std::make_unique<Object>(std::move(*opened), calls_, path);
        object->guid = guid_;
        return object;
    }

  private:
    std::string guid_;
};

// Two servers of a federation, of which the first runs the service. Each knows the other's entry, and has one
// that the other lacks.
struct TwoServers {
    explicit TwoServers(const Json& in) {
        std::string here =
            in.contains("pending") ? "pending-operations = " + in["pending"].dump() + "\n" : "";
        if (in.contains("hereDown")) here += "refuse-connections = true\n";
        if (in.contains("takers")) here += "role-takers = " + in["takers"].dump() + "\n";
        const auto orders = [&](const char* side) { return in.value(side, Json::array()); };
        const auto unit = [](const std::string& name) {
            return "dn: OU=" + name + "," + globalDn + "\nobjectClass: organizationalUnit\n";
        };
        files.add(1, "[files]\n'C:\\Windows\\system32\\dsmgmt.exe' = \"\"\n", faultsOf(orders("here"), here),
                  unit("here") + serverEntry("VCS2") + (in.contains("takers") ? serverEntry("VCS3") : ""));
        files.add(2, "", (in.contains("open") ? "" : smallLabsAccount) + faultsOf(orders("there")),
                  unit("there"));
        machine = files.open("VCS1", lab::Changes::dropped);
        machine->directoryServices = makePortableDirectoryServices(machine->ldap, "corp.example");
        if (in.contains("guid"))
            machine->directoryServices =
                std::make_shared<TextGuids>(machine->directoryServices, in["guid"].get<std::string>());
        clock = std::make_shared<StoppingClock>([this] { service->stop(); }, in.value("stopAt", 0));
        begin = clock->now();
        machine->clock = clock;
        service.emplace(machine);
    }
    static std::string serverEntry(const std::string& host) {
        const std::string dn =
            "CN=" + host + "$TalvexHDQDSG,CN=Servers,CN=Default-First-Site-Name,CN=Sites," + configurationDn;
        return "\ndn: " + dn + "\nobjectClass: server\ndNSHostName: vcs" + host.substr(3) +
               ".corp.example\n\ndn: CN=NTDS Settings," + dn + "\nobjectClass: nTDSDSA\noptions: 1\n";
    }
    // "SIDE RDN": the first value of its name in the global naming context.
    std::string found(const std::string& what) const {
        const auto blank = what.find(' ');
        const auto session =
            machine->ldap->open({.host = what.starts_with("here") ? "VCS1" : "VCS2", .port = 22389}).value();
        EXPECT_TRUE(session->bind({}));
        const auto entry = session->search({.base = what.substr(blank + 1) + "," + globalDn,
                                            .scope = LdapScope::base,
                                            .filter = "(objectClass=*)"});
        return entry ? std::string(entry->entries.at(0).first("ou")) : "absent";
    }
    std::int64_t waited() const {
        return std::chrono::duration_cast<std::chrono::seconds>(clock->now() - begin).count();
    }

    const SmallLab files{"TalvexHDQDSG", globalDn};
    std::shared_ptr<Platform> machine;
    std::shared_ptr<ManualClock> clock;
    std::chrono::system_clock::time_point begin;
    std::optional<TestService> service;
};

std::string replaced(std::string text, const std::string& from, const std::string& to) {
    for (auto at = text.find(from); at != text.npos; at = text.find(from, at))
        text.replace(at, from.size(), to);
    return text;
}
std::string shown(const std::wstring& text) {
    return replaced(toUtf8(text), configurationDn, "$C");
}

Json outcomeOf(const Result<void>& done) {
    return done ? "done" : shown(done.error().text);
}

// Lines about entries that were read are none of an operation's own.
void addLines(Json& out, const LogCapture& log, const Json& see) {
    for (const LogLine& line : log.lines()) {
        const std::string text = shown(line.text);
        const bool wanted = std::ranges::any_of(
            see, [&](const Json& start) { return text.starts_with(start.get<std::string>()); });
        if (wanted && !text.starts_with("Got attribute"))
            out.push_back(std::string(1, "DVIWE"[line.level]) + " " + text);
    }
}

Json consistency(const Json& in, const std::function<Result<void>(TestService&)>& call) {
    TwoServers servers(in);
    if (in.contains("twice")) {
        EXPECT_TRUE(call(*servers.service));
    }
    const LogCapture log;
    Json out = Json::array({outcomeOf(call(*servers.service)), servers.waited()});
    addLines(out, log, in.value("see", Json::array()));
    for (const std::string what : in.value("has", Json::array()))
        out.push_back(what + ": " + servers.found(what));
    return out;
}

Json force(const Json& in) {
    qrv::SourceAccount account{.user = toWide(in.value("user", std::string())), .password = {}};
    if (const std::string password = in.value("password", std::string()); !password.empty())
        account.password = CORE::SecurityManager::System().Encrypt(password).str();
    const auto flow = in.contains("outgoing") ? qrv::Flow::outgoing : qrv::Flow::incoming;
    return consistency(in, [&](TestService& service) {
        return qrv::forceConsistency(service, in.value("server", std::string("vcs2.corp.example")), flow,
                                     account);
    });
}

Json removal(const Json& in) {
    return consistency(in, qrv::forceConsistencyBeforeRemoval);
}

Json role(const Json& in) {
    TwoServers servers(in);
    const auto tool = std::make_shared<RoleTool>(servers.machine->processes, servers.clock,
                                                 in.value("runs", std::vector<int>()));
    servers.machine->processes = tool;
    Json out = Json::array({outcomeOf(qrv::takeSchemaMaster(*servers.service))});
    for (const std::string& asked : tool->asked) out.push_back(asked);
    return out;
}

// Tells the events of the test, attempt by attempt, and fails when there are no more.
class ToldEvents final : public IdleReplication {
  public:
    explicit ToldEvents(const Json& attempts) : attempts_(attempts) {}
    Result<void> synchroniseAll(const std::wstring&, SyncDirection, const SyncProgress& progress) override {
        if (next_ == attempts_.size()) return fail(5, L"refused");
        for (const Json& event : attempts_[next_++]) {
            if (event.is_null()) {
                progress(std::nullopt);
                continue;
            }
            SyncEvent told{.kind = event[0]};
            if (event.size() > 1)
                told.details = {.source = toWide(event[3].get<std::string>()),
                                .destination = toWide(event[4].get<std::string>()),
                                .errorType = event[1],
                                .code = event[2]};
            progress(told);
        }
        return {};
    }

  private:
    const Json& attempts_;
    std::size_t next_ = 0;
};

Json syncAll(const Json& in) {
    TwoServers servers(in);
    ToldEvents instance(in.at("attempts"));
    const LogCapture log;
    const auto direction = in.contains("pull") ? SyncDirection::pull : SyncDirection::push;
    Json out = Json::array({outcomeOf(qrv::synchroniseAll(*servers.service, instance, L"NC",
                                                          qrv::Purpose::consistency, direction)),
                            servers.waited()});
    addLines(out, log,
             {"DsReplicaSyncAllCallback: error o", "DsReplicaSyncAllCallback: sync",
              "DsReplicaSyncAllCallback: u", "DsReplicaSyncAllCallback: n", "Could not"});
    return out;
}

}  // namespace

TEST(Consistency, OfTheDirectoryInstances) {
    const TempFolder key;
    CORE::SecurityManager::System().setKeyFile((key.path() / "key" / "host.key").wstring());
    tryRows(WS_SOURCE_DIR "/tests/federation/consistency.jsonl",
            {{"force", force}, {"removal", removal}, {"role", role}, {"syncAll", syncAll}});
}

}  // namespace wstest
