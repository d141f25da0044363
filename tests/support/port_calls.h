// The record of what passes through the ports of a platform, and the fault that a test injects into it.
#pragma once

#include <algorithm>
#include <array>
#include <atomic>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <tuple>
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
    std::vector<Call> calls() const { return copied(calls_); }
    std::vector<std::string> changed() const { return copied(changed_); }
    std::vector<LdapSearch> searches() const { return copied(searches_); }
    // LDAP searches whose filter has that text.
    std::ptrdiff_t searchesFor(std::string_view text) const {
        const auto hasText = [text](const LdapSearch& one) {
            return one.filter.find(text) != std::string::npos;
        };
        return std::ranges::count_if(searches(), hasText);
    }
    bool faultHappened() const { return copied(happened_); }

  private:
    static std::string_view portOf(std::string_view name) { return name.substr(0, name.find(' ')); }
    template <class Kept>
    Kept copied(const Kept& kept) const {
        const std::lock_guard hold(mutex_);
        return kept;
    }

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

// The codes with which a question that takes three steps fails at the first and at the second one.
template <class Failure>
inline constexpr std::array<int, 2> stepCodes{serviceSucceeded, accountNotEnoughMemory};
template <>
inline constexpr std::array stepCodes<TokenFailure>{accountInsufficientBuffer, accountNotEnoughMemory};
template <>
inline constexpr std::array stepCodes<LogonFailure>{accountNoServer, accountNoSuchPackage};

// What a failing call answers: the code, as a failure of its port.
template <class Answer>
Answer injected(const std::string& call, int code) {
    if constexpr (std::is_same_v<Answer, AccountBufferSizes>) {
        return {.error = code};
    } else if constexpr (std::is_same_v<Answer, ProbeOutcome>) {
        return ProbeOutcome::otherFailure;
    } else if constexpr (requires(Answer answer) { answer.error().step; }) {
        using Error = typename Answer::error_type;
        constexpr auto codes = stepCodes<Error>;
        const auto step = std::ranges::find(codes, code) - codes.begin();
        return tl::unexpected(Error{static_cast<decltype(Error::step)>(step), {code, L"injected"}});
    } else {
        if (call.starts_with("ldap ")) return fail(ldapFailure(code));
        if (call.starts_with("ads ")) return fail(code, directoryErrorText(code, adsCodeText(code), 0, {}));
        return fail(code, L"injected");
    }
}

// What an argument adds to the name of a call: a text, or the number of a choice.
template <class Given>
std::string shownIn(const Given& given) {
    if constexpr (std::is_enum_v<Given>) return std::to_string(static_cast<int>(given));
    if constexpr (std::is_convertible_v<Given, std::string_view>) return std::string(std::string_view(given));
    if constexpr (std::is_convertible_v<Given, std::wstring_view>) return CORE::toUtf8(given);
    return {};
}

// A method of a port: what it answers, and what it takes.
template <class Method>
struct Signature;
template <class Answers, class Port, class... Takes>
struct Signature<Answers (Port::*)(Takes...)> {
    using Answer = Answers;
    template <std::size_t n>
    using Parameter = std::tuple_element_t<n, std::tuple<Takes...>>;
};
template <class Answers, class Port, class... Takes>
struct Signature<Answers (Port::*)(Takes...) const> : Signature<Answers (Port::*)(Takes...)> {};

// An object of a port in front of the real one. A call is named by the port, the call, the object's own name
// (the path that it was opened by) and what else there is to say.
template <class Port>
class CountingPort : public Port {
  public:
    CountingPort() = default;
    CountingPort(std::shared_ptr<Port> real, std::shared_ptr<PortCalls> calls, std::string name = {})
        : real_(std::move(real)), calls_(std::move(calls)), name_(std::move(name)) {}
    // In front of that one.
    void stand(std::shared_ptr<Port> real, std::shared_ptr<PortCalls> calls, std::string name = {}) {
        real_ = std::move(real);
        calls_ = std::move(calls);
        name_ = std::move(name);
    }

  protected:
    using Real = Port;
    using Done = Result<void>;
    template <auto method>
    using Answer = typename Signature<decltype(method)>::Answer;
    template <auto method, std::size_t n>
    using Parameter = typename Signature<decltype(method)>::template Parameter<n>;

    // The name of a call, or of what it opens (which has none of its own): with the first so many arguments.
    template <int shown, class... Given>
    std::string named(std::string name, const Given&... given) const {
        [[maybe_unused]] int left = shown;
        for (const std::string& part : {name_, (left-- > 0 ? shownIn(given) : std::string())...})
            if (!part.empty()) name.append(name.empty() ? "" : " ").append(part);
        return name;
    }
    // Carries the call out, unless it is the one that fails.
    template <auto method, class... Given>
    Answer<method> call(const std::string& name, const Given&... given) const {
        if (calls_->before) calls_->before(name);
        if (const int code = calls_->enter(name)) return injected<Answer<method>>(name, code);
        return (real_.get()->*method)(given...);
    }
    // The same of a call that changes something.
    template <auto method, class... Given>
    Answer<method> change(const std::string& name, const Given&... given) const {
        ++calls_->changes;
        auto done = call<method>(name, given...);
        if (done) calls_->changed(name);
        return done;
    }
    // What was opened, with what stands in front of it.
    template <class Counting, class Opened>
    Opened counted(Opened opened, std::string name = {}) const {
        if (!opened || !*opened) return opened;
        auto made = std::make_unique<Counting>();
        made->stand(std::move(*opened), calls_, std::move(name));
        return Opened(std::move(made));
    }

    std::shared_ptr<Port> real_;
    std::shared_ptr<PortCalls> calls_;
    std::string name_;
};

// The same of something that is open as long as it lives.
template <class Port>
class CountingOpened : public CountingPort<Port> {
  public:
    void stand(std::shared_ptr<Port> real, std::shared_ptr<PortCalls> calls, std::string name) {
        CountingPort<Port>::stand(std::move(real), std::move(calls), std::move(name));
        ++this->calls_->live;
    }
    ~CountingOpened() override { --this->calls_->live; }
};

}  // namespace wstest

// A method of such an object: the call's name, the method, how many arguments it takes, and how many of them
// are a part of the name.
#define WS_CALL(text, method, takes, shown) WS_METHOD(call, text, method, takes, shown, )
#define WS_CONST_CALL(text, method, takes, shown) WS_METHOD(call, text, method, takes, shown, const)
// The same of one that changes something.
#define WS_CHANGE(text, method, takes, shown) WS_METHOD(change, text, method, takes, shown, )
// The same of one that opens something, which has that class.
#define WS_OPEN(text, Opened, method, takes, shown)                                                       \
    Answer<&Real::method> method(WS_TAKES_##takes(method)) override {                                     \
        return counted<Opened>(call<&Real::method>(named<shown>(text WS_GIVES_##takes) WS_GIVES_##takes), \
                               named<shown>("" WS_GIVES_##takes));                                        \
    }                                                                                                     \
    static_assert(true)

#define WS_METHOD(does, text, method, takes, shown, qualifier)                            \
    Answer<&Real::method> method(WS_TAKES_##takes(method)) qualifier override {           \
        return does<&Real::method>(named<shown>(text WS_GIVES_##takes) WS_GIVES_##takes); \
    }                                                                                     \
    static_assert(true)
#define WS_TAKES_0(method)
#define WS_TAKES_1(method) Parameter<&Real::method, 0> a
#define WS_TAKES_2(method) WS_TAKES_1(method), Parameter<&Real::method, 1> b
#define WS_TAKES_3(method) WS_TAKES_2(method), Parameter<&Real::method, 2> c
#define WS_TAKES_4(method) WS_TAKES_3(method), Parameter<&Real::method, 3> d
#define WS_GIVES_0
#define WS_GIVES_1 , a
#define WS_GIVES_2 , a, b
#define WS_GIVES_3 , a, b, c
#define WS_GIVES_4 , a, b, c, d
