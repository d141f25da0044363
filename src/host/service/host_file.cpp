#include "host/service/host_file.h"

#include <algorithm>

#include "channel/channel_client.h"
#include "framework/core/plugin_api.h"
#include "host/request.h"
#include "host/service/host_log.h"
#include "platform/text/toml_machine.h"

namespace mfwhost {

namespace fs = std::filesystem;
using Section = wsadmin::platform::TomlSection;

namespace {

// Paths as the file has them, which stand beside it.
class Paths {
  public:
    explicit Paths(const std::string& file)
        : folder_(fs::absolute(std::u8string(file.begin(), file.end())).parent_path()) {}

    fs::path at(const std::string& text) const {
        return (folder_ / std::u8string(text.begin(), text.end())).lexically_normal();
    }
    void read(Section& section, std::string_view key, std::vector<fs::path>& into) const {
        std::vector<std::string> texts;
        section.texts(key, texts);
        for (const std::string& text : texts) into.push_back(at(text));
    }
    // A start-up key of the plug-ins.
    void read(Section& section, std::string_view key, const wchar_t* name, CORE::PropertyBag& startup) const {
        std::string text;
        section.text(key, text);
        if (text.empty()) return;
        const std::u8string path = at(text).u8string();
        startup.set(name, std::string_view(reinterpret_cast<const char*>(path.data()), path.size()));
    }

  private:
    fs::path folder_;
};

void readHost(Section& section, const Paths& paths, HostSettings& settings) {
    std::string listen = settings.address, tickets;
    section.text("listen", listen);
    const auto target = channel::parseAddress(listen);
    if (!target) section.wrong("listen", "host.listen is an address and a port, such as \"127.0.0.1:8472\"");
    settings.address = target->host;
    settings.port = target->port;
    section.text("tickets", tickets);
    if (tickets.empty()) section.wrong("tickets", "host.tickets names the folder of the tickets");
    settings.tickets = paths.at(tickets);
    bool save = false;
    std::string machine;
    section.text("machine", machine);
    if (!machine.empty()) settings.startup.set(CORE::startupLabMachine, std::string_view(machine));
    paths.read(section, "lab", CORE::startupLabFolder, settings.startup);
    paths.read(section, "configuration", CORE::startupConfiguration, settings.startup);
    section.flag("save", save);
    settings.startup.setBool(CORE::startupLabSave, save);
}

void readFiles(Section& section, const Paths& paths, CORE::FileAccess& files) {
    paths.read(section, "received", files.received);
    paths.read(section, "logs", files.logs);
    paths.read(section, "bundles", files.bundles);
    section.number("largest-copy", files.largestCopy, 1, INT64_MAX);
}

void readLimits(Section& section, channel::ServerLimits& limits) {
    constexpr std::int64_t most = 100'000;
    section.number("channels", limits.channels, 1, most);
    section.number("handshakes", limits.handshakes, 1, most);
    section.number("requests-of-channel", limits.requestsOfChannel, 1, most);
    section.number("requests", limits.requests, 1, most);
    section.milliseconds("idle", limits.idle);
    section.milliseconds("handshake", limits.link.handshake);
    section.milliseconds("heartbeat", limits.link.heartbeat);
    section.milliseconds("silence", limits.link.silence);
    section.milliseconds("writing", limits.link.writing);
    section.milliseconds("tick", limits.link.tick);
    if (limits.link.tick.count() == 0) section.wrong("tick", "limits.tick is a millisecond at least");
}

}  // namespace

hdqadmin::Outcome<HostSettings> readHostFile(const std::string& file) {
    const auto text = hdqadmin::readTextFile(file);
    if (!text) return hdqadmin::refuse(text.error());
    const Paths paths(file);
    HostSettings settings;
    bool named = false;
    const auto read = wsadmin::platform::readToml(text->view(), file, [&](Section& top) {
        top.table("host", [&](Section& section) {
            named = true;
            readHost(section, paths, settings);
        });
        top.table("files", [&](Section& section) { readFiles(section, paths, settings.files); });
        top.table("limits", [&](Section& section) { readLimits(section, settings.limits); });
        top.table("agent", [&](Section& section) {
            std::string level = "info";
            section.text("version", settings.agent.version);
            section.text("log-level", level);
            const auto known = levelNamed(CORE::toWide(level));
            if (!known) section.wrong("log-level", "there is no log level \"" + level + "\"");
            settings.agent.logLevel = *known;
        });
        wsadmin::platform::readStartup(top, settings.startup);
        if (!named) top.wrong("host", "the table [host] is missing");
    });
    if (!read) return hdqadmin::refuse(CORE::toUtf8(read.error().text));
    return settings;
}

}  // namespace mfwhost
