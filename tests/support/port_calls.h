// The record of what passes through the ports of a platform, and the fault that a test injects into it.
#pragma once

#include <atomic>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace wstest {

// One call that fails. A call is named by a text that begins with its port: "ldap modify CN=...".
struct PortFault {
    static constexpr int every = 0;
    std::string call{};
    int occurrence = 1;    // the n-th call of that name fails, or every one
    int code = 0;          // with this code of its port
    bool lasting = false;  // and so does every later call of the same port
};

// Any thread.
class PortCalls {
  public:
    struct Call {
        std::string name;
        int occurrence;  // among the calls of that name, from 1
        bool operator==(const Call&) const = default;
    };

    std::atomic<int> live{0};     // sessions, searches, objects and tokens that are open
    std::atomic<int> opened{0};   // how many were opened so far
    std::atomic<int> changes{0};  // calls that change something

    // Records a call. The code that it fails with; 0: it is carried out.
    int enter(const std::string& name) {
        const std::lock_guard hold(mutex_);
        const int occurrence = ++occurrences_[name];
        calls_.push_back({name, occurrence});
        if (!fault_) return 0;
        const bool hit = name == fault_->call &&
                         (fault_->occurrence == PortFault::every || occurrence == fault_->occurrence);
        const bool dead = happened_ && fault_->lasting && portOf(name) == portOf(fault_->call);
        happened_ = happened_ || hit;
        if (!hit && !dead) return 0;
        return fault_->code;
    }
    // Records a change that the port has carried out.
    void changed(const std::string& name) {
        const std::lock_guard hold(mutex_);
        changed_.push_back(name);
    }
    // Begins a new record, with that fault.
    void restart(std::optional<PortFault> fault = {}) {
        const std::lock_guard hold(mutex_);
        fault_ = std::move(fault);
        happened_ = false;
        occurrences_.clear();
        calls_.clear();
        changed_.clear();
    }
    std::vector<Call> calls() const {
        const std::lock_guard hold(mutex_);
        return calls_;
    }
    std::vector<std::string> changed() const {
        const std::lock_guard hold(mutex_);
        return changed_;
    }
    bool faultHappened() const {
        const std::lock_guard hold(mutex_);
        return happened_;
    }

  private:
    static std::string_view portOf(std::string_view name) { return name.substr(0, name.find(' ')); }

    mutable std::mutex mutex_;
    std::optional<PortFault> fault_;
    bool happened_ = false;  // the fault has happened
    std::map<std::string, int> occurrences_;
    std::vector<Call> calls_;
    std::vector<std::string> changed_;
};

}  // namespace wstest
