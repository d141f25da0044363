// Blocks SIGPIPE during a scope.
#pragma once

#include <csignal>

namespace wsadmin::platform::posix {

// libldap writes to its socket with write(2), so a server that hung up would end the whole process by
// SIGPIPE. A library must not change the process's disposition of the signal, so this thread blocks it and
// consumes the one that libldap has raised.
class PipeSignalBlock {
  public:
    PipeSignalBlock() noexcept {
        sigset_t pending;
        sigemptyset(&pending);
        sigpending(&pending);
        wasPending_ = sigismember(&pending, SIGPIPE) == 1;
        sigemptyset(&pipe_);
        sigaddset(&pipe_, SIGPIPE);
        pthread_sigmask(SIG_BLOCK, &pipe_, &before_);
    }
    ~PipeSignalBlock() {
        const timespec now{0, 0};
        if (!wasPending_) sigtimedwait(&pipe_, nullptr, &now);
        pthread_sigmask(SIG_SETMASK, &before_, nullptr);
    }
    PipeSignalBlock(const PipeSignalBlock&) = delete;
    PipeSignalBlock& operator=(const PipeSignalBlock&) = delete;

  private:
    sigset_t pipe_{};
    sigset_t before_{};
    bool wasPending_ = false;
};

}  // namespace wsadmin::platform::posix
