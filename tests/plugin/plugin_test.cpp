// The real libraries, loaded and used as a stranger would: by their exported functions and by messages.
#include <gtest/gtest.h>

#include <stdexcept>

#include "framework/core/corelock.h"
#include "framework/core/framework.h"
#include "framework/core/library.h"
#include "framework/core/plugin_api.h"
#include "framework/core/security.h"
#include "support/log_capture.h"
#include "support/process_memory.h"
#include "support/sanitizers.h"
#include "support/temp_folder.h"
#if !defined(_WIN32)
#include <dlfcn.h>
#endif
#if defined(__GLIBC__)
#include <malloc.h>
#endif

namespace {

std::wstring libraryPath(const std::string& module) {
#if defined(_WIN32)
    const std::string file = module + ".dll";
#else
    const std::string file = module + ".so";
#endif
    return std::filesystem::absolute(std::filesystem::path(WS_BIN_DIR) / file).make_preferred().wstring();
}

// The parameters of a start on the sample lab.
CORE::PropertyBag sampleLab(bool checksDomains = true) {
    CORE::PropertyBag startup;
    startup.set(CORE::startupLabFolder, std::filesystem::absolute(WS_SOURCE_DIR "/labs/sample").wstring());
    startup.setBool(L"InitiateDomainChecks", checksDomains);
    return startup;
}

// A module as a host uses it: by its exported functions, looked up by name.
struct Loaded {
    explicit Loaded(const std::string& module = "ws_admin")
        : library(CORE::library::load(libraryPath(module), failure)) {
        if (!library) throw std::runtime_error(CORE::toUtf8(failure));
        params = library->function<CORE::PluginParamsFunction>("PluginParams");
        initFunction = library->function<CORE::PluginInitFunction>("PluginInit");
        exit = library->function<CORE::PluginExitFunction>("PluginExit");
    }

    bool init() const { return initFunction(nullptr, nullptr, nullptr, nullptr); }
    bool start(const CORE::PropertyBag& startup) const { return params(&startup) && init(); }

    std::wstring failure;
    std::unique_ptr<CORE::library> library;
    CORE::PluginParamsFunction params = nullptr;
    CORE::PluginInitFunction initFunction = nullptr;
    CORE::PluginExitFunction exit = nullptr;
};

// Started for a scope.
struct Started : Loaded {
    Started(const std::string& module, const CORE::PropertyBag& startup) : Loaded(module) { start(startup); }
    ~Started() { exit(); }
};

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

bool installed(std::wstring_view name = worker) {
    return CORE::MessageFrameWork::System().IsWorkerInstalled(name, 0);
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

TEST(Plugin, StartsAgainAfterAFailureAndAfterItsExit) {
    const Loaded plugin, winauth("winauth");
    plugin.library->function<CORE::PluginDescribeFunction>("PluginDescribe")(nullptr);
    CORE::PropertyBag startup;
    startup.set(CORE::startupLabFolder, std::wstring_view(L"nowhere"));
    {
        const wstest::LogCapture log(CORE::logError);
        EXPECT_TRUE(plugin.start(startup));
        EXPECT_FALSE(installed());
        ASSERT_EQ(log.lines().size(), 1u);
        EXPECT_TRUE(log.lines()[0].text.starts_with(L"mfwPluginDll exception during init, error "));
        EXPECT_NE(log.lines()[0].text.find(L"nowhere"), std::wstring::npos);
    }
    plugin.exit();
    startup = sampleLab(false);
    for (int i = 0; i < 2; ++i) {
        ASSERT_TRUE(winauth.start(startup));
        EXPECT_TRUE(installed(L"winauth"));
        ASSERT_TRUE(plugin.start(startup));
        EXPECT_TRUE(plugin.params(nullptr));  // changes nothing
        EXPECT_TRUE(plugin.init());           // finds the first start
        EXPECT_TRUE(answers());
        plugin.exit();
        winauth.exit();
        EXPECT_FALSE(installed() || installed(L"winauth"));
    }
}

// In every order of going, and whatever the messages find.
TEST(Plugin, GoesWhileRequestsRunAndMapsAreBuilt) {
    constexpr int rounds = 20, requests = 60;
    const std::pair<const wchar_t*, bool> operations[] = {
        {L"getDomainHealth", false}, {L"checkLdapConnectivity", true}, {L"setClusterName", true}};
    for (int round = 0; round < rounds; ++round) {
        std::atomic<int> answered{0};
        CORE::ThreadGroup sent(L"sender");
        {
            auto winauth = std::make_unique<Started>("winauth", sampleLab(false));
            const Started admin("ws_admin", sampleLab());
            for (int i = 0; i < requests; ++i) {
                const bool hasAnswer = operations[i % 3].second;
                CORE::PropertyBag request;
                request.setBool(L"forceReload", true);
                request.set(L"clustername", L"East");
                const auto note = [&answered, hasAnswer](CORE::RespType type, CORE::PropertyBag& response) {
                    const bool ran = type == CORE::RespType::handled;
                    EXPECT_TRUE(ran ? !hasAnswer || !response.empty() : type == CORE::RespType::noWorker)
                        << testing::PrintToString(CORE::respTypeName(type));
                    ++answered;
                };
                EXPECT_NE(
                    CORE::MessageHandler::SendAsyncMsg(worker, operations[i % 3].first, std::move(request),
                                                       note, {.callbackOwner = &sent}),
                    0u);
            }
            if (round % 2) winauth.reset();
        }
        sent.waitForAll();
        EXPECT_EQ(answered, requests);
        EXPECT_FALSE(installed());
    }
}

TEST(Plugin, GoesWhileTheTimerBuildsAMap) {
    CORE::coreevent checking;  // the first check comes a second after the start
    const auto sink = CORE::addLogSink(CORE::logDebug, [&](int, std::wstring_view, std::wstring_view text) {
        if (text.starts_with(L"Detected ")) checking.set();
    });
    {
        const Started winauth("winauth", sampleLab(false));
        const Started admin("ws_admin", sampleLab());
        checking.wait();
    }
    EXPECT_FALSE(installed());
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

// What is left of secrets in the whole process, the framework's copies of the request included. Not under a
// sanitizer, whose own data is most of the memory.
#if defined(__linux__) && !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
// Keys with all their bits inverted, so that neither this program's data nor the search below holds them.
constexpr std::string_view invertedKeys[] = {"\x92\x9e\x96\x91\xd2\xca\x86\xce\x85\xc8\x8e\xd2\x94",
                                             "\x8f\x99\x8c\xd2\xcc\x89\xc6\x94\xcb\x88\xd2\x87\xce"};

// The sample lab with a domain controller that admits everybody and refuses all changes of entries: a lab's
// keeps passwords as they are. The administrative account has the second key.
CORE::PropertyBag refusingLab(const wstest::TempFolder& folder) {
    const auto lab = folder.path() / "lab";
    std::filesystem::copy(sampleLab().get(CORE::startupLabFolder).str(), lab,
                          std::filesystem::copy_options::recursive);
    std::string machine = wstest::fileText(lab / "machine.toml");
    machine.resize(machine.find("\n[[directory.account]]"));
    folder.write("lab/machine.toml",
                 machine + "\n[directory.faults]\nfail = [{operation = \"modify\", code = 53}]\n");
    CORE::PropertyBag startup;
    startup.set(CORE::startupLabFolder, lab.wstring());
    startup.set(L"ClientAuthAdminUser", L"svc");
    startup.set(L"ClientAuthAdminPassword",
                CORE::SecurityManager::System().Encrypt(wstest::secretOf(invertedKeys[1]).view()));
    return startup;
}

// The answer's error.
std::wstring errorOf(std::wstring_view operation, CORE::PropertyBag request,
                     const std::vector<const wchar_t*>& secrets) {
    for (std::size_t i = 0; i < secrets.size(); ++i)
        request.set(secrets[i], wstest::secretOf(invertedKeys[i]).view());
    CORE::PropertyBag response;
    CORE::MessageHandler::SendMsg(worker, operation, request, response);
    return response.getErrorText().str();
}

TEST(Secrets, OfAPairingAndOfAClientDeviceStayNeitherInMemoryNorInTheLog) {
    const wstest::TempFolder folder;
    CORE::SecurityManager::System().setKeyFile((folder.path() / "key" / "host.key").wstring());
    const CORE::PropertyBag startup = refusingLab(folder);
    const Started authentication("winauth", startup), plugin("ws_admin", startup);
    const wstest::LogCapture log;  // its lines are a part of the memory
    CORE::PropertyBag request;
    request.set(L"remoteEndpointIP", L"10.1.9.9");
    EXPECT_EQ(errorOf(L"addIPsecRules", request, {L"preSharedKey", L"pfsSharedKey"}), L"");
    EXPECT_TRUE(std::ranges::any_of(log.lines(), [](const auto& line) {
        return line.text.find(L"auth1psk=\"*****\" qmpfs") != line.text.npos;
    }));
    request.set(L"operation", L"add");
    request.set(L"clientid", L"custom-kiosk9");
    request.set(L"domain", L"corp.example");
    EXPECT_EQ(errorOf(L"clientAuthConfig", request, {L"password"}),
              L"Failed to SetPassword. error=0x80072035");
    for (const std::string_view key : invertedKeys) {
        wstest::expectNotInMemory(key);
        const auto held = wstest::secretOf(key);
        EXPECT_TRUE(wstest::isInMemory(key)) << "the search finds nothing at all";
    }
}
#endif

}  // namespace
