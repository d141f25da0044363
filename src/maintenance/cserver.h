// Entries of connection servers.
#pragma once

#include <string>
#include <vector>

#include "ldap/worker.h"

namespace wsadmin {

// Why a connection server cannot be removed: the sentence, with each security server that refers to it on a
// line of its own. At least one.
std::wstring referencedSentence(std::wstring_view serverName,
                                const std::vector<std::wstring>& securityServers);

class CServer : public Worker {
  public:
    using Worker::Worker;

    // Marks the entry of "servername" for removal, which is done later by whoever acts on the mark. Refused
    // while security servers refer to it; the federation's copy is marked too where there is one.
    Result<void> deleteConnectionServerEntry();

  private:
    Result<platform::LdapEntry> findServer(platform::LdapSession& session, const CORE::wstr& name);
    // The failure names the security servers that refer to the entry; none of them is a success.
    Result<void> refuseReferenced(platform::LdapSession& session, const CORE::wstr& name,
                                  const std::string& dn);
};

}  // namespace wsadmin
