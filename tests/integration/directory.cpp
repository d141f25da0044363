#include "integration/directory.h"

#include <gtest/gtest.h>

#include "framework/core/corestring.h"
#include "integration/tool.h"
#include "platform/platform.h"

namespace integration {

using namespace wsadmin::platform;

namespace {

// Of the attributes that the server keeps itself nobody can put one back.
bool isContent(const std::string& attribute) {
    return attribute.starts_with("zre-") || attribute == "description" || attribute == "member";
}

std::unique_ptr<LdapSession> openPod(const wstest::Directories& directories) {
    auto session = directories.client->open({});
    if (!session || !(*session)->bind({})) throw std::runtime_error("the pod cannot be reached");
    return std::move(*session);
}

}  // namespace

ServerState::ServerState() {
    CORE::PropertyBag startup;
    startup.set(configurationKey, CORE::toWide(environment("WS_TEST_CONFIG")));
    auto platform = createPlatform(startup);
    if (!platform) throw std::runtime_error(CORE::toUtf8(platform.error().text));
    directories_.client = (*platform)->ldap;
    directories_.endpoints["corp"] = {.host = "corp.example"};
    before_ = read();
}

ServerState::~ServerState() {
    try {
        putBack();
    } catch (const std::exception& error) {
        ADD_FAILURE() << "the pod is not as it was: " << error.what();
    }
}

std::vector<std::string> ServerState::options() const {
    return {"--config", environment("WS_TEST_CONFIG")};
}

void ServerState::expectStored(const wstest::Json& stored) const {
    for (const std::string& problem : judgeStored(stored, directories_)) ADD_FAILURE() << problem;
}

ServerState::Entries ServerState::read() const {
    Entries entries;
    const auto session = openPod(directories_);
    for (const char* container : {"OU=Properties", "OU=Servers", "CN=ForeignSecurityPrincipals"}) {
        auto found = session->search(
            {.base = std::string(container) + ",DC=vdi,DC=talvex,DC=int", .filter = "(objectClass=*)"});
        if (!found) throw std::runtime_error(CORE::toUtf8(found.error().text));
        for (LdapEntry& entry : found->entries) {
            std::erase_if(entry.attributes, [](const LdapAttribute& one) { return !isContent(one.name); });
            entries.emplace(entry.dn, entry);
        }
    }
    return entries;
}

void ServerState::putBack() const {
    const auto session = openPod(directories_);
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
            if (before->second.all(one.name).empty()) changes.push_back({LdapModify::replace, one.name, {}});
        for (const LdapAttribute& one : before->second.attributes)
            if (now.all(one.name) != one.values)
                changes.push_back({LdapModify::replace, one.name, one.values});
        if (!changes.empty()) done(session->modify(dn, changes, {}), dn);
    }
}

}  // namespace integration
