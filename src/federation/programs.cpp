#include "federation/programs.h"

#include "federation/local_layer.h"
#include "platform/module/module_log.h"

namespace wsadmin::qrv {

namespace {

// What stands in quotation marks in a command line must not end them.
bool staysQuoted(const std::wstring& path) {
    return path.find_first_of(std::wstring_view(L"\"%\r\n\0", 5)) == path.npos;
}

// The line for the interpreter, which takes its first and its last quotation mark away.
std::wstring importLine(const platform::Platform& platform, const std::wstring& tool,
                        const std::wstring& file) {
    return L"\"\"" + tool + L"\" -i -f \"" + file + L"\" -z -s " + loopbackHost(platform) + L" -t " +
           ldapPort + L" -c \"cn=configuration,dc=x\" \"#configurationNamingContext\" > NUL\"";
}

}  // namespace

Result<std::wstring> makeTempFile(platform::Platform& platform) {
    const auto folder = platform.files->temporaryFolder();
    if (!folder) {
        logWarning(L"Unable to determine temporary folder path");
        return fail(folder.error());
    }
    auto file = platform.files->makeTemporary(*folder, L"qrv");
    if (file)
        logDebug(L"Temporary path: %s", *file);
    else
        logWarning(L"Unable to create temporary file under %s", *folder);
    return file;
}

int runProgram(platform::Platform& platform, const std::wstring& program, const std::wstring& arguments) {
    logVerbose(L"Running: %s", L"\"" + program + L"\" " + arguments);
    const auto ended = platform.processes->run(program, arguments);
    if (!ended) return 1;
    if (!*ended) logWarning(L"Unable to get exit code for %s", program);
    return ended->value_or(1);
}

Result<void> importLdif(platform::Platform& platform, const std::wstring& file) {
    const std::wstring tool = expanded(platform, ldifTool);
    for (const std::wstring& path : {tool, file})
        if (!fileExists(platform, path).value_or(false))
            return fail(L"Failed to load LDIF file - " + path + L" not found");
    const auto failed = [&] { return fail(L"LDIF import command failed for - " + file); };
    if (!staysQuoted(tool) || !staysQuoted(file)) {
        logError(L"The path \"%s\" or \"%s\" cannot stand in a command line", tool, file);
        return failed();
    }
    const std::wstring line = importLine(platform, tool, file);
    logInfo(L"Importing LDIF file \"%ws\"", file);
    logInfo(L"Running %ws", line);
    const auto status = platform.commands
                            ? platform.commands->run(CORE::secretstring(CORE::toUtf8(line)), nullptr)
                            : Result<int>(fail(L"This machine has no command interpreter"));
    if (!status) logWarning(L"Unable to run the LDIF import command: %s", status.error().text);
    if (const int exit = status.value_or(1); exit != 0) {
        logWarning(L"LDIF import command failed - exit status %d", exit);
        return failed();
    }
    logInfo(L"LDIF import command completed successfully");
    return {};
}

}  // namespace wsadmin::qrv
