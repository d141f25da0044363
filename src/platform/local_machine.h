// Ports to this machine: its names, environment, folders, registry and programs. All calls may come from any
// thread.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "framework/core/corelock.h"
#include "framework/core/corestring.h"
#include "platform/result.h"

namespace wsadmin::platform {

class ComputerNames {
  public:
    virtual ~ComputerNames() = default;
    virtual Result<std::wstring> netBios() const = 0;
    virtual Result<std::wstring> dnsFullyQualified() const = 0;
};

// The environment variables of this process.
class Environment {
  public:
    virtual ~Environment() = default;
    // Nothing where the variable is not set. Case does not count where it does not count to the system.
    virtual Result<std::optional<std::wstring>> variable(std::wstring_view name) const = 0;
};

class Guids {
  public:
    virtual ~Guids() = default;
    // A new GUID in lower case, without braces.
    virtual Result<std::wstring> next() = 0;
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

class Processes {
  public:
    virtual ~Processes() = default;
    // Starts the program with these arguments, one text as command lines have them, with no console and
    // without handles of this process, and waits until it ends, however long that takes: an installation that
    // is cut short leaves half a directory. Answers the exit code, nothing where it cannot be read. Failure:
    // the program could not be started.
    virtual Result<std::optional<int>> run(const std::wstring& program, const std::wstring& arguments) = 0;
};

// The system's command interpreter.
class CommandInterpreter {
  public:
    virtual ~CommandInterpreter() = default;
    // Hands the line, UTF-8, to the interpreter as it is, with no quotation mark added or taken away, and
    // waits until it ends. Answers its exit status. Failure: the C runtime's error number. When `stop` is set
    // the wait ends with a failure (ECANCELED), and a command that runs is left to finish, because a change
    // that is cut short would leave half a rule. No copy of the line stays in this process's memory.
    virtual Result<int> run(const CORE::secretstring& line, const CORE::coreevent* stop) = 0;
};

}  // namespace wsadmin::platform
