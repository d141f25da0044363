// Makes the platform that the start-up bag asks for. The only place that knows the adapters.
#include "platform/factory/configuration.h"
#include "platform/factory/paths.h"
#include "platform/factory/routed_ldap_client.h"
#include "platform/lab/lab_platform.h"
#include "platform/platform.h"

#if defined(_WIN32)
#include "platform/windows/windows_platform.h"
#else
#include "platform/posix/posix_platform.h"
#endif

namespace wsadmin::platform {

namespace {

#if defined(_WIN32)
using windows::makePlatform;
#else
using posix::makePlatform;
#endif

Result<std::shared_ptr<Platform>> makeLab(std::string_view folder, bool save) {
    auto lab = lab::openLab(pathOf(folder));
    if (lab && !save) (*lab)->save = [] { return Result<void>(); };
    return lab;
}

Result<std::shared_ptr<Platform>> makeConfigured(std::string_view file) {
    auto configuration = readConfiguration(pathOf(file));
    if (!configuration) return fail(configuration.error());
    auto platform = makePlatform();
    platform->ldap = makeRoutedLdapClient(platform->ldap, std::move(*configuration));
    return platform;
}

}  // namespace

Result<std::shared_ptr<Platform>> createPlatform(const CORE::PropertyBag& startup) {
    const std::string_view folder = startup.utf8(labFolderKey);
    const std::string_view file = startup.utf8(configurationKey);
    if (!folder.empty() && !file.empty())
        return fail(1, L"A lab and a configuration file exclude each other");
    if (!folder.empty()) return makeLab(folder, startup.getBool(labSaveKey));
    if (!file.empty()) return makeConfigured(file);
    return makePlatform();
}

}  // namespace wsadmin::platform
