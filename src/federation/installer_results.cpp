#include "federation/installer_results.h"

#include "platform/module/module_log.h"
#include "platform/text/registry_text.h"

namespace wsadmin::qrv {

CORE::PropertyBag logInstallerResults(const platform::Platform& platform) {
    CORE::PropertyBag results;
    const auto values = platform.registry->values(
        L"HKLM\\Software\\Microsoft\\Windows\\CurrentVersion\\ADAM_Installer_Results");
    if (!values) {
        logWarning(L"Unable to read the results of the installer: %s", values.error().text);
        return results;
    }
    for (const auto& [name, data] : *values)
        results.add(name, std::wstring_view(platform::registryText(data)));
    logVerbose(L"ADAM_Installer_Results:\r\n%s", results.flattenForDisplay(L"\r\n"));
    return results;
}

}  // namespace wsadmin::qrv
