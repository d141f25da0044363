// What the framework instance is made of.
#pragma once

#include <atomic>

#include "framework/core/async_messages.h"
#include "framework/core/channel_table.h"
#include "framework/core/framework.h"
#include "framework/core/thread_pool.h"
#include "framework/core/worker_registry.h"

namespace CORE {

// The framework's own worker. Operation "IsWorkerInstalled", keys "QueueName" and "Timeout" (milliseconds):
// handled without error when that worker is there by then, otherwise error 1 and not handled.
WorkItem* makeSystemWorker();

struct MessageFrameWork::State {
    WorkerRegistry workers;
    ThreadPool pool;
    AsyncMessages messages{workers, pool};
    ChannelTable channels;
    std::atomic<std::uint32_t> role{InstType::connectionServer};
};

}  // namespace CORE
