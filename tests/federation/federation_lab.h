// The machines of labs/federation in this process: three pods with two connection servers each, on one
// network and clock; and what the tests of federations share.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>

#include "cases/recorded_ports.h"
#include "framework/core/security.h"
#include "framework/operation_table.h"
#include "platform/lab/lab_platform.h"
#include "platform/portable/portable_directory.h"
#include "support/manual_clock.h"
#include "support/temp_folder.h"
#include "support/test_service.h"

namespace wstest {

using namespace wsadmin;
using namespace wsadmin::platform;

inline std::string joined(const std::set<std::string>& words) {
    std::string text;
    for (const std::string& word : words) text += (text.empty() ? "" : " ") + word;
    return text;
}

inline std::unique_ptr<LdapSession> boundTo(const Platform& machine, const LdapEndpoint& endpoint = {}) {
    auto session = machine.ldap->open(endpoint).value();
    EXPECT_TRUE(session->bind({}));
    return session;
}
// The first value of an entry's attribute; nothing when the entry is not there.
inline std::optional<std::string> valueIn(LdapSession& session, const std::string& dn,
                                          const std::string& attribute) {
    const auto found = session.search({.base = dn, .scope = LdapScope::base, .filter = "(objectClass=*)"});
    if (!found) return std::nullopt;
    return std::string(found->entries.at(0).first(attribute));
}

// Time that passes at once, until the service stops.
class StoppingClock final : public ManualClock {
  public:
    // `stop` is called when the wait of that number begins.
    StoppingClock(std::function<void()> stop, int atWait) : stop_(std::move(stop)), left_(atWait) {}
    bool wait(std::chrono::milliseconds time, const CORE::coreevent* stop) override {
        if (--left_ == 0) {
            stop_();
            stoppedAt = now();
        }
        return ManualClock::wait(time, stop);
    }
    std::optional<std::chrono::system_clock::time_point> stoppedAt;

  private:
    std::function<void()> stop_;
    int left_;
};

class FederationLab {
  public:
    using Pairs = std::map<std::wstring, std::wstring>;

    explicit FederationLab(const std::string& folder = WS_SOURCE_DIR "/labs/federation") {
        auto opened = lab::openLabMachines(folder);
        if (!opened) throw std::runtime_error(CORE::toUtf8(opened.error().text));
        machines = std::move(*opened);
        for (auto& [name, machine] : machines)
            machine->directoryServices = makePortableDirectoryServices(machine->ldap, "corp.example");
    }

    CORE::PropertyBag run(const std::string& machine, std::string_view operation, const Pairs& pairs = {}) {
        TestService service(machines.at(machine));
        return run(service, operation, pairs);
    }
    static CORE::PropertyBag run(TestService& service, std::string_view operation, const Pairs& pairs = {}) {
        const Operation& known = *findOperation(L"qrvLdap" + CORE::toWide(operation));
        CORE::PropertyBag request, response;
        for (const auto& [name, value] : pairs) request.set(name, std::wstring_view(value));
        known.run(service, Request(request, known.request), response);
        return response;
    }

    // The tree as the server's instance has it, "POD1: VCS1 VCS2, POD2: VCS3"; "-" where there is no layer.
    std::string tree(const std::string& machine) { return treeOf(run(machine, "info")); }
    static std::string treeOf(const CORE::PropertyBag& answer) {
        if (answer.getErrorText() == L"Global LDAP layer does not exist") return "-";
        if (answer.getError()) return CORE::toUtf8(answer.getErrorText());
        std::map<std::string, std::set<std::string>> servers;
        const auto &pods = answer.getBag(L"qrv-pods"), &endpoints = answer.getBag(L"qrv-endpoints");
        for (std::size_t i = 0; i < pods.size(); ++i)
            servers[std::string(pods.getBag(i).utf8(L"display-name"))];
        for (std::size_t i = 0; i < endpoints.size(); ++i) {
            const auto& one = endpoints.getBag(i);
            servers[std::string(one.utf8(L"pod-display-name"))].emplace(one.utf8(L"display-name"));
        }
        std::string tree;
        for (const auto& [pod, names] : servers)
            tree += (tree.empty() ? "" : ", ") + pod.substr(pod.find("POD")) + ": " + joined(names);
        return tree;
    }

    // The entries of the layer as the server's instance has them, and the servers that it knows, without what
    // each instance counts for itself.
    std::set<std::string> contentOf(const std::string& machine) const {
        const auto session =
            boundTo(*machines.at(machine), {.host = machine + ".corp.example", .port = 22389});
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
    // What the pod's directory has of its part in the federation: in "cn=VCS1,ou=server", or, of the pod, in
    // "cn=common,ou=global".
    std::string stored(const std::string& machine, const std::string& entry,
                       const std::string& attribute) const {
        return valueIn(*boundTo(*machines.at(machine)),
                       entry + ",ou=qrv,ou=properties,dc=vdi,dc=talvex,dc=int", attribute)
            .value();
    }
    std::string ofServer(const std::string& machine, const std::string& attribute) const {
        return stored(machine, "cn=" + machine + ",ou=server", attribute);
    }
    // Of the server and of its pod.
    std::string flags(const std::string& machine) const {
        return ofServer(machine, "zre-QuorinEnabled") + " " +
               stored(machine, "cn=common,ou=global", "zre-QuorinEnabled");
    }

    // What a join asks for.
    static Pairs from(const wchar_t* server, std::string_view password = "Passw0rd.Fix") {
        static const TempFolder keys;
        CORE::SecurityManager& security = CORE::SecurityManager::System();
        security.setKeyFile((keys.path() / "key" / "host.key").wstring());
        return {{L"servername", server},
                {L"sourceusername", L"CORP\\admin"},
                {L"sourcepassword", security.Encrypt(password).str()}};
    }

    std::map<std::string, std::shared_ptr<Platform>> machines;  // by their NetBIOS names
};

}  // namespace wstest
