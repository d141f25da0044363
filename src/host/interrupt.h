// The interrupt that a person sends with Ctrl-C.
#pragma once

#include <functional>
#include <memory>

namespace hdqadmin {

// While it lives, the first interrupt runs the function on a thread of its own and does nothing else; a
// second one ends the process.
class Interrupt {
  public:
    explicit Interrupt(std::function<void()> act);
    ~Interrupt();  // when the function has returned
    Interrupt(const Interrupt&) = delete;
    Interrupt& operator=(const Interrupt&) = delete;
    bool happened() const noexcept;

  private:
    struct State;
    std::unique_ptr<State> state_;
};

}  // namespace hdqadmin
