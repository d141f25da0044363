// Searches of this server's directories by directory services: the configuration directory and the
// federation's. The calling thread holds a DirectoryThread.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "ldap/directory_rows.h"

namespace wsadmin {

inline constexpr int queryPageSize = 1000;
enum class QueryScope : int { oneLevel = 1, subtree = 2 };  // the platform's codes

// The path of an entry of the configuration directory, and of one of the federation's.
std::string configurationPath(const std::string& dn);
std::string federationPath(const std::string& dn);

// Opens a base with the identity that the directory is configured with. Failures are logged.
Result<std::shared_ptr<platform::DirectorySearch>> openQuery(platform::DirectoryServices& services,
                                                             const std::string& path);
// All rows below an opened base, or as many as `most` (0: no limit). Failures are logged.
Result<std::vector<DirectoryRow>> queryRows(platform::DirectorySearch& base, QueryScope scope,
                                            const std::string& filter,
                                            const std::vector<std::string>& attributes, std::size_t most = 0);

}  // namespace wsadmin
