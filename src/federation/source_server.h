// The server that a replica of the global layer is taken from, and what is asked of it before anything is
// installed. The calling thread holds a DirectoryThread. What fails is logged.
#pragma once

#include <memory>
#include <string>

#include "federation/source_account.h"
#include "ldap/service_context.h"

namespace wsadmin::qrv {

struct SourceServer {
    std::string host;  // as in a URL
    SourceAccount account{};
};

// Connects to its port of the layer once. Failure: a sentence with the reason.
Result<void> testConnection(ServiceContext& service, const SourceServer& source);

// An attribute of an entry, or of its root entry, as text. Failure: as the directory services';
// adsLogonFailure also where the password cannot be decrypted.
Result<std::wstring> readEntry(platform::Platform& platform, const SourceServer& source, std::string_view dn,
                               const std::string& attribute);
Result<std::wstring> readRoot(platform::Platform& platform, const SourceServer& source,
                              const std::string& attribute);

// Its clock and this server's may differ by so many seconds.
inline constexpr int mostClockDifference = 300;
Result<void> compareClocks(platform::Platform& platform, const SourceServer& source);

// The container of the sites in its configuration, opened for a search.
struct Sites {
    std::string dn;
    std::shared_ptr<platform::DirectorySearch> search;
};
Result<Sites> openSites(platform::Platform& platform, const SourceServer& source);

// Whether the account may read its servers.
Result<void> testServersBind(platform::Platform& platform, const SourceServer& source);

}  // namespace wsadmin::qrv
