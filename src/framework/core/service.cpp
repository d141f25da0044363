#include "framework/core/service.h"

#include "framework/core/coreexception.h"
#include "framework/core/framework.h"
#include "framework/core/log.h"

namespace CORE {

service::service(bool withStopEvent) : stopEvent_(withStopEvent ? std::make_unique<coreevent>() : nullptr) {}

service::~service() = default;

void service::registerWorker(WorkItem* (*factory)(), std::wstring_view name, std::wstring_view description,
                             bool local, bool remote, bool serialised, bool foldNames, ThreadGroup* owner) {
    name_ = wstr(name);
    try {
        MessageFrameWork::System().AddWorker(factory, name, description, local, remote, serialised, foldNames,
                                             owner);
        registered_ = true;
    } catch (const coreException& e) {
        __SysMessage(logWarning, L"mfwcore", L"Worker %s was not registered: %s", name_, e.text());
    }
}

void service::unregisterWorker() {
    if (registered_.exchange(false)) MessageFrameWork::System().RemoveWorker(name_, false);
}

void service::stop() {
    stopped_ = true;
    if (stopEvent_) stopEvent_->set();
}

serviceOperation::serviceOperation() = default;
serviceOperation::~serviceOperation() = default;

bool serviceOperation::beforeOperation(const wchar_t*, const PropertyBag&) {
    return true;
}

void serviceOperation::afterOperation(const wchar_t*, PropertyBag&) {}

}  // namespace CORE
