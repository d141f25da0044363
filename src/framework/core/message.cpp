#include "framework/core/message.h"

#include <array>
#include <utility>

#include "framework/core/channel.h"
#include "framework/core/corelock.h"
#include "framework/core/delivery.h"
#include "framework/core/framework_state.h"
#include "framework/core/log.h"

namespace CORE {

MsgBinary::MsgBinary() = default;
MsgBinary::MsgBinary(std::vector<std::uint8_t> bytes) : bytes_(std::move(bytes)) {}
MsgBinary::~MsgBinary() = default;

const wchar_t* respTypeName(RespType type) noexcept {
    static constexpr std::array names{L"handled", L"notHandled", L"noWorker", L"timedOut", L"cancelled"};
    const auto index = static_cast<std::size_t>(type);
    return index < names.size() ? names[index] : L"unknown";
}

namespace {

struct Answer {
    coreevent come;
    RespType type = RespType::notHandled;
    PropertyBag response;
};

}  // namespace

MessageHandler::MessageHandler() = default;
MessageHandler::~MessageHandler() = default;

bool MessageHandler::SendMsg(std::wstring_view worker, std::wstring_view operation,
                             const PropertyBag& request, PropertyBag& response, const SendOptions& options) {
    const auto ended = [&options](RespType type) {
        if (options.type) *options.type = type;
        return type == RespType::handled;
    };
    if (options.channel) return ended(options.channel->send(worker, operation, request, response, options));
    if (options.timeoutMs > 0) {
        // Shared, because the callback may still be returning from set when this thread has woken.
        const auto answer = std::make_shared<Answer>();
        const auto note = [answer](RespType type, PropertyBag& result) {
            answer->type = type;
            answer->response = std::move(result);
            answer->come.set();
        };
        if (SendAsyncMsg(worker, operation, request, note, options) == 0) {
            response.setError(1, L"The framework has no thread for the message");
            return ended(RespType::cancelled);
        }
        answer->come.wait();
        response &= std::move(answer->response);
        return ended(answer->type);
    }
    const auto claim = MessageFrameWork::System().state_->workers.claim(worker);
    if (refuse(claim, worker, options.fromChannel, response)) return ended(RespType::noWorker);
    return ended(deliver(claim, std::wstring(operation), request, response, options.requestBinary,
                         options.responseBinary, options.fromChannel, nullptr));
}

std::uint64_t MessageHandler::SendAsyncMsg(std::wstring_view worker, std::wstring_view operation,
                                           PropertyBag request, ResponseCallback callback,
                                           const SendOptions& options) {
    if (options.channel) return 0;
    return MessageFrameWork::System().state_->messages.send(worker, operation, std::move(request),
                                                            std::move(callback), options);
}

bool MessageHandler::PostMsg(std::wstring_view worker, std::wstring_view operation, PropertyBag request) {
    {
        PropertyBag refusal;
        if (refuse(MessageFrameWork::System().state_->workers.claim(worker), worker, false, refusal))
            return false;
    }
    return SendAsyncMsg(worker, operation, std::move(request), {}) != 0;
}

bool MessageHandler::CancelMsg(std::uint64_t message) {
    return MessageFrameWork::System().state_->messages.cancel(message);
}

WorkItem::WorkItem() = default;
WorkItem::~WorkItem() = default;

bool WorkItem::StateHandler(const PropertyBag&, PropertyBag&) {
    return false;
}

bool WorkItem::VisibilityHandler(const wchar_t*) {
    return true;
}

void WorkItem::AbortHandler() {}

bool WorkItem::EvalItem(const PropertyBag&) {
    return true;
}

int WorkItem::BroadcastMsg(std::wstring_view operation, const PropertyBag& request) {
    int sent = 0;
    for (const std::wstring& worker : MessageFrameWork::System().state_->workers.localNames())
        if (worker != systemWorkerName && PostMsg(worker, operation, request)) ++sent;
    return sent;
}

bool WorkItem::Impersonate() {
    return false;
}

void WorkItem::RevertToSelf() {}

const MsgBinary& WorkItem::requestBinary() const noexcept {
    return requestBinary_ ? *requestBinary_ : unsentBinary_;
}

MsgBinary& WorkItem::responseBinary() noexcept {
    return responseBinary_ ? *responseBinary_ : unsentBinary_;
}

void WorkItem::attach(const MsgBinary* request, MsgBinary* response, bool fromChannel) noexcept {
    requestBinary_ = request;
    responseBinary_ = response;
    fromChannel_ = fromChannel;
}

}  // namespace CORE
