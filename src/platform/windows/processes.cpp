// Running programs.
#include "framework/core/running_program.h"
#include "platform/windows/system_failure.h"
#include "platform/windows/windows_machine.h"

namespace wsadmin::platform::windows {

namespace {

class RealProcesses final : public Processes {
  public:
    Result<std::optional<int>> run(const std::wstring& program, const std::wstring& arguments) override {
        const auto cannotStand = [](const std::wstring& text, wchar_t c) {
            return text.find(c) != text.npos;
        };
        if (program.empty() || cannotStand(program, L'"') || cannotStand(program + arguments, L'\0'))
            return fail(systemFailure(ERROR_INVALID_PARAMETER));
        // In quotes: a blank in an unquoted path would make the system look for other programs first.
        std::wstring line = L'"' + program + L"\" " + arguments;
        STARTUPINFOW startup{};
        startup.cb = sizeof startup;
        PROCESS_INFORMATION started{};
        if (!CreateProcessW(nullptr, line.data(), nullptr, nullptr, FALSE, DETACHED_PROCESS, nullptr, nullptr,
                            &startup, &started))
            return fail(lastFailure());
        const UniqueHandle process(started.hProcess), thread(started.hThread);
        const CORE::RunningProgram named(program);
        DWORD code = 0;
        if (WaitForSingleObject(process.get(), INFINITE) != WAIT_OBJECT_0 ||
            !GetExitCodeProcess(process.get(), &code))
            return std::nullopt;
        return static_cast<int>(code);
    }
};

}  // namespace

std::shared_ptr<Processes> makeProcesses() {
    return std::make_shared<RealProcesses>();
}

}  // namespace wsadmin::platform::windows
