// A registry that lives in memory, for machines that have none of their own.
#pragma once

#include <map>
#include <mutex>

#include "platform/local_machine.h"

namespace wsadmin::platform {

class MemoryRegistry final : public Registry {
  public:
    Result<std::optional<RegistryData>> read(std::wstring_view key, std::wstring_view value) const override;
    Result<void> write(std::wstring_view key, std::wstring_view value, const RegistryData& data) override;
    Result<void> remove(std::wstring_view key, std::wstring_view value) override;
    Result<std::vector<std::pair<std::wstring, RegistryData>>> values(std::wstring_view key) const override;

  private:
    struct WithoutCase {
        using is_transparent = void;
        bool operator()(std::wstring_view a, std::wstring_view b) const noexcept;
    };
    using Values = std::vector<std::pair<std::wstring, RegistryData>>;  // in the order of their first writing

    mutable std::mutex mutex_;
    std::map<std::wstring, Values, WithoutCase> keys_;
};

}  // namespace wsadmin::platform
