// The agreement of the directory instances, over consistency.jsonl: two machines of a lab whose clock takes
// no time.
#include <gtest/gtest.h>

#include "federation/consistency.h"
#include "federation/pending_operations.h"
#include "federation/stopping_clock.h"
#include "framework/core/security.h"
#include "platform/portable/portable_directory.h"
#include "support/counting_ports.h"
#include "support/log_capture.h"
#include "support/small_lab.h"
#include "support/test_service.h"

namespace wstest {

namespace {

using namespace wsadmin;
using namespace wsadmin::platform;
using CORE::toUtf8;
using CORE::toWide;

constexpr char configurationDn[] = "CN=Configuration,CN={53eb3830-74ef-8025-b031-01811f459a41}";
constexpr char globalDn[] = "dc=vdiglobal,dc=talvex,dc=int";

// Notes what is asked of the schema master's tool, and when; the exit codes are the test's, the last for
// good.
struct RoleTool final : Processes {
    RoleTool(const Platform& machine, std::vector<int> runs)
        : lab(machine.processes), clock(machine.clock), codes(std::move(runs)) {}
    Result<std::optional<int>> run(const std::wstring& program, const std::wstring& arguments) override {
        const std::wstring head = L"roles connections \"connect to server localhost:22389\" quit \"";
        EXPECT_TRUE(arguments.starts_with(head) && arguments.ends_with(L" schema master\" quit quit"));
        const std::wstring verb =
            arguments.substr(head.size(), arguments.find(L' ', head.size()) - head.size());
        asked.push_back(std::to_string((clock->now() - begin) / std::chrono::seconds(1)) + " " +
                        toUtf8(verb));
        const int code = codes.empty() ? 0 : codes[std::min(asked.size(), codes.size()) - 1];
        return code == 0 ? lab->run(program, arguments) : Result<std::optional<int>>(code);
    }
    const std::shared_ptr<Processes> lab;
    const std::shared_ptr<Clock> clock;
    const std::vector<int> codes;
    const std::chrono::system_clock::time_point begin = clock->now();
    std::vector<std::string> asked;
};

// Entries whose objectGUID is a text that the directory gives.
struct TextGuids final : CountingDirectoryServices {
    TextGuids(std::shared_ptr<DirectoryServices> services, std::string text)
        : CountingDirectoryServices(std::move(services), std::make_shared<PortCalls>()),
          guid(std::move(text)) {}
    Result<std::unique_ptr<DirectoryObject>> openObject(const std::string& path,
                                                        const DirectoryCredentials& credentials,
                                                        std::uint32_t flags) override {
        struct Object final : CountingObject {
            using CountingObject::CountingObject;
            Result<DirectoryValue> get(std::string_view name) override {
                return name == "objectGUID" ? DirectoryValue(guid) : CountingObject::get(name);
            }
            std::string guid;
        };
        auto opened = real_->openObject(path, credentials, flags);
        if (!opened) return opened;
        auto object = std::make_unique<Object>(std::move(*opened), calls_, path);
        object->guid = guid;
        return object;
    }
    const std::string guid;
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
    std::int64_t waited() const { return (clock->now() - begin) / std::chrono::seconds(1); }

    const SmallLab files{"TalvexHDQDSG", globalDn};
    std::shared_ptr<Platform> machine;
    std::shared_ptr<ManualClock> clock;
    const std::chrono::system_clock::time_point begin = ManualClock().now();
    std::optional<TestService> service;
};

std::string shown(const std::wstring& wide) {
    std::string text = toUtf8(wide);
    for (auto at = text.find(configurationDn); at != text.npos; at = text.find(configurationDn))
        text.replace(at, sizeof configurationDn - 1, "$C");
    return text;
}

Json outcomeOf(const Result<void>& done) {
    return done ? "done" : shown(done.error().text);
}

Json consistency(const Json& in, const std::function<Result<void>(TestService&, const TwoServers&)>& call) {
    TwoServers servers(in);
    if (in.contains("twice")) {
        EXPECT_TRUE(call(*servers.service, servers));
    }
    const LogCapture log;
    Json out = Json::array({outcomeOf(call(*servers.service, servers)), servers.waited()});
    for (const LogLine& line : log.lines())  // but those about entries that were read
        for (const std::string start : in.value("see", Json::array()))
            if (const auto text = shown(line.text); text.starts_with(start) && !text.starts_with("Got attr"))
                out.push_back(std::string(1, "DVIWE"[line.level]) + " " + text);
    for (const std::string what : in.value("has", Json::array()))
        out.push_back(what + ": " + servers.found(what));
    return out;
}

Json force(const Json& in) {
    qrv::SourceAccount account{.user = toWide(in.value("user", std::string())), .password = {}};
    if (const std::string password = in.value("password", std::string()); !password.empty())
        account.password = CORE::SecurityManager::System().Encrypt(password).str();
    const auto flow = in.contains("outgoing") ? qrv::Flow::outgoing : qrv::Flow::incoming;
    return consistency(in, [&](TestService& service, auto&) {
        return qrv::forceConsistency(service, in.value("server", std::string("vcs2.corp.example")), flow,
                                     account);
    });
}

Json removal(const Json& in) {
    return consistency(
        in, [](TestService& service, auto&) { return qrv::forceConsistencyBeforeRemoval(service); });
}

Json role(const Json& in) {
    TwoServers servers(in);
    const auto tool = std::make_shared<RoleTool>(*servers.machine, in.value("runs", std::vector<int>()));
    servers.machine->processes = tool;
    Json out = Json::array({outcomeOf(qrv::takeSchemaMaster(*servers.service))});
    for (const std::string& asked : tool->asked) out.push_back(asked);
    return out;
}

// Tells the events of the test, attempt by attempt, and fails when there are no more; of pending operations
// it knows nothing.
struct ToldEvents final : CountingBinding {
    ToldEvents(const TwoServers& servers, const Json& events)
        : CountingBinding(servers.machine->replication->bind(L"localhost:22389", nullptr).value(),
                          std::make_shared<PortCalls>(), "localhost"),
          attempts(events) {}
    Result<std::optional<std::uint32_t>> pendingOperations() override { return std::nullopt; }
    Result<void> synchroniseAll(const std::wstring&, SyncDirection, const SyncProgress& progress) override {
        if (next == attempts.size()) return fail(5, L"refused");
        for (const Json& event : attempts[next++]) {
            std::optional<SyncEvent> told;
            if (!event.is_null()) told = SyncEvent{.kind = event[0]};
            if (event.size() > 1)
                told->details = {.source = toWide(event[3].get<std::string>()),
                                 .destination = toWide(event[4].get<std::string>()),
                                 .errorType = event[1],
                                 .code = event[2]};
            progress(told);
        }
        return {};
    }
    const Json attempts;
    std::size_t next = 0;
};

Json syncAll(const Json& in) {
    const auto direction = in.contains("pull") ? SyncDirection::pull : SyncDirection::push;
    return consistency(in, [&](TestService& service, const TwoServers& servers) {
        ToldEvents instance(servers, in["attempts"]);
        return qrv::synchroniseAll(service, instance, L"NC", qrv::Purpose::consistency, direction);
    });
}

Json pending(const Json& in) {
    return consistency(in, [](TestService& service, const TwoServers& servers) {
        ToldEvents instance(servers, {});
        return qrv::waitForPendingOps(service, instance);
    });
}

}  // namespace

TEST(Consistency, OfTheDirectoryInstances) {
    const TempFolder key;
    CORE::SecurityManager::System().setKeyFile((key.path() / "key" / "host.key").wstring());
    tryRows(
        WS_SOURCE_DIR "/tests/federation/consistency.jsonl",
        {{"force", force}, {"removal", removal}, {"role", role}, {"syncAll", syncAll}, {"pending", pending}});
}

}  // namespace wstest
