// What the bindings and the domain map need of the machine.
#pragma once

#include <cstdint>
#include <memory>
#include <thread>

#include "platform/clock.h"
#include "platform/directory_services.h"

namespace wsadmin {

struct DirectoryAccess {
    std::shared_ptr<platform::DirectoryServices> services;
    std::shared_ptr<platform::Clock> clock;

    std::int64_t now() const {  // seconds since 1970-01-01 UTC
        return std::chrono::duration_cast<std::chrono::seconds>(clock->now().time_since_epoch()).count();
    }
};

// Keeps its creator's thread initialised for directory calls for as long as it lives. An initialisation ends
// on its own thread only: a shared object that another thread destroys leaves it.
class CreatorDirectoryThread {
  public:
    explicit CreatorDirectoryThread(std::shared_ptr<platform::DirectoryServices> services)
        : services_(std::move(services)),
          creator_(std::this_thread::get_id()),
          initialised_(services_->initialiseThread()) {}
    ~CreatorDirectoryThread() {
        if (initialised_ && creator_ == std::this_thread::get_id()) services_->uninitialiseThread();
    }
    CreatorDirectoryThread(const CreatorDirectoryThread&) = delete;
    CreatorDirectoryThread& operator=(const CreatorDirectoryThread&) = delete;

  private:
    std::shared_ptr<platform::DirectoryServices> services_;
    std::thread::id creator_;
    bool initialised_;
};

}  // namespace wsadmin
