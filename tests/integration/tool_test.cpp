// What belongs to the tool and its servers rather than to an operation, and the protection items of a backup.
#include <regex>

#include "integration/directory.h"

namespace integration {
namespace {

TEST(SampleLab, HasOperationsThatBothBuildsListAlike) {
    const Answer native = ask(Build::native, {"--list"}), windows = ask(Build::windows, {"--list"});
    EXPECT_FALSE(native.json.is_discarded()) << native.errors;
    EXPECT_EQ(windows.json, native.json) << windows.errors;
}

// Wine draws its console on the terminal letter by letter, with a movement for a blank.
TEST(SampleLab, IsNamedOnTheConsoleOfWindows) {
    const std::string tool = WS_SOURCE_DIR "/build/windows/bin/hdqadmin.exe getAppdataLocation";
    const Outcome shown = run({"script", "-qec", "wine " + tool, "/dev/null"});
    const std::string text = std::regex_replace(shown.output, std::regex("\x1b\\[[0-9;?]*[A-Za-z]"), "");
    EXPECT_NE(text.find("hdqadmin:worksonthelab"), std::string::npos) << text;
}

// On a server of its own, because Samba lets nobody delete the container while it runs.
TEST(Server, WithoutTheContainerOfPrincipalsIsTold) {
    const Answer answer = ask(Build::native, {"checkLdapConnectivity"},
                              {WS_SOURCE_DIR "/tests/servers/with-pod", "--without-principals", "sh", "-c",
                               "exec \"$@\" --config \"$WS_TEST_CONFIG\"", "sh"});
    EXPECT_EQ(answer.status, 0) << answer.errors;
    ASSERT_TRUE(answer.json.is_object()) << answer.errors;
    EXPECT_EQ(answer.json["result"].dump(),
              R"([["result","failed"],)"
              R"(["searchbase","cn=ForeignSecurityPrincipals, dc=vdi,dc=talvex,dc=int"],["ldaperr","32"]])");
}

// As a service with a keytab binds: no user and no password is configured.
TEST(Ticket, OfTheProcessBindsAsItsOwnerAndNotWithoutOne) {
    const ServerState server;
    const wstest::TempFolder folder;
    const std::string configuration =
        folder.write("pod.toml", "[directory]\nhost = \"" + environment("WS_TEST_LDAP_HOST") +
                                     "\"\nport = " + environment("WS_TEST_LDAP_PORT") + "\n");
    const auto askWithoutUser = [&] {
        return ask(Build::native, {"--config", configuration, "setClusterName", "clustername=Ticket"});
    };
    const Answer without = askWithoutUser();
    EXPECT_EQ(without.status, 1);
    EXPECT_NE(without.json.dump().find("\"ldaperr\""), std::string::npos) << without.json;

    const std::string password = folder.write("password", environment("WS_TEST_LDAP_PASSWORD"));
    const std::string owner = environment("WS_TEST_LDAP_USER") + "@" + environment("WS_TEST_LDAP_DOMAIN");
    const Outcome got = run({"sh", "-c", "kinit \"$1\" <\"$2\"", "sh", owner, password});
    EXPECT_EQ(got.status, 0) << got.errors;
    const Answer with = askWithoutUser();
    EXPECT_EQ(with.status, 0) << with.json << with.errors;
    server.expectStored({{{"dn", "CN=Common,OU=Global,OU=Properties,DC=vdi,DC=talvex,DC=int"},
                          {"zre-ClusterName", "Ticket"}}});
    run({"kdestroy", "-q"});
}

// Whether the private key in FOLDER, decrypted under the digest ($2, in hexadecimal), is a sound one of 3072
// bits whose public half is the public key there.
bool decodes(const wstest::TempFolder& folder, const std::string& digest) {
    constexpr char script[] = R"sh(set -e; cd "$1"
salt=$(base64 -d saltBase64 | od -An -v -tx1 | tr -d ' \n')
key=$(openssl kdf -keylen 16 -kdfopt digest:SHA1 -kdfopt "hexpass:$2" -kdfopt "hexsalt:$salt" -kdfopt iter:16384 PBKDF2)
base64 -d keyK1PubBase64 >public.der
base64 -d keyK1PriBase64 >private.enc
openssl enc -d -aes-128-cbc -K "$(echo "$key" | tr -d :)" -iv 00000000000000000000000000000000 -in private.enc -out private.der
openssl rsa -inform DER -in private.der -check -noout -text | grep 'Private-Key: (3072 bit'
openssl rsa -inform DER -in private.der -RSAPublicKey_out -outform DER -out derived.der
cmp public.der derived.der)sh";
    return run({"sh", "-c", script, "sh", folder.path().string(), digest}).status == 0;
}

// As a stranger reads them: with OpenSSL's own tools.
TEST(BackupItems, AreDecodedWithTheDigestOfThePasswordAlone) {
    const std::string text = "PdZiga5oOVX0QiFUFJ2XKAUK0ux8ftXYcor3CapJ6Rk=";
    const std::string digest = "3dd66281ae683955f4422154149d9728050ad2ec7c7ed5d8728af709aa49e919";
    const Request request{"encodeBackupProtectionItems", Json::array({{"pwdSHA256Base64", text}})};
    for (const Build build : {Build::native, Build::windows}) {
        SCOPED_TRACE(testing::PrintToString(build));
        const auto answers = askAll(build, {}, {request, request});
        const Json &first = answers[0].json["result"], &second = answers[1].json["result"];
        ASSERT_EQ(first.size(), 3U) << answers[0].errors;
        for (std::size_t i = 0; i < first.size(); ++i) EXPECT_NE(first[i], second.at(i));
        const wstest::TempFolder folder;
        for (const Json& item : first) folder.write(item[0], item[1].get<std::string>());
        EXPECT_TRUE(decodes(folder, digest));
        EXPECT_FALSE(decodes(folder, "00" + digest.substr(2)));
    }
}

}  // namespace
}  // namespace integration
