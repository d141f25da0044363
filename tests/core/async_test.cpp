// Messages that run on the framework's threads: the pool, cancelling, time-outs.
#include <gtest/gtest.h>

#include <map>
#include <mutex>
#include <set>
#include <thread>
#include <vector>

#include "core/scripted_worker.h"
#include "framework/core/framework.h"
#include "support/log_capture.h"

namespace {

using namespace wstest;
using CORE::MessageFrameWork;
using CORE::MessageHandler;
using CORE::PropertyBag;
using CORE::RespType;

// Collects what callbacks report, by the name of the message.
class Answers {
  public:
    CORE::ResponseCallback to(const std::wstring& name) {
        return [this, name](RespType type, PropertyBag& response) {
            const std::lock_guard lock(mutex_);
            got_[name].push_back({type, response.getErrorText().str()});
            ++count_;
            changed_.notify_all();
        };
    }
    void await(int count) {
        std::unique_lock lock(mutex_);
        ASSERT_TRUE(changed_.wait_for(lock, longTime, [&] { return count_ >= count; }));
    }
    std::vector<std::pair<RespType, std::wstring>> of(const std::wstring& name) {
        const std::lock_guard lock(mutex_);
        return got_[name];
    }

  private:
    std::mutex mutex_;
    std::condition_variable changed_;
    std::map<std::wstring, std::vector<std::pair<RespType, std::wstring>>> got_;
    int count_ = 0;
};

using One = std::vector<std::pair<RespType, std::wstring>>;

std::uint64_t send(Answers& answers, const std::wstring& operation,
                   const std::wstring& worker = L"scripted") {
    return MessageHandler::SendAsyncMsg(worker, operation, {}, answers.to(operation));
}

TEST(AsyncMessages, CallBackOnceWithTheOutcome) {
    const ScriptedWorker worker([](auto&, const std::wstring& operation, auto&, auto&) {
        if (operation == L"throws") throw std::runtime_error("broken");
        return operation == L"fine";
    });
    Answers answers;
    EXPECT_NE(send(answers, L"fine"), 0u);
    EXPECT_NE(send(answers, L"unknown"), 0u);
    EXPECT_NE(send(answers, L"throws"), 0u);
    EXPECT_NE(send(answers, L"nobody", L"absent"), 0u);
    MessageFrameWork::System().AddWorker(&ScriptedItem::makeNone, L"none", L"", true, false, false, true);
    EXPECT_NE(send(answers, L"no object", L"none"), 0u);
    answers.await(5);
    MessageFrameWork::System().RemoveWorker(L"none", true);
    EXPECT_EQ(answers.of(L"fine"), (One{{RespType::handled, L""}}));
    EXPECT_EQ(answers.of(L"unknown"), (One{{RespType::notHandled, L""}}));
    EXPECT_EQ(answers.of(L"throws"), (One{{RespType::notHandled, L"Unexpected exception: broken"}}));
    EXPECT_EQ(answers.of(L"nobody"), (One{{RespType::noWorker, L"Worker absent is not installed"}}));
    EXPECT_EQ(answers.of(L"no object"), (One{{RespType::noWorker, L"Worker none is not installed"}}));
    EXPECT_STREQ(MessageHandler::respTypeName(RespType::noWorker), L"noWorker");
    EXPECT_STREQ(MessageHandler::respTypeName(RespType::cancelled), L"cancelled");
}

TEST(AsyncMessages, SurviveAThrowingCallback) {
    const ScriptedWorker worker;
    CORE::ThreadGroup sent(L"sender");
    const LogCapture log(CORE::logError);
    MessageHandler::SendAsyncMsg(L"scripted", L"x", {}, [](RespType, PropertyBag&) { throw 1; },
                                 {.callbackOwner = &sent});
    sent.waitForAll();
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
    CORE::ThreadGroup sent(L"sender");
    CORE::MsgBinary answer;
    std::wstring echo;
    {
        PropertyBag request;
        request.set(L"text", std::wstring_view(L"gone by then"));
        const CORE::MsgBinary question({7});
        MessageHandler::SendAsyncMsg(
            L"scripted", L"x", std::move(request),
            [&](RespType, PropertyBag& response) { echo = response.get(L"echo").str(); },
            {.requestBinary = &question, .responseBinary = &answer, .callbackOwner = &sent});
    }
    sent.waitForAll();
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
    const ScriptedWorker deaf({}, {.local = false}, nullptr, L"deaf");
    const ScriptedWorker one({}, {}, nullptr, L"one");
    const ScriptedWorker two(
        [&](auto&, auto&, auto&, auto&) { return ++seen == 2 ? both.set(), true : true; }, {}, nullptr,
        L"two");
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
    for (int i = 0; i < many; ++i) send(answers, L"x");
    answers.await(many);
    for (const auto& [type, text] : answers.of(L"x")) EXPECT_EQ(type, RespType::handled);
}

TEST(ThreadPool, UsesIdleThreadsAgain) {
    std::set<std::thread::id> threads;
    const ScriptedWorker worker(
        [&](auto&, auto&, auto&, auto&) { return threads.insert(std::this_thread::get_id()), true; });
    Answers answers;
    for (int i = 1; i <= 200; ++i) {
        send(answers, L"x");
        answers.await(i);
    }
    EXPECT_LT(threads.size(), 100U);
}

// A request that blocks until it is told that the sender gave up, or the test ends.
class Blocked : public testing::Test {
  protected:
    Blocked() {
        ScriptedItem::onAbort = [this] {
            ++aborts_;
            if (obedient_) go_.set();
        };
    }
    void TearDown() override { go_.set(); }

    CORE::coreevent inside_, go_, left_;
    std::atomic<int> delivered_{0}, aborts_{0};
    bool obedient_ = true;
    ScriptedWorker worker_{[this](ScriptedItem& item, auto&, auto&, PropertyBag& response) {
        ++delivered_;
        inside_.set();
        const bool ended = go_.waitFor(longTime);
        response.set(L"answer", std::wstring_view(L"late"));
        item.responseBinary() = CORE::MsgBinary({1});
        left_.set();
        return ended;
    }};
};

TEST_F(Blocked, ARunningRequestIsToldThatTheSenderGaveUp) {
    Answers answers;
    const std::uint64_t message = send(answers, L"x");
    await(inside_);
    EXPECT_FALSE(MessageHandler::CancelMsg(message)) << "it has begun";
    answers.await(1);
    EXPECT_EQ(answers.of(L"x"), (One{{RespType::handled, L""}}));
    EXPECT_EQ(aborts_, 1);
    EXPECT_FALSE(MessageHandler::CancelMsg(message)) << "it is answered";
    EXPECT_FALSE(MessageHandler::CancelMsg(0));
}

// Whether a message has begun when it is cancelled is chance; what becomes of it must fit the answer.
TEST_F(Blocked, ACancelledMessageIsNotDeliveredOrItsRequestIsTold) {
    for (int round = 1; round <= 200; ++round) {
        go_.reset();
        Answers answers;
        const int delivered = delivered_;
        const int aborts = aborts_;
        const bool cancelled = MessageHandler::CancelMsg(send(answers, L"x"));
        answers.await(1);
        const One expected = {cancelled
                                  ? std::pair(RespType::cancelled, std::wstring(L"The message was cancelled"))
                                  : std::pair(RespType::handled, std::wstring())};
        ASSERT_EQ(answers.of(L"x"), expected) << "round " << round;
        ASSERT_EQ(delivered_ - delivered, cancelled ? 0 : 1);
        ASSERT_EQ(aborts_ - aborts, cancelled ? 0 : 1);
    }
}

// The worker goes on until the test lets it: the sender does not wait for that.
TEST_F(Blocked, ASenderWaitsNoLongerThanItsTimeout) {
    obedient_ = false;
    const std::wstring late = L"Worker scripted did not answer operation x within 1 milliseconds";
    CORE::MsgBinary binary;
    PropertyBag response;
    EXPECT_FALSE(MessageHandler::SendMsg(L"scripted", L"x", {}, response,
                                         {.timeoutMs = 1, .responseBinary = &binary}));
    EXPECT_EQ(response.getError(), 1);
    EXPECT_EQ(response.getErrorText(), late);

    Answers answers;
    MessageHandler::SendAsyncMsg(L"scripted", L"x", {}, answers.to(L"x"), {.timeoutMs = 1});
    answers.await(1);
    EXPECT_EQ(answers.of(L"x"), (One{{RespType::timedOut, late}}));
    while (aborts_ != delivered_) std::this_thread::yield();  // each request that had begun is told
    go_.set();
    while (ScriptedItem::alive > 0) std::this_thread::yield();
    EXPECT_EQ(answers.of(L"x").size(), 1U) << "what comes late is dropped";
    EXPECT_EQ(response.size(), 0U);
    EXPECT_TRUE(binary.empty());
}

TEST_F(Blocked, AnAnswerInTimeIsHandedOver) {
    go_.set();
    CORE::MsgBinary binary;
    PropertyBag response;
    response.set(L"kept", std::wstring_view(L"1"));
    EXPECT_TRUE(MessageHandler::SendMsg(L"scripted", L"x", {}, response,
                                        {.timeoutMs = 3'600'000, .responseBinary = &binary}));
    EXPECT_EQ(response.getError(), 0);
    EXPECT_EQ(response.flattenForDisplay(), L"kept=1, answer=late");
    EXPECT_EQ(binary.bytes(), std::vector<std::uint8_t>{1});
    EXPECT_FALSE(MessageHandler::SendMsg(L"absent", L"x", {}, response, {.timeoutMs = 3'600'000}));
    EXPECT_EQ(response.getErrorText(), L"Worker absent is not installed");
    EXPECT_EQ(aborts_, 0);
}

// The end of a process finds threads blocked, idle and logging; it must neither hang nor crash.
TEST(ProcessEnd, IsSafeWithoutAShutdown) {
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
            MessageFrameWork::System().AddWorker(&ScriptedItem::make, L"last", L"", true, false, false, true);
            for (const wchar_t* operation : {L"blocks", L"logs"}) {
                inside.reset();
                MessageHandler::PostMsg(L"last", operation, {});
                EXPECT_TRUE(inside.waitFor(longTime));
            }
            std::exit(0);
        },
        testing::ExitedWithCode(0), "");
}

TEST(CallbackOwner, IsCountedUntilTheCallbackHasGone) {
    CORE::ThreadGroup sender(L"sender");
    CORE::coreevent go;
    std::atomic<bool> gone{false};
    {
        const ScriptedWorker worker([&](auto&, auto&, auto&, auto&) { return go.waitFor(longTime); });
        const std::shared_ptr<void> code(nullptr, [&](void*) { gone = true; });
        MessageHandler::SendAsyncMsg(L"scripted", L"x", {}, [code](RespType, PropertyBag&) {},
                                     {.callbackOwner = &sender});
        go.set();
    }
    sender.waitForAll();
    EXPECT_TRUE(gone);
}

// Removing a worker and waiting for its module's threads leaves nobody in the module's code, however the two
// meet.
TEST(WorkerRaces, NobodyRunsTheModulesCodeAfterTheWait) {
    std::atomic<bool> unloaded{true};
    std::atomic<int> strays{0};
    ScriptedItem::script = [&](auto&, auto&, auto&, auto&) {
        for (int i = 0; i < 10 && !unloaded; ++i) std::this_thread::yield();
        if (unloaded) ++strays;
        return true;
    };
    std::atomic<bool> stop{false};
    std::vector<std::thread> senders;
    for (int i = 0; i < 3; ++i)
        senders.emplace_back([&] {
            while (!stop) {
                CORE::ThreadGroup sent(L"sender");
                for (int message = 0; message < 10; ++message)
                    MessageHandler::SendAsyncMsg(L"racer", L"x", {}, {}, {.callbackOwner = &sent});
                PropertyBag response;
                MessageHandler::SendMsg(L"racer", L"x", {}, response);
            }
        });
    for (int round = 0; round < 200; ++round) {
        CORE::ThreadGroup module(L"racer");
        unloaded = false;
        MessageFrameWork::System().AddWorker(&ScriptedItem::make, L"racer", L"", true, false, false, true,
                                             &module);
        for (int i = 0; i < 20; ++i) std::this_thread::yield();
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
