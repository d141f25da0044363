// Threads that are always joined: a thread that ends is joined by the next start or by joinAll. So nothing of
// a thread, not even its thread-local destructors, runs after joinAll. Thread safe; joinAll is a deadlock
// from one of the threads.
#pragma once

#include <functional>
#include <memory>
#include <string>

namespace CORE {

class JoinedThreads {
  public:
    JoinedThreads();
    // Does not wait: running threads are detached.
    ~JoinedThreads();
    JoinedThreads(const JoinedThreads&) = delete;
    JoinedThreads& operator=(const JoinedThreads&) = delete;

    // False when no thread could be started. The body must not throw.
    [[nodiscard]] bool start(std::wstring name, std::function<void()> body);
    void joinAll();

  private:
    struct Data;
    std::shared_ptr<Data> data_;  // shared with the threads, which may outlive this object
};

}  // namespace CORE
