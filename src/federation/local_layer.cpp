#include "federation/local_layer.h"

#include "ldap/configuration_folder.h"
#include "platform/module/module_log.h"
#include "platform/text/registry_text.h"

namespace wsadmin::qrv {

std::string loopbackInUrl(const platform::Platform& platform) {
    return platform.installation.ipv6 ? "[::1]" : "127.0.0.1";
}

std::wstring loopbackHost(const platform::Platform& platform) {
    return platform.installation.ipv6 ? L"::1" : L"127.0.0.1";
}

std::string localPath(const platform::Platform& platform, std::string_view dn) {
    return "LDAP://" + loopbackInUrl(platform) + "/" + platform::escapeSlashes(dn);
}

std::string globalPath(const platform::Platform& platform, std::string_view dn) {
    return instancePath(loopbackInUrl(platform), dn);
}

std::string globalAddress(const platform::Platform& platform) {
    return loopbackInUrl(platform) + ":" + CORE::toUtf8(ldapPort);
}

std::wstring instanceAddress(std::wstring_view host) {
    return std::wstring(host) + L":" + ldapPort;
}

std::string instancePath(std::string_view host, std::string_view dn) {
    return "LDAP://" + std::string(host) + ":" + CORE::toUtf8(ldapPort) + "/" + platform::escapeSlashes(dn);
}

std::wstring dataFolder(const platform::Platform& platform) {
    return configurationFolder(*platform.folders) + L"\\ldap\\data\\" + instanceName;
}

Result<bool> fileExists(const platform::Platform& platform, const std::wstring& path) {
    const auto exists = platform.files->exists(path);
    if (!exists) logError(L"Unable to look for %s: %s", path, exists.error().text);
    return exists;
}

Result<bool> layerExists(const platform::Platform& platform) {
    return fileExists(platform, dataFolder(platform) + L"\\adamntds.dit");
}

std::wstring expanded(const platform::Platform& platform, std::wstring_view path) {
    const auto end = path.starts_with(L'%') ? path.find(L'%', 1) : path.npos;
    if (end == path.npos) return std::wstring(path);
    const auto value = platform.environment->variable(path.substr(1, end - 1));
    if (!value || !*value) return std::wstring(path);
    return **value + std::wstring(path.substr(end + 1));
}

Result<std::wstring> productValue(const platform::Platform& platform, std::wstring_view name,
                                  std::wstring_view fallback) {
    const auto value = platform.registry->read(productKey, name);
    if (!value) return fail(value.error());
    return *value ? platform::registryText(**value) : std::wstring(fallback);
}

}  // namespace wsadmin::qrv
