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

class ChannelCarrier;
class coreevent;
// The framework's own worker.
inline constexpr std::wstring_view systemWorkerName = L"System";

using WorkItemFactory = WorkItem* (*)();

// The role of an installation as bit flags. Both clear is invalid.
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

    // Registers a worker; the description is for people. `local` and `remote`: whether it takes messages of
    // this machine and of remote ones. `serialised` must be false and `foldNames` true: requests of one
    // worker always run concurrently, and names are always compared without regard to case. `owner` counts
    // the threads that run the worker's code, from the lookup of the name until the WorkItem is destroyed. A
    // factory that returns null makes the worker look uninstalled. Throws coreException when the name is
    // taken or empty, or for other flags.
    void AddWorker(WorkItemFactory factory, std::wstring_view name, std::wstring_view description, bool local,
                   bool remote, bool serialised, bool foldNames, ThreadGroup* owner = nullptr);
    // New requests no longer find the worker; running requests continue. With `wait` the call returns when
    // they have ended, and is a deadlock from inside one of them. False when there is no such worker. The
    // framework's own worker "System" cannot be removed.
    bool RemoveWorker(std::wstring_view name, bool wait);
    // Waits up to the timeout for a worker of that name. `givenUp` is asked again whenever a message is
    // cancelled or times out; true ends the wait early.
    bool IsWorkerInstalled(std::wstring_view name, unsigned timeoutMs,
                           const std::function<bool()>& givenUp = {});

    // Channels to remote machines. Opens one over the host's carrier; null, which is logged, for a kind other
    // than channelByTicket, without a carrier, and where the carrier has none. Setting `stop` ends the wait.
    std::shared_ptr<MessageChannel> ConnectChannelByTicket(int kind, std::wstring_view ticket,
                                                           std::wstring_view address,
                                                           const coreevent* stop = nullptr);
    // Enters a channel that was made elsewhere among the open ones and gives it its handle.
    void OpenChannel(const std::shared_ptr<MessageChannel>& channel);
    void CloseChannel(const std::shared_ptr<MessageChannel>& channel);  // null: nothing
    // Null when no channel is open under that handle.
    std::shared_ptr<MessageChannel> FindChannel(std::uint64_t handle) const;
    std::size_t OpenChannels() const;
    void SetCarrier(std::shared_ptr<ChannelCarrier> carrier);  // the host's; null takes it away

    // The role of this installation, set by the host; a connection server by default.
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
    // The generation of the operating system, 0 where it is unknown. Linux counts as the newest.
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
