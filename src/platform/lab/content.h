// A directory's entries from LDIF files and back into them.
#pragma once

#include <string>
#include <string_view>

#include "platform/lab/store.h"

namespace wsadmin::platform::lab {

// Makes what every directory has before its files are read: the top entries of its naming contexts.
void prepareContexts(Store& store);
// Applies a file's records in order. The failure's text is "file:line: what is wrong".
Result<void> loadLdif(Store& store, std::string_view text, std::string_view file, std::uint16_t fileNumber);
// To be called when all files are read: references find their entries, whatever the order was.
void resolveReferences(Store& store);

// The file with all its entries as they are now: parents first, otherwise in order of creation.
std::string writeLdif(const Store& store, std::uint16_t fileNumber);

}  // namespace wsadmin::platform::lab
