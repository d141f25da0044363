// Delivers one message to one WorkItem.
#pragma once

#include <mutex>
#include <string>

#include "framework/core/message.h"
#include "framework/core/worker_registry.h"

namespace CORE {

// The WorkItem of a running request, for the thread that aborts it.
class RunningItem {
  public:
    // Null when the request has ended. True when abort was called before.
    [[nodiscard]] bool set(WorkItem* item, const WorkerRegistry::Claim* claim);
    void abort();  // calls AbortHandler of the running object, if any

  private:
    std::mutex mutex_;
    WorkItem* item_ = nullptr;
    const WorkerRegistry::Claim* claim_ = nullptr;
    bool aborted_ = false;
};

// Creates the WorkItem, lets it answer and releases it. Throws nothing: an exception of the worker is logged
// and becomes an error of the response. `running` may be null.
RespType deliver(const WorkerRegistry::Claim& claim, const std::wstring& operation,
                 const PropertyBag& request, PropertyBag& response, const MsgBinary* requestBinary,
                 MsgBinary* responseBinary, bool fromChannel, RunningItem* running);

// True, with the error in the response, when there is no worker or it takes no messages of this machine; or
// of remote ones, when it came over a channel.
bool refuse(const WorkerRegistry::Claim& claim, std::wstring_view worker, bool fromChannel,
            PropertyBag& response);

}  // namespace CORE
