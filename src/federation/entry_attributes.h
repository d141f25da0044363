// Single attributes of entries of this server's directories, read and written as texts. The calling thread
// holds a DirectoryThread. What fails is logged.
#pragma once

#include <string>

#include "platform/platform.h"

namespace wsadmin::qrv {

// The first value of an attribute of the entry of that path, bound with the credentials or as the service.
// Failure: as the directory services'; what an entry does not have is adsPropertyNotFound.
Result<platform::DirectoryValue> readValue(platform::Platform& platform, const std::string& path,
                                           const std::string& attribute,
                                           const platform::DirectoryCredentials& credentials = {});
// The same of a text.
Result<std::wstring> readText(platform::Platform& platform, const std::string& path,
                              const std::string& attribute,
                              const platform::DirectoryCredentials& credentials = {});

// Sets an attribute of an entry to one value.
Result<void> writeText(platform::Platform& platform, const std::string& path, const std::string& dn,
                       const std::string& attribute, const std::string& value,
                       const platform::DirectoryCredentials& credentials = {});

// Changes the two groups of the pod's administrators, so that they replicate again.
void touchAdministratorGroups(platform::Platform& platform);

}  // namespace wsadmin::qrv
