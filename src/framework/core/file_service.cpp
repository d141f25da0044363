#include "framework/core/file_service.h"

#include <mutex>
#include <optional>

#include "framework/core/channel.h"
#include "framework/core/corestring.h"
#include "framework/core/framework.h"
#include "framework/core/log.h"
#include "framework/core/permitted_path.h"
#include "framework/core/plain_files.h"
#include "framework/core/remote_copy.h"

namespace CORE {

namespace fs = std::filesystem;

namespace {

constexpr std::size_t mostLogFiles = 10'000;

// What the worker may touch, shared by its requests.
struct Allowed {
    std::mutex mutex;
    FileAccess access;

    FileAccess copy() {
        const std::lock_guard lock(mutex);
        return access;
    }
};

Allowed& allowed() {
    static auto* const one = new Allowed;
    return *one;
}

bool refused(PropertyBag& response, const std::wstring& sentence) {
    response.clear();  // a part of the list must not pass for the list
    response.setError(1, sentence);
    return false;
}

class FileWorker : public WorkItem {
  public:
    bool MessageHandler(const wchar_t* operation, const PropertyBag& request,
                        PropertyBag& response) override {
        if (equalFolded(operation, files::getLogFiles)) return listLogs(response);
        if (equalFolded(operation, files::readFile)) return read(request, response);
        if (equalFolded(operation, files::deleteFile)) return remove(request, response);
        if (equalFolded(operation, files::copyFromRemoteFile) && !fromChannel())
            return copy(request, response);
        response.setError(120);
        return false;
    }

  private:
    bool listLogs(PropertyBag& response) const {
        std::size_t count = 0;
        for (const fs::path& folder : access_.logs) {
            std::error_code error;
            auto entry = fs::directory_iterator(folder, error);
            for (; !error && entry != fs::directory_iterator(); entry.increment(error)) {
                if (kindOf(entry->path()) != FileKind::file) continue;
                if (++count > mostLogFiles) return refused(response, L"There are too many log files");
                response.addUtf8(utf8OfPath(entry->path().filename()), utf8OfPath(entry->path()));
            }
            if (error)
                return refused(response,
                               L"The folder of the log files cannot be read: " + toWide(error.message()));
        }
        return true;
    }

    bool read(const PropertyBag& request, PropertyBag& response) {
        std::vector<fs::path> folders = access_.logs;
        folders.insert(folders.end(), access_.bundles.begin(), access_.bundles.end());
        const auto path = permittedPath(request.utf8(files::fileName), folders);
        const auto offset = numberOf(request, files::offset);
        if (!path || !offset || kindOf(*path) != FileKind::file)
            return refused(response, L"There is no such file");
        const auto read = readPart(*path, *offset, files::readSize, responseBinary().bytes());
        if (!read) return refused(response, L"The file cannot be read");
        response.set(files::size, std::string_view(std::to_string(read->size)));
        response.set(files::identity, std::string_view(std::to_string(read->identity)));
        return true;
    }

    bool remove(const PropertyBag& request, PropertyBag& response) const {
        const auto path = permittedPath(request.utf8(files::fileName), access_.bundles);
        std::error_code error;
        if (!path || kindOf(*path) != FileKind::file) return refused(response, L"There is no such file");
        if (fs::remove(*path, error)) return true;
        return refused(response, L"The file cannot be deleted: " + toWide(error.message()));
    }

    bool copy(const PropertyBag& request, PropertyBag& response) const {
        const auto handle = numberOf(request, files::channel);
        const auto channel = handle ? MessageFrameWork::System().FindChannel(*handle) : nullptr;
        if (!channel) return refused(response, L"There is no such channel");
        const auto path = permittedPath(request.utf8(files::localFileName), access_.received);
        if (!path) return refused(response, L"No file may be made there");
        const RemoteCopy copy{*channel, request.get(files::remoteFileName), access_.largestCopy};
        const auto failure = copy.to(*path, request.getBool(files::overwrite));
        if (!failure) return true;
        __SysMessage(logWarning, L"mfwcore", L"No copy of %s in %s: %s", request.get(files::remoteFileName),
                     request.get(files::localFileName), *failure);
        return refused(response, *failure);
    }

    const FileAccess access_ = allowed().copy();
};

WorkItem* makeFileWorker() {
    return new FileWorker;
}

}  // namespace

void serveFiles(FileAccess access) {
    {
        const std::lock_guard lock(allowed().mutex);
        allowed().access = std::move(access);
    }
    MessageFrameWork& framework = MessageFrameWork::System();
    if (!framework.IsWorkerInstalled(files::worker, 0))
        framework.AddWorker(&makeFileWorker, files::worker, L"Files of this machine", true, true, false,
                            true);
}

void stopServingFiles() {
    MessageFrameWork::System().RemoveWorker(files::worker, true);
}

}  // namespace CORE
