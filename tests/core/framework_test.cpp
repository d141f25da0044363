// Registration, look-up and synchronous messages.
#include "framework/core/framework.h"

#include <gtest/gtest.h>

#include <atomic>
#include <limits>
#include <stdexcept>
#include <thread>

#include "core/scripted_worker.h"
#include "framework/core/coreexception.h"
#include "support/log_capture.h"

namespace {

using namespace wstest;
using CORE::MessageFrameWork;
using CORE::MessageHandler;
using CORE::PropertyBag;

struct Sent {
    bool handled = false;
    PropertyBag response;
};

Sent send(std::wstring_view worker, std::wstring_view operation, const PropertyBag& request = {}) {
    Sent sent;
    sent.handled = MessageHandler::SendMsg(worker, operation, request, sent.response);
    return sent;
}

TEST(SendMsg, AnswersOnTheSendersThread) {
    std::thread::id ranOn;
    const ScriptedWorker worker(
        [&](auto&, const std::wstring& operation, const PropertyBag& request, auto& response) {
            ranOn = std::this_thread::get_id();
            response.set(L"echo", request.get(L"text").str() + L"/" + operation);
            return operation != L"refused";
        });
    PropertyBag request;
    request.set(L"text", std::wstring_view(L"hello"));

    const Sent sent = send(L"scripted", L"greet", request);
    EXPECT_TRUE(sent.handled);
    EXPECT_EQ(sent.response.get(L"echo"), L"hello/greet");
    EXPECT_EQ(ranOn, std::this_thread::get_id());

    const Sent refused = send(L"scripted", L"refused", request);
    EXPECT_FALSE(refused.handled);
    EXPECT_EQ(refused.response.getError(), 0) << "not handled is no error of the framework's";
}

TEST(SendMsg, SaysWhyNobodyAnswers) {
    const ScriptedWorker folded({}, {}, nullptr, L"Folded");
    const ScriptedWorker deaf({}, {.local = false, .remote = true}, nullptr, L"Deaf");
    const struct {
        const wchar_t* worker;
        const wchar_t* operation;
        const wchar_t* error;
    } rows[] = {
        {L"Folded", L"x", L""},
        {L"fOLDED", L"x", L""},
        {L"Folded ", L"x", L"Worker Folded  is not installed"},
        {L"", L"x", L"Worker  is not installed"},
        {L"Deaf", L"x", L"Worker Deaf takes no messages of this machine"},
        {L"Folded", L"hidden", L"Operation hidden is not available"},
    };
    for (const auto& row : rows) {
        const Sent sent = send(row.worker, row.operation);
        const bool fine = *row.error == 0;
        EXPECT_EQ(sent.handled, fine) << row.worker;
        EXPECT_EQ(sent.response.getError(), fine ? 0 : 1) << row.worker;
        EXPECT_EQ(sent.response.getErrorText(), row.error) << row.worker;
    }
}

TEST(SendMsg, TurnsExceptionsIntoErrors) {
    const ScriptedWorker worker([](auto&, const std::wstring& operation, auto&, auto&) -> bool {
        if (operation == L"framework") throw CORE::coreException(L"broken promise");
        if (operation == L"standard") throw std::runtime_error("out of range");
        throw 42;
    });
    const struct {
        const wchar_t* operation;
        const wchar_t* error;
    } rows[] = {
        {L"framework", L"broken promise"},
        {L"standard", L"Unexpected exception: out of range"},
        {L"other", L"Unexpected exception"},
    };
    for (const auto& row : rows) {
        const LogCapture log;
        const Sent sent = send(L"scripted", row.operation);
        EXPECT_FALSE(sent.handled);
        EXPECT_EQ(sent.response.getError(), 1);
        EXPECT_EQ(sent.response.getErrorText(), row.error);
        EXPECT_TRUE(log.contains(CORE::logError, std::wstring(L"Worker scripted, operation ") +
                                                     row.operation + L": " + row.error));
        EXPECT_EQ(ScriptedItem::alive, 0) << "an exception must not leak the object";
    }
}

TEST(SendMsg, TakesAFactoryWithoutObjectForAnAbsentWorker) {
    MessageFrameWork::System().AddWorker(&ScriptedItem::makeNone, L"none", L"", true, false, false, true);
    const Sent sent = send(L"none", L"x");
    MessageFrameWork::System().RemoveWorker(L"none", true);
    EXPECT_FALSE(sent.handled);
    EXPECT_EQ(sent.response.getErrorText(), L"Worker none is not installed");
}

TEST(SendMsg, CarriesAttachments) {
    const ScriptedWorker worker([](ScriptedItem& item, auto&, auto&, auto&) {
        auto bytes = item.requestBinary().bytes();
        bytes.push_back(9);
        item.responseBinary() = CORE::MsgBinary(bytes);
        return true;
    });
    const CORE::MsgBinary question({1, 2});
    CORE::MsgBinary answer;
    PropertyBag response;
    EXPECT_TRUE(MessageHandler::SendMsg(L"scripted", L"x", {}, response,
                                        {.requestBinary = &question, .responseBinary = &answer}));
    EXPECT_EQ(answer.bytes(), (std::vector<std::uint8_t>{1, 2, 9}));
    EXPECT_TRUE(send(L"scripted", L"x").handled) << "attachments are optional";
}

TEST(AddWorker, RefusesWhatItCannotKeepApartOrDoesNotHave) {
    const ScriptedWorker first({}, {}, nullptr, L"Name");
    const struct {
        const wchar_t* name;
        bool serialised;
        bool foldNames;
        bool refused;
    } rows[] = {
        {L"Other", false, true, false}, {L"Name", false, true, true},   {L"NAME", false, true, true},
        {L"", false, true, true},       {L"system", false, true, true}, {L"Other", true, true, true},
        {L"Other", false, false, true},
    };
    for (const auto& row : rows) {
        bool refused = false;
        try {
            MessageFrameWork::System().AddWorker(&ScriptedItem::make, row.name, L"", true, false,
                                                 row.serialised, row.foldNames);
            EXPECT_TRUE(MessageFrameWork::System().RemoveWorker(row.name, true));
        } catch (const CORE::coreException& e) {
            refused = true;
            EXPECT_FALSE(e.text().empty());
        }
        EXPECT_EQ(refused, row.refused) << row.name << row.serialised << row.foldNames;
    }
}

TEST(RemoveWorker, AnswersWhetherThereWasOne) {
    MessageFrameWork& framework = MessageFrameWork::System();
    EXPECT_FALSE(framework.RemoveWorker(L"scripted", false));
    framework.AddWorker(&ScriptedItem::make, L"scripted", L"", true, false, false, true);
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
        MessageFrameWork& framework = MessageFrameWork::System();
        framework.AddWorker(&ScriptedItem::make, L"slow", L"", true, false, false, true);
        std::thread sender([] { EXPECT_TRUE(send(L"slow", L"x").handled); });
        await(inside);
        if (wait) {
            std::thread release([&] {
                while (framework.IsWorkerInstalled(L"slow", 0)) std::this_thread::yield();
                go.set();  // the removal has begun
            });
            EXPECT_TRUE(framework.RemoveWorker(L"slow", true));
            EXPECT_TRUE(answered) << "the running request was to be waited for";
            release.join();
        } else {
            EXPECT_TRUE(framework.RemoveWorker(L"slow", false));
            EXPECT_FALSE(send(L"slow", L"x").handled) << "a removed worker is not found";
            go.set();
        }
        sender.join();
        ScriptedItem::script = {};
    }
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
        PropertyBag request;
        request.set(L"QueueName", std::wstring_view(row.queue));
        request.setInt(L"Timeout", -5);  // no time at all
        const Sent sent = send(L"System", row.operation, request);
        EXPECT_EQ(sent.handled, row.error == 0) << row.operation << row.queue;
        EXPECT_EQ(sent.response.getError(), row.error) << row.operation << row.queue;
        EXPECT_EQ(sent.response.getErrorText(), row.text);
    }
}

TEST(SystemWorker, WaitsForAWorkerThatComes) {
    PropertyBag request;
    request.set(L"QueueName", std::wstring_view(L"late"));
    request.setInt(L"Timeout", 60'000);
    std::thread asker([&] { EXPECT_TRUE(send(L"System", L"IsWorkerInstalled", request).handled); });
    const ScriptedWorker worker({}, {}, nullptr, L"late");
    asker.join();
}

TEST(SystemWorker, WaitsNoLongerWhenTheMessageIsCancelledOrItsTimeIsUp) {
    PropertyBag request;
    request.set(L"QueueName", std::wstring_view(L"never"));
    request.setInt(L"Timeout", std::numeric_limits<int>::max());
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

    PropertyBag response;
    EXPECT_FALSE(
        MessageHandler::SendMsg(L"System", L"IsWorkerInstalled", request, response, {.timeoutMs = 1}));
    EXPECT_EQ(response.getError(), 1);
}

TEST(Channels, AreRefusedWithoutShowingTheTicket) {
    const LogCapture log;
    EXPECT_EQ(MessageFrameWork::System().ConnectChannelByTicket(L"agent", L"s3cret", L"host:4001"), nullptr);
    ASSERT_EQ(log.lines().size(), 1u);
    EXPECT_EQ(log.lines()[0].level, CORE::logWarning);
    EXPECT_EQ(log.lines()[0].text, L"No channel of type agent to host:4001: this host carries no channels");
    MessageFrameWork::System().CloseChannel(nullptr);
}

TEST(InstRole, IsWhatTheHostSays) {
    MessageFrameWork& framework = MessageFrameWork::System();
    EXPECT_EQ(CORE::GetInstRole().GetType(), CORE::InstType::connectionServer);
    framework.setInstRole(CORE::InstType::securityServer);
    EXPECT_EQ(CORE::GetInstRole().GetType(), CORE::InstType::securityServer);
    framework.setInstRole(CORE::InstType::connectionServer);
}

TEST(OperatingSystem, HasALevelForEveryVersion) {
    const struct {
        unsigned major, minor;
        int level;
    } rows[] = {{4, 0, 1}, {5, 0, 2}, {5, 1, 3}, {5, 2, 4}, {6, 0, 5},   {6, 1, 7},
                {6, 2, 8}, {6, 3, 9}, {6, 4, 9}, {7, 0, 9}, {10, 0, 10}, {11, 0, 10}};
    for (const auto& row : rows)
        EXPECT_EQ(CORE::coreosver::levelOf(row.major, row.minor), row.level) << row.major << '.' << row.minor;
    EXPECT_GE(CORE::coreosver::level(), CORE::coreosver::oldest);
    EXPECT_LE(CORE::coreosver::level(), CORE::coreosver::newest);
}

}  // namespace
