#include "ldap/worker.h"

#include <utility>

#include "ldap/directory_session.h"

namespace wsadmin {

Result<platform::LdapSession*> Worker::directory() {
    if (!session_) {
        auto opened = openConfigurationDirectory(service_.platform());
        if (!opened) return fail(opened.error());
        session_ = std::move(*opened);
    }
    return session_.get();
}

CORE::PropertyBag Worker::answerWith(const Result<void>& done, OnFailure collected) {
    if (!done) {
        if (collected == OnFailure::empties) result_.clear();
        result_.setError(1, done.error().text);
        if (const auto& code = done.error().directoryCode) result_.setInt(L"ldaperr", *code);
    }
    return std::move(result_);
}

}  // namespace wsadmin
