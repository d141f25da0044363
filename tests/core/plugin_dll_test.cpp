// A module's plug-in object, and its service.
#include <gtest/gtest.h>

#include <functional>
#include <stdexcept>
#include <vector>

#include "core/scripted_worker.h"
#include "framework/core/coreexception.h"
#include "framework/core/service.h"
#include "support/log_capture.h"

namespace {

using namespace wstest;
using CORE::MessageFrameWork;
using CORE::PropertyBag;

class Plugin : public CORE::mfwPluginDll {
  public:
    bool synchronous = true;
    std::function<bool()> onInitialise = [] { return true; };
    std::function<void()> onInitialiseAsync, onCleanup = [] {};

  private:
    bool initialiseSynchronously() override { return synchronous; }
    bool initialise() override { return onInitialise(); }
    void initialiseAsync() override { onInitialiseAsync(); }
    void cleanup() override { onCleanup(); }
};

using Lines = std::vector<LogLine>;

TEST(PluginParams, ReplacesTheBagAndIgnoresNull) {
    Plugin plugin;
    for (const wchar_t* name : {L"a", L"b"}) {
        PropertyBag bag;
        bag.set(name, std::wstring_view(L"1"));
        EXPECT_TRUE(plugin.params(&bag));
        EXPECT_TRUE(plugin.params(nullptr));
        EXPECT_EQ(plugin.parameters().flattenForDisplay(), std::wstring(name) + L"=1");
    }
}

TEST(PluginInit, LogsExceptionsAndAnswersTrue) {
    const struct {
        std::function<bool()> initialise;
        bool answer;
        Lines lines;
    } rows[] = {
        {[] { return true; }, true, {}},
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
    const std::pair<std::function<void()>, Lines> rows[] = {
        {[] {}, {}},
        {[] { throw CORE::coreException(L"no disk"); },
         {{CORE::logError, L"mfwPluginDll exception during cleanup, error no disk"}}},
        {[] { throw 42; }, {{CORE::logError, L"mfwPluginDll exception during cleanup"}}},
    };
    for (auto [cleanup, lines] : rows) {
        lines.push_back({CORE::logDebug, L"mfwPluginDll wait for threads to go"});
        lines.push_back({CORE::logDebug, L"mfwPluginDll: all threads gone"});
        Plugin plugin;
        plugin.onCleanup = cleanup;
        CORE::coreevent go;
        std::atomic<bool> ended{false};
        ASSERT_TRUE(plugin.threads().start(L"t", [&] {
            EXPECT_TRUE(go.waitFor(longTime));
            yield();
            ended = true;
        }));
        const LogCapture log;
        std::thread release([&] { go.set(); });
        plugin.exit(L"module");
        EXPECT_TRUE(ended);
        EXPECT_EQ(log.lines(), lines);
        release.join();
    }
}

TEST(Service, SwallowsAFailedRegistration) {
    const ScriptedWorker taken;
    const LogCapture log;
    EXPECT_EQ(CORE::refptr<CORE::service>::adopt(new CORE::service(false))->stopEvent(), nullptr);
    auto served = CORE::refptr<CORE::service>::adopt(new CORE::service(true));
    served->registerWorker(&ScriptedItem::make, L"scripted", L"", true, false, false, true, nullptr);
    EXPECT_FALSE(served->registered());
    EXPECT_EQ(served->workerName(), L"scripted");
    EXPECT_TRUE(log.contains(CORE::logWarning,
                             L"Worker scripted was not registered: Worker scripted is already installed"));
    served->unregisterWorker();
    EXPECT_TRUE(MessageFrameWork::System().IsWorkerInstalled(L"scripted", 0)) << "the other's worker stays";
    EXPECT_FALSE(served->stopEvent()->isSet());
    served->stop();
    EXPECT_TRUE(served->stopped());
    EXPECT_TRUE(served->stopEvent()->isSet());
}

}  // namespace
