#include "federation/pod_facts.h"

#include "federation/entry_attributes.h"
#include "federation/local_layer.h"
#include "federation/names.h"
#include "ldap/layout.h"

namespace wsadmin::qrv {

namespace {

Result<std::string> named(const Result<std::wstring>& value, const wchar_t* sentence) {
    if (!value) return fail(value.error().code, sentence);
    if (value->empty()) return fail(sentence);
    return CORE::toUtf8(*value);
}

// An attribute of the pod's own settings.
Result<std::wstring> podSetting(platform::Platform& platform, const std::string& container,
                                const char* attribute) {
    return readText(platform, localPath(platform, layout::under(container)), attribute);
}

}  // namespace

Result<std::string> ownNetBiosName(const platform::Platform& platform) {
    return named(platform.names->netBios(), L"Failed to obtain server NETBIOS name");
}

Result<std::string> ownHostName(const platform::Platform& platform) {
    return named(platform.names->dnsFullyQualified(), L"Failed to obtain server fully qualified hostname");
}

Result<std::string> ownPodGuid(platform::Platform& platform) {
    return named(podSetting(platform, layout::container::globalSettings, attribute::guid),
                 L"Failed to obtain POD GUID");
}

Result<std::string> ownPodName(platform::Platform& platform) {
    return named(podSetting(platform, layout::container::commonSettings, layout::attribute::clusterName),
                 L"Failed to obtain POD Name");
}

std::wstring administratorsGroup(const platform::Platform& platform) {
    const auto sid = platform::Sid::parse(std::string_view("S-1-5-32-544"));
    const auto names = platform.accounts ? platform.accounts->namesOf({*sid})
                                         : Result<std::vector<std::optional<platform::AccountName>>>();
    if (!names || names->empty() || !names->front()) return L"BUILTIN\\Administrators";
    return names->front()->domain + L"\\" + names->front()->name;
}

}  // namespace wsadmin::qrv
