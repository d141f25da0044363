// Handing one message to one worker's object.
#pragma once

#include <mutex>
#include <string>

#include "framework/core/message.h"
#include "framework/core/worker_registry.h"

namespace CORE {

// Where another thread finds the object of a running request.
class RunningItem {
  public:
    // Null: it runs no more. True when it was aborted before it could be found.
    [[nodiscard]] bool set(WorkItem* item, const WorkerRegistry::Claim* claim);
    void abort();  // tells the object, when there is one

  private:
    std::mutex mutex_;
    WorkItem* item_ = nullptr;
    const WorkerRegistry::Claim* claim_ = nullptr;
    bool aborted_ = false;
};

// Makes the worker's object, lets it answer and releases it. Nothing is thrown: what the worker throws is
// logged and becomes an error of the response. `running` may be null.
RespType deliver(const WorkerRegistry::Claim& claim, const std::wstring& operation,
                 const PropertyBag& request, PropertyBag& response, const MsgBinary* requestBinary,
                 MsgBinary* responseBinary, RunningItem* running);

// The error of a message that finds no worker, or only one that takes no messages of this machine; true when
// so.
bool refuse(const WorkerRegistry::Claim& claim, std::wstring_view worker, PropertyBag& response);

}  // namespace CORE
