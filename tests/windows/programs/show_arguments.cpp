// Writes its arguments but the first, in brackets and as often as the first says, as the runtime library read
// them from the command line.
#include <windows.h>

#include <fcntl.h>
#include <io.h>

#include <cstdio>
#include <cwchar>
#include <string>

int wmain(int count, wchar_t** arguments) {
    _setmode(_fileno(stdout), _O_BINARY);
    std::string text;
    for (int i = 2; i < count; ++i) {
        const std::wstring argument = arguments[i];
        const int size = static_cast<int>(argument.size());
        std::string utf8(argument.size() * 4, '\0');
        const int bytes = WideCharToMultiByte(CP_UTF8, 0, argument.c_str(), size, utf8.data(),
                                              static_cast<int>(utf8.size()), nullptr, nullptr);
        text += '[' + utf8.substr(0, static_cast<std::size_t>(bytes)) + ']';
    }
    for (int times = count > 1 ? std::stoi(arguments[1]) : 0; times > 0; --times)
        if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size()) return 1;
    return 0;
}
