// Running programs.
#include <algorithm>
#include <array>
#include <optional>

#include "platform/windows/system_failure.h"
#include "platform/windows/windows_machine.h"

namespace wsadmin::platform::windows {

namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr milliseconds pollInterval{20};  // of output and stop event, while the program writes nothing
constexpr DWORD pipeSize = 1 << 16;
constexpr UINT terminatedExitCode = 1;

// One argument as CommandLineToArgvW and the runtime libraries read it back.
void appendArgument(std::wstring& line, std::wstring_view argument) {
    if (!line.empty()) line += L' ';
    if (!argument.empty() && argument.find_first_of(L" \t\n\v\"") == std::wstring_view::npos) {
        line += argument;
        return;
    }
    line += L'"';
    std::size_t backslashes = 0;
    for (const wchar_t c : argument) {
        // Backslashes count only before a quote: there each of them, and the quote, needs one more.
        if (c == L'"') line.append(backslashes + 1, L'\\');
        backslashes = c == L'\\' ? backslashes + 1 : 0;
        line += c;
    }
    line.append(backslashes, L'\\');
    line += L'"';
}

bool isBatchFile(std::wstring_view program) {
    while (program.ends_with(L' ') || program.ends_with(L'.'))
        program.remove_suffix(1);  // as the system does
    if (program.size() < 4) return false;
    const std::wstring_view suffix = program.substr(program.size() - 4);
    return CORE::equalFolded(suffix, L".bat") || CORE::equalFolded(suffix, L".cmd");
}

// The attribute list that lets a new process inherit the given handles and no others.
class InheritedHandles {
  public:
    explicit InheritedHandles(std::vector<HANDLE> handles) : handles_(std::move(handles)) {
        SIZE_T size = 0;
        InitializeProcThreadAttributeList(nullptr, 1, 0, &size);
        storage_.resize(size);
        made_ = InitializeProcThreadAttributeList(list(), 1, 0, &size) != 0;
        good_ =
            made_ && UpdateProcThreadAttribute(list(), 0, PROC_THREAD_ATTRIBUTE_HANDLE_LIST, handles_.data(),
                                               handles_.size() * sizeof(HANDLE), nullptr, nullptr) != 0;
    }
    ~InheritedHandles() {
        if (made_) DeleteProcThreadAttributeList(list());
    }
    InheritedHandles(const InheritedHandles&) = delete;
    InheritedHandles& operator=(const InheritedHandles&) = delete;
    bool good() const noexcept { return good_; }
    LPPROC_THREAD_ATTRIBUTE_LIST list() noexcept {
        return reinterpret_cast<LPPROC_THREAD_ATTRIBUTE_LIST>(storage_.data());
    }

  private:
    std::vector<HANDLE> handles_;
    std::vector<char> storage_;
    bool made_ = false;
    bool good_ = false;
};

// A started program: its process, its job and the reading end of its output.
struct Started {
    UniqueHandle process;
    UniqueHandle job;
    UniqueHandle output;
};

Result<Started> start(const ProcessRequest& request, std::wstring line) {
    SECURITY_ATTRIBUTES inheritable{sizeof inheritable, nullptr, TRUE};
    HANDLE readEnd = nullptr;
    HANDLE writeEnd = nullptr;
    if (!CreatePipe(&readEnd, &writeEnd, &inheritable, pipeSize)) return fail(lastFailure());
    Started started;
    started.output.reset(readEnd);
    const UniqueHandle toPipe(writeEnd);
    const UniqueHandle input = validHandle(CreateFileW(
        L"NUL", GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, &inheritable, OPEN_EXISTING, 0, nullptr));
    if (!input) return fail(lastFailure());
    started.job.reset(CreateJobObjectW(nullptr, nullptr));
    InheritedHandles inherited({writeEnd, input.get()});
    if (!started.job || !inherited.good()) return fail(lastFailure());

    STARTUPINFOEXW startup{};
    startup.StartupInfo.cb = sizeof startup;
    startup.StartupInfo.dwFlags = STARTF_USESTDHANDLES;
    startup.StartupInfo.hStdInput = input.get();
    startup.StartupInfo.hStdOutput = writeEnd;
    startup.StartupInfo.hStdError = writeEnd;
    startup.lpAttributeList = inherited.list();
    const wchar_t* folder = request.workingDirectory.empty() ? nullptr : request.workingDirectory.c_str();
    // Suspended, so that it is in the job before it can start anything.
    constexpr DWORD flags = CREATE_NO_WINDOW | CREATE_SUSPENDED | EXTENDED_STARTUPINFO_PRESENT;
    PROCESS_INFORMATION process{};
    if (!CreateProcessW(nullptr, line.data(), nullptr, nullptr, TRUE, flags, nullptr, folder,
                        &startup.StartupInfo, &process))
        return fail(lastFailure());
    started.process.reset(process.hProcess);
    const UniqueHandle thread(process.hThread);
    if (!AssignProcessToJobObject(started.job.get(), process.hProcess) ||
        ResumeThread(process.hThread) == static_cast<DWORD>(-1)) {
        const Failure failure = lastFailure();
        TerminateProcess(process.hProcess, terminatedExitCode);
        return fail(failure);
    }
    return started;
}

// Takes what the pipe holds now: whether there was anything.
bool readOutput(HANDLE pipe, std::string& output) {
    bool any = false;
    DWORD waiting = 0;
    while (PeekNamedPipe(pipe, nullptr, 0, nullptr, &waiting, nullptr) && waiting > 0) {
        std::array<char, pipeSize> buffer;
        DWORD count = 0;
        if (!ReadFile(pipe, buffer.data(), std::min<DWORD>(waiting, pipeSize), &count, nullptr) || count == 0)
            break;
        output.append(buffer.data(), count);
        any = true;
    }
    return any;
}

Result<ProcessOutcome> finish(const Started& started, const ProcessRequest& request) {
    ProcessOutcome outcome;
    const auto begin = steady_clock::now();
    bool ending = false;
    while (true) {
        const bool read = readOutput(started.output.get(), outcome.output);
        const DWORD waited =
            WaitForSingleObject(started.process.get(), read ? 0 : DWORD{pollInterval.count()});
        if (waited == WAIT_OBJECT_0) break;
        if (waited == WAIT_FAILED) return fail(lastFailure());
        if (ending) continue;
        outcome.stopped = request.stop && request.stop->isSet();
        outcome.timedOut =
            !outcome.stopped && request.timeout.count() > 0 && steady_clock::now() - begin >= request.timeout;
        ending = outcome.stopped || outcome.timedOut;
        if (ending && !TerminateJobObject(started.job.get(), terminatedExitCode)) return fail(lastFailure());
    }
    // A background process may keep the pipe open; it is not waited for.
    readOutput(started.output.get(), outcome.output);
    DWORD code = 0;
    if (!GetExitCodeProcess(started.process.get(), &code)) return fail(lastFailure());
    outcome.exitCode = static_cast<int>(code);
    return outcome;
}

class RealProcesses final : public Processes {
  public:
    Result<ProcessOutcome> run(const ProcessRequest& request) override {
        const auto hasNul = [](const std::wstring& word) { return word.find(L'\0') != std::wstring::npos; };
        if (request.program.empty() || request.program.find(L'"') != std::wstring::npos ||
            hasNul(request.program) || hasNul(request.workingDirectory) ||
            std::any_of(request.arguments.begin(), request.arguments.end(), hasNul))
            return fail(systemFailure(ERROR_INVALID_PARAMETER));
        if (isBatchFile(request.program)) return fail(systemFailure(ERROR_BAD_EXE_FORMAT));
        // Always in quotes: a blank in an unquoted path would make the system look for other programs first.
        std::wstring line = L'"' + request.program + L'"';
        for (const std::wstring& argument : request.arguments) appendArgument(line, argument);
        const auto started = start(request, std::move(line));
        if (!started) return fail(started.error());
        return finish(*started, request);
    }
};

}  // namespace

std::shared_ptr<Processes> makeProcesses() {
    return std::make_shared<RealProcesses>();
}

}  // namespace wsadmin::platform::windows
