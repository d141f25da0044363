// The framework instance of this process: workers by name, and the threads that requests run on.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "framework/core/export.h"
#include "framework/core/message.h"
#include "framework/core/threads.h"

namespace CORE {

using WorkItemFactory = WorkItem* (*)();

enum class InstType { connectionServer, securityServer, replicaServer, transferServer };

class MFWCORE_API InstRole {
  public:
    explicit InstRole(InstType type) noexcept : type_(type) {}
    InstType GetType() const noexcept { return type_; }

  private:
    InstType type_;
};

class MFWCORE_API MessageFrameWork {
  public:
    static MessageFrameWork& System();

    // Registers a worker. The four flags, in order: the worker takes messages of this machine; of remote machines; only
    // one request at a time; names compare without regard to case. `owner` counts the threads that run its code.
    // Throws coreException when the name is taken or empty.
    void AddWorker(WorkItemFactory factory, std::wstring_view name, std::wstring_view description, bool local,
                   bool remote, bool serialised, bool foldNames, ThreadGroup* owner = nullptr);
    // New requests no longer find it. `wait` waits for the running ones. False when there was none.
    bool RemoveWorker(std::wstring_view name, bool wait);
    // Waits up to so many milliseconds for a worker of that name.
    bool IsWorkerInstalled(std::wstring_view name, unsigned timeoutMs);

    // Channels to remote machines: not carried by this host yet, so opening one answers null.
    std::shared_ptr<MessageChannel> ConnectChannelByTicket(std::wstring_view type, std::wstring_view ticket,
                                                           std::wstring_view address);
    void CloseChannel(const std::shared_ptr<MessageChannel>& channel);

    // Requests that wait for a thread or run on one; for tests and for an orderly end.
    int pending() const;
    void drain();  // waits until nothing is pending

    // What the host says of this installation.
    InstRole GetInstRole() const noexcept;
    void setInstRole(InstType type) noexcept;

    MessageFrameWork(const MessageFrameWork&) = delete;
    MessageFrameWork& operator=(const MessageFrameWork&) = delete;

  private:
    friend class MessageHandler;
    friend class WorkItem;
    MessageFrameWork();
    ~MessageFrameWork();
    struct State;
    std::unique_ptr<State> state_;
};

inline InstRole GetInstRole() { return MessageFrameWork::System().GetInstRole(); }

struct coreosver {
    // The generation of the operating system: major * 100 + minor (601: 6.1). Linux counts as the newest.
    MFWCORE_API static int level() noexcept;
};

}  // namespace CORE
