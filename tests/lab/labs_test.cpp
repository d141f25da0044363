// The machines of a lab, over labs.jsonl: their programs, replication between their servers, their faults,
// and what is saved. Beside the rows of ldap_rows.h, whose "by" and "bind" may say a "server" by its number
// and how long to wait for it ("connectTimeout", in milliseconds), there are
//   {"open": MACHINE}               saves the lab and opens it anew; {"save": true} only saves it
//   {"run": PROGRAM}                the exit code; {"message": true} what the installer left in the registry
//   {"link", "refs", "sync", "config": [SERVER, OTHER]}, {"all": [SERVER, "push"]}
//                                   the code of a call of replication, for the last one with its events
//   {"command": LINE}               its exit code
//   {"probe": [HOST, PORT]}, {"exists": PATH}, {"names": true}
//   {"value": [KEY, NAME], "set": DATA}  of the registry; it is removed where null is set
//   {"wait": SECONDS, "stop": true}  whether a stop ended it, and the milliseconds that the lab has been open
//   {"file": NAME, "lacks": TEXT}   the file's content, or whether the text is not in it
#include "lab/ldap_rows.h"
#include "platform/text/registry_text.h"
#include "support/small_lab.h"

namespace wsadmin::platform::lab {
namespace {

using CORE::toUtf8, CORE::toWide;
using wstest::Json;

// An answer file: the usual answers with those of the block, null for none, or a text of its own.
std::string answersOf(const Json& own) {
    if (own.is_string()) return own;
    Json answers = {{"InstallType", "Unique"},
                    {"InstanceName", "Layer"},
                    {"NewApplicationPartitionToCreate", "dc=g"},
                    {"LocalLDAPPortToListenOn", "22389"},
                    {"LocalSSLPortToListenOn", "22636"},
                    {"DataFilesPath", "C:\\Data\\Layer"}};
    answers.merge_patch(own);
    std::string text = "[ADAMInstall]\n";
    for (const auto& [name, value] : answers.items()) text += name + "=" + value.get<std::string>() + "\n";
    return text;
}

class LabRows {
  public:
    // The block's "files", or three servers of which the "layers" have an instance, with the "faults" of the
    // second.
    explicit LabRows(const Json& head) {
        const std::string tools = wstest::fileText(WS_SOURCE_DIR "/tests/lab/tools.toml");
        const Json layers = head.value("layers", Json::array({1, 2}));
        for (int number = 1; number <= 3 && !head.contains("files"); ++number) {
            const std::string digit = std::to_string(number);
            const std::string layer = head.value("account", false) ? wstest::smallLabsAccount : "";
            const bool here = std::find(layers.begin(), layers.end(), number) != layers.end();
            files_.add(
                number, tools + head.value("toml" + digit, std::string()),
                here ? std::optional(layer + wstest::faultsOf(head.value("faults" + digit, Json::array()),
                                                              head.value("lines" + digit, std::string())))
                     : std::nullopt);
        }
        folder().write("answers.txt", answersOf(head.value("answers", Json::object())));
        folder().write("data.ldf", head.value("data", std::string()));
        const Json files = head.value("files", Json::object());
        for (const auto& [name, text] : files.items()) folder().write(name, text.get<std::string>());
        open(head.value("open", head.contains("files") ? "" : "VCS1"));
    }
    void tryAll(const wstest::LdapBlock& block) {
        const auto session = [this](const Json& by) {
            const bool layer = by.contains("server");
            LdapEndpoint endpoint{
                .host = layer ? "vcs" + by["server"].dump() : by.value("host", std::string()),
                .port = by.value("port", layer ? std::uint16_t{22389} : std::uint16_t{389})};
            endpoint.connectTimeout = std::chrono::milliseconds(by.value("connectTimeout", 5000));
            return lab_->ldap->open(endpoint).value();
        };
        wstest::LdapRows(session, {}, block.head.value("base", "dc=g"), {}, [this](const Json& row) {
            return outcome(row);
        }).tryAll(block);
    }

  private:
    const wstest::TempFolder& folder() const { return files_.folder; }
    void open(const std::string& machine) {
        lab_.reset();
        lab_ = files_.open(machine, Changes::saved);
        opened_ = lab_->clock->now();
    }
    Json save() {
        const auto saved = lab_->save();
        return saved ? "" : toUtf8(saved.error().text);
    }
    std::unique_ptr<LdapSession> sessionAt(int server) {
        return lab_->ldap->open({.host = "vcs" + std::to_string(server), .port = 22389}).value();
    }

    Json outcome(const Json& row) {
        if (row.contains("save")) return save();
        if (row.contains("open")) {
            const Json saved = save();
            open(row["open"]);
            return saved;
        }
        if (row.contains("run")) return run(row["run"]);
        if (row.contains("message")) return messages();
        if (row.contains("command"))
            return lab_->commands->run(CORE::secretstring(row["command"].get<std::string>()), nullptr)
                .value();
        if (row.contains("probe")) return probe(row["probe"]);
        if (row.contains("exists"))
            return lab_->files->exists(toWide(row["exists"].get<std::string>())).value();
        if (row.contains("names")) return toUtf8(lab_->names->netBios().value());
        if (row.contains("value")) return value(row);
        if (row.contains("wait")) return wait(row);
        if (row.contains("file")) {
            const std::string text = folder().read(row["file"]);
            return row.contains("lacks") ? Json(text.find(row["lacks"].get<std::string>()) == text.npos)
                                         : Json(text);
        }
        return replicate(row);
    }
    Json run(const std::string& program) {
        const auto end = program.find(' ');
        const std::string place = program.starts_with("adam") ? "adam" : "system32";
        const auto code =
            lab_->processes->run(toWide("C:\\Windows\\" + place + "\\" + program.substr(0, end) + ".exe"),
                                 toWide(program.substr(std::min(program.size(), end + 1))));
        return code ? Json(code->value()) : Json(toUtf8(code.error().text));
    }
    Json messages() {
        constexpr wchar_t results[] =
            L"HKLM\\Software\\Microsoft\\Windows\\CurrentVersion\\ADAM_Installer_Results";
        std::string text;
        const auto values = lab_->registry->values(results);
        for (const auto& [name, data] : values.value())
            if (name.ends_with(L"Message")) text += toUtf8(registryText(data));
        return text;
    }
    Json probe(const Json& at) {
        constexpr const char* names[] = {"connected",         "host-unreachable", "refused",      "timed-out",
                                         "name-not-resolved", "socket-error",     "other-failure"};
        return names[static_cast<int>(
            lab_->network->probe(toWide(at[0].get<std::string>()), at[1].get<std::uint16_t>(), nullptr))];
    }
    Json value(const Json& row) {
        const std::wstring key = toWide(row["value"][0].get<std::string>()),
                           name = toWide(row["value"][1].get<std::string>());
        if (row.contains("set")) {
            const Json& set = row["set"];
            EXPECT_TRUE(set.is_null()     ? lab_->registry->remove(key, name)
                        : set.is_number() ? lab_->registry->write(key, name, set.get<std::uint32_t>())
                                          : lab_->registry->write(key, name, toWide(set.get<std::string>())));
        }
        const auto data = lab_->registry->read(key, name).value();
        if (!data) return {};
        const auto* number = std::get_if<std::uint32_t>(&*data);
        return number ? Json(*number) : Json(toUtf8(registryText(*data)));
    }
    Json wait(const Json& row) {
        CORE::coreevent stop;
        if (row.contains("stop")) stop.set();
        const bool stopped = lab_->clock->wait(std::chrono::seconds(row["wait"].get<int>()), &stop);
        const auto open = lab_->clock->now() - opened_;
        return {stopped, std::chrono::duration_cast<std::chrono::milliseconds>(open).count()};
    }

    static LdapEntry entryOf(LdapSession& session, const std::string& dn) {
        return session.search({.base = dn, .scope = LdapScope::base, .filter = "(objectClass=*)"})
            .value()
            .entries.at(0);
    }
    // None for a server that is not there.
    InstanceGuid guid(const Json& server) {
        InstanceGuid guid;
        const auto opened = sessionAt(server);
        if (!opened->bind({})) return guid;
        const LdapEntry settings = entryOf(*opened, std::string(entryOf(*opened, "").first("dsServiceName")));
        std::ranges::copy(settings.first("objectGUID"), guid.bytes.begin());
        return guid;
    }
    Json replicate(const Json& row) {
        const std::string call = row.begin().key();
        const Json& servers = row.front();
        const auto address = [](const Json& server) { return toWide("vcs" + server.dump() + ":22389"); };
        const auto binding = lab_->replication->bind(address(servers[0])).value();
        std::string events;
        const auto tell = [&events](const std::optional<SyncEvent>& event) {
            events += "; " + std::to_string(event->kind);
            const auto& details = event->details;
            if (!details) return;
            if (event->kind == SyncEvent::error)
                events += " " + std::to_string(details->errorType) + " " + std::to_string(details->code);
            events += " " + toUtf8(details->source) + ">" + toUtf8(details->destination);
        };
        Result<void> done;
        if (call == "link") done = binding->addLink(L"dc=g", L"", address(servers[1]));
        if (call == "refs") done = binding->addReference(L"dc=g", address(servers[1]), guid(servers[1]));
        if (call == "sync") done = binding->synchronise(L"dc=g", guid(servers[1]));
        if (call == "config") {
            const auto own = sessionAt(servers[0]);
            EXPECT_TRUE(own->bind({}));
            const LdapEntry root = entryOf(*own, "");
            done =
                binding->addLink(toWide(root.first("configurationNamingContext")), L"", address(servers[1]));
        }
        if (call == "all")
            done = binding->synchroniseAll(
                L"dc=g", servers[1] == "push" ? SyncDirection::push : SyncDirection::pull, tell);
        const int code = done ? 0 : done.error().code;
        return call == "all" ? Json(std::to_string(code) + events) : Json(code);
    }

    const wstest::SmallLab files_{"Layer", "dc=g"};
    std::shared_ptr<Platform> lab_;
    std::chrono::system_clock::time_point opened_;
};

TEST(Labs, DoAsTheRowsSay) {
    for (const auto& block : wstest::ldapBlocks(WS_SOURCE_DIR "/tests/lab/labs.jsonl"))
        LabRows(block.head).tryAll(block);
}

TEST(LabAgents, AnswerNothingOverAChannelThatIsClosed) {
    const auto platform = openLab(WS_SOURCE_DIR "/labs/sample").value();
    const auto channel = platform->agents->open(L"sample-agents-ticket", L"10.0.1.11", {});
    CORE::PropertyBag answer;
    EXPECT_EQ(channel->send(L"", L"CreateAgentDCT", {}, answer, {}), CORE::RespType::handled);
    EXPECT_EQ(answer.get(0), L"C:\\Temp\\bundle-1.zip");
    channel->close();
    EXPECT_EQ(channel->send(L"", L"GetAgentVersion", {}, answer, {}), CORE::RespType::cancelled);
    EXPECT_TRUE(answer.empty());
    EXPECT_EQ(answer.getErrorText(), L"The channel is closed");
}

}  // namespace
}  // namespace wsadmin::platform::lab
