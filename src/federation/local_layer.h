// This server's instance of the global layer, the directory that the pods of a federation share: its names,
// the paths of its entries, and whether it is there.
#pragma once

#include <string>

#include "platform/platform.h"

namespace wsadmin::qrv {

inline constexpr wchar_t instanceName[] = L"TalvexHDQDSG";
inline constexpr wchar_t ldapPort[] = L"22389";
inline constexpr wchar_t tlsPort[] = L"22636";
inline constexpr wchar_t productKey[] = L"HKLM\\Software\\Talvex, Inc.\\Talvex HDQ";

// This server as a tool is given it, without brackets: "127.0.0.1" or "::1".
std::wstring loopbackHost(const platform::Platform& platform);
// Paths of entries of this server's configuration directory and of its instance of the global layer. A name
// that is empty leads nowhere; "RootDSE" is one.
std::string localPath(const platform::Platform& platform, std::string_view dn);
std::string globalPath(const platform::Platform& platform, std::string_view dn);
// This server, and host and port of its instance of the global layer, as in a URL.
std::string loopbackInUrl(const platform::Platform& platform);
std::string globalAddress(const platform::Platform& platform);

// The instance of any server of the federation, as replication addresses it, and a path of an entry there.
std::wstring instanceAddress(std::wstring_view host);
std::string instancePath(std::string_view host, std::string_view dn);

std::wstring dataFolder(const platform::Platform& platform);
// Whether there is a file of that path. A failure is logged.
Result<bool> fileExists(const platform::Platform& platform, const std::wstring& path);
// Whether this server has an instance: its database file tells, and nothing else. A failure is logged.
Result<bool> layerExists(const platform::Platform& platform);

// A path that begins with a variable of the environment, as "%WINDIR%\adam" does; a variable that is not
// known stays as it is written.
std::wstring expanded(const platform::Platform& platform, std::wstring_view path);
// A value below the product's key as text, the fallback where there is none.
Result<std::wstring> productValue(const platform::Platform& platform, std::wstring_view name,
                                  std::wstring_view fallback = {});

}  // namespace wsadmin::qrv
