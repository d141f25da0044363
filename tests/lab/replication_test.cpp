// Replication between the servers of a lab, over replication.jsonl.
#include <gtest/gtest.h>

#include <sstream>

#include "platform/text/registry_text.h"
#include "support/small_lab.h"

namespace wsadmin::platform::lab {
namespace {

using CORE::toUtf8;
using CORE::toWide;
using wstest::Json;

constexpr char results[] = "HKLM\\Software\\Microsoft\\Windows\\CurrentVersion\\ADAM_Installer_Results";

class Steps {
  public:
    explicit Steps(const Json& in) {
        const Json layers = in.value("layers", Json::array({1, 2})), down = in.value("down", Json::array());
        const auto among = [](const Json& list, int number) {
            return std::find(list.begin(), list.end(), number) != list.end();
        };
        for (const int number : {1, 2, 3}) {
            const std::string digit = std::to_string(number);
            const std::string layer =
                (in.contains("closed") ? wstest::smallLabsAccount : "") +
                wstest::faultsOf(in.value("faults" + digit, Json::array()),
                                 among(down, number) ? "refuse-connections = true\n" : "");
            files_.add(
                number,
                "[files]\n'C:\\Windows\\adam\\adaminstall.exe' = \"\"\n"
                "'C:\\Windows\\adam\\adamuninstall.exe' = \"\"\n'C:\\answers.txt' = \"answers.txt\"\n" +
                    in.value("toml" + digit, std::string()),
                among(layers, number) ? std::optional(layer) : std::nullopt);
        }
        files_.folder.write(
            "answers.txt",
            "[ADAMInstall]\nInstallType=Replica\nInstanceName=Layer\nSourceServer=vcs2\nSourceLDAPPort="
            "22389\n"
            "LocalLDAPPortToListenOn=22389\nLocalSSLPortToListenOn=22636\nDataFilesPath=C:\\Data\\Layer\n"
            "ApplicationPartitionsToReplicate=" +
                in.value("partition", std::string("dc=g")) + "\n" + in.value("answers", std::string()));
        open("VCS1");
    }

    Json run(const std::string& step) {
        std::istringstream words(step);
        std::string what, server, more, last;
        words >> what >> server;
        if (what == "run") return runProgram(server, step.substr(std::min(step.size(), 5 + server.size())));
        words >> more >> last;
        if (what == "as") return reopen(server);
        if (what == "see") return units(server);
        if (what == "servers") return servers(server);
        if (what == "logOn") return logOn(server, more);
        if (what == "forget") return forget(server, more);
        if (what == "probe")
            return outcomeName(
                lab_->network->probe(toWide(server), static_cast<std::uint16_t>(std::stoi(more)), nullptr));
        if (what == "told")
            return toUtf8(registryText(
                lab_->registry->read(toWide(results), L"ADAMInstallErrorMessage").value().value()));
        if (what == "add" || what == "set" || what == "move" || what == "delete")
            return change(what, server, more, last, words);
        return replicate(what, server, more);
    }

  private:
    void open(const std::string& name) { lab_ = files_.open(name, Changes::saved); }
    Json reopen(const std::string& name) {
        const auto saved = lab_->save();
        EXPECT_TRUE(saved) << toUtf8(saved.error().text);
        open(name);
        return {};
    }
    std::unique_ptr<LdapSession> session(const std::string& server) {
        auto session = lab_->ldap->open({.host = "vcs" + server, .port = 22389}).value();
        return session->bind({}) ? std::move(session) : nullptr;
    }
    std::vector<LdapEntry> search(LdapSession& session, const std::string& base, const std::string& filter) {
        return session.search({.base = base, .scope = LdapScope::subtree, .filter = filter}).value().entries;
    }
    Json units(const std::string& server) {
        const auto opened = session(server);
        if (!opened) return "down";
        std::vector<std::string> shown;
        for (const LdapEntry& entry : search(*opened, "dc=g", "(objectClass=organizationalUnit)")) {
            const std::string description(entry.first("description"));
            shown.push_back(entry.dn.substr(0, entry.dn.size() - 5) +
                            (description.empty() ? "" : ":" + description));
        }
        return joined(std::move(shown));
    }
    Json servers(const std::string& server) {
        const auto opened = session(server);
        const std::string configuration = configurationOf(*opened);
        std::vector<std::string> shown;
        for (const LdapEntry& entry : search(*opened, configuration, "(objectClass=server)"))
            shown.push_back(entry.dn.substr(3, 4));
        return joined(std::move(shown));
    }
    Json logOn(const std::string& server, const std::string& password) {
        LdapCredentials account;
        account.domain = "CORP";
        account.user = "admin";
        account.password = CORE::secretstring(password);
        const auto opened = lab_->ldap->open({.host = "vcs" + server, .port = 22389}).value();
        return opened->bind(account).has_value();
    }
    Json forget(const std::string& server, const std::string& other) {
        const auto opened = session(server);
        const std::string filter = "(cn=VCS" + other + "$Layer)";
        const auto found = search(*opened, configurationOf(*opened), filter);
        EXPECT_TRUE(opened->remove(found.at(0).dn, {{.oid = controls::treeDelete}}));
        return {};
    }
    static std::string joined(std::vector<std::string> words) {
        std::ranges::sort(words);
        std::string text;
        for (const std::string& word : words) text += (text.empty() ? "" : " ") + word;
        return text;
    }
    static std::string root(LdapSession& session, const std::string& attribute) {
        const auto found =
            session.search({.base = "", .scope = LdapScope::base, .filter = "(objectClass=*)"});
        return std::string(found.value().entries.at(0).first(attribute));
    }
    static std::string configurationOf(LdapSession& session) {
        return root(session, "configurationNamingContext");
    }

    Json change(const std::string& what, const std::string& server, const std::string& dn,
                const std::string& value, std::istream& words) {
        const std::string name = dn + ",dc=g";
        const auto opened = session(server);
        Result<void> done;
        if (what == "add") done = opened->add({name, {{"objectClass", {"organizationalUnit"}}}});
        if (what == "set") done = opened->modify(name, {{LdapModify::replace, "description", {value}}}, {});
        if (what == "delete") done = opened->remove(name, {{.oid = controls::treeDelete}});
        if (what == "move") {
            std::string parent;
            words >> parent;
            done = opened->rename(name, value, parent + ",dc=g", true);
        }
        EXPECT_TRUE(done) << what << " " << name << ": " << toUtf8(done.error().text);
        return {};
    }
    InstanceGuid guid(const std::string& server) {
        const auto opened = server == "9" ? nullptr : session(server);
        if (!opened) return {};
        const auto settings = opened->search(
            {.base = root(*opened, "dsServiceName"), .scope = LdapScope::base, .filter = "(objectClass=*)"});
        InstanceGuid guid;
        std::ranges::copy(settings.value().entries.at(0).first("objectGUID"), guid.bytes.begin());
        return guid;
    }
    // Calls of replication: the code, and for a synchronisation with all its events.
    Json replicate(const std::string& what, const std::string& server, const std::string& other) {
        const std::wstring address = L"vcs" + toWide(other) + L":22389";
        const InstanceGuid otherGuid = what == "all" ? InstanceGuid{} : guid(other);
        const auto binding = lab_->replication->bind(L"vcs" + toWide(server) + L":22389").value();
        Json out;
        const auto tell = [&out](const std::optional<SyncEvent>& event) {
            std::string text = std::to_string(event->kind);
            if (const auto& details = event->details)
                text += (event->kind == SyncEvent::error
                             ? " " + std::to_string(details->errorType) + " " + std::to_string(details->code)
                             : "") +
                        " " + toUtf8(details->source) + ">" + toUtf8(details->destination);
            out.push_back(text);
        };
        Result<void> done;
        if (what == "link") done = binding->addLink(L"dc=g", L"", address);
        if (what == "refs") done = binding->addReference(L"dc=g", address, otherGuid);
        if (what == "sync") done = binding->synchronise(L"dc=g", otherGuid);
        if (what == "config")
            done = binding->addLink(toWide(configurationOf(*session(server))), L"", address);
        if (what == "all")
            done = binding->synchroniseAll(L"dc=g",
                                           other == "push" ? SyncDirection::push : SyncDirection::pull, tell);
        const int code = done ? 0 : done.error().code;
        if (what != "all") return code;
        out.insert(out.begin(), code);
        return out;
    }
    Json runProgram(const std::string& program, const std::string& arguments) {
        return lab_->processes->run(toWide("C:\\Windows\\adam\\" + program + ".exe"), toWide(arguments))
            .value()
            .value();
    }
    static std::string outcomeName(ProbeOutcome outcome) {
        constexpr const char* names[] = {"connected",         "host-unreachable", "refused",      "timed-out",
                                         "name-not-resolved", "socket-error",     "other-failure"};
        return names[static_cast<int>(outcome)];
    }

    const wstest::SmallLab files_{"Layer", "dc=g"};
    std::shared_ptr<Platform> lab_;
};

Json replication(const Json& in) {
    Steps steps(in);
    Json out = Json::array();
    for (const std::string step : in.at("steps")) {
        const Json told = steps.run(step);
        if (told.is_array())
            for (const Json& one : told) out.push_back(one);
        else if (!told.is_null())
            out.push_back(told);
    }
    return out;
}

TEST(Replication, OfALabsServers) {
    wstest::tryRows(WS_SOURCE_DIR "/tests/lab/replication.jsonl", {{"replication", replication}});
}

}  // namespace
}  // namespace wsadmin::platform::lab
