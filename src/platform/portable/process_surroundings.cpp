#include "platform/portable/process_surroundings.h"

#include <mutex>
#include <utility>

#include "framework/core/corestring.h"
#include "platform/text/guid.h"

namespace wsadmin::platform {

namespace {

using Variables = std::map<std::wstring, std::wstring>;

class GivenEnvironment : public Environment {
  public:
    explicit GivenEnvironment(Variables given) : given_(std::move(given)) {}
    Result<std::optional<std::wstring>> variable(std::wstring_view name) const override {
        for (const auto& [known, value] : given_)
            if (CORE::equalFolded(known, name)) return value;
        return std::nullopt;
    }

  private:
    Variables given_;
};

class ProcessEnvironment final : public GivenEnvironment {
  public:
    using GivenEnvironment::GivenEnvironment;
    Result<std::optional<std::wstring>> variable(std::wstring_view name) const override {
        if (auto given = GivenEnvironment::variable(name); !given || *given) return given;
        const CORE::wstr reference(L"%" + std::wstring(name) + L"%");
        const CORE::wstr value = reference.expandEnv();  // stays as it is where there is no such variable
        return value == reference ? std::nullopt : std::optional(value.str());
    }
};

class RandomGuids final : public Guids {
  public:
    Result<std::wstring> next() override { return CORE::wstr::newGuid().str(); }
};

class CountedGuids final : public Guids {
  public:
    explicit CountedGuids(std::wstring first) : next_(std::move(first)) {}
    Result<std::wstring> next() override {
        const std::lock_guard lock(mutex_);
        return std::exchange(next_, guidAfter(next_));
    }

  private:
    std::mutex mutex_;
    std::wstring next_;
};

}  // namespace

std::shared_ptr<Environment> makeEnvironment(Variables given) {
    return std::make_shared<ProcessEnvironment>(std::move(given));
}

std::shared_ptr<Environment> makeGivenEnvironment(Variables given) {
    return std::make_shared<GivenEnvironment>(std::move(given));
}

std::shared_ptr<Guids> makeGuids(std::wstring first) {
    if (first.empty()) return std::make_shared<RandomGuids>();
    return std::make_shared<CountedGuids>(std::move(first));
}

}  // namespace wsadmin::platform
