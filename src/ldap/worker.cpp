#include "ldap/worker.h"

#include "ldap/directory_session.h"

namespace wsadmin {

Result<platform::LdapSession*> Worker::tryDirectory() {
    if (!session_) {
        auto opened = openConfigurationDirectory(service_.platform());
        if (!opened) return wsadmin::fail(opened.error());
        session_ = std::move(*opened);
    }
    return session_.get();
}

platform::LdapSession* Worker::directory() {
    const auto session = tryDirectory();
    if (session) return *session;
    setDirectoryError(result_, session.error());
    return nullptr;
}

}  // namespace wsadmin
