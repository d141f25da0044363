// Attributes that a domain's directory works out when a search asks for them by name.
#pragma once

#include <cstdint>
#include <functional>
#include <string_view>

#include "platform/lab/store.h"

namespace wsadmin::platform::lab {

// Calls each(value) for every constructed value, in stored form; none for any other attribute. "tokenGroups"
// has values in base searches only.
void forEachConstructed(const Store& store, NodeId id, AttributeId attribute, LdapScope scope,
                        const std::function<void(std::string_view)>& each);

// The directory's time as accounts have it: in 100 ns since 1601-01-01.
std::int64_t ticksNow(const Store& store);

}  // namespace wsadmin::platform::lab
