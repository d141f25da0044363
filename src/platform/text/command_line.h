// Arguments of a program as one text, as command lines under Windows have them.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace wsadmin::platform {

// The arguments one by one, parted at blanks outside quotation marks. A backslash counts as itself except
// before a quotation mark, where it takes away that mark's meaning.
std::vector<std::wstring> splitArguments(std::wstring_view text);

}  // namespace wsadmin::platform
