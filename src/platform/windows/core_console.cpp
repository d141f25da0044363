#include "platform/windows/handles.h"
// After the platform's base headers:
#include <fcntl.h>
#include <io.h>
#include <shellapi.h>

#include <array>
#include <cstdio>
#include <string>

#include "framework/core/console.h"

namespace CORE {

namespace {

constexpr DWORD longestLine = 4096;

using wsadmin::platform::windows::UniqueHandle;
using wsadmin::platform::windows::UniqueLocal;
using wsadmin::platform::windows::validHandle;

UniqueHandle openConsole(const wchar_t* name) {
    return validHandle(CreateFileW(name, GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                   nullptr, OPEN_EXISTING, 0, nullptr));
}

void show(void* console, std::wstring_view text) {
    DWORD written = 0;
    WriteConsoleW(console, text.data(), static_cast<DWORD>(text.size()), &written, nullptr);
}

}  // namespace

ProgramArguments programArguments(int, char**) {
    ProgramArguments arguments;
    int count = 0;
    const UniqueLocal<wchar_t*> words(CommandLineToArgvW(GetCommandLineW(), &count));
    for (int i = 1; words && i < count; ++i) {
        const std::wstring_view word = words.get()[i];
        arguments.values.push_back(toUtf8(word));
        // A half of a pair does not survive the way there and back.
        if (arguments.invalid == 0 && toWide(arguments.values.back()) != word)
            arguments.invalid = static_cast<std::size_t>(i);
    }
    return arguments;
}

void prepareStandardStreams() {
    for (FILE* stream : {stdin, stdout, stderr}) _setmode(_fileno(stream), _O_BINARY);
    SetConsoleOutputCP(CP_UTF8);
    SetConsoleCP(CP_UTF8);
}

bool standardErrorIsTerminal() noexcept {
    DWORD mode = 0;  // only a console has one
    return GetConsoleMode(GetStdHandle(STD_ERROR_HANDLE), &mode) != 0;
}

std::optional<secretstring> readUnseenLine(std::string_view prompt) {
    const UniqueHandle input = openConsole(L"CONIN$");
    const UniqueHandle output = openConsole(L"CONOUT$");
    DWORD before = 0;
    if (!input || !output || !GetConsoleMode(input.get(), &before)) return std::nullopt;
    if (!SetConsoleMode(input.get(), (before | ENABLE_LINE_INPUT) & ~DWORD{ENABLE_ECHO_INPUT}))
        return std::nullopt;

    show(output.get(), toWide(prompt));
    std::array<wchar_t, longestLine> buffer{};
    DWORD length = 0;
    const BOOL answered = ReadConsoleW(input.get(), buffer.data(), longestLine, &length, nullptr);
    SetConsoleMode(input.get(), before);
    show(output.get(), L"\r\n");

    std::optional<secretstring> line;
    if (answered && length > 0) {
        std::wstring_view text(buffer.data(), length);
        while (text.ends_with(L'\n') || text.ends_with(L'\r')) text.remove_suffix(1);
        std::string utf8 = toUtf8(text);
        line.emplace(utf8);
        wipeMemory(utf8.data(), utf8.size());
    }
    wipeMemory(buffer.data(), sizeof buffer);
    return line;
}

}  // namespace CORE
