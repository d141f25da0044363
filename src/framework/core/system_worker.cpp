#include <algorithm>
#include <atomic>

#include "framework/core/corestring.h"
#include "framework/core/framework_state.h"
#include "framework/core/security.h"

namespace CORE {

namespace {

class SystemWorker : public WorkItem {
  public:
    bool MessageHandler(const wchar_t* operation, const PropertyBag& request,
                        PropertyBag& response) override {
        if (equalFolded(operation, L"IsWorkerInstalled")) return isWorkerInstalled(request, response);
        if (equalFolded(operation, encryptOperation) && !fromChannel()) {
            const wstr sealed = SecurityManager::System().Encrypt(request.utf8(encryptText));
            response.set(encryptText, sealed);
            return true;
        }
        response.setError(120);
        return false;
    }
    void AbortHandler() override { givenUp_ = true; }

  private:
    bool isWorkerInstalled(const PropertyBag& request, PropertyBag& response) const {
        const wstr name = request.get(L"QueueName");
        if (name.empty()) {
            response.setError(1, L"QueueName is missing");
            return false;
        }
        // A remote machine does not keep a thread of this one.
        const auto timeout =
            fromChannel() ? 0u : static_cast<unsigned>(std::max(0, request.getInt(L"Timeout", 0)));
        if (MessageFrameWork::System().IsWorkerInstalled(name, timeout, [this] { return givenUp_.load(); }))
            return true;
        response.setError(1, L"Worker " + name.str() + L" is not installed");
        return false;
    }

    std::atomic<bool> givenUp_{false};
};

}  // namespace

WorkItem* makeSystemWorker() {
    return new SystemWorker;
}

}  // namespace CORE
