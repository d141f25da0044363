// Registration, lookup and synchronous messages.
#include "framework/core/framework.h"

#include <gtest/gtest.h>

#include <limits>
#include <stdexcept>

#include "core/scripted_worker.h"
#include "framework/core/coreexception.h"
#include "support/log_capture.h"

namespace {

using namespace wstest;
using CORE::MessageFrameWork;
using CORE::MessageHandler;
using CORE::PropertyBag;

TEST(SendMsg, AnswersOnTheSendersThreadWithAttachments) {
    std::thread::id ranOn;
    const ScriptedWorker worker(
        [&](ScriptedItem& item, const std::wstring& operation, const PropertyBag& request, auto& response) {
            ranOn = std::this_thread::get_id();
            auto bytes = item.requestBinary().bytes();
            bytes.push_back(9);
            item.responseBinary() = CORE::MsgBinary(bytes);
            response.set(L"echo", request.get(L"text").str() + L"/" + operation);
            return operation != L"refused";
        });
    PropertyBag request;
    request.set(L"text", std::wstring_view(L"hello"));
    const CORE::MsgBinary question({1, 2});
    for (const wchar_t* operation : {L"greet", L"refused"}) {
        CORE::MsgBinary answer;
        const Sent sent =
            send(L"scripted", operation, request, {.requestBinary = &question, .responseBinary = &answer});
        EXPECT_EQ(answer.bytes(), (std::vector<std::uint8_t>{1, 2, 9}));
        EXPECT_EQ(sent.handled, operation != std::wstring_view(L"refused"));
        EXPECT_EQ(sent.response.get(L"echo"), std::wstring(L"hello/") + operation);
        EXPECT_EQ(sent.response.getError(), 0) << "not handled is no error of the framework's";
        EXPECT_EQ(ranOn, std::this_thread::get_id());
    }
}

TEST(SendMsg, SaysWhyNobodyAnswers) {
    const ScriptedWorker folded({}, L"Folded");
    const ScriptedWorker deaf({}, L"Deaf", false);
    addWorker(L"none", nullptr, &ScriptedItem::makeNone);
    const struct {
        const wchar_t* worker;
        const wchar_t* operation;
        const wchar_t* error;
    } rows[] = {
        {L"Folded", L"x", L""},
        {L"fOLDED", L"x", L""},
        {L"Folded ", L"x", L"Worker Folded  is not installed"},
        {L"", L"x", L"Worker  is not installed"},
        {L"none", L"x", L"Worker none is not installed"},  // its factory returns null
        {L"Deaf", L"x", L"Worker Deaf takes no messages of this machine"},
        {L"Folded", L"hidden", L"Operation hidden is not available"},
    };
    for (const unsigned timeoutMs : {0U, 3'600'000U})
        for (const auto& row : rows) {
            const Sent sent = send(row.worker, row.operation, {}, {.timeoutMs = timeoutMs});
            const bool fine = *row.error == 0;
            EXPECT_EQ(sent.handled, fine) << row.worker;
            EXPECT_EQ(sent.response.getError(), fine ? 0 : 1) << row.worker;
            EXPECT_EQ(sent.response.getErrorText(), row.error) << row.worker;
        }
    MessageFrameWork::System().RemoveWorker(L"none", true);
}

TEST(SendMsg, TurnsExceptionsIntoErrors) {
    const ScriptedWorker worker([](auto&, const std::wstring& operation, auto&, auto&) -> bool {
        if (operation == L"framework") throw CORE::coreException(L"broken promise");
        if (operation == L"standard") throw std::runtime_error("out of range");
        throw 42;
    });
    const std::pair<const wchar_t*, std::wstring> rows[] = {
        {L"framework", L"broken promise"},
        {L"standard", L"Unexpected exception: out of range"},
        {L"other", L"Unexpected exception"},
    };
    for (const auto& [operation, error] : rows) {
        const LogCapture log;
        const Sent sent = send(L"scripted", operation);
        EXPECT_FALSE(sent.handled);
        EXPECT_EQ(sent.response.getError(), 1);
        EXPECT_EQ(sent.response.getErrorText(), error);
        EXPECT_TRUE(log.contains(CORE::logError,
                                 std::wstring(L"Worker scripted, operation ") + operation + L": " + error));
        EXPECT_EQ(ScriptedItem::alive, 0) << "an exception must not leak the object";
    }
}

TEST(AddWorker, RefusesTakenNamesAndUnknownFlags) {
    const ScriptedWorker first({}, L"Name");
    const struct {
        const wchar_t* name;
        bool serialised, foldNames, added;
    } rows[] = {
        {L"Other", false, true, true},   {L"Name", false, true, false},   {L"NAME", false, true, false},
        {L"", false, true, false},       {L"system", false, true, false}, {L"Other", true, true, false},
        {L"Other", false, false, false},
    };
    for (const auto& row : rows) {
        const auto add = [&] {
            MessageFrameWork::System().AddWorker(&ScriptedItem::make, row.name, L"", true, false,
                                                 row.serialised, row.foldNames);
        };
        if (!row.added) {
            EXPECT_THROW(add(), CORE::coreException) << row.name << row.serialised << row.foldNames;
            continue;
        }
        EXPECT_NO_THROW(add());
        EXPECT_TRUE(MessageFrameWork::System().RemoveWorker(row.name, true));
    }
}

TEST(RemoveWorker, AnswersWhetherThereWasOne) {
    MessageFrameWork& framework = MessageFrameWork::System();
    EXPECT_FALSE(framework.RemoveWorker(L"scripted", false));
    addWorker(L"scripted");
    EXPECT_TRUE(framework.RemoveWorker(L"SCRIPTED", false));
    EXPECT_FALSE(send(L"scripted", L"x").handled);
    EXPECT_FALSE(framework.RemoveWorker(L"System", false)) << "the framework's own worker stays";
}

TEST(RemoveWorker, LeavesOrAwaitsWhatRuns) {
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
        std::thread sender([] { EXPECT_TRUE(send(L"slow", L"x").handled); });
        await(inside);
        std::thread release([&] {  // once the removal has begun
            while (MessageFrameWork::System().IsWorkerInstalled(L"slow", 0)) std::this_thread::yield();
            if (wait) go.set();
        });
        EXPECT_TRUE(MessageFrameWork::System().RemoveWorker(L"slow", wait));
        EXPECT_EQ(answered, wait);
        EXPECT_FALSE(send(L"slow", L"x").handled) << "a removed worker is not found";
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

TEST(SystemWorker, TellsWhetherAWorkerIsInstalled) {
    const ScriptedWorker worker;
    const struct {
        const wchar_t* operation;
        const wchar_t* queue;
        int error;
        const wchar_t* text;
    } rows[] = {
        {L"IsWorkerInstalled", L"scripted", 0, L""},
        {L"isworkerinstalled", L"SCRIPTED", 0, L""},
        {L"IsWorkerInstalled", L"winauth", 1, L"Worker winauth is not installed"},
        {L"IsWorkerInstalled", L"", 1, L"QueueName is missing"},
        {L"Unknown", L"scripted", 120, L""},
    };
    for (const auto& row : rows) {
        const Sent sent = send(L"System", row.operation, workerQuestion(row.queue, -5));  // no time at all
        EXPECT_EQ(sent.handled, row.error == 0) << row.operation << row.queue;
        EXPECT_EQ(sent.response.getError(), row.error) << row.operation << row.queue;
        EXPECT_EQ(sent.response.getErrorText(), row.text);
    }
}

TEST(SystemWorker, WaitsForAWorkerThatComes) {
    std::thread asker(
        [] { EXPECT_TRUE(send(L"System", L"IsWorkerInstalled", workerQuestion(L"late", 60'000)).handled); });
    const ScriptedWorker worker({}, L"late");
    asker.join();
}

TEST(SystemWorker, StopsWaitingWhenTheMessageIsCancelledOrTimesOut) {
    const PropertyBag request = workerQuestion(L"never", std::numeric_limits<int>::max());
    std::atomic<bool> answered{false};
    CORE::ThreadGroup sent(L"sender");
    const auto number = MessageHandler::SendAsyncMsg(L"System", L"IsWorkerInstalled", request,
                                                     [&](CORE::RespType type, PropertyBag& response) {
                                                         EXPECT_NE(type, CORE::RespType::handled);
                                                         EXPECT_EQ(response.getError(), 1);
                                                         answered = true;
                                                     },
                                                     {.callbackOwner = &sent});
    MessageHandler::CancelMsg(number);  // it may have begun or not
    sent.waitForAll();
    EXPECT_TRUE(answered);
    EXPECT_EQ(send(L"System", L"IsWorkerInstalled", request, {.timeoutMs = 1}).response.getErrorText(),
              L"Worker System did not answer operation IsWorkerInstalled within 1 milliseconds");
}

TEST(Channels, AreRefusedWithoutShowingTheTicket) {
    const LogCapture log;
    EXPECT_EQ(MessageFrameWork::System().ConnectChannelByTicket(2, L"s3cret", L"host:4001"), nullptr);
    EXPECT_EQ(log.lines(),
              (std::vector<LogLine>{
                  {CORE::logWarning, L"No channel of kind 2 to host:4001: this host carries none"}}));
    MessageFrameWork::System().CloseChannel(nullptr);
}

TEST(InstRole, IsWhatTheHostSays) {
    EXPECT_EQ(CORE::GetInstRole().GetType(), CORE::InstType::connectionServer);
    MessageFrameWork::System().setInstRole(CORE::InstType::securityServer);
    EXPECT_EQ(CORE::GetInstRole().GetType(), CORE::InstType::securityServer);
    MessageFrameWork::System().setInstRole(CORE::InstType::connectionServer);
}

TEST(OperatingSystem, HasALevelOfAKnownVersion) {
    EXPECT_GE(CORE::coreosver::level(), CORE::coreosver::oldest);
    EXPECT_LE(CORE::coreosver::level(), CORE::coreosver::newest);
}

}  // namespace
