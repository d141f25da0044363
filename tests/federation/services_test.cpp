// The services of the layer, the wait for replication, and the searches that other operations use.
#include <gtest/gtest.h>

#include <deque>
#include <functional>

#include "federation/federation_tree.h"
#include "federation/pending_operations.h"
#include "federation/sample_pod.h"
#include "federation/service_configuration.h"
#include "platform/lab/services.h"
#include "support/counting_ports.h"
#include "support/log_capture.h"

namespace wstest {

namespace {

using namespace wsadmin;
using lab::LabService;
using Lines = std::vector<LogLine>;

constexpr int denied = 5;

LogLine info(std::wstring text) {
    return {CORE::logInfo, std::move(text)};
}
LogLine warning(std::wstring text) {
    return {CORE::logWarning, std::move(text)};
}

struct ServiceCase {
    const char* what;
    bool enable;
    std::vector<LabService> services;
    PortFault fault;
    Lines log;
    std::vector<LabService> afterwards;
};

const LabService pod{L"ADAM_TalvexHDQDS", L"pod", {}}, layer{L"ADAM_TalvexHDQDSG", L"pod", {}},
    undescribed{L"ADAM_TalvexHDQDSG", L"", {}}, alone{L"wsbroker", L"", {L"+group"}},
    dependent{L"wsbroker", L"", {L"+group", L"adam_talvexhdqdsg"}};
const LogLine adds = info(L"Add service dependency on ADAM_TalvexHDQDSG"),
              describes = info(L"Set service description for ADAM_TalvexHDQDSG");

std::vector<ServiceCase> serviceCases() {
    const std::vector<LabService> apart{pod, undescribed, alone};
    const std::vector<LabService> joined{pod, layer, {L"wsbroker", L"", {L"+group", L"ADAM_TalvexHDQDSG"}}};
    const auto failing = [](std::string call, int code = denied) {
        return PortFault{.call = "services " + std::move(call), .code = code};
    };
    return {
        {"enabling", true, apart, {}, {describes, adds}, joined},
        {"enabling twice", true, joined, {}, {}, joined},
        {"disabling",
         false,
         {pod, layer, dependent},
         {},
         {info(L"Remove service dependency on ADAM_TalvexHDQDSG")},
         {pod, layer, alone}},
        {"nothing to disable", false, {pod, layer, alone}, {}, {}, {pod, layer, alone}},
        {"a pod without a description",
         true,
         {{pod.name}, layer, dependent},
         {},
         {},
         {{pod.name}, layer, dependent}},
        {"no broker", true, {pod, layer}, {}, {warning(L"wsbroker service not found")}, {pod, layer}},
        {"no manager",
         true,
         apart,
         failing("open"),
         {warning(L"Failed to open Service Control Manager: injected")},
         apart},
        {"a service that is closed",
         true,
         {pod, layer, alone},
         failing("openService wsbroker"),
         {warning(L"Failed to open wsbroker service: injected")},
         {pod, layer, alone}},
        {"descriptions",
         true,
         {pod, undescribed, dependent},
         failing("description ADAM_TalvexHDQDS"),
         {warning(L"Failed to query description for ADAM_TalvexHDQDS service: injected")},
         {pod, undescribed, dependent}},
        {"a size that is not asked for",
         true,
         {pod, undescribed, dependent},
         failing("description ADAM_TalvexHDQDS", serviceSucceeded),
         {warning(L"Unexpected success querying description for ADAM_TalvexHDQDS service")},
         {pod, undescribed, dependent}},
        {"no memory",
         true,
         {pod, undescribed, dependent},
         failing("description ADAM_TalvexHDQDSG", accountNotEnoughMemory),
         {warning(L"Unable to allocate memory to query description for ADAM_TalvexHDQDSG service")},
         {pod, undescribed, dependent}},
        {"a description that stays",
         true,
         {pod, undescribed, dependent},
         failing("setDescription ADAM_TalvexHDQDSG"),
         {describes, warning(L"Failed to change description for ADAM_TalvexHDQDSG service: injected")},
         {pod, undescribed, dependent}},
        {"dependencies",
         true,
         {pod, layer, alone},
         failing("dependencies wsbroker"),
         {warning(L"Failed to query config for wsbroker service: injected")},
         {pod, layer, alone}},
        {"a config that is not asked for",
         true,
         {pod, layer, alone},
         failing("dependencies wsbroker", serviceSucceeded),
         {warning(L"Unexpected success querying config for wsbroker service")},
         {pod, layer, alone}},
        {"no memory for it",
         true,
         {pod, layer, alone},
         failing("dependencies wsbroker", accountNotEnoughMemory),
         {warning(L"Unable to allocate memory to query config for wsbroker service")},
         {pod, layer, alone}},
        {"dependencies that stay",
         true,
         {pod, layer, alone},
         failing("setDependencies wsbroker"),
         {adds, warning(L"Failed to change dependencies for wsbroker service: injected")},
         {pod, layer, alone}},
    };
}

// An instance that answers what the test says, in order.
class ScriptedReplication final : public ReplicationBinding {
  public:
    using Answer = Result<std::optional<std::uint32_t>>;
    explicit ScriptedReplication(std::deque<Answer> answers) : answers_(std::move(answers)) {}
    Answer pendingOperations() override {
        auto answer = answers_.front();
        answers_.pop_front();
        return answer;
    }

  private:
    std::deque<Answer> answers_;
};

}  // namespace

TEST(LayerService, IsDescribedAndStartedBeforeTheBroker) {
    for (const ServiceCase& one : serviceCases()) {
        SCOPED_TRACE(one.what);
        const auto services = std::make_shared<lab::LabServices>(one.services);
        const auto calls = std::make_shared<PortCalls>();
        Platform machine;
        machine.services =
            std::make_shared<CountingServiceControl>(lab::makeLabServiceControl(services), calls);
        calls->restart(one.fault);
        const LogCapture log(CORE::logInfo);
        qrv::configureGlobalService(machine, one.enable);
        EXPECT_EQ(log.lines(), one.log);
        EXPECT_EQ(calls->faultHappened(), !one.fault.call.empty());
        EXPECT_EQ(calls->live, 0);
        const auto found = services->now();
        ASSERT_EQ(found.size(), one.afterwards.size());
        for (std::size_t i = 0; i < found.size(); ++i) {
            EXPECT_EQ(found[i].description, one.afterwards[i].description);
            EXPECT_EQ(found[i].dependencies, one.afterwards[i].dependencies);
        }
    }
}

TEST(PendingOperations, AreWaitedForUntilThereAreNoneOrTheServiceStops) {
    const auto machine = std::make_shared<Platform>();
    const auto clock = std::make_shared<ManualClock>();
    machine->clock = clock;
    const auto wait = [&](std::deque<ScriptedReplication::Answer> answers, bool stops = false) {
        TestService service(machine);
        if (stops) service.stop();
        ScriptedReplication instance(std::move(answers));
        const LogCapture log(CORE::logVerbose);
        const bool done = qrv::waitForPendingOps(service, instance).has_value();
        auto lines = log.lines();
        return std::pair(done, lines.empty() ? LogLine{} : lines.back());
    };
    const LogLine waits{CORE::logVerbose, L"There are 2 pending operations, delaying actions"};
    const auto begin = clock->monotonic();
    EXPECT_EQ(wait({7u, 2u, 0u}), std::pair(true, waits));
    EXPECT_EQ(clock->monotonic() - begin, std::chrono::seconds(10));
    EXPECT_EQ(wait({2u}, true), std::pair(false, LogLine{CORE::logVerbose, L"Interrupted by shutdown"}));
    EXPECT_EQ(wait({fail(8453, L"denied")}),
              std::pair(false, LogLine{CORE::logError, L"Unable to retrieve pending ops: denied"}));
    EXPECT_EQ(wait({std::nullopt}),
              std::pair(false, LogLine{CORE::logError, L"Unable to retrieve pending ops: result is empty"}));
}

TEST(Pods, AreCountedAndFoundByAnUnescapedName) {
    const auto machine = openedLab(WS_SOURCE_DIR "/labs/federated");
    EXPECT_EQ(qrv::countPods(*machine), 2u);
    const std::wstring first = L"6f1c2d10-0000-4000-8000-000000000001",
                       second = L"6f1c2d10-0000-4000-8000-000000000002";
    for (const auto& [name, cn] : {std::pair<const wchar_t*, std::wstring>{L"Cluster-POD2", second},
                                   {L"*POD2", second},
                                   {L"Cluster-POD*", first},
                                   {L"Cluster-POD3", L""},
                                   {L"a)(cn=", L""}})
        EXPECT_EQ(qrv::podShownAs(*machine, name), cn) << CORE::toUtf8(name);
}

TEST(Pods, ThatCannotBeAskedForAreNoneAndTheStepIsTold) {
    const auto machine = openedLab(WS_SOURCE_DIR "/labs/federated");
    const auto calls = std::make_shared<PortCalls>();
    machine->directoryServices =
        std::make_shared<CountingDirectoryServices>(machine->directoryServices, calls);
    const std::wstring path = L"LDAP://127.0.0.1:22389/OU=POD,OU=Properties,dc=vdiglobal,dc=talvex,dc=int";
    const auto lookFor = [&] { return qrv::podShownAs(*machine, L"Cluster-POD1").size(); };
    const auto count = [&] { return qrv::countPods(*machine); };
    const struct {
        std::function<std::size_t()> ask;
        const char* step;
        LogLine line;
    } rows[] = {
        {count, "ads openSearch", {CORE::logError, L"Failed to open object for a pod search"}},
        {count, "ads setPreference", {CORE::logError, L"Failed to set search preferences for a pod search"}},
        {count, "ads execute", {CORE::logError, L"Failed to execute pod search"}},
        {lookFor, "ads openSearch", warning(L"Failed to bind to " + path)},
        {lookFor, "ads setPreference", warning(L"Failed to set search preferences for a pod search")},
        {lookFor, "ads execute", warning(L"Failed to execute pod search")},
    };
    for (const auto& row : rows) {
        calls->restart();
        EXPECT_GT(row.ask(), 0u);
        const auto made = calls->calls();
        const auto step = std::ranges::find_if(
            made, [&](const PortCalls::Call& call) { return call.name.starts_with(row.step); });
        ASSERT_NE(step, made.end()) << row.step;
        calls->restart(PortFault{.call = step->name, .code = adsAccessDenied});
        const LogCapture log(CORE::logInfo);
        EXPECT_EQ(row.ask(), 0u) << row.step;
        EXPECT_TRUE(log.contains(row.line.level, row.line.text)) << row.step;
    }
}

}  // namespace wstest
