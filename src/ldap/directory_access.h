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

// Makes its creator's thread fit for directory calls for as long as it lives. The last user of a shared
// object may be another thread, which then owes nothing.
class DirectoryResidence {
  public:
    explicit DirectoryResidence(std::shared_ptr<platform::DirectoryServices> services)
        : services_(std::move(services)),
          creator_(std::this_thread::get_id()),
          initialised_(services_->initialiseThread()) {}
    ~DirectoryResidence() {
        if (initialised_ && creator_ == std::this_thread::get_id()) services_->uninitialiseThread();
    }
    DirectoryResidence(const DirectoryResidence&) = delete;
    DirectoryResidence& operator=(const DirectoryResidence&) = delete;

  private:
    std::shared_ptr<platform::DirectoryServices> services_;
    std::thread::id creator_;
    bool initialised_;
};

}  // namespace wsadmin
