// The real library, loaded and used as a stranger would: by its exported functions and by messages.
#include <gtest/gtest.h>

#include <atomic>

#include "framework/core/framework.h"
#include "framework/core/message.h"
#include "plugin/loaded_module.h"
#include "support/log_capture.h"
#include "support/sanitizers.h"
#include "support/temp_folder.h"
#if !defined(_WIN32)
#include <dlfcn.h>
#endif
#if defined(__GLIBC__)
#include <malloc.h>
#endif

namespace {

constexpr wchar_t worker[] = L"ws_admin";

// A lab of a few lines, for what is done very often.
CORE::PropertyBag smallLab(const wstest::TempFolder& folder) {
    folder.write(
        "machine.toml",
        "[machine]\nnetbios-name = \"VCS1\"\n"
        "[[directory]]\nname = \"pod\"\nsuffixes = [\"dc=vdi,dc=talvex,dc=int\"]\nfiles = [\"pod.ldif\"]\n");
    folder.write("pod.ldif",
                 "dn: DC=vdi,DC=talvex,DC=int\nobjectClass: domainDNS\n\n"
                 "dn: CN=ForeignSecurityPrincipals,DC=vdi,DC=talvex,DC=int\nobjectClass: container\n");
    CORE::PropertyBag startup;
    startup.set(CORE::startupLabFolder, folder.path().wstring());
    return startup;
}

bool installed() {
    return CORE::MessageFrameWork::System().IsWorkerInstalled(worker, 0);
}

bool answers() {
    CORE::PropertyBag response;
    return CORE::MessageHandler::SendMsg(worker, L"checkLdapConnectivity", {}, response) &&
           response.get(L"result") == L"ok";
}

// Whether the process still has the library; told by the loader where it can be asked.
bool isLoaded() {
#if defined(_WIN32)
    return false;
#else
    void* const library = dlopen(CORE::toUtf8(libraryPath("ws_admin")).c_str(), RTLD_NOW | RTLD_NOLOAD);
    if (library) dlclose(library);
    return library != nullptr;
#endif
}

std::size_t heapInUse() {
#if defined(__GLIBC__)
    return mallinfo2().uordblks;
#else
    return 0;
#endif
}

TEST(Plugin, LoadsAndUnloadsAThousandTimes) {
    constexpr int times = wstest::underSanitizer ? 50 : 1000;
    const wstest::TempFolder folder;
    const CORE::PropertyBag startup = smallLab(folder);
    // "loaded" is the first line of PluginInit and "unloaded" the last one of PluginExit.
    std::atomic<int> loads{0}, unloads{0};
    std::wstring last;
    const auto sink = CORE::addLogSink(CORE::logDebug, [&](int, std::wstring_view, std::wstring_view text) {
        if (text == L"ws_admin loaded" && (last.empty() || last == L"ws_admin unloaded")) ++loads;
        if (text == L"ws_admin unloaded" && last == L"mfwPluginDll: all threads gone") ++unloads;
        last = text;
    });
    // As in a host, which has the platform's own libraries already: loading those is what takes the time.
    std::wstring none;
    const auto platformLibrary = CORE::library::load(L"wldap32.dll", none);
    std::size_t settled = 0;
    for (int i = 0; i < times; ++i) {
        {
            const Loaded plugin;
            ASSERT_TRUE(plugin.start(startup));
            ASSERT_TRUE(answers()) << "round " << i;
            plugin.exit();
            ASSERT_FALSE(installed());
        }
        ASSERT_FALSE(isLoaded());
        if (i == times / 10) settled = heapInUse();
    }
    EXPECT_EQ(loads, times);
    EXPECT_EQ(unloads, times);
    EXPECT_LT(heapInUse(), settled + 64 * 1024);
}

TEST(Plugin, ExitsWhileAHundredRequestsRun) {
    for (int round = 0; round < 5; ++round) {
        constexpr int requests = 100;
        std::atomic<int> answered{0};
        CORE::ThreadGroup sent(L"sender");
        {
            const Loaded plugin;
            ASSERT_TRUE(plugin.start(sampleLab()));
            ASSERT_TRUE(installed());
            for (int i = 0; i < requests; ++i) {
                const wchar_t* operation = i % 2 ? L"checkLdapConnectivity" : L"setClusterName";
                CORE::PropertyBag request;
                request.set(L"clustername", L"East");
                EXPECT_NE(CORE::MessageHandler::SendAsyncMsg(
                              worker, operation, std::move(request),
                              [&](CORE::RespType type, CORE::PropertyBag& response) {
                                  const bool ran = type == CORE::RespType::handled;
                                  EXPECT_TRUE(ran ? !response.empty() : type == CORE::RespType::noWorker)
                                      << testing::PrintToString(CORE::respTypeName(type));
                                  ++answered;
                              },
                              {.callbackOwner = &sent}),
                          0u);
            }
            plugin.exit();
        }
        sent.waitForAll();
        EXPECT_EQ(answered, requests);
        EXPECT_FALSE(installed());
    }
}

TEST(Plugin, DescribesItsOperationsBeforeItStarts) {
    const Loaded plugin;
    CORE::PropertyBag all;
    plugin.describe(&all);
    plugin.describe(nullptr);
    EXPECT_EQ(all.size(), 63u);
    EXPECT_EQ(all.getBag(std::size_t{0}).get(L"name"), L"Diag");
    EXPECT_EQ(all.getBag(std::size_t{62}).get(L"shape"), L"response-filling");
    EXPECT_FALSE(installed());
}

TEST(Plugin, AFailedStartIsLoggedAndLeavesNoWorker) {
    const wstest::TempFolder folder;
    const Loaded plugin;
    CORE::PropertyBag startup;
    startup.set(CORE::startupLabFolder, (folder.path() / "nowhere").wstring());
    const wstest::LogCapture log(CORE::logError);
    EXPECT_TRUE(plugin.start(startup));
    EXPECT_FALSE(installed());
    ASSERT_EQ(log.lines().size(), 1u);
    EXPECT_TRUE(log.lines()[0].text.starts_with(L"mfwPluginDll exception during init, error "));
    EXPECT_NE(log.lines()[0].text.find(L"nowhere"), std::wstring::npos);
    plugin.exit();

    // The module can still be started with better parameters, which null does not change.
    startup = sampleLab();
    EXPECT_TRUE(plugin.params(&startup));
    EXPECT_TRUE(plugin.params(nullptr));
    EXPECT_TRUE(plugin.init());
    EXPECT_TRUE(plugin.init());  // a second start finds the first
    EXPECT_TRUE(answers());
    plugin.exit();
    EXPECT_FALSE(installed());
}

// Only a name that the plug-in has got is given back at its exit.
TEST(Plugin, ANameThatIsTakenStaysItsOwners) {
    auto& framework = CORE::MessageFrameWork::System();
    const auto nobody = []() -> CORE::WorkItem* { return nullptr; };
    framework.AddWorker(nobody, worker, L"somebody else's", true, false, false, true);
    const Loaded plugin;
    EXPECT_TRUE(plugin.start(sampleLab()));
    const wstest::LogCapture log;
    plugin.exit();
    EXPECT_TRUE(installed());
    EXPECT_EQ(log.lines().back(), (wstest::LogLine{CORE::logDebug, L"ws_admin unloaded"}));
    EXPECT_TRUE(framework.RemoveWorker(worker, true));
}

TEST(Plugin, TakesStartUpParametersOfTheLabThatTheHostDoesNotGive) {
    const wstest::TempFolder folder;
    CORE::PropertyBag startup = smallLab(folder);
    startup.set(L"excludeList", L"host.example");
    folder.write("machine.toml", folder.read("machine.toml") +
                                     "[startup]\nEnableLdapDomainConfig = false\n"
                                     "EnableRegistryDomainConfig = true\n"
                                     "includeList = \"lab.example\"\nexcludeList = \"lab.example\"\n");
    const Loaded plugin;
    ASSERT_TRUE(plugin.start(startup));
    CORE::PropertyBag response;
    ASSERT_TRUE(CORE::MessageHandler::SendMsg(worker, L"loadDomainConfig", {}, response));
    EXPECT_EQ(CORE::toUtf8(response.getBag(L"cluster").flattenForDisplay(L";")),
              "includeList={lab.example=};excludeList={host.example=};searchExclusionList={}");
    CORE::PropertyBag request;  // the keys that the operations' rows call secret are shown to nobody
    request.add(L"pwdSHA256Base64", L"s3");
    EXPECT_EQ(request.flattenForDisplay(), L"pwdSHA256Base64=*****");
    plugin.exit();
}

}  // namespace
