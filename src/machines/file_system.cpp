#include "machines/file_system.h"

#include <string>

#include "framework/core/file_service.h"

namespace wsadmin {

using CORE::PropertyBag;
namespace files = CORE::files;

bool FileSystem::send(std::wstring_view operation, const PropertyBag& request, PropertyBag& response) const {
    const bool handled = CORE::MessageHandler::SendMsg(files::worker, operation, request, response,
                                                       {.timeoutMs = timeoutMs_, .channel = channel_});
    return handled && response.getError() == 0;
}

std::optional<PropertyBag> FileSystem::getLogFiles() const {
    PropertyBag logs;
    if (!send(files::getLogFiles, {}, logs)) return std::nullopt;
    return logs;
}

bool FileSystem::copyFromRemoteFile(const CORE::MessageChannel& from, std::wstring_view remoteFile,
                                    std::wstring_view localFile) const {
    PropertyBag request, response;
    request.set(files::channel, std::string_view(std::to_string(from.handle())));
    request.set(files::remoteFileName, remoteFile);
    request.set(files::localFileName, localFile);
    request.setBool(files::overwrite, false);
    return send(files::copyFromRemoteFile, request, response);
}

bool FileSystem::deleteFile(std::wstring_view file) const {
    PropertyBag request, response;
    request.set(files::fileName, file);
    return send(files::deleteFile, request, response);
}

}  // namespace wsadmin
