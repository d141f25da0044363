// Named locks and events.
#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <shared_mutex>
#include <string>
#include <vector>

#include "framework/core/export.h"

namespace CORE {

// A recursive mutex with a name for diagnostics.
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

// A scoped lock. With `take` false it neither locks nor unlocks.
class MFWCORE_API coresync {
  public:
    explicit coresync(corecritsec& lock, bool take = true);
    ~coresync();
    coresync(const coresync&) = delete;
    coresync& operator=(const coresync&) = delete;

  private:
    corecritsec* lock_;
};

// A readers-writer lock, to be used instead of std::shared_mutex: the Windows runtime of this compiler
// initialises that one on first use instead of in the constructor, and concurrent first uses race.
class SharedMutex : public std::shared_mutex {
  public:
    SharedMutex() {
        lock();
        unlock();
    }
};

// A manual-reset event: set wakes all waiting threads, and the event stays signalled until reset.
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
    friend class eventcallback;

    mutable std::mutex mutex_;
    mutable std::condition_variable changed_;
    mutable std::vector<class eventcallback*> callbacks_;
    bool set_ = false;
};

// Calls the function whenever the event is set while the object lives, also when it is set already. The
// function runs on the thread that sets the event, which is locked: it must not use that event, nor wait. The
// destructor waits for a call that runs. The event outlives the object.
class MFWCORE_API eventcallback {
  public:
    eventcallback(const coreevent& event, std::function<void()> function);
    ~eventcallback();
    eventcallback(const eventcallback&) = delete;
    eventcallback& operator=(const eventcallback&) = delete;

  private:
    friend class coreevent;

    const coreevent& event_;
    std::function<void()> function_;
};

}  // namespace CORE
