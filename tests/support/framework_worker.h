// A worker of the framework whose answers are a function of the test, installed for as long as it lives. An
// attachment comes back as it is.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "framework/core/framework.h"

namespace wstest {

// What it was sent is recorded. Any thread may send.
template <int slot>  // the framework's factories know nothing but where they stand
class FrameworkWorker {
  public:
    using Answer = std::function<bool(std::wstring_view operation, const CORE::PropertyBag& request,
                                      CORE::PropertyBag& response)>;
    struct Sent {
        std::wstring operation;
        CORE::PropertyBag request;
    };

    FrameworkWorker(
        std::wstring name, Answer answer, std::function<void()> onAbort = [] {})
        : name_(std::move(name)), answer_(std::move(answer)), onAbort_(std::move(onAbort)) {
        current_ = this;
        CORE::MessageFrameWork::System().AddWorker([]() -> CORE::WorkItem* { return new Item; }, name_,
                                                   L"scripted", true, true, false, true);
    }
    ~FrameworkWorker() { CORE::MessageFrameWork::System().RemoveWorker(name_, true); }
    FrameworkWorker(const FrameworkWorker&) = delete;
    FrameworkWorker& operator=(const FrameworkWorker&) = delete;

    std::vector<Sent> sent(std::wstring_view operation) const {
        const std::lock_guard hold(mutex_);
        std::vector<Sent> found;
        for (const Sent& one : sent_)
            if (one.operation == operation) found.push_back(one);
        return found;
    }

  private:
    struct Item : CORE::WorkItem {
        bool MessageHandler(const wchar_t* operation, const CORE::PropertyBag& request,
                            CORE::PropertyBag& response) override {
            {
                const std::lock_guard hold(current_->mutex_);
                current_->sent_.push_back({operation, request});
            }
            responseBinary() = requestBinary();
            return current_->answer_(operation, request, response);
        }
        void AbortHandler() override { current_->onAbort_(); }
    };

    inline static FrameworkWorker* current_ = nullptr;
    std::wstring name_;
    Answer answer_;
    std::function<void()> onAbort_;
    mutable std::mutex mutex_;
    std::vector<Sent> sent_;
};

}  // namespace wstest
