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
    // 0: no limit. A message that has not been answered by then is answered as timed out: when it has not
    // begun it is not delivered, otherwise its WorkItem is told by AbortHandler and what it answers later is
    // dropped.
    unsigned timeoutMs = 0;
    MessageChannel* channel = nullptr;         // null: this machine
    const MsgBinary* requestBinary = nullptr;  // copied by an asynchronous message
    MsgBinary* responseBinary = nullptr;       // stays the sender's: until the callback, when asynchronous
    // Asynchronous messages: the module whose code the callback is; it counts the message until the callback
    // has gone.
    ThreadGroup* callbackOwner = nullptr;
};

using ResponseCallback = std::function<void(RespType type, PropertyBag& response)>;

// The sending side. Failures of the framework itself (no such worker, a time-out, an exception) are error 1
// of the response bag with a sentence. Any thread may send.
class MFWCORE_API MessageHandler : public coreref {
  public:
    MessageHandler();
    ~MessageHandler() override;

    // Waits for the answer; true when the worker handled the request. A local worker runs on the sender's own
    // thread; with a time-out it runs on a framework thread, so under the identity of the process.
    static bool SendMsg(std::wstring_view worker, std::wstring_view operation, const PropertyBag& request,
                        PropertyBag& response, const SendOptions& options = {});
    // Runs on a framework thread; the callback comes once, on such a thread, whatever happens to the message.
    // The number identifies the message. 0: no thread can be had, and no callback comes.
    static std::uint64_t SendAsyncMsg(std::wstring_view worker, std::wstring_view operation,
                                      PropertyBag request, ResponseCallback callback,
                                      const SendOptions& options = {});
    // Fire and forget; false when there is no such worker.
    static bool PostMsg(std::wstring_view worker, std::wstring_view operation, PropertyBag request);
    // A message that has not begun is not delivered, and its callback gets `cancelled`. False when it has
    // begun (its WorkItem is told by AbortHandler) or is no more.
    static bool CancelMsg(std::uint64_t message);
    static const wchar_t* respTypeName(RespType type) noexcept { return CORE::respTypeName(type); }
};

// A worker's object for one request: made by the worker's factory, used once, released by the framework.
class MFWCORE_API WorkItem : public MessageHandler {
  public:
    WorkItem();
    ~WorkItem() override;

    // Answers a request: the operation's name, the caller's bag, the bag that goes back. True: handled. What
    // it throws is logged by the framework and becomes error 1 of the response.
    virtual bool MessageHandler(const wchar_t* operation, const PropertyBag& request,
                                PropertyBag& response) = 0;
    virtual bool StateHandler(const PropertyBag& request, PropertyBag& response);  // base: false
    virtual bool VisibilityHandler(const wchar_t* operation);  // may it be called? base: true
    virtual void AbortHandler();  // from another thread: the sender gave up; base: nothing
    virtual bool EvalItem(const PropertyBag& conditions);  // base: true
    // Posts to all installed workers of this machine; says to how many.
    virtual int BroadcastMsg(std::wstring_view operation, const PropertyBag& request);

    // Run as the requesting user, and as oneself again. False when the request came without a user's
    // identity, as all messages of this machine do.
    bool Impersonate();
    void RevertToSelf();

    // The attachments of the message, good while MessageHandler runs; empty when there is none.
    const MsgBinary& requestBinary() const noexcept;
    MsgBinary& responseBinary() noexcept;

    // For the framework, before it calls MessageHandler; null stands for none.
    void attach(const MsgBinary* request, MsgBinary* response) noexcept;

  private:
    const MsgBinary* requestBinary_ = nullptr;
    MsgBinary* responseBinary_ = nullptr;
    MsgBinary unsentBinary_;
};

}  // namespace CORE
