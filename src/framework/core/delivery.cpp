#include "framework/core/delivery.h"

#include "framework/core/coreexception.h"
#include "framework/core/corestring.h"
#include "framework/core/log.h"

namespace CORE {

bool RunningItem::set(WorkItem* item, const WorkerRegistry::Claim* claim) {
    std::lock_guard lock(mutex_);
    item_ = item;
    claim_ = claim;
    return aborted_;
}

void RunningItem::abort() {
    std::unique_lock lock(mutex_);
    aborted_ = true;
    if (!item_) return;
    const WorkerRegistry::Claim claim =
        claim_->again();  // outlives `item`, whose release may delete the object
    const auto item = refptr<WorkItem>::share(item_);
    lock.unlock();
    try {
        item->AbortHandler();
    } catch (...) {
        __SysMessage(logError, L"mfwcore", L"Worker %s: exception in AbortHandler",
                     claim.registration().name);
    }
}

namespace {

// Enters the object in the RunningItem for a scope.
class Findable {
  public:
    Findable(RunningItem* place, WorkItem* item, const WorkerRegistry::Claim* claim)
        : place_(place), aborted_(place && place->set(item, claim)) {}
    ~Findable() {
        if (place_) static_cast<void>(place_->set(nullptr, nullptr));
    }
    Findable(const Findable&) = delete;
    Findable& operator=(const Findable&) = delete;
    bool aborted() const noexcept { return aborted_; }  // before the object was entered

  private:
    RunningItem* place_;
    bool aborted_;
};

void reportException(const WorkerRegistry::Claim& claim, std::wstring_view operation, PropertyBag& response,
                     const std::wstring& error) {
    __SysMessage(logError, L"mfwcore", L"Worker %s, operation %s: %s", claim.registration().name, operation,
                 error);
    response.setError(1, error);
}

void notInstalled(std::wstring_view worker, PropertyBag& response) {
    response.setError(1, L"Worker " + std::wstring(worker) + L" is not installed");
}

}  // namespace

RespType deliver(const WorkerRegistry::Claim& claim, const std::wstring& operation,
                 const PropertyBag& request, PropertyBag& response, const MsgBinary* requestBinary,
                 MsgBinary* responseBinary, bool fromChannel, RunningItem* running) {
    // A worker reads the name up to a NUL, while whoever checked the right to call it read all of it.
    if (operation.find(L'\0') != operation.npos) {
        response.setError(1, L"The name of the operation has a NUL");
        return RespType::notHandled;
    }
    try {
        const auto item = refptr<WorkItem>::adopt(claim.registration().factory());
        if (!item) {  // the worker is being removed
            notInstalled(claim.registration().name, response);
            return RespType::noWorker;
        }
        item->attach(requestBinary, responseBinary, fromChannel);
        const Findable findable(running, item.get(), &claim);
        if (findable.aborted()) item->AbortHandler();
        if (!item->VisibilityHandler(operation.c_str())) {
            response.setError(1, L"Operation " + operation + L" is not available");
            return RespType::notHandled;
        }
        if (item->MessageHandler(operation.c_str(), request, response)) return RespType::handled;
    } catch (const coreException& e) {
        reportException(claim, operation, response, e.text());
    } catch (const std::exception& e) {
        reportException(claim, operation, response, L"Unexpected exception: " + toWide(e.what()));
    } catch (...) {
        reportException(claim, operation, response, L"Unexpected exception");
    }
    return RespType::notHandled;
}

bool refuse(const WorkerRegistry::Claim& claim, std::wstring_view worker, bool fromChannel,
            PropertyBag& response) {
    if (!claim) {
        notInstalled(worker, response);
        return true;
    }
    const Registration& registration = claim.registration();
    if (fromChannel ? registration.remote : registration.local) return false;
    response.setError(1, L"Worker " + registration.name +
                             (fromChannel ? L" takes no messages of remote machines"
                                          : L" takes no messages of this machine"));
    return true;
}

}  // namespace CORE
