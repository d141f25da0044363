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

std::shared_ptr<MessageChannel> MessageFrameWork::ConnectChannelByTicket(std::wstring_view type,
                                                                         std::wstring_view,
                                                                         std::wstring_view address) {
    __SysMessage(logWarning, L"mfwcore", L"No channel of type %s to %s: this host carries no channels", type,
                 address);
    return nullptr;
}

void MessageFrameWork::CloseChannel(const std::shared_ptr<MessageChannel>&) {}

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
