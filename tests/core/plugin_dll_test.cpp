#include <gtest/gtest.h>

#include <functional>
#include <mutex>
#include <stdexcept>
#include <thread>
#include <vector>

#include "core/scripted_worker.h"
#include "framework/core/coreexception.h"
#include "framework/core/log.h"
#include "framework/core/service.h"
#include "support/log_capture.h"

namespace {

using namespace wstest;
using CORE::MessageFrameWork;
using CORE::MessageHandler;
using CORE::PropertyBag;

class Plugin : public CORE::mfwPluginDll {
  public:
    bool synchronous = true;
    std::function<bool()> onInitialise;
    std::function<void()> onInitialiseAsync;
    std::function<void()> onCleanup;

  private:
    bool initialiseSynchronously() override { return synchronous; }
    bool initialise() override { return onInitialise ? onInitialise() : mfwPluginDll::initialise(); }
    void initialiseAsync() override {
        if (onInitialiseAsync) onInitialiseAsync();
    }
    void cleanup() override {
        if (onCleanup) onCleanup();
    }
};

using Lines = std::vector<LogLine>;
const LogLine waiting{CORE::logDebug, L"mfwPluginDll wait for threads to go"};
const LogLine allGone{CORE::logDebug, L"mfwPluginDll: all threads gone"};

TEST(PluginParams, ReplacesTheBagAndIgnoresNull) {
    Plugin plugin;
    PropertyBag bag;
    bag.set(L"a", std::wstring_view(L"1"));
    EXPECT_TRUE(plugin.params(&bag));
    EXPECT_TRUE(plugin.params(nullptr));
    EXPECT_EQ(plugin.parameters().get(L"a"), L"1");
    PropertyBag other;
    other.set(L"b", std::wstring_view(L"2"));
    EXPECT_TRUE(plugin.params(&other));
    EXPECT_FALSE(plugin.parameters().contains(L"a"));
}

TEST(PluginInit, LogsExceptionsAndAnswersTrue) {
    const struct {
        std::function<bool()> initialise;
        bool answer;
        Lines lines;
    } rows[] = {
        {nullptr, true, {}},
        {[] { return false; }, false, {}},
        {[]() -> bool { throw CORE::coreException(L"no disk"); },
         true,
         {{CORE::logError, L"mfwPluginDll exception during init, error no disk"}}},
        {[]() -> bool { throw std::runtime_error("no disk"); },
         true,
         {{CORE::logError, L"mfwPluginDll exception during init"}}},
    };
    for (const auto& row : rows) {
        Plugin plugin;
        plugin.onInitialise = row.initialise;
        const LogCapture log;
        EXPECT_EQ(plugin.init(L"module"), row.answer);
        EXPECT_EQ(log.lines(), row.lines);
    }
}

TEST(PluginInit, RunsTheAsynchronousInitialiserOnAThreadOfItsOwn) {
    Plugin plugin;
    plugin.synchronous = false;
    std::thread::id thread;
    plugin.onInitialiseAsync = [&] {
        thread = std::this_thread::get_id();
        throw CORE::coreException(L"no disk");
    };
    const LogCapture log;
    EXPECT_TRUE(plugin.init(L"module"));
    plugin.exit(L"module");
    EXPECT_NE(thread, std::thread::id());
    EXPECT_NE(thread, std::this_thread::get_id());
    EXPECT_TRUE(
        log.contains(CORE::logError, L"Thread PluginInitThread ended with an exception, error no disk"));
}

TEST(PluginExit, LogsInOrderAndAlwaysWaits) {
    const struct {
        std::function<void()> cleanup;
        Lines lines;
    } rows[] = {
        {nullptr, {waiting, allGone}},
        {[] { throw CORE::coreException(L"no disk"); },
         {{CORE::logError, L"mfwPluginDll exception during cleanup, error no disk"}, waiting, allGone}},
        {[] { throw 42; }, {{CORE::logError, L"mfwPluginDll exception during cleanup"}, waiting, allGone}},
    };
    for (const auto& row : rows) {
        Plugin plugin;
        plugin.onCleanup = row.cleanup;
        CORE::coreevent go;
        std::atomic<bool> ended{false};
        ASSERT_TRUE(plugin.threads().start(L"t", [&] {
            EXPECT_TRUE(go.waitFor(longTime));
            ended = true;
        }));
        const LogCapture log;
        std::thread release([&] { go.set(); });
        plugin.exit(L"module");
        EXPECT_TRUE(ended);
        EXPECT_EQ(log.lines(), row.lines);
        release.join();
    }
}

TEST(PluginExit, WaitsForAHundredRunningRequests) {
    constexpr int many = 100;
    Plugin plugin;
    CORE::coreevent allInside, go;
    std::atomic<int> inside{0}, left{0};
    ScriptedItem::script = [&](auto&, auto&, auto&, auto&) {
        if (++inside == many) allInside.set();
        EXPECT_TRUE(go.waitFor(longTime));
        ++left;
        return true;
    };
    auto served = CORE::refptr<CORE::service>::adopt(new CORE::service(true));
    served->registerWorker(&ScriptedItem::make, L"hundred", L"", true, false, false, true, &plugin.threads());
    ASSERT_TRUE(served->registered());
    std::atomic<int> called{0};
    CORE::ThreadGroup sent(L"sender");
    for (int i = 0; i < many; ++i)
        MessageHandler::SendAsyncMsg(L"hundred", L"x", {},
                                     [&](CORE::RespType type, PropertyBag&) {
                                         if (type == CORE::RespType::handled) ++called;
                                     },
                                     {.callbackOwner = &sent});
    await(allInside);
    plugin.onCleanup = [&] {
        served->unregisterWorker();
        served->stop();
        go.set();
    };
    plugin.exit(L"module");
    EXPECT_EQ(left, many);
    EXPECT_EQ(ScriptedItem::alive, 0);
    EXPECT_TRUE(served->stopped());
    EXPECT_TRUE(served->stopEvent()->isSet());
    EXPECT_FALSE(MessageFrameWork::System().IsWorkerInstalled(L"hundred", 0));
    sent.waitForAll();
    EXPECT_EQ(called, many);
    ScriptedItem::script = {};
}

TEST(Service, SwallowsAFailedRegistration) {
    const ScriptedWorker taken;
    const LogCapture log;
    auto served = CORE::refptr<CORE::service>::adopt(new CORE::service(false));
    served->registerWorker(&ScriptedItem::make, L"scripted", L"", true, false, false, true, nullptr);
    EXPECT_FALSE(served->registered());
    EXPECT_EQ(served->workerName(), L"scripted");
    EXPECT_EQ(served->stopEvent(), nullptr);
    EXPECT_TRUE(log.contains(CORE::logWarning,
                             L"Worker scripted was not registered: Worker scripted is already installed"));
    served->unregisterWorker();
    EXPECT_TRUE(MessageFrameWork::System().IsWorkerInstalled(L"scripted", 0)) << "the other's worker stays";
}

}  // namespace
