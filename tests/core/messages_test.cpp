// Workers and their messages: registration, the ways to send, and what runs on the framework's threads.

#include <limits>
#include <set>
#include <stdexcept>

#include "core/scripted_worker.h"
#include "framework/core/coreexception.h"
#include "support/log_capture.h"
#include "support/rows.h"

namespace {

using namespace wstest;
using CORE::MessageFrameWork;
using CORE::MessageHandler;
using CORE::MsgBinary;
using CORE::PropertyBag;
using CORE::RespType;
using CORE::SendOptions;

// An answer in words: how the message ended, and its error.
std::wstring told(RespType type, const PropertyBag& response) {
    std::wstring words = MessageHandler::respTypeName(type);
    if (const int code = response.getError())
        words += L", error " + std::to_wstring(code) + L": " + response.getErrorText().str();
    return words;
}

std::wstring send(std::wstring_view worker, std::wstring_view operation, const PropertyBag& request = {},
                  SendOptions options = {}) {
    auto type = RespType::handled;
    options.type = &type;
    PropertyBag response;
    const bool handled = MessageHandler::SendMsg(worker, operation, request, response, options);
    EXPECT_EQ(handled, type == RespType::handled);
    return told(type, response);
}

// Messages to the scripted worker, and what their callbacks were told.
class Answers {
  public:
    std::uint64_t send(unsigned timeoutMs = 0, const wchar_t* worker = L"scripted",
                       const wchar_t* operation = L"x", const PropertyBag& request = {}) {
        const auto note = [this](RespType type, PropertyBag& response) {
            const std::lock_guard lock(mutex_);
            got_.push_back(told(type, response));
        };
        return MessageHandler::SendAsyncMsg(worker, operation, request, note,
                                            {.timeoutMs = timeoutMs, .callbackOwner = &sent_});
    }
    // Waits until every message sent so far is answered.
    std::vector<std::wstring> all() {
        sent_.waitForAll();
        return got_;
    }

  private:
    std::mutex mutex_;
    std::vector<std::wstring> got_;
    CORE::ThreadGroup sent_{L"sender"};
};
using Told = std::vector<std::wstring>;

// The request's object is gone with the answer, and no sender gave it up.
TEST(Messages, AreAnsweredAlikeOnTheSendersThreadWithATimeoutAndByACallback) {
    addWorker(L"none", nullptr, [] { return static_cast<CORE::WorkItem*>(nullptr); });
    const ScriptedWorker deaf({}, L"Deaf", false);
    std::thread::id ranOn;
    const ScriptedWorker worker(
        [&](ScriptedItem& item, const std::wstring& operation, const PropertyBag& request, auto& response) {
            ranOn = std::this_thread::get_id();
            auto bytes = item.requestBinary().bytes();
            bytes.push_back(9);
            item.responseBinary() = MsgBinary(bytes);
            response.set(L"echo", request.get(L"text").str() + operation);
            if (operation == L"framework") throw CORE::coreException(L"broken promise");
            if (operation == L"standard") throw std::runtime_error("out of range");
            if (operation == L"other") throw 42;
            return operation != L"refused";
        },
        L"Folded");
    ScriptedItem::onAbort = [] { ADD_FAILURE() << "an answered request was given up"; };
    const auto sent = [&](const Json& in) {
        const std::wstring name = CORE::toWide(in[0].get<std::string>()),
                           operation = CORE::toWide(in[1].get<std::string>());
        Json shown;
        for (const std::string_view way : {"here", "timeout", "callback"}) {
            const LogCapture log;
            PropertyBag request, response;
            request.set(L"text", std::wstring_view(L"hello "));
            if (in.size() > 2) request.set(L"QueueName", CORE::toWide(in[2].get<std::string>()));
            response.set(L"kept", std::wstring_view(L"1"));
            const MsgBinary question({1, 2});
            MsgBinary answer;
            auto got = RespType::cancelled;
            SendOptions options{.requestBinary = &question, .responseBinary = &answer, .type = &got};
            if (way == "callback") {
                CORE::ThreadGroup sender(L"sender");
                options.callbackOwner = &sender;
                MessageHandler::SendAsyncMsg(
                    name, operation, std::move(request),
                    [&](RespType outcome, PropertyBag& bag) {
                        got = outcome;
                        response &= bag;
                    },
                    options);
            } else {
                if (way == "timeout") options.timeoutMs = 3'600'000;
                MessageHandler::SendMsg(name, operation, request, response, options);
            }
            Json own{CORE::toUtf8(told(got, response)), CORE::toUtf8(response.flattenForDisplay()),
                     answer.bytes()};
            for (const LogLine& line : log.lines())
                own.push_back(CORE::toUtf8(CORE::logLevelName(line.level)) + " " + CORE::toUtf8(line.text));
            EXPECT_TRUE(shown.is_null() || shown == own) << own;
            EXPECT_TRUE(answer.empty() || (ranOn == std::this_thread::get_id()) == (way == "here"));
            EXPECT_EQ(ScriptedItem::alive, 0);
            shown = own;
        }
        return shown;
    };
    tryRows(WS_SOURCE_DIR "/tests/core/messages.jsonl", {{"sent", sent}});
    MessageFrameWork::System().RemoveWorker(L"none", true);
}

TEST(Messages, SurviveAThrowingCallbackAndDestroyItBeforeItsOwnerMayGo) {
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

TEST(Messages, ArePostedToOneOrToEveryLocalWorkerButTheFrameworksOwn) {
    std::atomic<int> seen{0};
    CORE::coreevent all;
    const ScriptedWorker deaf({}, L"deaf", false), one({}, L"one");
    const ScriptedWorker two([&](auto&, auto&, auto&, auto&) { return ++seen == 3 ? all.set(), true : true; },
                             L"two");
    EXPECT_TRUE(MessageHandler::PostMsg(L"two", L"x", {}));
    EXPECT_FALSE(MessageHandler::PostMsg(L"absent", L"x", {}));
    EXPECT_EQ(CORE::refptr<ScriptedItem>::adopt(new ScriptedItem)->BroadcastMsg(L"x", {}), 2);
    await(all);
    EXPECT_TRUE(eventually([] { return ScriptedItem::alive == 0; })) << "before a worker goes";
}

// Twenty requests that all wait for each other end only when each has a thread.
TEST(ThreadPool, GrowsWhenAllThreadsAreBlockedAndUsesIdleOnesAgain) {
    constexpr int many = 20;
    std::atomic<int> inside{0};
    CORE::coreevent all;
    std::set<std::thread::id> threads;
    const ScriptedWorker worker([&](auto&, auto&, auto&, auto&) {
        if (++inside == many) all.set();
        if (inside > many) threads.insert(std::this_thread::get_id());
        return all.waitFor(longTime);
    });
    Answers answers;
    for (int i = 0; i < many; ++i) answers.send();
    EXPECT_EQ(answers.all(), Told(many, L"handled"));
    for (int i = 0; i < 200; ++i) {
        answers.send();
        answers.all();
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
            throw 42;
        };
    }
    void TearDown() override { go_.set(); }

    CORE::coreevent inside_, go_;
    std::atomic<int> delivered_{0}, aborts_{0};
    bool obedient_ = true;
    ScriptedWorker worker_{[this](ScriptedItem& item, auto&, auto&, PropertyBag&) {
        ++delivered_;
        inside_.set();
        const bool ended = go_.waitFor(longTime);
        item.responseBinary() = MsgBinary({1});
        return ended;
    }};
};

// Whether a message has begun when it is cancelled is chance, unless that is awaited; what becomes of it must
// fit the answer.
TEST_F(Blocked, ACancelledMessageIsNotDeliveredOrItsRequestIsTold) {
    for (int round = 1; round <= 200; ++round) {
        go_.reset();
        inside_.reset();
        Answers answers;
        const int delivered = delivered_, aborts = aborts_;
        const std::uint64_t message = answers.send();
        if (round % 4 == 0) await(inside_);
        const bool cancelled = MessageHandler::CancelMsg(message);
        ASSERT_FALSE(cancelled && round % 4 == 0) << "it has begun";
        ASSERT_EQ(answers.all(),
                  Told{cancelled ? L"cancelled, error 1: The message was cancelled" : L"handled"})
            << "round " << round;
        ASSERT_EQ(delivered_ - delivered, cancelled ? 0 : 1);
        ASSERT_EQ(aborts_ - aborts, cancelled ? 0 : 1);
        ASSERT_FALSE(MessageHandler::CancelMsg(message)) << "it is answered";
    }
    EXPECT_FALSE(MessageHandler::CancelMsg(0));
}

// The request blocks until the test lets it go on: the sender does not wait for that.
TEST_F(Blocked, ASenderWaitsNoLongerThanItsTimeout) {
    obedient_ = false;
    const std::wstring late =
        L"timedOut, error 1: Worker scripted did not answer operation x within 1 milliseconds";
    MsgBinary binary;
    const wstest::LogCapture log;
    EXPECT_EQ(send(L"scripted", L"x", {}, {.timeoutMs = 1, .responseBinary = &binary}), late);
    Answers answers;
    answers.send(1);
    EXPECT_EQ(answers.all(), Told{late});
    EXPECT_TRUE(eventually([&] { return aborts_ == delivered_; })) << "each request that had begun is told";
    go_.set();
    EXPECT_TRUE(eventually([] { return ScriptedItem::alive == 0; }));
    EXPECT_EQ(answers.all().size(), 1U) << "what comes late is dropped";
    EXPECT_TRUE(binary.empty());
    EXPECT_EQ(log.lines().at(0), (LogLine{CORE::logError, L"Worker scripted: exception in AbortHandler"}));
}

TEST(AddWorker, RefusesTakenNamesAndUnknownFlags) {
    const ScriptedWorker first({}, L"Name");
    const std::tuple<const wchar_t*, bool, bool> rows[] = {{L"Name", false, true}, {L"NAME", false, true},
                                                           {L"", false, true},     {L"system", false, true},
                                                           {L"Other", true, true}, {L"Other", false, false}};
    for (const auto& [name, serialised, foldNames] : rows)
        EXPECT_THROW(MessageFrameWork::System().AddWorker(&ScriptedItem::make, name, L"", true, false,
                                                          serialised, foldNames),
                     CORE::coreException);
}

TEST(RemoveWorker, AnswersWhetherThereWasOneAndLeavesOrAwaitsWhatRuns) {
    MessageFrameWork& framework = MessageFrameWork::System();
    EXPECT_FALSE(framework.RemoveWorker(L"System", false)) << "the framework's own worker stays";
    for (const bool wait : {false, true}) {
        CORE::coreevent inside, go;
        std::atomic<bool> answered{false};
        ScriptedItem::script = [&](auto&, auto&, auto&, auto&) {
            inside.set();
            await(go);
            answered = true;
            return true;
        };
        addWorker(L"slow");
        std::thread sender([] { EXPECT_EQ(send(L"slow", L"x"), L"handled"); });
        await(inside);
        std::thread release([&] {  // once the removal has begun
            while (framework.IsWorkerInstalled(L"slow", 0)) std::this_thread::yield();
            if (wait) go.set();
        });
        EXPECT_TRUE(framework.RemoveWorker(L"SLOW", wait));
        EXPECT_EQ(answered, wait);
        EXPECT_FALSE(framework.RemoveWorker(L"slow", wait));
        EXPECT_EQ(send(L"slow", L"x"), L"noWorker, error 1: Worker slow is not installed");
        go.set();
        release.join();
        sender.join();
        ScriptedItem::script = {};
    }
}

PropertyBag workerQuestion(std::wstring_view worker, int timeoutMs) {
    PropertyBag request;
    request.set(L"QueueName", worker);
    request.setInt(L"Timeout", timeoutMs);
    return request;
}

TEST(SystemWorker, WaitsForAWorkerThatComesUntilTheMessageIsCancelledOrTimesOut) {
    std::thread asker([] {
        EXPECT_EQ(send(L"System", L"IsWorkerInstalled", workerQuestion(L"scripted", 60'000)), L"handled");
    });
    const ScriptedWorker worker;
    // No time at all is enough for one that is there.
    EXPECT_EQ(send(L"System", L"isworkerinstalled", workerQuestion(L"SCRIPTED", -5)), L"handled");
    asker.join();
    const PropertyBag request = workerQuestion(L"never", std::numeric_limits<int>::max());
    Answers answers;
    MessageHandler::CancelMsg(answers.send(0, L"System", L"IsWorkerInstalled", request));
    const std::wstring answer = answers.all().at(0);
    EXPECT_TRUE(answer == L"cancelled, error 1: The message was cancelled" ||
                answer == L"notHandled, error 1: Worker never is not installed");
    EXPECT_EQ(send(L"System", L"IsWorkerInstalled", request, {.timeoutMs = 1}),
              L"timedOut, error 1: Worker System did not answer operation IsWorkerInstalled within 1 "
              L"milliseconds");
}

TEST(Framework, RefusesAChannelWithoutShowingTheTicket) {
    const LogCapture log;
    EXPECT_EQ(MessageFrameWork::System().ConnectChannelByTicket(2, L"s3cret", L"host:4001"), nullptr);
    EXPECT_EQ(log.lines(),
              (std::vector<LogLine>{
                  {CORE::logWarning, L"No channel of kind 2 to host:4001: this host carries none"}}));
    MessageFrameWork::System().CloseChannel(nullptr);
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

// Removing a worker and waiting for its module's threads leaves nobody in the module's code.
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
