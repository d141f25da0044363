#include "ldap/domain.h"

#include <gtest/gtest.h>

#include <condition_variable>
#include <set>
#include <thread>

#include "ldap/domain_queries.h"
#include "support/framework_worker.h"
#include "support/log_capture.h"
#include "support/manual_clock.h"
#include "support/scripted_directory_services.h"
#include "support/test_service.h"

using namespace wstest;
using CORE::PropertyBag;

namespace {

struct TimedDomain : Domain {
    using Domain::Domain;
    using Domain::OnTimer;
};

struct Map {
    std::shared_ptr<ScriptedDirectoryServices> services = std::make_shared<ScriptedDirectoryServices>();
    std::shared_ptr<ManualClock> clock = std::make_shared<ManualClock>();
    CORE::ThreadGroup threads{L"test"};
    CORE::refptr<TimedDomain> domain =
        CORE::refptr<TimedDomain>::adopt(new TimedDomain({services, clock}, threads, false));
};

// A map of a forest of two domains and a stranger, and the two workers that it asks.
struct Forest : Map {
    std::map<std::wstring, PropertyBag> trusts;  // winauth's answers by the domain that is asked for
    std::atomic<bool> authenticationWorks{true};
    std::atomic<bool> configurationLoads{true};
    FrameworkWorker<0> winauth{
        L"winauth", [this](std::wstring_view operation, const PropertyBag& request, PropertyBag& response) {
            if (operation != L"getTrustedDomains") return true;
            if (!authenticationWorks) response.setError(1, L"no trusts today");
            const auto known = trusts.find(request.get(L"initialDomain").str());
            if (authenticationWorks && known != trusts.end()) response &= known->second;
            return true;
        }};
    FrameworkWorker<1> admin{L"ws_admin",
                             [this](std::wstring_view, const PropertyBag&, PropertyBag& response) {
                                 if (!configurationLoads) response.setError(1, L"no lists today");
                                 response.set(L"effectiveList", L"unlimited");
                                 return true;
                             }};

    Forest() {
        answer(L"",
               {{L"CORP", L"corp.example"}, {L"CHILD", L"child.corp.example"}, {L"OTHER", L"other.example"}},
               {{L"OTHER", L"FROMBROKER"}});
        answer(L"child.corp.example", {{L"CORP", L"CORP.example"}}, {});
        reachable("corp.example", "DC=corp,DC=example");
        reachable("child.corp.example", "DC=corp,DC=example");
        reachable("other.example", "DC=other,DC=example");
    }
    using Names = std::vector<std::pair<std::wstring, std::wstring>>;
    void answer(const std::wstring& asked, const Names& names, const Names& stated) {
        PropertyBag bag, dns, trust;
        for (const auto& [netBios, name] : names) dns.set(netBios, name);
        for (const auto& [netBios, type] : stated) trust.set(netBios, type);
        bag.set(L"primaryDomain", L"corp.example");
        bag.addBag(L"dnsBag", dns);
        bag.addBag(L"trustInformationBag", trust);
        trusts[asked] = bag;
    }
    void reachable(const std::string& domainName, const std::string& root) {
        services->objects["LDAP://" + domainName + "/rootDSE"] = {
            .attributes = {{"RootDomainNamingContext", root}}};
    }
};

TEST(Domain, GivesTheListsToTheAuthenticationServiceOnceAProcess) {
    Forest forest;
    forest.configurationLoads = false;
    EXPECT_EQ(forest.domain->getDomainMap(false).getErrorText(), L"no lists today");
    EXPECT_TRUE(forest.winauth.sent(L"setDomainConfig").empty());
    forest.configurationLoads = true;
    forest.domain->getDomainMap(true);
    forest.domain->getDomainMap(true);
    ASSERT_EQ(forest.winauth.sent(L"setDomainConfig").size(), 1U);
    EXPECT_EQ(forest.winauth.sent(L"setDomainConfig")[0].request.get(L"effectiveList"), L"unlimited");
}

TEST(Domain, FiftyDomainsAreContactedSideBySideButForABoundAndKeptInOrder) {
    Forest forest;
    Forest::Names names;
    for (int i = 0; i < 50; ++i) {
        const std::string name = "d" + std::to_string(i);
        names.emplace_back(L"D" + std::to_wstring(i), CORE::toWide(name + ".example"));
        forest.reachable(name + ".example", "DC=" + name + ",DC=example");
    }
    forest.answer(L"", names, {});
    // Nobody gets an answer before the bound is reached, so that a build that goes one by one hangs here, and
    // one that knows no bound is seen.
    std::mutex mutex;
    std::condition_variable changed;
    int now = 0, most = 0;
    std::set<std::thread::id> threads;
    forest.services->onOpenObject = [&](const std::string&) {
        std::unique_lock hold(mutex);
        most = std::max(most, ++now);
        threads.insert(std::this_thread::get_id());
        changed.notify_all();
        changed.wait(hold, [&] { return most >= static_cast<int>(Domain::contactsAtOnce); });
        --now;
    };
    const PropertyBag map = forest.domain->getDomainMap(false);
    EXPECT_EQ(most, static_cast<int>(Domain::contactsAtOnce));
    EXPECT_LE(threads.size(), Domain::contactsAtOnce);
    std::size_t position = 0;
    for (int i = 0; i < 50; ++i) {
        const auto* health = map.getBag(L"domainHealth").getNextBag(L"domain", position);
        ASSERT_TRUE(health);
        EXPECT_EQ(health->get(L"name"), L"D" + std::to_wstring(i));
        EXPECT_EQ(health->get(L"contactable"), L"FULLYACCESSIBLE");
    }
}

TEST(Domain, TheTimerRebuildsOnlyAMapThatIsTooOld) {
    Forest forest;
    // Of a build: for the own trusts, and for those of the one domain whose trust nobody states.
    const auto questions = [&] {
        forest.domain->OnTimer();
        forest.threads.waitForAll();
        return forest.winauth.sent(L"getTrustedDomains").size();
    };
    EXPECT_EQ(questions(), 2U);
    forest.clock->advance(900);
    EXPECT_EQ(questions(), 2U);
    forest.clock->advance(std::chrono::milliseconds(1));  // as late as a timer of 900 seconds fires
    EXPECT_EQ(questions(), 4U);
    forest.domain->setMinimumCheckInterval(1800);
    forest.clock->advance(1800);
    EXPECT_EQ(questions(), 4U);
    forest.clock->advance(1);
    EXPECT_EQ(questions(), 6U);
}

// It stops once the build is under way, or at the look at the mode, where the directories do not answer.
TEST(Domain, AStopEndsTheBuildUnderWayAndIsNoErrorOfIt) {
    for (const bool building : {true, false}) {
        Forest forest;
        const LogCapture log(CORE::logWarning);
        if (!building) forest.services->objects.clear();
        forest.services->onOpenObject = [&](const std::string& path) {
            if (!building || path != "LDAP://rootDSE") forest.domain->stop();
        };
        const auto check = [&] {
            forest.domain->OnTimer();
            forest.threads.waitForAll();
        };
        check();
        for (const LogLine& line : log.lines())
            EXPECT_TRUE(building && line.text.find(L"could not be built") == line.text.npos) << line.text;
        forest.services->onOpenObject = [](const std::string&) { FAIL() << "contacted after the stop"; };
        const PropertyBag map = forest.domain->getDomainMap(false);
        EXPECT_NE(map.getError(), 0);
        EXPECT_EQ(map.size(), 0U);
        check();
    }
}

TEST(Domain, AStopEndsTheWaitForAnAuthenticationServiceThatDoesNotCome) {
    Map map;
    const LogCapture log(CORE::logError);
    map.domain->OnTimer();
    for (int i = 0; i < 1000; ++i) std::this_thread::yield();  // it may wait by then, or not yet
    map.domain->stop();
    map.threads.waitForAll();
    EXPECT_FALSE(log.contains(
        CORE::logError, L"The domain map could not be built: the authentication service is not installed"));
}

TEST(Domain, AStopEndsTheWaitForAnAuthenticationServiceThatWaitsItself) {
    for (const wchar_t* silentAt : {L"setDomainConfig", L"getTrustedDomains"}) {
        CORE::coreevent asked, givenUp;
        const FrameworkWorker<2> winauth(
            L"winauth",
            [&](std::wstring_view operation, const PropertyBag&, PropertyBag&) {
                if (operation != silentAt) return true;
                asked.set();
                givenUp.waitFor(std::chrono::seconds(10));
                return true;
            },
            [&] { givenUp.set(); });
        const FrameworkWorker<1> admin(L"ws_admin", [](auto, const auto&, auto&) { return true; });
        Map map;
        std::jthread stopping([&] {
            asked.wait();
            map.domain->stop();
        });
        EXPECT_EQ(map.domain->getDomainMap(true).getErrorText(), L"The service is stopping");
        EXPECT_TRUE(givenUp.isSet()) << CORE::toUtf8(silentAt);
    }
}

// What else the mode may be is a case.
TEST(Domain, AModeThatIsNoNumberIsMixed) {
    Forest forest;
    forest.services->objects["LDAP://rootDSE"].attributes = {
        {"defaultNamingContext", std::string("DC=corp")}};
    forest.services->objects["LDAP://DC=corp"].attributes = {{"ntMixedDomain", std::string("0")}};
    const LogCapture log;
    EXPECT_TRUE(forest.domain->isMixedMode());
    EXPECT_TRUE(log.contains(CORE::logError,
                             L"Unexpected return type when decoding domain type (value=8, expected=3)"));
}

TEST(DomainOperations, AFailedReloadTellsTheErrorAndWhatWasLastKnown) {
    Forest forest;
    TestService service(std::make_shared<Platform>());
    service.domainMap = CORE::refptr<Domain>::share(forest.domain.get());
    forest.domain->getDomainMap(false);
    PropertyBag request;
    request.setBool(L"forceReload", true);
    forest.authenticationWorks = false;
    const PropertyBag failed = ask<&DomainQueries::getDomainHealth, OnFailure::keeps>(service, request);
    EXPECT_EQ(failed.getErrorText(), L"no trusts today");
    EXPECT_EQ(failed.size(), 3U);
    EXPECT_EQ(failed.getBag(2U).get(L"dns"), L"other.example");
    EXPECT_EQ(forest.domain->getDomainMap(false).getError(), 0);
}

}  // namespace
