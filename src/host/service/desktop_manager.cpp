#include "host/service/desktop_manager.h"

#include <algorithm>
#include <atomic>
#include <fstream>
#include <string>
#include <system_error>
#include <vector>

#include "framework/core/framework.h"
#include "framework/core/plain_files.h"
#include "framework/core/system.h"

namespace mfwhost {

namespace fs = std::filesystem;
using CORE::PropertyBag;

namespace {

constexpr wchar_t workerName[] = L"DesktopManager";
constexpr std::size_t mostLogs = 1000;
constexpr std::uintmax_t largestBundle = std::uintmax_t{1} << 30;

std::atomic<const Agent*> agentServed{nullptr};

std::string utf8(const fs::path& path) {
    const std::u8string text = path.u8string();
    return {text.begin(), text.end()};
}

// What of the log can be read. False: `size` exceeds the largest bundle, or nobody wants it any more.
bool appendLog(const fs::path& log, std::ofstream& out, std::uintmax_t& size,
               const std::atomic<bool>& aborted) {
    std::vector<std::uint8_t> part;
    for (std::uint64_t offset = 0; out; offset += part.size()) {
        part.clear();
        if (!CORE::readPart(log, offset, CORE::files::readSize, part)) out << "(cannot be read)\n";
        size += part.size();
        if (part.empty()) return true;
        if (size > largestBundle || aborted) return false;
        out.write(reinterpret_cast<const char*>(part.data()), static_cast<std::streamsize>(part.size()));
    }
    return true;
}

// Each log under a line with its name. The sentence of a failure; the file is then to be removed.
std::optional<std::wstring> writeBundle(const Agent& agent, const fs::path& bundle,
                                        const std::atomic<bool>& aborted) {
    CORE::sys::createPrivateFile(bundle.wstring(), {});
    std::ofstream out(bundle, std::ios::binary);
    out << "version " << agent.version << '\n';
    std::size_t count = 0;
    std::uintmax_t size = 0;
    for (const fs::path& folder : agent.files.logs) {
        std::error_code error;
        auto entry = fs::directory_iterator(folder, error);
        for (; !error && entry != fs::directory_iterator(); entry.increment(error)) {
            if (CORE::kindOf(entry->path()) != CORE::FileKind::file) continue;
            out << "== " << utf8(entry->path().filename()) << '\n';
            if (++count > mostLogs || !appendLog(entry->path(), out, size, aborted))
                return L"There is too much for a bundle";
        }
        if (error) return L"The folder of the log files cannot be read: " + CORE::toWide(error.message());
    }
    out.close();
    if (!out) return L"The bundle cannot be written";
    if (aborted) return L"Nobody waits for the bundle";
    return std::nullopt;
}

class AgentWorker final : public CORE::WorkItem {
  public:
    explicit AgentWorker(const Agent& agent) : agent_(agent) {}

    bool MessageHandler(const wchar_t* operation, const PropertyBag& request,
                        PropertyBag& response) override {
        if (CORE::equalFolded(operation, L"GetAgentVersion")) {
            response.set(L"Version", std::string_view(agent_.version));
            return true;
        }
        if (CORE::equalFolded(operation, L"GetAgentLogLevel")) {
            CORE::wstr name(CORE::logLevelName(agent_.log.level()));
            response.set(L"LogLevel", name.toLower());
            return true;
        }
        if (CORE::equalFolded(operation, L"SetAgentLogLevel")) return setLevel(request, response);
        if (CORE::equalFolded(operation, L"CreateAgentDCT")) return createBundle(response);
        response.setError(120);
        return false;
    }
    void AbortHandler() override { aborted_ = true; }

  private:
    bool setLevel(const PropertyBag& request, PropertyBag& response) const {
        const CORE::wstr name = request.get(L"LogLevel");
        if (const auto level = levelNamed(name)) {
            agent_.log.setLevel(*level);
            return true;
        }
        response.setError(1, L"There is no log level \"" + name.str() + L"\"");
        return false;
    }
    bool createBundle(PropertyBag& response) const {
        std::optional<std::wstring> failure = L"There is no folder for bundles";
        if (!agent_.files.bundles.empty()) {
            const std::string name = "bundle-" + CORE::toUtf8(CORE::wstr::newGuid()) + ".txt";
            const fs::path bundle = agent_.files.bundles.front() / name;
            failure = writeBundle(agent_, bundle, aborted_);
            std::error_code ignored;
            if (failure) fs::remove(bundle, ignored);
            if (!failure) response.set(CORE::files::fileName, std::string_view(utf8(bundle)));
        }
        if (failure) response.setError(1, *failure);
        return !failure;
    }

    const Agent& agent_;
    std::atomic<bool> aborted_{false};  // its sender has gone: nobody would delete the bundle
};

CORE::WorkItem* makeAgentWorker() {
    const Agent* agent = agentServed;
    return agent ? new AgentWorker(*agent) : nullptr;
}

}  // namespace

DesktopManager::DesktopManager(const Agent& agent) {
    agentServed = &agent;
    CORE::MessageFrameWork::System().AddWorker(&makeAgentWorker, workerName, L"Agent", false, true, false,
                                               true);
}

DesktopManager::~DesktopManager() {
    CORE::MessageFrameWork::System().RemoveWorker(workerName, true);
    agentServed = nullptr;
}

}  // namespace mfwhost
