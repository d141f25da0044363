// Lines for the command interpreter.
#include <array>
#include <cerrno>

#include "platform/windows/system_failure.h"
#include "platform/windows/wide_secret.h"
#include "platform/windows/windows_machine.h"

namespace wsadmin::platform::windows {

namespace {

constexpr DWORD stopPollInterval = 20;  // milliseconds

// As the C runtime's functions that start programs tell their failures.
int runtimeError(DWORD error) noexcept {
    switch (error) {
        case ERROR_FILE_NOT_FOUND:
        case ERROR_PATH_NOT_FOUND:
            return ENOENT;
        case ERROR_ACCESS_DENIED:
            return EACCES;
        case ERROR_NOT_ENOUGH_MEMORY:
        case ERROR_OUTOFMEMORY:
            return ENOMEM;
        default:
            return EINVAL;
    }
}

auto commandFailure(DWORD error) {
    return fail(runtimeError(error), systemFailure(error).text);
}

// By its full path: a search would find a program of that name in other folders first.
Result<std::wstring> interpreterPath() {
    std::array<wchar_t, MAX_PATH> folder{};
    const UINT length = GetSystemDirectoryW(folder.data(), static_cast<UINT>(folder.size()));
    if (length == 0 || length >= folder.size()) return commandFailure(ERROR_PATH_NOT_FOUND);
    return std::wstring(folder.data(), length) + L"\\cmd.exe";
}

Result<UniqueHandle> startInterpreter(const CORE::secretstring& line) {
    const auto path = interpreterPath();
    if (!path) return fail(path.error());
    CORE::secretstring whole("CMD /C ");
    whole.append(line.view());
    WideSecret command(whole.view());
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION process{};
    if (!CreateProcessW(path->c_str(), command.text().data(), nullptr, nullptr, FALSE, CREATE_NO_WINDOW,
                        nullptr, nullptr, &startup, &process))
        return commandFailure(GetLastError());
    CloseHandle(process.hThread);
    return UniqueHandle(process.hProcess);
}

class RealCommands final : public CommandInterpreter {
  public:
    Result<int> run(const CORE::secretstring& line, const CORE::coreevent* stop) override {
        const auto process = startInterpreter(line);
        if (!process) return fail(process.error());
        DWORD waited = WAIT_TIMEOUT;
        while (waited == WAIT_TIMEOUT) {
            if (stop && stop->isSet()) return fail(ECANCELED, L"The service is stopping");
            waited = WaitForSingleObject(process->get(), stopPollInterval);
        }
        DWORD status = 0;
        if (waited != WAIT_OBJECT_0 || !GetExitCodeProcess(process->get(), &status))
            return commandFailure(GetLastError());
        return static_cast<int>(status);
    }
};

}  // namespace

std::shared_ptr<CommandInterpreter> makeCommandInterpreter() {
    return std::make_shared<RealCommands>();
}

}  // namespace wsadmin::platform::windows
