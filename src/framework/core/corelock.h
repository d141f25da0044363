// Named locks and events.
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <shared_mutex>
#include <string>

#include "framework/core/export.h"

namespace CORE {

// A lock that its holder may take again, with a name for diagnostics.
class MFWCORE_API corecritsec {
  public:
    explicit corecritsec(std::wstring name);
    ~corecritsec();
    corecritsec(const corecritsec&) = delete;
    corecritsec& operator=(const corecritsec&) = delete;
    void enter();
    void leave();
    const std::wstring& name() const noexcept { return name_; }

  private:
    std::recursive_mutex mutex_;
    std::wstring name_;
};

// Holds a lock for a scope. With `take` false the lock is not taken, and not given back.
class MFWCORE_API coresync {
  public:
    explicit coresync(corecritsec& lock, bool take = true);
    ~coresync();
    coresync(const coresync&) = delete;
    coresync& operator=(const coresync&) = delete;

  private:
    corecritsec* lock_;
};

// A lock of one writer or many readers. To be used instead of std::shared_mutex, whose first users can get
// past each other in the Windows runtime of this compiler when they come at the same time: there the first
// use, not the constructor, makes the lock.
class SharedMutex : public std::shared_mutex {
  public:
    SharedMutex() {
        lock();
        unlock();
    }
};

// A manual-reset event: once set it stays set, and everybody waiting goes on.
class MFWCORE_API coreevent {
  public:
    coreevent();
    ~coreevent();
    coreevent(const coreevent&) = delete;
    coreevent& operator=(const coreevent&) = delete;
    void set();
    void reset();
    bool isSet() const;
    void wait() const;
    bool waitFor(std::chrono::milliseconds limit) const;  // true when the event is set

  private:
    mutable std::mutex mutex_;
    mutable std::condition_variable changed_;
    bool set_ = false;
};

}  // namespace CORE
