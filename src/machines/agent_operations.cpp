#include "machines/agent_operations.h"

#include <optional>
#include <utility>

#include "framework/core/framework.h"
#include "machines/agent_keys.h"
#include "machines/file_system.h"

namespace wsadmin {

using CORE::PropertyBag;

namespace {

constexpr wchar_t desktopManager[] = L"DesktopManager";

// Without a time limit: an agent takes minutes for a bundle. The end of the channel ends the wait.
PropertyBag replyOf(CORE::MessageChannel& channel, const wchar_t* operation, const PropertyBag& request) {
    PropertyBag reply;
    CORE::MessageHandler::SendMsg(desktopManager, operation, request, reply, {.channel = &channel});
    return reply;
}

}  // namespace

// The channel that a request names, open until the end of the scope or until the request has to end.
class RemoteAgent::Channel {
  public:
    Channel(ServiceContext& service, const Request& request)
        : Channel(service, request, service.stopping()) {}
    Channel(ServiceContext& service, const Request& request, const CORE::coreevent& end) {
        const auto& agents = service.platform().agents;
        struct Wiped {
            CORE::wstr text;
            ~Wiped() { text.clearAndWipe(); }
        } const ticket{request.text(key::agentTicket)};
        if (agents) channel_ = agents->open(ticket.text, request.text(key::agentHost), end);
        if (channel_) whenStopping_.emplace(end, [this] { channel_->close(); });
    }
    ~Channel() { CORE::MessageFrameWork::System().CloseChannel(channel_); }
    Channel(const Channel&) = delete;
    Channel& operator=(const Channel&) = delete;

    explicit operator bool() const noexcept { return channel_ != nullptr; }
    CORE::MessageChannel& operator*() const noexcept { return *channel_; }

    static auto missing() { return fail(L"Cannot obtain channel for remote access"); }

  private:
    std::shared_ptr<CORE::MessageChannel> channel_;
    std::optional<CORE::eventcallback> whenStopping_;
};

Result<void> RemoteAgent::ask(const wchar_t* operation, const PropertyBag& request) {
    const Channel channel(service(), this->request());
    if (!channel) return Channel::missing();
    result() = replyOf(*channel, operation, request);
    return {};
}

Result<void> RemoteAgent::getVersion() {
    return ask(L"GetAgentVersion");
}

Result<void> RemoteAgent::getLogLevel() {
    return ask(L"GetAgentLogLevel");
}

Result<void> RemoteAgent::setLogLevel() {
    PropertyBag level;
    level.set(key::agentLogLevel.name, request().text(key::agentLogLevel));
    return ask(L"SetAgentLogLevel", level);
}

Result<void> RemoteAgent::getLogs() {
    const Channel channel(service(), request());
    if (!channel) return Channel::missing();
    if (auto logs = FileSystem(&*channel).getLogFiles()) result() = std::move(*logs);
    return {};
}

Result<void> RemoteAgent::copyFile(const Channel& from, std::wstring_view remoteFile) {
    const CORE::wstr localFile = request().text(key::localFile);
    if (FileSystem().copyFromRemoteFile(*from, remoteFile, localFile)) return {};
    return fail(L"Could not create the file " + localFile.str());
}

Result<void> RemoteAgent::copyLog() {
    const Channel channel(service(), request());
    if (!channel) return Channel::missing();
    const CORE::wstr name = request().text(key::agentLog);
    const auto logs = FileSystem(&*channel).getLogFiles();
    const CORE::wstr path = logs ? logs->get(name) : CORE::wstr();
    if (path.empty()) return fail(L"Could not find " + name.str() + L" in the list of available logs");
    return copyFile(channel, path);
}

// A request that has to end has closed its channel; the bundle would stay on the agent.
bool RemoteAgent::deleteAfterEnd(std::wstring_view bundle) {
    constexpr unsigned limitMs = 5'000;
    const CORE::coreevent never;
    if (!service().stopping().isSet()) return false;
    const Channel channel(service(), request(), never);
    return channel && FileSystem(&*channel, limitMs).deleteFile(bundle);
}

Result<void> RemoteAgent::createBundle() {
    const Channel channel(service(), request());
    if (!channel) return Channel::missing();
    PropertyBag reply = replyOf(*channel, L"CreateAgentDCT", {});
    if (reply.getError() != 0) {
        result() = std::move(reply);
        return {};
    }
    const CORE::wstr bundle = reply.get(L"FileName");
    if (bundle.empty()) return fail(L"Could not locate filename for DCT bundle");
    auto copied = copyFile(channel, bundle);
    if (!FileSystem(&*channel).deleteFile(bundle) && !deleteAfterEnd(bundle))
        return fail(L"Could not delete DCT bundle on remote machine (please delete manually)");
    return copied;
}

}  // namespace wsadmin
