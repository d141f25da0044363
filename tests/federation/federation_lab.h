// The machines of labs/federation in this process: three pods with two connection servers each, on one
// network and clock.
#pragma once

#include <gtest/gtest.h>

#include <map>
#include <stdexcept>
#include <string>

#include "federation/qrvldap.h"
#include "federation/sample_pod.h"
#include "framework/core/security.h"
#include "support/temp_folder.h"

namespace wstest {

struct FederationOperation {
    std::string_view name;
    wsadmin::Handler run;
};
inline constexpr FederationOperation federationOperations[] = {
    {"init", wsadmin::answer<&wsadmin::Qrvldap::init, wsadmin::OnFailure::keeps>},
    {"join", wsadmin::answer<&wsadmin::Qrvldap::join, wsadmin::OnFailure::keeps>},
    {"installReplica", wsadmin::answer<&wsadmin::Qrvldap::installReplica>},
    {"checkEnablement", wsadmin::answer<&wsadmin::Qrvldap::checkEnablement>},
    {"unjoin", wsadmin::answer<&wsadmin::Qrvldap::unjoin>},
    {"uninit", wsadmin::answer<&wsadmin::Qrvldap::uninit>},
    {"uninstallReplica", wsadmin::answer<&wsadmin::Qrvldap::uninstallReplica>},
    {"eject", wsadmin::answer<&wsadmin::Qrvldap::eject>},
    {"removePodEndpoint", wsadmin::answer<&wsadmin::Qrvldap::removePodEndpoint>},
    {"info", wsadmin::answer<&wsadmin::Qrvldap::info>},
};

inline std::string joined(const std::set<std::string>& words) {
    std::string text;
    for (const std::string& word : words) text += (text.empty() ? "" : " ") + word;
    return text;
}

class FederationLab {
  public:
    using Pairs = std::map<std::wstring, std::wstring>;

    explicit FederationLab(const std::string& folder = WS_SOURCE_DIR "/labs/federation") {
        auto opened = wsadmin::platform::lab::openLabMachines(folder);
        if (!opened) throw std::runtime_error(CORE::toUtf8(opened.error().text));
        machines = std::move(*opened);
        for (auto& [name, machine] : machines)
            machine->directoryServices =
                wsadmin::platform::makePortableDirectoryServices(machine->ldap, "corp.example");
    }

    CORE::PropertyBag run(const std::string& machine, std::string_view operation, const Pairs& pairs = {}) {
        TestService service(machines.at(machine));
        return run(service, operation, pairs);
    }
    static CORE::PropertyBag run(TestService& service, std::string_view operation, const Pairs& pairs = {}) {
        const auto* known = std::ranges::find(federationOperations, operation, &FederationOperation::name);
        CORE::PropertyBag request, response;
        for (const auto& [name, value] : pairs) request.set(name, std::wstring_view(value));
        known->run(service, wsadmin::Request(request), response);
        return response;
    }

    // The tree as the server's instance has it, "POD1: VCS1 VCS2, POD2: VCS3"; "-" where there is no layer.
    std::string tree(const std::string& machine) { return treeOf(run(machine, "info")); }
    static std::string treeOf(const CORE::PropertyBag& answer) {
        if (answer.getErrorText() == L"Global LDAP layer does not exist") return "-";
        if (answer.getError()) return CORE::toUtf8(answer.getErrorText());
        std::map<std::string, std::string> servers;
        const auto each = [&](const wchar_t* list, const wchar_t* one, auto add) {
            std::size_t at = 0;
            while (const auto* bag = answer.getBag(list).getNextBag(one, at)) add(*bag);
        };
        const auto text = [](const CORE::PropertyBag& bag, const wchar_t* name) {
            return std::string(bag.utf8(name));
        };
        each(L"qrv-pods", L"pod", [&](const auto& pod) { servers[text(pod, L"display-name")]; });
        std::map<std::string, std::set<std::string>> sorted;
        each(L"qrv-endpoints", L"endpoint", [&](const auto& one) {
            sorted[text(one, L"pod-display-name")].insert(text(one, L"display-name"));
        });
        std::string tree;
        for (const auto& [pod, unused] : servers) {
            tree += (tree.empty() ? "" : ", ") + pod.substr(pod.find("POD")) + ": " + joined(sorted[pod]);
        }
        return tree;
    }

    // The entries of the layer as the server's instance has them, and the servers that it knows, without what
    // each instance counts for itself.
    std::set<std::string> contentOf(const std::string& machine) const {
        auto session =
            machines.at(machine)->ldap->open({.host = machine + ".corp.example", .port = 22389}).value();
        EXPECT_TRUE(session->bind({}));
        std::set<std::string> lines;
        for (const std::string base :
             {"dc=vdiglobal,dc=talvex,dc=int",
              "CN=Sites,CN=Configuration,CN={53eb3830-74ef-8025-b031-01811f459a41}"}) {
            const auto found = session->search({.base = base, .filter = "(objectClass=*)"}).value();
            for (const auto& entry : found.entries)
                for (const auto& [name, values] : entry.attributes)
                    if (!name.starts_with("when") && !name.starts_with("uSN"))
                        for (const std::string& value : values)
                            lines.insert(entry.dn + " " + name + "=" + value);
        }
        return lines;
    }
    std::string ofServer(const std::string& machine, const std::string& attribute) const {
        return storedOf(*machines.at(machine), machine, attribute);
    }
    std::string flags(const std::string& machine) const { return flagsOf(*machines.at(machine), machine); }

    // What a join asks for.
    static Pairs from(const wchar_t* server, std::string_view password = "Passw0rd.Fix") {
        static const TempFolder keys;
        CORE::SecurityManager& security = CORE::SecurityManager::System();
        security.setKeyFile((keys.path() / "key" / "host.key").wstring());
        return {{L"servername", server},
                {L"sourceusername", L"CORP\\admin"},
                {L"sourcepassword", security.Encrypt(password).str()}};
    }

    std::map<std::string, std::shared_ptr<wsadmin::platform::Platform>> machines;  // by their NetBIOS names
};

}  // namespace wstest
