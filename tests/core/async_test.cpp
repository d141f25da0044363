// Messages that run on the framework's threads: the pool, cancelling, timeouts.
#include <gtest/gtest.h>

#include <map>
#include <mutex>
#include <set>
#include <vector>

#include "core/scripted_worker.h"
#include "support/log_capture.h"

namespace {

using namespace wstest;
using CORE::MessageFrameWork;
using CORE::MessageHandler;
using CORE::PropertyBag;
using CORE::RespType;

using Outcomes = std::vector<std::pair<RespType, std::wstring>>;

// Collects what callbacks report, by the operation of the message.
class Answers {
  public:
    std::uint64_t send(const std::wstring& operation, const std::wstring& worker = L"scripted",
                       unsigned timeoutMs = 0) {
        const auto note = [this, operation](RespType type, PropertyBag& response) {
            const std::lock_guard lock(mutex_);
            got_[operation].emplace_back(type, response.getErrorText().str());
        };
        return MessageHandler::SendAsyncMsg(worker, operation, {}, note,
                                            {.timeoutMs = timeoutMs, .callbackOwner = &sent_});
    }
    // Waits until every message sent so far is answered.
    Outcomes of(const std::wstring& operation) {
        sent_.waitForAll();
        return got_[operation];
    }

  private:
    std::mutex mutex_;
    std::map<std::wstring, Outcomes> got_;
    CORE::ThreadGroup sent_{L"sender"};
};

TEST(AsyncMessages, CallBackOnceWithTheOutcome) {
    const ScriptedWorker worker([](auto&, const std::wstring& operation, auto&, auto&) {
        if (operation == L"throws") throw std::runtime_error("broken");
        return operation == L"fine";
    });
    const struct {
        const wchar_t *operation, *worker;
        RespType type;
        const wchar_t *name, *error;
    } rows[] = {
        {L"fine", L"scripted", RespType::handled, L"handled", L""},
        {L"unknown", L"scripted", RespType::notHandled, L"notHandled", L""},
        {L"throws", L"scripted", RespType::notHandled, L"notHandled", L"Unexpected exception: broken"},
        {L"nobody", L"absent", RespType::noWorker, L"noWorker", L"Worker absent is not installed"},
    };
    Answers answers;
    for (const auto& row : rows) EXPECT_NE(answers.send(row.operation, row.worker), 0u);
    for (const auto& row : rows) {
        EXPECT_EQ(answers.of(row.operation), (Outcomes{{row.type, row.error}}));
        EXPECT_STREQ(MessageHandler::respTypeName(row.type), row.name);
    }
}

TEST(AsyncMessages, SurviveAThrowingCallbackAndDestroyItBeforeItsOwnerMayGo) {
    const ScriptedWorker worker;
    const LogCapture log(CORE::logError);
    std::atomic<bool> gone{false};
    {
        CORE::ThreadGroup sent(L"sender");
        std::shared_ptr<void> code(nullptr, [&](void*) { gone = true; });
        MessageHandler::SendAsyncMsg(L"scripted", L"x", {},
                                     [code = std::move(code)](RespType, PropertyBag&) { throw 1; },
                                     {.callbackOwner = &sent});
    }
    EXPECT_TRUE(gone);
    EXPECT_TRUE(
        log.contains(CORE::logError, L"Worker scripted, operation x: exception in the sender's callback"));
}

TEST(AsyncMessages, CarryRequestAndAttachments) {
    const ScriptedWorker worker(
        [](ScriptedItem& item, auto&, const PropertyBag& request, PropertyBag& response) {
            response.set(L"echo", request.get(L"text").str());
            item.responseBinary() = item.requestBinary();
            return true;
        });
    CORE::MsgBinary answer;
    std::wstring echo;
    {
        CORE::ThreadGroup sent(L"sender");
        PropertyBag request;
        request.set(L"text", std::wstring_view(L"gone by then"));
        const CORE::MsgBinary question({7});
        MessageHandler::SendAsyncMsg(
            L"scripted", L"x", std::move(request),
            [&](RespType, PropertyBag& response) { echo = response.get(L"echo").str(); },
            {.requestBinary = &question, .responseBinary = &answer, .callbackOwner = &sent});
    }
    EXPECT_EQ(echo, L"gone by then");
    EXPECT_EQ(answer.bytes(), std::vector<std::uint8_t>{7});
}

TEST(PostMsg, IsDeliveredOrRefused) {
    CORE::coreevent seen;
    const ScriptedWorker worker([&](auto&, auto&, auto&, auto&) { return seen.set(), true; });
    EXPECT_TRUE(MessageHandler::PostMsg(L"scripted", L"x", {}));
    EXPECT_FALSE(MessageHandler::PostMsg(L"absent", L"x", {}));
    await(seen);
}

TEST(BroadcastMsg, ReachesEveryLocalWorkerButTheFrameworksOwn) {
    std::atomic<int> seen{0};
    CORE::coreevent both;
    const ScriptedWorker deaf({}, L"deaf", false), one({}, L"one");
    const ScriptedWorker two(
        [&](auto&, auto&, auto&, auto&) { return ++seen == 2 ? both.set(), true : true; }, L"two");
    EXPECT_EQ(CORE::refptr<ScriptedItem>::adopt(new ScriptedItem)->BroadcastMsg(L"x", {}), 2);
    await(both);
}

// Twenty requests that all wait for each other end only when each has a thread.
TEST(ThreadPool, GrowsWhenAllThreadsAreBlocked) {
    constexpr int many = 20;
    std::atomic<int> inside{0};
    CORE::coreevent all;
    const ScriptedWorker worker([&](auto&, auto&, auto&, auto&) {
        if (++inside == many) all.set();
        return all.waitFor(longTime);
    });
    Answers answers;
    for (int i = 0; i < many; ++i) answers.send(L"x");
    EXPECT_EQ(answers.of(L"x"), Outcomes(many, {RespType::handled, L""}));
}

TEST(ThreadPool, UsesIdleThreadsAgain) {
    std::set<std::thread::id> threads;
    const ScriptedWorker worker(
        [&](auto&, auto&, auto&, auto&) { return threads.insert(std::this_thread::get_id()), true; });
    Answers answers;
    for (std::size_t i = 1; i <= 200; ++i) {
        answers.send(L"x");
        ASSERT_EQ(answers.of(L"x").size(), i);
    }
    EXPECT_LT(threads.size(), 100U);
}

// A request that blocks until it is told that the sender gave up, or the test lets it go on.
class Blocked : public testing::Test {
  protected:
    Blocked() {
        ScriptedItem::onAbort = [this] {
            ++aborts_;
            if (obedient_) go_.set();
        };
    }
    void TearDown() override { go_.set(); }

    CORE::coreevent inside_, go_;
    std::atomic<int> delivered_{0}, aborts_{0};
    bool obedient_ = true;
    ScriptedWorker worker_{[this](ScriptedItem& item, auto&, auto&, PropertyBag& response) {
        ++delivered_;
        inside_.set();
        const bool ended = go_.waitFor(longTime);
        response.set(L"answer", std::wstring_view(L"late"));
        item.responseBinary() = CORE::MsgBinary({1});
        return ended;
    }};
};

TEST_F(Blocked, ARunningRequestIsToldThatTheSenderGaveUp) {
    Answers answers;
    const std::uint64_t message = answers.send(L"x");
    await(inside_);
    EXPECT_FALSE(MessageHandler::CancelMsg(message)) << "it has begun";
    EXPECT_EQ(answers.of(L"x"), (Outcomes{{RespType::handled, L""}}));
    EXPECT_EQ(aborts_, 1);
    EXPECT_FALSE(MessageHandler::CancelMsg(message)) << "it is answered";
    EXPECT_FALSE(MessageHandler::CancelMsg(0));
}

// Whether a message has begun when it is cancelled is chance; what becomes of it must fit the answer.
TEST_F(Blocked, ACancelledMessageIsNotDeliveredOrItsRequestIsTold) {
    for (int round = 1; round <= 200; ++round) {
        go_.reset();
        Answers answers;
        const int delivered = delivered_, aborts = aborts_;
        const bool cancelled = MessageHandler::CancelMsg(answers.send(L"x"));
        const Outcomes expected = {cancelled ? std::pair(RespType::cancelled, L"The message was cancelled")
                                             : std::pair(RespType::handled, L"")};
        ASSERT_EQ(answers.of(L"x"), expected) << "round " << round;
        ASSERT_EQ(delivered_ - delivered, cancelled ? 0 : 1);
        ASSERT_EQ(aborts_ - aborts, cancelled ? 0 : 1);
    }
}

// The request blocks until the test lets it go on: the sender does not wait for that.
TEST_F(Blocked, ASenderWaitsNoLongerThanItsTimeout) {
    obedient_ = false;
    const std::wstring late = L"Worker scripted did not answer operation x within 1 milliseconds";
    CORE::MsgBinary binary;
    const Sent sent = send(L"scripted", L"x", {}, {.timeoutMs = 1, .responseBinary = &binary});
    EXPECT_FALSE(sent.handled);
    EXPECT_EQ(sent.response.getError(), 1);
    EXPECT_EQ(sent.response.getErrorText(), late);
    Answers answers;
    answers.send(L"x", L"scripted", 1);
    EXPECT_EQ(answers.of(L"x"), (Outcomes{{RespType::timedOut, late}}));
    EXPECT_TRUE(eventually([&] { return aborts_ == delivered_; })) << "each request that had begun is told";
    go_.set();
    EXPECT_TRUE(eventually([] { return ScriptedItem::alive == 0; }));
    EXPECT_EQ(answers.of(L"x").size(), 1U) << "what comes late is dropped";
    EXPECT_TRUE(sent.response.empty());
    EXPECT_TRUE(binary.empty());
}

TEST_F(Blocked, AnAnswerWithinTheTimeoutIsHandedOver) {
    go_.set();
    CORE::MsgBinary binary;
    PropertyBag response;
    response.set(L"kept", std::wstring_view(L"1"));
    EXPECT_TRUE(MessageHandler::SendMsg(L"scripted", L"x", {}, response,
                                        {.timeoutMs = 3'600'000, .responseBinary = &binary}));
    EXPECT_EQ(response.getError(), 0);
    EXPECT_EQ(response.flattenForDisplay(), L"kept=1, answer=late");
    EXPECT_EQ(binary.bytes(), std::vector<std::uint8_t>{1});
    EXPECT_EQ(aborts_, 0);
}

// The end of a process finds threads blocked, idle and logging; it must neither hang nor crash.
TEST(ProcessEnd, IsSafeWhileThreadsRun) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            // Not destroyed, as the end of the process finds them in use.
            auto& inside = *new CORE::coreevent;
            auto& never = *new CORE::coreevent;
            static const auto sink =
                CORE::addLogSink(CORE::logError, [](int, std::wstring_view, std::wstring_view) {});
            ScriptedItem::script = [&](auto&, const std::wstring& operation, auto&, auto&) {
                inside.set();
                if (operation == L"blocks") return never.waitFor(longTime);
                for (;;) CORE::__SysMessage(CORE::logError, L"test", L"still here");
            };
            addWorker(L"last");
            for (const wchar_t* operation : {L"blocks", L"logs"}) {
                inside.reset();
                MessageHandler::PostMsg(L"last", operation, {});
                EXPECT_TRUE(inside.waitFor(longTime));
            }
            std::exit(0);
        },
        testing::ExitedWithCode(0), "");
}

// Removing a worker and waiting for its module's threads leaves nobody in the module's code, however the two
// meet.
TEST(WorkerRaces, NobodyRunsTheModulesCodeAfterTheWait) {
    std::atomic<bool> unloaded{true}, stop{false};
    std::atomic<int> strays{0};
    ScriptedItem::script = [&](auto&, auto&, auto&, auto&) {
        for (int i = 0; i < 10 && !unloaded; ++i) std::this_thread::yield();
        if (unloaded) ++strays;
        return true;
    };
    std::vector<std::thread> senders;
    for (int i = 0; i < 3; ++i)
        senders.emplace_back([&] {
            while (!stop) {
                CORE::ThreadGroup sent(L"sender");
                for (int message = 0; message < 10; ++message)
                    MessageHandler::SendAsyncMsg(L"racer", L"x", {}, {}, {.callbackOwner = &sent});
                send(L"racer", L"x");
            }
        });
    for (int round = 0; round < 200; ++round) {
        CORE::ThreadGroup module(L"racer");
        unloaded = false;
        addWorker(L"racer", &module);
        yield(20);
        MessageFrameWork::System().RemoveWorker(L"racer", false);
        module.waitForAll();
        unloaded = true;
        EXPECT_EQ(ScriptedItem::alive, 0);
    }
    stop = true;
    for (auto& sender : senders) sender.join();
    EXPECT_EQ(strays, 0);
    ScriptedItem::script = {};
}

}  // namespace
