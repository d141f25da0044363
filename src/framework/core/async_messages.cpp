#include "framework/core/async_messages.h"

#include <utility>

#include "framework/core/delivery.h"
#include "framework/core/log.h"

namespace CORE {

struct AsyncMessages::Message {
    // Leaves `waiting` once; who moves it on decides what becomes of the message.
    enum class Fate { waiting, begun, cancelled, aborted };

    std::wstring worker;
    std::wstring operation;
    PropertyBag request;
    MsgBinary requestBinary;
    MsgBinary* responseBinary = nullptr;
    ThreadGroup::Visit sender;  // goes after the callback
    ResponseCallback callback;
    std::atomic<Fate> fate{Fate::waiting};
    RunningItem running;

    bool decide(Fate what) noexcept {
        Fate expected = Fate::waiting;
        return fate.compare_exchange_strong(expected, what);
    }
    void answer(RespType type, PropertyBag& response);
};

void AsyncMessages::Message::answer(RespType type, PropertyBag& response) {
    try {
        if (callback) callback(type, response);
    } catch (...) {
        __SysMessage(logError, L"mfwcore", L"Worker %s, operation %s: exception in the sender's callback",
                     worker, operation);
    }
    callback = nullptr;
    sender = ThreadGroup::Visit();
}

std::uint64_t AsyncMessages::send(std::wstring_view worker, std::wstring_view operation, PropertyBag request,
                                  ResponseCallback callback, const SendOptions& options) {
    const auto message = std::make_shared<Message>();
    message->worker = worker;
    message->operation = operation;
    message->request = std::move(request);
    if (options.requestBinary) message->requestBinary = *options.requestBinary;
    message->responseBinary = options.responseBinary;
    message->sender = ThreadGroup::Visit(options.callbackOwner);
    message->callback = std::move(callback);

    std::lock_guard lock(mutex_);
    if (closed_) return 0;
    const std::uint64_t number = ++lastNumber_;
    messages_.emplace(number, message);
    if (pool_.submit([this, number, message] { run(number, *message); })) return number;
    messages_.erase(number);
    return 0;
}

void AsyncMessages::run(std::uint64_t number, Message& message) {
    {
        PropertyBag response;
        const RespType type = attempt(message, response);
        message.answer(type, response);
    }
    std::lock_guard lock(mutex_);
    messages_.erase(number);
    gone_.notify_all();
}

RespType AsyncMessages::attempt(Message& message, PropertyBag& response) {
    using Fate = Message::Fate;
    auto claim = workers_.claim(message.worker);
    if (claim) claim.takeTurn([&] { return message.fate != Fate::waiting; });
    if (!message.decide(Fate::begun)) {
        const bool cancelled = message.fate == Fate::cancelled;
        response.setError(1, cancelled ? L"The message was cancelled" : L"The framework was shut down");
        return cancelled ? RespType::cancelled : RespType::aborted;
    }
    if (refuse(claim, message.worker, response)) return RespType::noWorker;
    return deliver(claim, message.operation, message.request, response, &message.requestBinary,
                   message.responseBinary, &message.running);
}

bool AsyncMessages::cancel(std::uint64_t number) {
    std::unique_lock lock(mutex_);
    const auto found = messages_.find(number);
    if (found == messages_.end()) return false;
    const std::shared_ptr<Message> message = found->second;
    lock.unlock();
    if (message->decide(Message::Fate::cancelled)) {
        workers_.wake();
        return true;
    }
    if (message->fate == Message::Fate::begun) message->running.abort();
    workers_.wake();  // the aborted request may be one that waits for a worker
    return false;
}

int AsyncMessages::pending() const {
    std::lock_guard lock(mutex_);
    return static_cast<int>(messages_.size());
}

void AsyncMessages::drain() {
    std::unique_lock lock(mutex_);
    gone_.wait(lock, [&] { return messages_.empty(); });
}

void AsyncMessages::close() {
    {
        std::lock_guard lock(mutex_);
        closed_ = true;
        for (const auto& [number, message] : messages_) message->decide(Message::Fate::aborted);
    }
    workers_.wake();
    drain();
}

void AsyncMessages::open() {
    std::lock_guard lock(mutex_);
    closed_ = false;
}

}  // namespace CORE
