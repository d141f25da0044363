#include "ldap/connection_mgr.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <thread>

#include "support/log_capture.h"
#include "support/manual_clock.h"
#include "support/rows.h"
#include "support/scripted_directory_services.h"

using namespace wstest;

namespace {

constexpr char dc1[] = "LDAP://dc1.corp.example";
const DirectoryCredentials alice{"alice", CORE::secretstring("x")};

// A pool whose timer the test fires by hand.
struct TimedPool : ConnectionMgr {
    using ConnectionMgr::ConnectionMgr;
    using ConnectionMgr::OnTimer;
    // Null where the binding cannot be opened.
    DirectorySearchPtr getConnection(const std::string& binding, int scope = subtree,
                                     const DirectoryCredentials& credentials = {}) {
        return ConnectionMgr::getConnection(binding, scope, credentials).value_or(nullptr);
    }
};

struct Pool {
    std::shared_ptr<ScriptedDirectoryServices> services = std::make_shared<ScriptedDirectoryServices>();
    std::shared_ptr<ManualClock> clock = std::make_shared<ManualClock>();
    CORE::ThreadGroup threads{L"test"};
    CORE::refptr<TimedPool> manager =
        CORE::refptr<TimedPool>::adopt(new TimedPool({services, clock}, threads));
    TimedPool* operator->() const { return manager.get(); }
};

// The steps of a row: a name gets a binding (one with "@", with alice's credentials; one with "^", to another
// string), and with "-" releases it; a number moves the clock on by seconds; the rest are words. What comes
// out: how often one was opened, how many are open, and of how many strings; and what is logged.
Json steps(const Json& in) {
    Pool pool;
    std::map<std::string, DirectorySearchPtr> held;
    const LogCapture log;
    for (const Json& step : in) {
        if (step.is_number()) {
            pool.clock->advance(step);
            continue;
        }
        const std::string word = step;
        if (word == "prune")
            pool->prune();
        else if (word == "lost" || word == "back")
            pool.services->connected = word == "back";
        else if (word == "refuse" || word == "admit")
            pool.services->openCode = [=](auto&) { return word == "refuse" ? adsServerDown : 0; };
        else if (word.starts_with("-"))
            pool->releaseConnection(std::exchange(held[word.substr(1)], nullptr));
        else if (word.starts_with("@"))
            held[word] = pool->getServerConnection("dc1.corp.example", alice).value_or(nullptr);
        else
            held[word] = pool->getConnection(word.starts_with("^") ? "ldap://dc1.corp.example" : dc1);
    }
    Json outcome = {pool.services->opens.load(), pool.services->live.load(), pool->listCount()};
    for (const LogLine& line : log.lines())
        if (line.text.find(L"0x") == line.text.npos)
            outcome.push_back(static_cast<char>(CORE::logLevelName(line.level).front()) +
                              (" " + CORE::toUtf8(line.text)));
    return outcome;
}

TEST(ConnectionMgr, KeepsAndOpensBindingsAsTheRowsSay) {
    tryRows(WS_SOURCE_DIR "/tests/ldap/pool.jsonl", {{"steps", steps}});
    Pool pool;
    const auto first = pool->getConnection(dc1);
    pool->releaseConnection(first);
    EXPECT_EQ(pool->getConnection(dc1, 1), first);
    EXPECT_EQ(pool.services->scopeOf(*first), 1) << "set at every use";
    pool->getConnection(dc1, 1, alice);
    EXPECT_EQ(pool.services->opened(),
              (std::vector<ScriptedDirectoryServices::Opened>{{dc1, "", adsSecureAuthentication},
                                                              {dc1, "alice", adsSecureAuthentication}}));
}

TEST(ConnectionMgr, KeepsNoMoreThanSoManyStrings) {
    Pool pool;
    const auto held = pool->getConnection("LDAP://held");
    const auto name = [](std::size_t i) { return "LDAP://dc" + std::to_string(i); };
    for (std::size_t i = 0; i < ConnectionMgr::maxLists + 10; ++i) {
        pool.clock->advance(1);
        pool->releaseConnection(pool->getConnection(name(i)));
    }
    EXPECT_EQ(pool->listCount(), ConnectionMgr::maxLists);
    EXPECT_EQ(pool.services->live, static_cast<int>(ConnectionMgr::maxLists));
    const int opens = pool.services->opens;
    pool->releaseConnection(pool->getConnection(name(ConnectionMgr::maxLists + 9)));
    EXPECT_EQ(pool.services->opens, opens) << "the last ones stayed";
    pool->releaseConnection(held);
    pool->releaseConnection(pool->getConnection(name(0)));
    EXPECT_EQ(pool.services->opens, opens + 1) << "the first ones went";
}

TEST(ConnectionMgr, TheGlobalCatalogIsTheFirstChildOfItsNamespace) {
    using Object = ScriptedDirectoryServices::Object;
    const std::pair<std::optional<Object>, std::wstring> rows[] = {
        {{}, L"Failed to bind to \"GC:\" error=0x8007203a (scripted)"},
        {Object{.childrenCode = adsAccessDenied},
         L"Cannot enumerate contents of GC: error=0x80070005 (scripted)"},
        {Object{}, L"Failed to obtain GC from enumeration error=0x80072030 no child"},
        {Object{.children = {"GC://corp.example", "GC://other"}}, L""},
    };
    for (const auto& [root, logged] : rows) {
        SCOPED_TRACE(CORE::toUtf8(logged));
        Pool pool;
        if (root) pool.services->objects["GC:"] = *root;
        const LogCapture log(CORE::logError);
        EXPECT_EQ(pool->getConnection("GC:") != nullptr, logged.empty());
        if (logged.empty())
            EXPECT_EQ(pool.services->opened().back().path, "GC://corp.example");
        else
            EXPECT_TRUE(log.contains(CORE::logError, logged));
    }
}

// A binding that is still being opened has no interface either.
TEST(ConnectionMgr, ReleasingNothingTakesNoBindingFromWhoOpensIt) {
    Pool pool;
    const LogCapture log(CORE::logWarning);
    pool.services->openCode = [&](const std::string&) {
        pool->releaseConnection(nullptr);
        return 0;
    };
    const auto first = pool->getConnection(dc1);
    EXPECT_EQ(log.lines().size(), 1U);  // it was not found
    EXPECT_NE(pool->getConnection(dc1), first);
}

TEST(ConnectionMgr, SaysWhatBecomesOfBindingsThatNobodyReleased) {
    Pool pool;
    const auto used = pool->getConnection(dc1);
    const auto own = pool->getConnection(dc1, 2, alice);
    const LogCapture log(CORE::logWarning);
    ScriptedDirectoryServices others;
    const auto stranger = others.openSearch("x", {}, 0).value();
    pool->releaseConnection(stranger);
    pool.manager.reset();
    std::vector<LogLine> expected;
    for (const auto& [text, search] :
         {std::pair(L"Request to release a connection did not result in connection being found(pDS=0x%x)",
                    stranger),
          {L"Removing a connection list with active connections (bind=LDAP://dc1.corp.example)", {}},
          {L"Freed an inuse binding (bind=LDAP://dc1.corp.example, value=0x%x)", used},
          {L"Removing a connection list with active (no-reuse) connections", {}},
          {L"Freed a no-reuse binding (value=0x%x)", own}})
        expected.push_back({CORE::logWarning, CORE::formatText(text, search.get())});
    EXPECT_EQ(log.lines(), expected);
}

TEST(ConnectionMgr, TheTimerPrunesOnAThreadOfItsOwnThatHoldsThePool) {
    Pool pool;
    pool->releaseConnection(pool->getConnection(dc1));
    pool.clock->advance(181);
    const LogCapture log;
    pool->OnTimer();
    pool.manager.reset();  // the thread may be the last to hold it
    pool.threads.waitForAll();
    EXPECT_TRUE(log.contains(CORE::logDebug, L"Timer callback running to remove unused connections"));
    EXPECT_TRUE(log.contains(CORE::logDebug,
                             L"No bindings remain - will remove cache entry (bind=LDAP://dc1.corp.example)"));
    EXPECT_EQ(pool.services->live, 0);
}

// Fails the first cleanup.
class FailingOnce : public ScriptedDirectoryServices {
  public:
    bool initialiseThread() override {
        if (++threads == 2) throw std::runtime_error("scripted");  // the first thread is the creator's
        return false;
    }
    std::atomic<int> threads{0};
};

TEST(ConnectionMgr, ACleanupThatFailsDoesNotEndTheTimer) {
    const auto services = std::make_shared<FailingOnce>();
    CORE::ThreadGroup threads(L"test");
    const LogCapture log(CORE::logError);
    const auto pool = CORE::refptr<ConnectionMgr>::adopt(
        new ConnectionMgr({services, std::make_shared<ManualClock>()}, threads, 1));
    while (services->threads < 3) std::this_thread::yield();
    pool->StopTimerWithWait();
    threads.waitForAll();
    EXPECT_FALSE(log.lines().empty());
}

TEST(ConnectionMgr, ThirtyTwoThreadsGetReleaseAndPrune) {
    constexpr int threads = 32, rounds = 400, strings = 8;
    for (const bool clockMoves : {false, true}) {
        Pool pool;
        const LogCapture log(CORE::logWarning);
        std::vector<std::thread> users;
        for (int t = 0; t < threads; ++t)
            users.emplace_back([&, t] {
                for (int i = 0; i < rounds; ++i) {
                    const auto search = pool->getConnection("LDAP://dc" + std::to_string((t + i) % strings));
                    EXPECT_TRUE(search);
                    if (clockMoves && i % 16 == 0) pool.clock->advance(1);
                    pool->releaseConnection(search);
                }
            });
        for (int i = 0; i < rounds; ++i) pool->prune();
        for (auto& user : users) user.join();
        EXPECT_TRUE(log.lines().empty());  // nothing was lost on the way
        // Where the clock moves, a prune may find any list unused for long enough.
        if (!clockMoves) {
            EXPECT_LE(pool.services->opens, threads * strings);
            EXPECT_EQ(pool->listCount(), static_cast<std::size_t>(strings));
        }
        pool.clock->advance(10000);
        pool->prune();
        EXPECT_EQ(pool.services->live, 0);
        EXPECT_EQ(pool->listCount(), 0U);
    }
}

}  // namespace
