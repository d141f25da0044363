// A module's plug-in object, and its service.

#include <stdexcept>

#include "core/scripted_worker.h"
#include "framework/core/coreexception.h"
#include "framework/core/service.h"
#include "support/log_capture.h"

namespace {

using namespace wstest;

class Plugin : public CORE::mfwPluginDll {
  public:
    std::function<bool()> onInitialise, onCleanup;
    std::function<void()> onInitialiseAsync;

  private:
    bool initialiseSynchronously() override { return !onInitialiseAsync; }
    bool initialise() override { return onInitialise(); }
    void initialiseAsync() override { onInitialiseAsync(); }
    void cleanup() override { onCleanup(); }
};

TEST(Plugin, LogsExceptionsOfItsStartAndItsEndAndAlwaysWaits) {
    // What is thrown, as the log lines end.
    const std::tuple<std::function<bool()>, bool, const wchar_t*> rows[] = {
        {[] { return true; }, true, nullptr},
        {[] { return false; }, false, nullptr},
        {[]() -> bool { throw CORE::coreException(L"no disk"); }, true, L", error no disk"},
        {[]() -> bool { throw std::runtime_error("no disk"); }, true, L""},
    };
    for (const auto& [code, answer, thrown] : rows) {
        CORE::coreevent go;
        std::atomic<bool> ended{false};
        Plugin plugin;
        plugin.onInitialise = code;
        plugin.onCleanup = [&, &code = code] { return go.set(), code(); };
        const LogCapture log;
        EXPECT_EQ(plugin.init(L"module"), answer);
        ASSERT_TRUE(plugin.threads().start(L"t", [&] {
            await(go);
            yield();
            ended = true;
        }));
        plugin.exit(L"module");
        EXPECT_TRUE(ended);
        std::vector<LogLine> lines;
        if (thrown)
            for (const std::wstring step : {L"init", L"cleanup"})
                lines.push_back({CORE::logError, L"mfwPluginDll exception during " + step + thrown});
        lines.push_back({CORE::logDebug, L"mfwPluginDll wait for threads to go"});
        lines.push_back({CORE::logDebug, L"mfwPluginDll: all threads gone"});
        EXPECT_EQ(log.lines(), lines);
    }
}

TEST(Plugin, RunsTheAsynchronousInitialiserOnAThreadOfItsOwn) {
    Plugin plugin;
    std::thread::id thread;
    plugin.onInitialiseAsync = [&] {
        thread = std::this_thread::get_id();
        throw CORE::coreException(L"no disk");
    };
    plugin.onCleanup = [] { return true; };
    const LogCapture log(CORE::logError);
    EXPECT_TRUE(plugin.init(L"module"));
    plugin.exit(L"module");
    EXPECT_TRUE(
        log.contains(CORE::logError, L"Thread PluginInitThread ended with an exception, error no disk"));
    EXPECT_NE(thread, std::thread::id());
    EXPECT_NE(thread, std::this_thread::get_id());
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
    EXPECT_TRUE(CORE::MessageFrameWork::System().IsWorkerInstalled(L"scripted", 0)) << "it is the other's";
    EXPECT_FALSE(served->stopEvent()->isSet());
    served->stop();
    EXPECT_TRUE(served->stopped());
    EXPECT_TRUE(served->stopEvent()->isSet());
}

}  // namespace
