// The record of what passes through the ports of a platform, and the fault that a test injects into it.
#pragma once

#include <algorithm>
#include <atomic>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/platform.h"

namespace wstest {

using namespace wsadmin;
using namespace wsadmin::platform;

// One call that fails. A call is named by a text that begins with its port: "ldap modify CN=...".
struct PortFault {
    static constexpr int every = 0;
    std::string call{};
    int occurrence = 1;      // the n-th call of that name fails, or every one
    int code = 0;            // with this code of its port
    bool lasting = false;    // and so does every later call of the same port
    std::size_t number = 0;  // without a name: the n-th of all calls fails
};

// Any thread.
class PortCalls {
  public:
    struct Call {
        std::string name;
        int occurrence;  // among the calls of that name, from 1
        bool operator==(const Call&) const = default;
    };

    std::function<void(const std::string& name)> before;  // each call; set while there is none
    std::atomic<int> live{0};     // sessions, searches, objects and tokens that are open
    std::atomic<int> changes{0};  // calls that change something

    // Records a call. The code that it fails with; 0: it is carried out.
    int enter(const std::string& name) {
        const std::lock_guard hold(mutex_);
        const int occurrence = ++occurrences_[name];
        calls_.push_back({name, occurrence});
        if (!fault_) return 0;
        const bool hit = fault_->call.empty()
                             ? calls_.size() == fault_->number
                             : name == fault_->call && (fault_->occurrence == PortFault::every ||
                                                        occurrence == fault_->occurrence);
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
    void add(const LdapSearch& search) {
        const std::lock_guard hold(mutex_);
        searches_.push_back(search);
    }
    // Begins a new record, with that fault.
    void restart(std::optional<PortFault> fault = {}) {
        const std::lock_guard hold(mutex_);
        fault_ = std::move(fault);
        happened_ = false;
        changes = 0;
        occurrences_.clear();
        calls_.clear();
        changed_.clear();
        searches_.clear();
    }
    std::vector<Call> calls() const {
        const std::lock_guard hold(mutex_);
        return calls_;
    }
    std::vector<std::string> changed() const {
        const std::lock_guard hold(mutex_);
        return changed_;
    }
    std::vector<LdapSearch> searches() const {
        const std::lock_guard hold(mutex_);
        return searches_;
    }
    // LDAP searches whose filter has that text.
    std::ptrdiff_t searchesFor(std::string_view text) const {
        const auto hasText = [text](const LdapSearch& one) {
            return one.filter.find(text) != std::string::npos;
        };
        return std::ranges::count_if(searches(), hasText);
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
    std::vector<LdapSearch> searches_;
};

// Stands for a query of a service that succeeds before it has been given memory.
inline constexpr int serviceSucceeded = -1;

// What a failing call answers: the code, as a failure of its port.
template <class Answer>
Answer injected(const std::string& call, int code) {
    if constexpr (std::is_same_v<Answer, AccountBufferSizes>) {
        return {.error = code};
    } else if constexpr (std::is_same_v<typename Answer::error_type, TokenFailure>) {
        const TokenStep step = code == accountInsufficientBuffer ? TokenStep::size
                               : code == accountNotEnoughMemory  ? TokenStep::memory
                                                                 : TokenStep::data;
        return tl::unexpected(TokenFailure{step, {code, L"injected"}});
    } else if constexpr (std::is_same_v<typename Answer::error_type, LogonFailure>) {
        const LogonStep step = code == accountNoServer        ? LogonStep::connect
                               : code == accountNoSuchPackage ? LogonStep::package
                                                              : LogonStep::logon;
        return tl::unexpected(LogonFailure{step, {code, L"injected"}});
    } else if constexpr (std::is_same_v<typename Answer::error_type, ServiceQueryFailure>) {
        const ServiceQueryStep step = code == serviceSucceeded         ? ServiceQueryStep::unexpectedSuccess
                                      : code == accountNotEnoughMemory ? ServiceQueryStep::memory
                                                                       : ServiceQueryStep::query;
        return tl::unexpected(ServiceQueryFailure{step, {code, L"injected"}});
    } else {
        if (call.starts_with("ldap ")) return fail(ldapFailure(code));
        if (call.starts_with("ads ")) return fail(code, directoryErrorText(code, adsCodeText(code), 0, {}));
        return fail(code, L"injected");
    }
}

// An object of a port in front of the real one. A call is named by the port, the call, the object's own name
// (the path that it was opened by) and what else there is to say.
template <class Port>
class CountingPort : public Port {
  public:
    CountingPort(std::shared_ptr<Port> real, std::shared_ptr<PortCalls> calls, std::string name = {})
        : real_(std::move(real)), calls_(std::move(calls)), name_(std::move(name)) {}

  protected:
    using Real = Port;
    using Done = Result<void>;

    std::string named(std::string_view call, std::string_view more = {}, std::string_view last = {}) const {
        std::string name(call);
        for (const std::string_view part : {std::string_view(name_), more, last})
            if (!part.empty()) name.append(" ").append(part);
        return name;
    }
    std::string named(std::string_view call, std::wstring_view more, std::wstring_view last = {}) const {
        return named(call, CORE::toUtf8(more), CORE::toUtf8(last));
    }
    // Carries the call out, unless it is the one that fails.
    template <auto method, class... Given>
    auto call(const std::string& name, const Given&... given) const {
        using Answer = decltype((real_.get()->*method)(given...));
        if (calls_->before) calls_->before(name);
        if (const int code = calls_->enter(name)) return injected<Answer>(name, code);
        return (real_.get()->*method)(given...);
    }
    // The same of a call that changes something.
    template <auto method, class... Given>
    auto change(const std::string& name, const Given&... given) const {
        ++calls_->changes;
        auto done = call<method>(name, given...);
        if (done) calls_->changed(name);
        return done;
    }
    // What was opened, with what stands in front of it.
    template <class Counting, class Opened, class... More>
    Opened counted(Opened opened, const More&... more) const {
        if (!opened) return opened;
        return std::make_unique<Counting>(std::move(*opened), calls_, more...);
    }

    std::shared_ptr<Port> real_;
    std::shared_ptr<PortCalls> calls_;
    std::string name_;
};

// The same of something that is open as long as it lives.
template <class Port>
class CountingOpened : public CountingPort<Port> {
  public:
    CountingOpened(std::shared_ptr<Port> real, std::shared_ptr<PortCalls> calls, std::string name = {})
        : CountingPort<Port>(std::move(real), std::move(calls), std::move(name)) {
        ++this->calls_->live;
    }
    ~CountingOpened() override { --this->calls_->live; }
};

}  // namespace wstest

// A method of such an object: what it answers, its name and parameters, the call's name, and what is passed
// on.
#define WS_CALL(Answer, method, parameters, ...)                \
    Answer method parameters override {                         \
        return this->template call<&Real::method>(__VA_ARGS__); \
    }                                                           \
    static_assert(true)
// The same of one that changes something.
#define WS_CHANGE(Answer, method, parameters, ...)                \
    Answer method parameters override {                           \
        return this->template change<&Real::method>(__VA_ARGS__); \
    }                                                             \
    static_assert(true)
