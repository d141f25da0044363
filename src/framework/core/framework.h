// The framework instance of this process: workers by name, and the threads that requests run on. A process
// may end while such threads still run.
#pragma once

#include <algorithm>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "framework/core/export.h"
#include "framework/core/message.h"
#include "framework/core/threads.h"

namespace CORE {

using WorkItemFactory = WorkItem* (*)();

// What an installation is, as bits. One with neither is no server.
namespace InstType {
inline constexpr std::uint32_t connectionServer = 1, securityServer = 2;
}

class MFWCORE_API InstRole {
  public:
    explicit InstRole(std::uint32_t type) noexcept : type_(type) {}
    std::uint32_t GetType() const noexcept { return type_; }  // bits of InstType

  private:
    std::uint32_t type_;
};

class MFWCORE_API MessageFrameWork {
  public:
    static MessageFrameWork& System();

    // Registers a worker; the description is for people. Of the four flags, in order: the worker takes
    // messages of this machine; of remote machines; the last two must be false and true, because a worker's
    // requests always run at the same time and names always compare without regard to case. `owner` counts
    // the threads that run its code, from the look-up of the name until the WorkItem is gone. A factory that
    // answers null refuses as if the worker were gone. Throws coreException when the name is taken or empty,
    // or a flag is not one of these.
    void AddWorker(WorkItemFactory factory, std::wstring_view name, std::wstring_view description, bool local,
                   bool remote, bool serialised, bool foldNames, ThreadGroup* owner = nullptr);
    // New requests no longer find it, those that run go on. `wait` waits for them, and must not be asked for
    // from inside one of them. False when there was none. The framework's own worker "System" stays.
    bool RemoveWorker(std::wstring_view name, bool wait);
    // Waits up to so many milliseconds for a worker of that name; the cancelling of any message ends the wait
    // once `givenUp` says so.
    bool IsWorkerInstalled(std::wstring_view name, unsigned timeoutMs,
                           const std::function<bool()>& givenUp = {});

    // Channels to remote machines: not carried by this host yet, so opening one answers null.
    std::shared_ptr<MessageChannel> ConnectChannelByTicket(std::wstring_view type, std::wstring_view ticket,
                                                           std::wstring_view address);
    void CloseChannel(const std::shared_ptr<MessageChannel>& channel);

    // What the host says of this installation, a connection server until it does.
    InstRole GetInstRole() const noexcept;
    void setInstRole(std::uint32_t type) noexcept;

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

inline InstRole GetInstRole() {
    return MessageFrameWork::System().GetInstRole();
}

struct coreosver {
    static constexpr int oldest = 1, newest = 10;
    // The generation of the operating system, 0 where it cannot be found out. Linux counts as the newest.
    //   1  older than Windows 2000
    //   2  2000 (version 5.0)
    //   3  XP (5.1)
    //   4  Server 2003 (5.2)
    //   5  Vista, Server 2008 (6.0): the first with the filtering engine and "netsh advfirewall"
    //   7  7, Server 2008 R2 (6.1)
    //   8  8, Server 2012 (6.2)
    //   9  8.1, Server 2012 R2 (6.3)
    //  10  10, 11, Server 2016 (10.0) and later
    MFWCORE_API static int level() noexcept;
    // The level of a version of Windows.
    static constexpr int levelOf(unsigned major, unsigned minor) noexcept {
        if (major >= 10) return newest;
        if (major > 6) return 9;
        if (major == 6) return minor == 0 ? 5 : std::min(6 + static_cast<int>(minor), 9);
        return major == 5 ? std::min(2 + static_cast<int>(minor), 4) : oldest;
    }
};

}  // namespace CORE
