// The plug-in and the authentication worker beside it, both as real libraries: what they say of the sample
// lab's domains, and that they go while domains are being asked.
#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <string>

#include "framework/core/corelock.h"
#include "framework/core/framework.h"
#include "framework/core/log.h"
#include "plugin/loaded_module.h"

namespace {

using CORE::PropertyBag;

CORE::PropertyBag labWithChecks(bool checks) {
    PropertyBag startup = sampleLab();
    startup.setBool(L"InitiateDomainChecks", checks);
    return startup;
}

std::wstring healthText(const PropertyBag& health) {
    std::wstring text;
    std::size_t position = 0;
    while (const PropertyBag* one = health.getNextBag(L"domain", position))
        text += one->get(L"name").str() + L" " + one->get(L"contactable").str() + L" " +
                one->get(L"trustType").str() + L"; ";
    return text;
}

TEST(Domains, TheSampleLabHasOneOfEachKind) {
    const Started winauth("winauth", labWithChecks(false));
    const Started admin("ws_admin", labWithChecks(false));
    PropertyBag response;
    EXPECT_TRUE(CORE::MessageHandler::SendMsg(L"ws_admin", L"Diag", {}, response));
    EXPECT_EQ(healthText(response.getBag(L"DOMAINHEALTH")),
              L"CORP FULLYACCESSIBLE PRIMARYDOMAIN; BRANCH FULLYACCESSIBLE TWOWAY; "
              L"PARTNER CANNOTBIND FROMBROKER; PLANT UNKNOWN UNKNOWN; ");
}

TEST(Domains, TheAuthenticationWorkerStartsAgainAfterItsExit) {
    const Loaded winauth("winauth");
    for (int i = 0; i < 2; ++i) {
        ASSERT_TRUE(winauth.start(labWithChecks(false)));
        EXPECT_TRUE(CORE::MessageFrameWork::System().IsWorkerInstalled(L"winauth", 0));
        winauth.exit();
        EXPECT_FALSE(CORE::MessageFrameWork::System().IsWorkerInstalled(L"winauth", 0));
    }
}

// In every order of going, and whatever the messages find.
TEST(Domains, TheModulesGoWhileMapsAreBuilt) {
    constexpr int rounds = 20, requests = 20;
    for (int round = 0; round < rounds; ++round) {
        std::atomic<int> answered{0};
        CORE::ThreadGroup sent(L"sender");
        {
            auto winauth = std::make_unique<Started>("winauth", labWithChecks(false));
            const Started admin("ws_admin", labWithChecks(true));
            for (int i = 0; i < requests; ++i) {
                PropertyBag request;
                request.setBool(L"forceReload", true);
                CORE::MessageHandler::SendAsyncMsg(L"ws_admin", L"getDomainHealth", std::move(request),
                                                   [&](CORE::RespType, PropertyBag&) { ++answered; },
                                                   {.callbackOwner = &sent});
            }
            if (round % 2) winauth.reset();
        }
        sent.waitForAll();
        EXPECT_EQ(answered, requests);
    }
}

TEST(Domains, TheModulesGoWhileTheTimerBuildsAMap) {
    CORE::coreevent checking;  // the first check comes a second after the start
    const auto sink = CORE::addLogSink(CORE::logDebug, [&](int, std::wstring_view, std::wstring_view text) {
        if (text.starts_with(L"Detected ")) checking.set();
    });
    {
        const Started winauth("winauth", labWithChecks(false));
        const Started admin("ws_admin", labWithChecks(true));
        checking.wait();
    }
    EXPECT_FALSE(CORE::MessageFrameWork::System().IsWorkerInstalled(L"ws_admin", 0));
}

}  // namespace
