// The types that a directory's schema gives its attributes, for the portable directory services.
#pragma once

#include <map>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "platform/directory_services.h"
#include "platform/ldap_session.h"

namespace wsadmin::platform {

enum class AttributeType { text, integer, largeInteger, boolean, time, bytes, name };

// What a value on the wire means for that type. One that does not fit its type is text, or bytes where it is
// no text.
DirectoryValue typedValue(AttributeType type, const std::string& wire);

// Types by attribute name, a cache of the schema that is filled on demand. One per server; any thread.
class AttributeTypes {
  public:
    // Looks up all names that are not known yet with one search. What the schema does not list is text; so is
    // everything on a server without a schema of AD's kind. A failure leaves the names unknown.
    Result<void> load(LdapSession& session, const std::vector<std::string>& names);
    AttributeType of(std::string_view name) const;

  private:
    std::vector<std::string> missing(const std::vector<std::string>& names) const;

    mutable std::mutex mutex_;
    std::map<std::string, AttributeType, std::less<>> types_;  // by folded name
};

}  // namespace wsadmin::platform
