// Folders of this machine, and the parts that it consists of.
#include "platform/posix/posix_machine.h"

#include <pwd.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <filesystem>

#include "platform/portable/agent_channels.h"
#include "platform/portable/computer_names.h"
#include "platform/portable/memory_registry.h"
#include "platform/portable/process_surroundings.h"
#include "platform/portable/system_clock.h"
#include "platform/portable/tcp_probe.h"
#include "platform/posix/posix_platform.h"
#include "platform/posix/system_failure.h"

namespace wsadmin::platform::posix {

namespace {

std::filesystem::path absoluteFromEnvironment(const char* variable) {
    const char* value =
        std::getenv(variable);  // NOLINT(concurrency-mt-unsafe): nothing here changes the environment
    return value && *value == '/' ? value : "";
}

std::filesystem::path homeFolder() {
    if (auto home = absoluteFromEnvironment("HOME"); !home.empty()) return home;
    passwd entry{};
    passwd* found = nullptr;
    std::array<char, 16384> texts{};
    if (getpwuid_r(getuid(), &entry, texts.data(), texts.size(), &found) != 0 || !found) return {};
    return entry.pw_dir;
}

std::filesystem::path pathOf(Folder folder) {
    switch (folder) {
        case Folder::commonAppData:
            return "/var/lib";
        case Folder::programFiles:
            return "/opt";
        default: {
            if (auto data = absoluteFromEnvironment("XDG_DATA_HOME"); !data.empty()) return data;
            const auto home = homeFolder();
            return home.empty() ? home : home / ".local/share";
        }
    }
}

class RealFolders final : public Folders {
  public:
    Result<std::wstring> get(Folder folder) const override {
        const std::filesystem::path path = pathOf(folder);
        if (path.empty()) return fail(systemFailure(ENOENT));
        std::error_code error;
        std::filesystem::create_directories(path, error);
        if (error) return fail(systemFailure(error.value()));
        return CORE::toWide(path.native());
    }
    Result<std::wstring> windowsDirectory() const override { return fail(systemFailure(ENOENT)); }
};

}  // namespace

std::shared_ptr<Folders> makeFolders() {
    return std::make_shared<RealFolders>();
}

std::shared_ptr<Platform> makePlatform() {
    auto platform = std::make_shared<Platform>();
    platform->ldap = makeLdapClient();
    platform->names = makeComputerNames();
    platform->environment = makeEnvironment();
    platform->guids = makeGuids();
    platform->folders = makeFolders();
    platform->files = makeFiles();
    platform->registry = std::make_shared<MemoryRegistry>();
    platform->processes = makeProcesses();
    platform->clock = makeSystemClock();
    platform->network = makeTcpProbe();
    platform->agents = makeAgentChannels();
    platform->save = [] { return Result<void>(); };
    return platform;
}

}  // namespace wsadmin::platform::posix
