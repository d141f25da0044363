#include "ldap/configuration_folder.h"

#include "platform/module/module_log.h"

namespace wsadmin {

std::wstring configurationFolder(const platform::Folders& folders, DataOwner owner) {
    using platform::Folder;
    if (owner == DataOwner::user) {
        if (auto folder = folders.get(Folder::localAppData)) return *folder + L"\\Talvex\\HDQ";
    }
    if (auto folder = folders.get(Folder::commonAppData)) return *folder + L"\\Talvex\\HDQ";
    if (auto folder = folders.get(Folder::programFiles)) return *folder + L"\\Talvex\\Talvex Vorn";

    logError(L"SHGetSpecialFolderPath FAILED");
    const auto windows = folders.windowsDirectory();
    const wchar_t drive = windows && !windows->empty() ? windows->front() : L'C';
    return drive + std::wstring(L":\\Program Files\\Talvex\\Talvex Vorn");
}

}  // namespace wsadmin
