#include "framework/core/framework.h"

#include <utility>

#include "framework/core/coreexception.h"
#include "framework/core/corestring.h"
#include "framework/core/framework_state.h"
#include "framework/core/log.h"
#include "framework/core/system.h"

namespace CORE {

// Never destroyed, because threads may still use it during process exit.
MessageFrameWork& MessageFrameWork::System() {
    static auto* const instance = new MessageFrameWork;
    return *instance;
}

MessageFrameWork::MessageFrameWork() : state_(std::make_unique<State>()) {
    AddWorker(&makeSystemWorker, systemWorkerName, L"Message framework", true, true, false, true);
}

MessageFrameWork::~MessageFrameWork() = default;

void MessageFrameWork::AddWorker(WorkItemFactory factory, std::wstring_view name, std::wstring_view,
                                 bool local, bool remote, bool serialised, bool foldNames,
                                 ThreadGroup* owner) {
    if (serialised || !foldNames)
        throw coreException(L"Worker " + std::wstring(name) +
                            L" asks for turns or for case-sensitive names, which there are not");
    state_->workers.add({factory, std::wstring(name), local, remote, owner});
}

bool MessageFrameWork::RemoveWorker(std::wstring_view name, bool wait) {
    if (equalFolded(name, systemWorkerName)) return false;
    return state_->workers.remove(name, wait);
}

bool MessageFrameWork::IsWorkerInstalled(std::wstring_view name, unsigned timeoutMs,
                                         const std::function<bool()>& givenUp) {
    return state_->workers.waitFor(name, std::chrono::milliseconds(timeoutMs), givenUp);
}

std::shared_ptr<MessageChannel> MessageFrameWork::ConnectChannelByTicket(int kind, std::wstring_view ticket,
                                                                         std::wstring_view address,
                                                                         const coreevent* stop) {
    const auto carrier = state_->channels.carrier();
    if (kind != channelByTicket || !carrier) {
        __SysMessage(logWarning, L"mfwcore", L"No channel of kind %d to %s: this host carries none", kind,
                     address);
        return nullptr;
    }
    auto channel = carrier->connect(ticket, address, stop);
    if (channel) state_->channels.add(channel);
    return channel;
}

void MessageFrameWork::OpenChannel(const std::shared_ptr<MessageChannel>& channel) {
    state_->channels.add(channel);
}

void MessageFrameWork::CloseChannel(const std::shared_ptr<MessageChannel>& channel) {
    if (!channel) return;
    state_->channels.remove(channel);
    channel->close();
}

std::shared_ptr<MessageChannel> MessageFrameWork::FindChannel(std::uint64_t handle) const {
    return state_->channels.find(handle);
}

std::size_t MessageFrameWork::OpenChannels() const {
    return state_->channels.size();
}

void MessageFrameWork::SetCarrier(std::shared_ptr<ChannelCarrier> carrier) {
    state_->channels.setCarrier(std::move(carrier));
}

InstRole MessageFrameWork::GetInstRole() const noexcept {
    return InstRole(state_->role);
}

void MessageFrameWork::setInstRole(std::uint32_t type) noexcept {
    state_->role = type;
}

int coreosver::level() noexcept {
    return sys::osLevel();
}

}  // namespace CORE
