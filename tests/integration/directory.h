// The pod of with-pod or with-slapd.
#pragma once

#include <gtest/gtest.h>

#include <map>

#include "cases/runner/judge.h"
#include "framework/core/corestring.h"
#include "integration/tool.h"
#include "platform/platform.h"

namespace integration {

using namespace wsadmin::platform;

// What the test changes in the directory is put back at the end.
class ServerState {
  public:
    ServerState() {
        CORE::PropertyBag startup;
        startup.set(configurationKey, CORE::toWide(environment("WS_TEST_CONFIG")));
        auto platform = createPlatform(startup);
        if (!platform) throw std::runtime_error(CORE::toUtf8(platform.error().text));
        directories_.client = (*platform)->ldap;
        directories_.endpoints["corp"] = {.host = "corp.example"};
        before_ = read();
    }
    ~ServerState() {
        try {
            putBack();
        } catch (const std::exception& error) {
            ADD_FAILURE() << "the pod is not as it was: " << error.what();
        }
    }
    ServerState(const ServerState&) = delete;
    ServerState& operator=(const ServerState&) = delete;

    Words options() const { return {"--config", environment("WS_TEST_CONFIG")}; }  // that choose this pod
    // The pod alone, reached as the tool's configuration file says.
    const wstest::Directories& directories() const noexcept { return directories_; }
    std::unique_ptr<LdapSession> open() const {
        auto session = directories_.client->open({});
        if (!session || !(*session)->bind({})) throw std::runtime_error("the pod cannot be reached");
        return std::move(*session);
    }
    void expectStored(const Json& stored) const {
        for (const std::string& problem : judgeStored(stored, directories_)) ADD_FAILURE() << problem;
    }

  private:
    // Of the attributes that the server keeps itself nobody can put one back.
    static bool isContent(const std::string& attribute) {
        return attribute.starts_with("zre-") || attribute == "description" || attribute == "member";
    }
    std::map<std::string, LdapEntry> read() const {
        std::map<std::string, LdapEntry> entries;
        const auto session = open();
        for (const char* container : {"OU=Properties", "OU=Servers", "CN=ForeignSecurityPrincipals"}) {
            auto found = session->search(
                {.base = std::string(container) + ",DC=vdi,DC=talvex,DC=int", .filter = "(objectClass=*)"});
            if (!found) throw std::runtime_error(CORE::toUtf8(found.error().text));
            for (LdapEntry& entry : found->entries) {
                std::erase_if(entry.attributes, [](const auto& one) { return !isContent(one.name); });
                entries.emplace(entry.dn, entry);
            }
        }
        return entries;
    }
    void putBack() const {
        const auto session = open();
        const auto done = [](const wsadmin::Result<void>& result, const std::string& dn) {
            if (!result) throw std::runtime_error(dn + ": " + CORE::toUtf8(result.error().text));
        };
        for (const auto& [dn, now] : read()) {
            const auto before = before_.find(dn);
            if (before == before_.end()) {
                done(session->remove(dn, {}), dn);
                continue;
            }
            std::vector<LdapModification> changes;
            for (const LdapAttribute& one : now.attributes)
                if (before->second.all(one.name).empty())
                    changes.push_back({LdapModify::replace, one.name, {}});
            for (const LdapAttribute& one : before->second.attributes)
                if (now.all(one.name) != one.values)
                    changes.push_back({LdapModify::replace, one.name, one.values});
            if (!changes.empty()) done(session->modify(dn, changes, {}), dn);
        }
    }

    wstest::Directories directories_;
    std::map<std::string, LdapEntry> before_;
};

}  // namespace integration
