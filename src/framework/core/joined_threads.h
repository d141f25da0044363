// Threads that are always joined: one that ends puts itself aside, and the next start, or joinAll, joins it.
// So nothing of a thread, not even what its end runs, outlives joinAll. Any thread may call; joinAll not from
// one of the threads.
#pragma once

#include <functional>
#include <memory>
#include <string>

namespace CORE {

class JoinedThreads {
  public:
    JoinedThreads();
    // Waits for nobody and takes no lock: threads that still run go on, detached.
    ~JoinedThreads();
    JoinedThreads(const JoinedThreads&) = delete;
    JoinedThreads& operator=(const JoinedThreads&) = delete;

    // False when no thread could be had. The body must not throw.
    [[nodiscard]] bool start(std::wstring name, std::function<void()> body);
    void joinAll();

  private:
    struct Data;
    std::shared_ptr<Data> data_;  // shared with the threads, which may outlive this object
};

}  // namespace CORE
