// Asynchronous messages, the pool that they run on, turns, cancelling and the orderly end.
#include <gtest/gtest.h>

#include <map>
#include <mutex>
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
    MessageFrameWork::System().drain();
    MessageFrameWork::System().RemoveWorker(L"none", true);
    EXPECT_EQ(answers.of(L"fine"), (One{{RespType::handled, L""}}));
    EXPECT_EQ(answers.of(L"unknown"), (One{{RespType::notHandled, L""}}));
    EXPECT_EQ(answers.of(L"throws"), (One{{RespType::notHandled, L"Unexpected exception: broken"}}));
    EXPECT_EQ(answers.of(L"nobody"), (One{{RespType::noWorker, L"Worker absent is not installed"}}));
    EXPECT_EQ(answers.of(L"no object"), (One{{RespType::noWorker, L"Worker none is not installed"}}));
    EXPECT_STREQ(MessageHandler::respTypeName(RespType::noWorker), L"noWorker");
    EXPECT_STREQ(MessageHandler::respTypeName(RespType::aborted), L"aborted");
}

TEST(AsyncMessages, SurviveAThrowingCallback) {
    const ScriptedWorker worker;
    const LogCapture log(CORE::logError);
    MessageHandler::SendAsyncMsg(L"scripted", L"x", {}, [](RespType, PropertyBag&) { throw 1; });
    MessageFrameWork::System().drain();
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
        PropertyBag request;
        request.set(L"text", std::wstring_view(L"gone by then"));
        const CORE::MsgBinary question({7});
        MessageHandler::SendAsyncMsg(
            L"scripted", L"x", std::move(request),
            [&](RespType, PropertyBag& response) { echo = response.get(L"echo").str(); },
            {.requestBinary = &question, .responseBinary = &answer});
    }
    MessageFrameWork::System().drain();
    EXPECT_EQ(echo, L"gone by then");
    EXPECT_EQ(answer.bytes(), std::vector<std::uint8_t>{7});
}

TEST(PostMsg, IsDeliveredOrRefused) {
    std::atomic<int> seen{0};
    const ScriptedWorker worker([&](auto&, auto&, auto&, auto&) { return ++seen > 0; });
    EXPECT_TRUE(MessageHandler::PostMsg(L"scripted", L"x", {}));
    EXPECT_FALSE(MessageHandler::PostMsg(L"absent", L"x", {}));
    MessageFrameWork::System().drain();
    EXPECT_EQ(seen, 1);
}

TEST(BroadcastMsg, ReachesEveryLocalWorkerButTheFrameworksOwn) {
    std::atomic<int> seen{0};
    const ScriptedWorker deaf({}, {.local = false}, nullptr, L"deaf");
    const ScriptedWorker one({}, {}, nullptr, L"one");
    const ScriptedWorker two([&](auto&, auto&, auto&, auto&) { return ++seen > 0; }, {}, nullptr, L"two");
    EXPECT_EQ(CORE::refptr<ScriptedItem>::adopt(new ScriptedItem)->BroadcastMsg(L"x", {}), 2);
    MessageFrameWork::System().drain();
    EXPECT_EQ(seen, 2);
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

TEST(ThreadPool, UsesIdleThreadsAgainAndEndsThem) {
    MessageFrameWork& framework = MessageFrameWork::System();
    framework.shutdown();  // no threads of earlier tests
    const ScriptedWorker worker;
    Answers answers;
    for (int i = 1; i <= 200; ++i) {
        send(answers, L"x");
        answers.await(i);
    }
    EXPECT_LT(framework.poolThreads(), 100);

    framework.setPoolIdleLimit(std::chrono::milliseconds(0));
    const auto end = std::chrono::steady_clock::now() + longTime;
    while (framework.poolThreads() > 0 && std::chrono::steady_clock::now() < end) std::this_thread::yield();
    EXPECT_EQ(framework.poolThreads(), 0);
    framework.setPoolIdleLimit(std::chrono::seconds(30));
}

TEST(SerialisedWorker, TakesOneRequestAtATime) {
    std::atomic<int> inside{0}, most{0};
    const ScriptedWorker worker(
        [&](auto&, auto&, auto&, auto&) {
            most = std::max(most.load(), ++inside);
            std::this_thread::yield();
            --inside;
            return true;
        },
        {.serialised = true});
    Answers answers;
    for (int i = 0; i < 50; ++i) send(answers, L"x");
    PropertyBag response;
    for (int i = 0; i < 50; ++i) EXPECT_TRUE(MessageHandler::SendMsg(L"scripted", L"x", {}, response));
    answers.await(50);
    EXPECT_EQ(most, 1);
}

TEST(SerialisedWorker, MaySendToItself) {
    const ScriptedWorker worker(
        [](auto&, const std::wstring& operation, auto&, PropertyBag& response) {
            return operation == L"inner" || MessageHandler::SendMsg(L"scripted", L"inner", {}, response);
        },
        {.serialised = true});
    PropertyBag response;
    EXPECT_TRUE(MessageHandler::SendMsg(L"scripted", L"outer", {}, response));
    EXPECT_TRUE(MessageHandler::SendMsg(L"scripted", L"outer", {}, response)) << "the turn is given back";
}

// The first message holds the turn; those behind it have not begun.
class Blocked : public testing::Test {
  protected:
    void SetUp() override {
        first_ = send(answers_, L"first");
        await(inside_);
        second_ = send(answers_, L"second");
        third_ = send(answers_, L"third");
    }
    // However a test ends, nobody stays blocked.
    void TearDown() override { go_.set(); }

    Answers answers_;
    CORE::coreevent inside_, go_;
    std::atomic<int> delivered_{0};
    ScriptedWorker worker_{[this](auto&, auto&, auto&, auto&) {
                               ++delivered_;
                               inside_.set();
                               return go_.waitFor(longTime);
                           },
                           {.serialised = true}};
    std::uint64_t first_ = 0, second_ = 0, third_ = 0;
};

TEST_F(Blocked, CancelledMessagesAreAnsweredAtOnceAndNotDelivered) {
    EXPECT_TRUE(MessageHandler::CancelMsg(second_));
    EXPECT_FALSE(MessageHandler::CancelMsg(second_)) << "once is enough";
    answers_.await(1);
    EXPECT_EQ(answers_.of(L"second"), (One{{RespType::cancelled, L"The message was cancelled"}}));
    go_.set();
    MessageFrameWork::System().drain();
    EXPECT_EQ(delivered_, 2) << "first and third";
    EXPECT_EQ(answers_.of(L"third"), (One{{RespType::handled, L""}}));
    EXPECT_EQ(answers_.of(L"second").size(), 1u);
    EXPECT_FALSE(MessageHandler::CancelMsg(third_)) << "it is answered";
    EXPECT_FALSE(MessageHandler::CancelMsg(0));
}

TEST_F(Blocked, ARunningRequestIsToldThatTheSenderGaveUp) {
    ScriptedItem::onAbort = [&] { go_.set(); };
    EXPECT_FALSE(MessageHandler::CancelMsg(first_)) << "it has begun";
    answers_.await(3);
    EXPECT_EQ(answers_.of(L"first"), (One{{RespType::handled, L""}}));
}

TEST_F(Blocked, ShutdownAbortsWhatHasNotBegunAndAwaitsTheRest) {
    MessageFrameWork& framework = MessageFrameWork::System();
    std::thread host([&] { framework.shutdown(); });
    answers_.await(2);  // only the first is left
    EXPECT_EQ(answers_.of(L"second"), (One{{RespType::aborted, L"The framework was shut down"}}));
    EXPECT_EQ(answers_.of(L"third"), (One{{RespType::aborted, L"The framework was shut down"}}));
    EXPECT_EQ(send(answers_, L"late"), 0u) << "nothing is taken any more";
    go_.set();
    host.join();
    EXPECT_EQ(answers_.of(L"first"), (One{{RespType::handled, L""}}));
    EXPECT_EQ(framework.poolThreads(), 0);
    EXPECT_TRUE(answers_.of(L"late").empty());

    EXPECT_NE(send(answers_, L"again"), 0u);
    framework.drain();
    EXPECT_EQ(answers_.of(L"again"), (One{{RespType::handled, L""}}));
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
        EXPECT_EQ(sender.running(), 1);
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
                PropertyBag response;
                MessageHandler::SendMsg(L"racer", L"x", {}, response);
                MessageHandler::PostMsg(L"racer", L"x", {});
                while (MessageFrameWork::System().pending() > 50) std::this_thread::yield();
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
    MessageFrameWork::System().drain();
    EXPECT_EQ(strays, 0);
    ScriptedItem::script = {};
}

}  // namespace
