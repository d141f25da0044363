// Accounts of client devices in a real domain: who logs on with what, and who may not.
#include "framework/core/security.h"
#include "integration/directory.h"

namespace integration {
namespace {

constexpr char account[] = "CN=custom-it,CN=Users,DC=corp,DC=example";
constexpr char entry[] = "CN=custom-it,OU=Properties,DC=vdi,DC=talvex,DC=int";

std::string saidOf(const std::string& what) {
    return "Client authentication user was " + what + " successfully.";
}

class ClientAuth : public testing::Test {
  protected:
    ~ClientAuth() override { static_cast<void>(administrator_->remove(account, {})); }

    // The sentence of the answer, with the tool's configuration or one of the test's own.
    std::string config(Words keys, Words options = {}) const {
        if (options.empty()) options = server_.options();
        options.insert(options.end(), {"clientAuthConfig", "clientid=custom-it", "domain=corp.example"});
        options.insert(options.end(), keys.begin(), keys.end());
        const Answer answer = ask(Build::native, options);
        if (!answer.json.is_object()) return answer.errors;
        if (answer.json["error"].is_null()) return answer.json["result"][0][1];
        return answer.json["error"]["text"];
    }
    // What the pod's entry says.
    std::string kept(const char* attribute) const {
        const auto found =
            server_.open()->search({.base = entry, .scope = LdapScope::base, .filter = "(objectClass=*)"});
        return std::string(found.value().entries.at(0).first(attribute));
    }
    // Decrypted: the tool and this program have one key.
    CORE::secretstring keptPassword() const {
        return CORE::secretstring(
            CORE::SecurityManager::System().Decrypt(CORE::toWide(kept("zre-WindowsPassword"))));
    }
    // Of the domain.
    wsadmin::Result<std::unique_ptr<LdapSession>> openAs(const LdapCredentials& credentials) const {
        auto session = server_.directories().client->open({.host = "corp.example"});
        if (!session) return session;
        if (auto bound = (*session)->bind(credentials); !bound) return wsadmin::fail(bound.error());
        return session;
    }
    // The code of a logon to the domain as the client.
    int logOn(const CORE::secretstring& password) const {
        const auto session = openAs({.user = "CORP\\custom-it", .domain = {}, .password = password});
        return session ? ldapSuccess : session.error().code;
    }

    const ServerState server_;
    const std::unique_ptr<LdapSession> administrator_ = openAs({}).value();
};

TEST_F(ClientAuth, AClientLogsOnWithTheKeptPasswordAndOnceGoneIsRemovedByForceAlone) {
    EXPECT_EQ(config({"operation=add", "genpassword=true", "expirepassword=true"}), saidOf("added"));
    const CORE::secretstring generated = keptPassword();
    EXPECT_EQ(generated.size(), 16U);
    EXPECT_EQ(logOn(generated), ldapSuccess);
    EXPECT_EQ(logOn(CORE::secretstring("Wrong.Pass1")), ldapInvalidCredentials);
    EXPECT_EQ(config({"operation=update", "password=Gr\u00fc\u00dfe.Pass1"}), saidOf("updated"));
    EXPECT_EQ(keptPassword().view(), "Gr\u00fc\u00dfe.Pass1");
    EXPECT_EQ(logOn(keptPassword()), ldapSuccess);
    EXPECT_EQ(logOn(generated), ldapInvalidCredentials);
    const std::string principal = kept("member");
    const Json stays = {{"dn", principal}, {"objectClass", {"top", "foreignSecurityPrincipal"}}};
    server_.expectStored({{{"dn", account}, {"in", "corp"}, {"userAccountControl", "544"}}, stays});
    ASSERT_TRUE(administrator_->remove(account, {}));
    EXPECT_EQ(config({"operation=remove"}),
              "Failed to get SID for domain and username: corp.example\\custom-it");
    EXPECT_EQ(config({"operation=remove", "force=true"}), saidOf("removed"));
    server_.expectStored({{{"dn", entry}, {"cn", nullptr}}, stays});
}

TEST_F(ClientAuth, AnAdministrativeAccountWithoutRightsChangesNothing) {
    const auto refused = [](const std::string& what) {
        return "Failed to " + what +
               " user in Active Directory due to insufficient rights.  Please make sure the administrator "
               "user invoking hdqadmin.exe is part of the 'Domain Admins', or 'Administrators' group; or has "
               "the necessary permission to " +
               what + " Active Directory users.";
    };
    const wstest::TempFolder folder;
    const Outcome encrypted = run({WS_BIN_DIR "/hdqadmin", "--encrypt",
                                   "@" + folder.write("password", environment("WS_TEST_CORP_PASSWORD"))});
    ASSERT_EQ(encrypted.status, 0) << encrypted.errors;
    const std::string startup =
        "[startup]\nClientAuthAdminDomain = \"CORP\"\nClientAuthAdminUser = \"alice\"\n"
        "ClientAuthAdminPassword = '" +
        encrypted.output.substr(0, encrypted.output.find('\n')) + "'\n";
    const Words asAlice = {
        "--config", folder.write("alice.toml", wstest::fileText(environment("WS_TEST_CONFIG")) + startup)};
    EXPECT_EQ(config({"operation=add"}, asAlice), refused("create"));
    EXPECT_EQ(config({"operation=add"}), saidOf("added"));
    EXPECT_EQ(config({"operation=update", "description=x"}, asAlice), refused("update"));
    for (const char* force : {"force=true", "force=false"})
        EXPECT_EQ(config({"operation=remove", force}, asAlice), refused("delete"));
    const std::string principal = kept("member");
    EXPECT_EQ(config({"operation=remove"}), saidOf("removed"));
    server_.expectStored({{{"dn", account}, {"in", "corp"}, {"cn", nullptr}},
                          {{"dn", entry}, {"cn", nullptr}},
                          {{"dn", principal}, {"cn", nullptr}}});
}

}  // namespace
}  // namespace integration
