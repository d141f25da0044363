// Ports to this machine: its names, folders, registry and programs. All calls may come from any thread.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "framework/core/corelock.h"
#include "platform/result.h"

namespace wsadmin::platform {

class ComputerNames {
  public:
    virtual ~ComputerNames() = default;
    virtual Result<std::wstring> netBios() const = 0;
    virtual Result<std::wstring> dnsFullyQualified() const = 0;
};

enum class Folder { commonAppData, localAppData, programFiles };

class Folders {
  public:
    virtual ~Folders() = default;
    // The folder's path, created if missing. Failure: the system's code.
    virtual Result<std::wstring> get(Folder folder) const = 0;
    virtual Result<std::wstring> windowsDirectory() const = 0;
};

using RegistryData =
    std::variant<std::uint32_t, std::wstring, std::vector<std::wstring>, std::vector<std::uint8_t>>;

// Keys are written "HKLM\Software\...", without regard to case.
class Registry {
  public:
    virtual ~Registry() = default;
    virtual Result<std::optional<RegistryData>> read(std::wstring_view key,
                                                     std::wstring_view value) const = 0;
    virtual Result<void> write(std::wstring_view key, std::wstring_view value, const RegistryData& data) = 0;
    virtual Result<void> remove(std::wstring_view key,
                                std::wstring_view value) = 0;  // absent: nothing happens
    virtual Result<std::vector<std::pair<std::wstring, RegistryData>>> values(
        std::wstring_view key) const = 0;
};

// A program to run: each argument is one argument, whatever it holds; no shell is between.
struct ProcessRequest {
    std::wstring program;
    std::vector<std::wstring> arguments;
    std::wstring workingDirectory;          // empty: the current one
    std::chrono::milliseconds timeout{0};   // 0: none
    const CORE::coreevent* stop = nullptr;  // ends the program early when set
};

struct ProcessOutcome {
    int exitCode = 0;
    std::string output;  // standard output and error, as written
    bool timedOut = false;
    bool stopped = false;
};

class Processes {
  public:
    virtual ~Processes() = default;
    virtual Result<ProcessOutcome> run(const ProcessRequest& request) = 0;
};

}  // namespace wsadmin::platform
