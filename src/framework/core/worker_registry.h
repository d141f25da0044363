// The workers of this process by name, and the claims of running requests on them.
#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "framework/core/framework.h"
#include "framework/core/threads.h"

namespace CORE {

struct Registration {
    WorkItemFactory factory = nullptr;
    std::wstring name;
    bool local = true;
    bool remote = false;
    ThreadGroup* owner = nullptr;
};

class WorkerRegistry {
    struct Worker;

  public:
    // One request's hold on a worker. It is taken under the same lock as the lookup of the name, so that a
    // later removal counts the request, and is kept until the WorkItem is destroyed.
    class Claim {
      public:
        Claim() = default;
        Claim(Claim&&) noexcept = default;
        Claim& operator=(Claim&&) = delete;
        ~Claim();
        explicit operator bool() const noexcept { return worker_ != nullptr; }
        const Registration& registration() const noexcept;
        Claim again() const;  // another hold on the same worker

      private:
        friend class WorkerRegistry;
        Claim(WorkerRegistry& registry, std::shared_ptr<Worker> worker);
        WorkerRegistry* registry_ = nullptr;
        std::shared_ptr<Worker> worker_;
        ThreadGroup::Visit visit_;
    };

    void add(Registration registration);  // throws coreException when the name is empty or taken
    bool remove(std::wstring_view name, bool wait);
    Claim claim(std::wstring_view name);  // empty when there is none
    // False after the limit, or when `givenUp` returns true (see wake).
    bool waitFor(std::wstring_view name, std::chrono::milliseconds limit,
                 const std::function<bool()>& givenUp = {});
    std::vector<std::wstring> localNames() const;
    void wake();  // makes every waitFor ask its `givenUp` again

  private:
    struct FoldedLess {
        using is_transparent = void;
        bool operator()(std::wstring_view a, std::wstring_view b) const noexcept;
    };
    void letGo(Worker& worker);

    mutable std::mutex mutex_;
    std::condition_variable changed_;
    std::map<std::wstring, std::shared_ptr<Worker>, FoldedLess> workers_;
};

}  // namespace CORE
