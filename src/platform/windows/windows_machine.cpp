// Folders of this machine, and the parts that it consists of.
#include "platform/windows/windows_machine.h"

#include "platform/windows/system_failure.h"
// After the platform's base headers:
#include <shlobj.h>

#include <array>

#include "platform/portable/agent_channels.h"
#include "platform/portable/computer_names.h"
#include "platform/portable/process_surroundings.h"
#include "platform/portable/system_clock.h"
#include "platform/portable/tcp_probe.h"
#include "platform/windows/windows_accounts.h"
#include "platform/windows/windows_platform.h"

namespace wsadmin::platform::windows {

namespace {

int shellFolderOf(Folder folder) noexcept {
    switch (folder) {
        case Folder::commonAppData:
            return CSIDL_COMMON_APPDATA;
        case Folder::programFiles:
            return CSIDL_PROGRAM_FILES;
        default:
            return CSIDL_LOCAL_APPDATA;
    }
}

class RealFolders final : public Folders {
  public:
    Result<std::wstring> get(Folder folder) const override {
        std::array<wchar_t, MAX_PATH> path{};
        SetLastError(ERROR_PATH_NOT_FOUND);  // the call does not always set an error
        if (!SHGetSpecialFolderPathW(nullptr, path.data(), shellFolderOf(folder), TRUE))
            return fail(lastFailure());
        return std::wstring(path.data());
    }
    Result<std::wstring> windowsDirectory() const override {
        std::array<wchar_t, MAX_PATH> path{};
        const UINT length = GetWindowsDirectoryW(path.data(), static_cast<UINT>(path.size()));
        if (length == 0) return fail(lastFailure());
        if (length >= path.size()) return fail(systemFailure(ERROR_INSUFFICIENT_BUFFER));
        return std::wstring(path.data(), length);
    }
};

}  // namespace

std::shared_ptr<Folders> makeFolders() {
    return std::make_shared<RealFolders>();
}

std::shared_ptr<Platform> makePlatform() {
    auto platform = std::make_shared<Platform>();
    platform->ldap = makeLdapClient();
    platform->directoryServices = makeDirectoryServices();
    platform->names = makeComputerNames();
    platform->environment = makeEnvironment();
    platform->guids = makeGuids();
    platform->folders = makeFolders();
    platform->files = makeFiles();
    platform->registry = makeRegistry();
    platform->processes = makeProcesses();
    platform->clock = makeSystemClock();
    platform->network = makeTcpProbe();
    platform->accounts = makeAccountAuthority();
    platform->filtering = makeFiltering();
    platform->firewall = makeFirewall();
    platform->commands = makeCommandInterpreter();
    platform->services = makeServiceControl();
    platform->replication = makeReplication();
    platform->agents = makeAgentChannels();
    platform->save = [] { return Result<void>(); };
    return platform;
}

}  // namespace wsadmin::platform::windows
