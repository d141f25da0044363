// Lines for the command interpreter.
#include <array>
#include <cerrno>

#include "framework/core/running_program.h"
#include "platform/windows/system_failure.h"
#include "platform/windows/wide_secret.h"
#include "platform/windows/windows_machine.h"

namespace wsadmin::platform::windows {

namespace {

constexpr DWORD stopPollInterval = 20;     // milliseconds
constexpr std::size_t longestLine = 8191;  // characters that the interpreter takes

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

using FolderQuestion = UINT(WINAPI*)(wchar_t*, UINT);

Result<std::wstring> folderOf(FolderQuestion question) {
    std::array<wchar_t, MAX_PATH> folder{};
    const UINT length = question(folder.data(), static_cast<UINT>(folder.size()));
    if (length == 0 || length >= folder.size()) return commandFailure(ERROR_PATH_NOT_FOUND);
    return std::wstring(folder.data(), length);
}

// The interpreter by its full path, because a search finds a program of that name in other folders first. It
// starts in the folder of Windows, because it looks for "netsh" in its current folder before all others, and
// nobody but an administrator can put a program there.
Result<UniqueHandle> startInterpreter(const CORE::secretstring& line) {
    const auto system = folderOf(GetSystemDirectoryW);
    const auto windows = folderOf(GetSystemWindowsDirectoryW);
    if (!system || !windows) return fail((system ? windows : system).error());
    CORE::secretstring whole("CMD /C ");
    whole.append(line.view());
    WideSecret command(whole.view());
    // Whatever follows these, or is longer, the interpreter would not run.
    constexpr std::wstring_view lineEnds(L"\r\n\0", 3);
    if (command.text().find_first_of(lineEnds) != std::wstring::npos || command.text().size() > longestLine)
        return commandFailure(ERROR_INVALID_PARAMETER);
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION process{};
    if (!CreateProcessW((*system + L"\\cmd.exe").c_str(), command.text().data(), nullptr, nullptr, FALSE,
                        CREATE_NO_WINDOW, nullptr, windows->c_str(), &startup, &process))
        return commandFailure(GetLastError());
    CloseHandle(process.hThread);
    return UniqueHandle(process.hProcess);
}

class RealCommands final : public CommandInterpreter {
  public:
    Result<int> run(const CORE::secretstring& line, const CORE::coreevent* stop) override {
        const auto process = startInterpreter(line);
        if (!process) return fail(process.error());
        const CORE::RunningProgram named(L"CMD");
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
