#include "host/interrupt.h"

#include <atomic>
#include <csignal>
#include <thread>
#include <utility>

#include "channel/asio_parts.h"
// After the parts of asio that all sources have alike:
#include <asio/signal_set.hpp>

namespace hdqadmin {

struct Interrupt::State {
    explicit State(std::function<void()> act) {
        signals.async_wait([this, run = std::move(act)](const asio::error_code& error, int) {
            if (error) return;
            happened = true;
            signals.clear();  // so that the next one has the system's own effect
            run();
        });
        thread = std::thread([this] { context.run(); });
    }
    ~State() {
        context.stop();
        thread.join();
    }

    asio::io_context context;
    asio::signal_set signals{context, SIGINT};
    std::atomic<bool> happened{false};
    std::thread thread;
};

Interrupt::Interrupt(std::function<void()> act) : state_(std::make_unique<State>(std::move(act))) {}
Interrupt::~Interrupt() = default;

bool Interrupt::happened() const noexcept {
    return state_->happened;
}

}  // namespace hdqadmin
