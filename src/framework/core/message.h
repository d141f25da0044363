// Messages and the objects that answer them.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "framework/core/coreref.h"
#include "framework/core/export.h"
#include "framework/core/property_bag.h"
#include "framework/core/threads.h"

namespace CORE {

// A binary attachment of a message.
class MFWCORE_API MsgBinary {
  public:
    MsgBinary();
    explicit MsgBinary(std::vector<std::uint8_t> bytes);
    ~MsgBinary();
    const std::vector<std::uint8_t>& bytes() const noexcept { return bytes_; }
    std::vector<std::uint8_t>& bytes() noexcept { return bytes_; }
    bool empty() const noexcept { return bytes_.empty(); }

  private:
    std::vector<std::uint8_t> bytes_;
};

// A connection with a remote machine's framework.
class MessageChannel;

// How a message ended.
enum class RespType { handled, notHandled, noWorker, timedOut, cancelled };
MFWCORE_API const wchar_t* respTypeName(RespType type) noexcept;

// How a message is sent; everything has a default.
struct SendOptions {
    // 0: no timeout. When it expires the sender gets `timedOut` and error 1. A message that has not begun is
    // then not delivered; a running WorkItem is told by AbortHandler, and its late answer is dropped.
    unsigned timeoutMs = 0;
    MessageChannel* channel = nullptr;  // null: this machine; asynchronous messages take none
    bool fromChannel = false;  // sent for a remote machine: only a worker that takes such messages gets it
    const MsgBinary* requestBinary = nullptr;  // copied by an asynchronous message
    MsgBinary* responseBinary = nullptr;       // stays the sender's: until the callback, when asynchronous
    RespType* type = nullptr;                  // SendMsg: is set to how the message ended
    // Asynchronous messages: the module that the callback belongs to. It counts the message until the
    // callback has been destroyed, so that the module stays loaded.
    ThreadGroup* callbackOwner = nullptr;
};

using ResponseCallback = std::function<void(RespType type, PropertyBag& response)>;

// The sending side. Failures of the framework itself (no such worker, a timeout, an exception) are error 1 of
// the response bag with a sentence. Thread safe.
class MFWCORE_API MessageHandler : public coreref {
  public:
    MessageHandler();
    ~MessageHandler() override;

    // Waits for the answer; true when the worker handled the request. The worker runs on the sender's thread;
    // with a timeout it runs on a pool thread, so under the identity of the process.
    static bool SendMsg(std::wstring_view worker, std::wstring_view operation, const PropertyBag& request,
                        PropertyBag& response, const SendOptions& options = {});
    // The worker and the callback run on pool threads. The callback is called exactly once, whatever becomes
    // of the message. Returns the message's number; 0 when no thread could be started, and then the callback
    // is not called.
    static std::uint64_t SendAsyncMsg(std::wstring_view worker, std::wstring_view operation,
                                      PropertyBag request, ResponseCallback callback,
                                      const SendOptions& options = {});
    // Fire and forget; false when there is no such worker.
    static bool PostMsg(std::wstring_view worker, std::wstring_view operation, PropertyBag request);
    // A message that has not begun is not delivered, and its callback gets `cancelled`. False when it has
    // begun (its WorkItem is told by AbortHandler), has timed out or has been answered.
    static bool CancelMsg(std::uint64_t message);
    static const wchar_t* respTypeName(RespType type) noexcept { return CORE::respTypeName(type); }
};

// The object of one request: created by the worker's factory, used once, released by the framework.
class MFWCORE_API WorkItem : public MessageHandler {
  public:
    WorkItem();
    ~WorkItem() override;

    // Answers a request; true when the operation was handled. An exception is logged by the framework and
    // becomes error 1 of the response.
    virtual bool MessageHandler(const wchar_t* operation, const PropertyBag& request,
                                PropertyBag& response) = 0;
    virtual bool StateHandler(const PropertyBag& request, PropertyBag& response);  // base: false
    virtual bool VisibilityHandler(const wchar_t* operation);  // may it be called? base: true
    virtual void AbortHandler();  // called on another thread when the sender gives up; base: nothing
    virtual bool EvalItem(const PropertyBag& conditions);  // base: true
    // Posts to all installed workers of this machine; says to how many.
    virtual int BroadcastMsg(std::wstring_view operation, const PropertyBag& request);

    // Impersonate the requesting user, and end that. False when the request carries no user's identity, as
    // messages of this machine never do.
    bool Impersonate();
    void RevertToSelf();

    // The message's attachments, valid while MessageHandler runs; empty when there is none.
    const MsgBinary& requestBinary() const noexcept;
    MsgBinary& responseBinary() noexcept;

    // Whether a remote machine sent the message over a channel.
    bool fromChannel() const noexcept { return fromChannel_; }

    // For the framework, before it calls MessageHandler; null stands for none.
    void attach(const MsgBinary* request, MsgBinary* response, bool fromChannel = false) noexcept;

  private:
    const MsgBinary* requestBinary_ = nullptr;
    MsgBinary* responseBinary_ = nullptr;
    MsgBinary unsentBinary_;
    bool fromChannel_ = false;
};

}  // namespace CORE
