#include "platform/lab/open_lab.h"

#include "framework/core/coreexception.h"
#include "framework/core/corestring.h"
#include "framework/core/saved_file.h"

namespace wsadmin::platform::lab {

Result<std::string> readLabFile(const std::filesystem::path& path) {
    try {
        return std::string(CORE::withoutByteOrderMark(CORE::contentOf(path)));
    } catch (const CORE::coreException&) {
        return fail(1, L"the file cannot be read");
    }
}

}  // namespace wsadmin::platform::lab
