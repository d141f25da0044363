// The agreement of the directory instances, over consistency.jsonl: two machines of a lab whose clock takes
// no time.
#include "federation/consistency.h"
#include "federation/federation_lab.h"
#include "federation/pending_operations.h"
#include "support/log_capture.h"
#include "support/small_lab.h"

namespace wstest {

namespace {

using CORE::toUtf8;
using CORE::toWide;

constexpr char configurationDn[] = "CN=Configuration,CN={53eb3830-74ef-8025-b031-01811f459a41}";
constexpr char globalDn[] = "dc=vdiglobal,dc=talvex,dc=int";

// Entries whose objectGUID is a text that the directory gives: the name of these services.
struct TextGuids final : CountingDirectoryServices {
    struct Object final : CountingObject {
        Result<DirectoryValue> get(std::string_view name) override {
            return name == "objectGUID" ? DirectoryValue(name_) : CountingObject::get(name);
        }
    };
    using CountingDirectoryServices::CountingDirectoryServices;
    Result<std::unique_ptr<DirectoryObject>> openObject(const std::string& path,
                                                        const DirectoryCredentials& credentials,
                                                        std::uint32_t flags) override {
        return counted<Object>(real_->openObject(path, credentials, flags), name_);
    }
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
        files.add(1,
                  "[files]\n'C:\\Windows\\system32\\dsmgmt.exe' = \"\"\n" + in.value("toml", std::string()),
                  faultsOf(orders("here"), here),
                  unit("here") + serverEntry("VCS2") + (in.contains("takers") ? serverEntry("VCS3") : ""));
        files.add(2, "", (in.contains("open") ? "" : smallLabsAccount) + faultsOf(orders("there")),
                  unit("there"));
        machine = files.open("VCS1", lab::Changes::dropped);
        machine->directoryServices = makePortableDirectoryServices(machine->ldap, "corp.example");
        if (in.contains("without")) machine->replication = nullptr;
        if (in.contains("guid"))
            machine->directoryServices = std::make_shared<TextGuids>(
                machine->directoryServices, std::make_shared<PortCalls>(), in["guid"]);
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
            boundTo(*machine, {.host = what.starts_with("here") ? "VCS1" : "VCS2", .port = 22389});
        return valueIn(*session, what.substr(blank + 1) + "," + globalDn, "ou").value_or("absent");
    }

    const SmallLab files{"TalvexHDQDSG", globalDn};
    std::shared_ptr<Platform> machine;
    std::shared_ptr<ManualClock> clock;
    std::optional<TestService> service;
};

std::string shown(const std::wstring& wide) {
    std::string text = toUtf8(wide);
    for (auto at = text.find(configurationDn); at != text.npos; at = text.find(configurationDn))
        text.replace(at, sizeof configurationDn - 1, "$C");
    return text;
}

// What a row calls: the outcome, the seconds that it waited, what was logged and what is there afterwards.
template <Result<void> (*call)(TestService& service, const Json& in)>
Json consistency(const Json& in) {
    TwoServers servers(in);
    if (in.contains("twice")) {
        EXPECT_TRUE(call(*servers.service, in));
    }
    const LogCapture log;
    const auto done = call(*servers.service, in);
    const auto waited = (servers.clock->now() - ManualClock().now()) / std::chrono::seconds(1);
    Json out{done ? "done" : shown(done.error().text), waited};
    for (const LogLine& line : log.lines())  // but those about entries that were read
        for (const std::string start : in.value("see", Json::array()))
            if (const auto text = shown(line.text); text.starts_with(start) && !text.starts_with("Got attr"))
                out.push_back(std::string(1, "DVIWE"[line.level]) + " " + text);
    for (const std::string what : in.value("has", Json::array()))
        out.push_back(what + ": " + servers.found(what));
    return out;
}

Result<void> force(TestService& service, const Json& in) {
    qrv::SourceAccount account{.user = toWide(in.value("user", std::string())), .password = {}};
    if (const std::string password = in.value("password", std::string()); !password.empty())
        account.password = CORE::SecurityManager::System().Encrypt(password).str();
    return qrv::forceConsistency(service, in.value("server", std::string("vcs2.corp.example")),
                                 in.contains("outgoing") ? qrv::Flow::outgoing : qrv::Flow::incoming,
                                 account);
}
Result<void> removal(TestService& service, const Json&) {
    return qrv::forceConsistencyBeforeRemoval(service);
}
Result<void> role(TestService& service, const Json&) {
    return qrv::takeSchemaMaster(service);
}

// Tells the events of the test, attempt by attempt, and fails when there are no more; of pending operations
// it knows nothing.
struct ToldEvents final : CountingBinding {
    explicit ToldEvents(Json events) : attempts(std::move(events)) {
        stand(nullptr, std::make_shared<PortCalls>(), {});
    }
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

Result<void> syncAll(TestService& service, const Json& in) {
    ToldEvents instance(in["attempts"]);
    return qrv::synchroniseAll(service, instance, L"NC", qrv::Purpose::consistency, SyncDirection::pull);
}
Result<void> pending(TestService& service, const Json&) {
    ToldEvents instance(Json::array());
    return qrv::waitForPendingOps(service, instance);
}

}  // namespace

TEST(Consistency, OfTheDirectoryInstances) {
    const TempFolder key;
    CORE::SecurityManager::System().setKeyFile((key.path() / "key" / "host.key").wstring());
    tryRows(WS_SOURCE_DIR "/tests/federation/consistency.jsonl", {{"force", consistency<force>},
                                                                  {"removal", consistency<removal>},
                                                                  {"role", consistency<role>},
                                                                  {"syncAll", consistency<syncAll>},
                                                                  {"pending", consistency<pending>}});
}

}  // namespace wstest
