// Temporary files, programs and LDIF imports of the federation's operations. Programs are waited for without
// a limit, also while the service stops. What fails is logged.
#pragma once

#include <string>
#include <string_view>

#include "platform/platform.h"

namespace wsadmin::qrv {

inline constexpr std::wstring_view ldifTool = L"%WINDIR%\\system32\\ldifde.exe";

// A new and empty temporary file; answers its path. It stays until somebody clears the temporary folder.
Result<std::wstring> makeTempFile(platform::Platform& platform);

// The program's exit code; 1 where it could not be started or its exit code cannot be read.
int runProgram(platform::Platform& platform, const std::wstring& program, const std::wstring& arguments);

// Imports an LDIF file into this server's instance of the global layer. Failure: a sentence with the path.
Result<void> importLdif(platform::Platform& platform, const std::wstring& file);

}  // namespace wsadmin::qrv
