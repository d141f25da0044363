#include "framework/core/async_messages.h"

#include <atomic>
#include <optional>
#include <utility>

#include "framework/core/coreexception.h"
#include "framework/core/delivery.h"
#include "framework/core/log.h"
#include "framework/core/timer_thread.h"

namespace CORE {

struct AsyncMessages::Message {
    // Changes once from `waiting`, by whichever thread comes first: the one that delivers the message,
    // cancels it or times it out.
    enum class Fate { waiting, begun, cancelled, timedOut };

    std::wstring worker;
    std::wstring operation;
    PropertyBag request;
    MsgBinary requestBinary;
    MsgBinary responseBinary;  // the worker's; moved to the sender's unless the message timed out
    MsgBinary* senderBinary = nullptr;
    ThreadGroup::Visit sender;  // released after the callback is destroyed
    ResponseCallback callback;
    unsigned timeoutMs = 0;
    bool fromChannel = false;
    std::optional<asio::steady_timer> timer;
    std::atomic<Fate> fate{Fate::waiting};
    std::atomic<bool> answered{false};
    RunningItem running;

    bool decide(Fate what) noexcept {
        Fate expected = Fate::waiting;
        return fate.compare_exchange_strong(expected, what);
    }
    bool answer(RespType type, PropertyBag& response);
};

// The first answer counts: the worker's, or the timeout's. False for the second one, which is dropped.
bool AsyncMessages::Message::answer(RespType type, PropertyBag& response) {
    if (answered.exchange(true)) return false;
    if (senderBinary && type != RespType::timedOut) senderBinary->bytes().swap(responseBinary.bytes());
    try {
        if (callback) callback(type, response);
    } catch (...) {
        __SysMessage(logError, L"mfwcore", L"Worker %s, operation %s: exception in the sender's callback",
                     worker, operation);
    }
    callback = nullptr;
    sender = ThreadGroup::Visit();
    return true;
}

std::uint64_t AsyncMessages::send(std::wstring_view worker, std::wstring_view operation, PropertyBag request,
                                  ResponseCallback callback, const SendOptions& options) {
    const auto message = std::make_shared<Message>();
    message->worker = worker;
    message->operation = operation;
    message->request = std::move(request);
    if (options.requestBinary) message->requestBinary = *options.requestBinary;
    message->senderBinary = options.responseBinary;
    message->sender = ThreadGroup::Visit(options.callbackOwner);
    message->callback = std::move(callback);
    message->timeoutMs = options.timeoutMs;
    message->fromChannel = options.fromChannel;

    std::lock_guard lock(mutex_);
    const std::uint64_t number = ++lastNumber_;
    messages_.emplace(number, message);
    try {
        if (message->timeoutMs > 0) startTimer(message);
        if (pool_.submit([this, number, message] { run(number, *message); })) return number;
    } catch (const coreException& e) {
        __SysMessage(logError, L"mfwcore", L"Worker %s, operation %s: %s", worker, operation, e.text());
    }
    message->answered = true;  // for an expiry that has begun already
    if (message->timer) message->timer->cancel();
    messages_.erase(number);
    return 0;
}

// The timer thread only starts the expiry on a pool thread, because the sender's callback and the worker's
// AbortHandler may block. Where no thread can be started it frees the sender itself.
void AsyncMessages::startTimer(const std::shared_ptr<Message>& message) {
    TimerThread::System().ensureRunning();
    message->timer.emplace(TimerThread::System().context(), std::chrono::milliseconds(message->timeoutMs));
    message->timer->async_wait([this, message](const asio::error_code& cancelled) {
        if (!cancelled && !pool_.submit([this, message] { expire(*message); })) expire(*message);
    });
}

// The sender is freed first, because AbortHandler may block.
void AsyncMessages::expire(Message& message) {
    const bool begun = !message.decide(Message::Fate::timedOut);
    if (message.fate == Message::Fate::cancelled) return;  // run answers it
    PropertyBag response;
    response.setError(1, formatText(L"Worker %s did not answer operation %s within %u milliseconds",
                                    message.worker, message.operation, message.timeoutMs));
    if (message.answer(RespType::timedOut, response) && begun) abort(message);
}

void AsyncMessages::abort(Message& message) {
    message.running.abort();
    workers_.wake();  // the aborted request may be one that waits for a worker
}

void AsyncMessages::run(std::uint64_t number, Message& message) {
    {
        PropertyBag response;
        const RespType type = attempt(message, response);
        // A message that timed out before it began is answered by its expiry.
        if (message.fate != Message::Fate::timedOut) static_cast<void>(message.answer(type, response));
    }
    std::lock_guard lock(mutex_);
    if (message.timer) message.timer->cancel();
    messages_.erase(number);
}

RespType AsyncMessages::attempt(Message& message, PropertyBag& response) {
    const auto claim = workers_.claim(message.worker);
    if (!message.decide(Message::Fate::begun)) {
        response.setError(1, L"The message was cancelled");
        return RespType::cancelled;
    }
    if (refuse(claim, message.worker, message.fromChannel, response)) return RespType::noWorker;
    return deliver(claim, message.operation, message.request, response, &message.requestBinary,
                   &message.responseBinary, message.fromChannel, &message.running);
}

bool AsyncMessages::cancel(std::uint64_t number) {
    std::unique_lock lock(mutex_);
    const auto found = messages_.find(number);
    if (found == messages_.end()) return false;
    const std::shared_ptr<Message> message = found->second;
    lock.unlock();
    if (message->decide(Message::Fate::cancelled)) return true;
    if (message->fate == Message::Fate::begun) abort(*message);
    return false;
}

}  // namespace CORE
