// Makes the platform that the start-up bag asks for. The only place that knows the adapters.
#include "platform/factory/configuration.h"
#include "platform/factory/paths.h"
#include "platform/factory/reusing_ldap_client.h"
#include "platform/factory/routed_ldap_client.h"
#include "platform/lab/lab_platform.h"
#include "platform/ldap/ldap_request.h"
#include "platform/platform.h"
#include "platform/portable/portable_directory.h"
#include "platform/portable/process_surroundings.h"

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

// The machine's folders, with another one for all users' data.
class FoldersWithData final : public Folders {
  public:
    FoldersWithData(std::shared_ptr<Folders> folders, std::wstring data)
        : folders_(std::move(folders)), data_(std::move(data)) {}
    Result<std::wstring> get(Folder folder) const override {
        return folder == Folder::commonAppData ? data_ : folders_->get(folder);
    }
    Result<std::wstring> windowsDirectory() const override { return folders_->windowsDirectory(); }

  private:
    std::shared_ptr<Folders> folders_;
    std::wstring data_;
};

// The machine's own domain: what follows its name.
std::string domainOf(const Platform& machine) {
    const auto name = machine.names->dnsFullyQualified();
    const auto dot = name ? name->find(L'.') : std::wstring::npos;
    return dot == std::wstring::npos ? std::string() : CORE::toUtf8(name->substr(dot + 1));
}

// With the portable directory services, accounts are looked up in the directories too.
std::shared_ptr<Platform> withPortableDirectory(std::shared_ptr<Platform> platform, std::string domain) {
    if (domain.empty()) domain = domainOf(*platform);
    platform->directoryServices = makePortableDirectoryServices(platform->ldap, std::move(domain));
    platform->accounts = nullptr;
    return platform;
}

// As ADSI does, the portable directory services keep their connections; a lab has none to keep.
std::shared_ptr<Platform> withReusedConnections(std::shared_ptr<Platform> platform, std::string domain) {
    platform->ldap = makeReusingLdapClient(platform->ldap, platform->clock);
    return withPortableDirectory(std::move(platform), std::move(domain));
}

Result<std::shared_ptr<Platform>> makeLab(std::string_view folder, std::string_view machine, bool save) {
    auto lab = lab::openLab(pathOf(folder), save ? lab::Changes::saved : lab::Changes::dropped, machine);
    if (!lab) return lab;
    return withPortableDirectory(std::move(*lab), {});
}

// Whether the platform's own directory services (ADSI) are kept. They ignore the routes of a configuration,
// so routes select the portable ones unless the file says otherwise.
bool keepsOwnDirectoryServices(const Platform& platform, const Configuration& configuration) {
    using Kind = DirectoryServicesKind;
    if (!platform.directoryServices || configuration.directoryServices == Kind::portable) return false;
    return configuration.directoryServices == Kind::adsi || configuration.routes.empty();
}

std::string directoryAccountOf(const Configuration& configuration) {
    for (const DirectoryRoute& route : configuration.routes)
        if (route.askedHost.empty() && route.askedPort == configurationDirectoryPort)
            return route.credentials ? accountOf(*route.credentials) : std::string();
    return {};
}

Result<std::shared_ptr<Platform>> makeConfigured(std::string_view file) {
    auto configuration = readConfiguration(pathOf(file));
    if (!configuration) return fail(configuration.error());
    auto platform = makePlatform();
    platform->processAccount = CORE::toWide(configuration->processAccount);
    platform->directoryAccount = CORE::toWide(directoryAccountOf(*configuration));
    platform->installation = configuration->installation;
    platform->environment = makeEnvironment(std::move(configuration->process.environment));
    platform->guids = makeGuids(std::move(configuration->process.firstGuid));
    platform->startup = std::move(configuration->startup);
    platform->warnings = std::move(configuration->warnings);
    if (!configuration->dataFolder.empty())
        platform->folders =
            std::make_shared<FoldersWithData>(platform->folders, CORE::toWide(configuration->dataFolder));
    std::string domain = std::move(configuration->defaultDomain);
    const bool keep = keepsOwnDirectoryServices(*platform, *configuration);
    platform->ldap = makeRoutedLdapClient(platform->ldap, std::move(*configuration));
    return keep ? platform : withReusedConnections(std::move(platform), std::move(domain));
}

}  // namespace

Result<std::shared_ptr<Platform>> createPlatform(const CORE::PropertyBag& startup) {
    const std::string_view folder = startup.utf8(labFolderKey);
    const std::string_view file = startup.utf8(configurationKey);
    if (!folder.empty() && !file.empty())
        return fail(1, L"A lab and a configuration file exclude each other");
    if (!folder.empty()) return makeLab(folder, startup.utf8(labMachineKey), startup.getBool(labSaveKey));
    if (!file.empty()) return makeConfigured(file);
    auto platform = makePlatform();
    return platform->directoryServices ? platform : withReusedConnections(std::move(platform), {});
}

}  // namespace wsadmin::platform
