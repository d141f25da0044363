// A worker whose requests do what a test says, and the means to wait for what happens on other threads.
#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <string>
#include <thread>
#include <utility>

#include "framework/core/corelock.h"
#include "framework/core/framework.h"

namespace wstest {

// Only a fault lets a wait last so long.
inline constexpr std::chrono::seconds longTime{60};

class ScriptedItem : public CORE::WorkItem {
  public:
    using Script = std::function<bool(ScriptedItem& item, const std::wstring& operation,
                                      const CORE::PropertyBag& request, CORE::PropertyBag& response)>;

    static inline Script script;
    static inline std::function<void()> onAbort;
    static inline std::atomic<int> alive{0};

    static CORE::WorkItem* make() { return new ScriptedItem; }
    ScriptedItem() { ++alive; }
    ~ScriptedItem() override { --alive; }
    bool MessageHandler(const wchar_t* operation, const CORE::PropertyBag& request,
                        CORE::PropertyBag& response) override {
        return script ? script(*this, operation, request, response) : true;
    }
    bool VisibilityHandler(const wchar_t* operation) override {
        return std::wstring_view(operation) != L"hidden";
    }
    void AbortHandler() override {
        if (onAbort) onAbort();
    }
};

// Registers a worker as this system's modules do.
inline void addWorker(std::wstring_view name, CORE::ThreadGroup* owner = nullptr,
                      CORE::WorkItemFactory factory = &ScriptedItem::make, bool local = true) {
    CORE::MessageFrameWork::System().AddWorker(factory, name, L"", local, !local, false, true, owner);
}

// Installs the scripted worker for a scope.
class ScriptedWorker {
  public:
    explicit ScriptedWorker(ScriptedItem::Script script = {}, std::wstring name = L"scripted",
                            bool local = true)
        : name_(std::move(name)) {
        ScriptedItem::script = std::move(script);
        addWorker(name_, nullptr, &ScriptedItem::make, local);
    }
    ~ScriptedWorker() {
        CORE::MessageFrameWork::System().RemoveWorker(name_, true);
        ScriptedItem::script = {};
        ScriptedItem::onAbort = {};
        EXPECT_EQ(ScriptedItem::alive, 0) << "the framework kept a request's object";
    }
    ScriptedWorker(const ScriptedWorker&) = delete;
    ScriptedWorker& operator=(const ScriptedWorker&) = delete;

  private:
    std::wstring name_;
};

// Waits for an event without letting a fault hang the test.
inline void await(const CORE::coreevent& event) {
    ASSERT_TRUE(event.waitFor(longTime));
}
inline bool eventually(const std::function<bool()>& condition) {
    const auto end = std::chrono::steady_clock::now() + longTime;
    while (!condition() && std::chrono::steady_clock::now() < end) std::this_thread::yield();
    return condition();
}
// Lets other threads run, where a test gives a fault its chance.
inline void yield(int times = 100) {
    for (; times > 0; --times) std::this_thread::yield();
}

}  // namespace wstest
