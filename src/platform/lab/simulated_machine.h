// The machine that a lab describes: its time, names, folders, registry and programs.
#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>

#include "platform/lab/machine_file.h"
#include "platform/platform.h"
#include "platform/portable/memory_registry.h"

namespace wsadmin::platform::lab {

// Time that stands still; only waiting moves it on, and takes none.
class FixedClock final : public Clock {
  public:
    explicit FixedClock(std::chrono::sys_seconds start) : start_(start) {}
    std::chrono::system_clock::time_point now() const override { return start_ + waited_.load(); }
    std::chrono::steady_clock::time_point monotonic() const override {
        return std::chrono::steady_clock::time_point(waited_.load());
    }
    // The lab's clocks show UTC.
    std::chrono::local_seconds local(std::chrono::sys_seconds time) const override {
        return std::chrono::local_seconds(time.time_since_epoch());
    }
    bool wait(std::chrono::milliseconds time, const CORE::coreevent* stop) override;

  private:
    std::chrono::sys_seconds start_;
    std::atomic<std::chrono::milliseconds> waited_{std::chrono::milliseconds(0)};
};

class LabNames final : public ComputerNames {
  public:
    LabNames(std::wstring netBios, std::wstring dns) : netBios_(std::move(netBios)), dns_(std::move(dns)) {}
    Result<std::wstring> netBios() const override { return given(netBios_); }
    Result<std::wstring> dnsFullyQualified() const override { return given(dns_); }

  private:
    static Result<std::wstring> given(const std::wstring& name);  // an empty one cannot be obtained
    std::wstring netBios_, dns_;
};

class LabFolders final : public Folders {
  public:
    explicit LabFolders(const MachineDescription& machine)
        : folders_(machine.folders), windows_(machine.windowsDirectory) {}
    Result<std::wstring> get(Folder folder) const override;
    Result<std::wstring> windowsDirectory() const override;

  private:
    std::map<Folder, std::wstring> folders_;
    std::wstring windows_;
};

// Remembers whether it was changed, and what is in it for the lab's file.
class LabRegistry final : public Registry {
  public:
    explicit LabRegistry(const std::vector<RegistryKey>& content);
    Result<std::optional<RegistryData>> read(std::wstring_view key, std::wstring_view value) const override;
    Result<void> write(std::wstring_view key, std::wstring_view value, const RegistryData& data) override;
    Result<void> remove(std::wstring_view key, std::wstring_view value) override;
    Result<std::vector<std::pair<std::wstring, RegistryData>>> values(std::wstring_view key) const override;

    // The whole content if it changed since the last call; keepChanged marks a content that could not be
    // written.
    std::optional<std::vector<RegistryKey>> takeChanges();
    void keepChanged();

  private:
    MemoryRegistry registry_;
    std::mutex mutex_;
    std::vector<std::wstring> keys_;  // that ever had a value
    bool changed_ = false;
};

// A program that a lab has without a rule for it: its exit code, nothing where there is no such program.
using LabPrograms =
    std::function<std::optional<int>(const std::wstring& program, const std::wstring& arguments)>;

// The first rule that fits counts, then the lab's own programs.
class LabProcesses final : public Processes {
  public:
    LabProcesses(std::vector<ProgramRule> rules, std::shared_ptr<Clock> clock, LabPrograms programs = {})
        : rules_(std::move(rules)), clock_(std::move(clock)), programs_(std::move(programs)) {}
    Result<std::optional<int>> run(const std::wstring& program, const std::wstring& arguments) override;

  private:
    std::vector<ProgramRule> rules_;
    std::shared_ptr<Clock> clock_;
    LabPrograms programs_;
};

}  // namespace wsadmin::platform::lab
