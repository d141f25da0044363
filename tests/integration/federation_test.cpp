// A pod of a federation on real parts: the tools with portable directory services on the Samba pod, stand-ins
// for the installer and the LDIF tool, and a Samba server on port 22389 as the layer, which these make.
#include <unistd.h>

#include "integration/directory.h"

namespace integration {
namespace {

namespace fs = std::filesystem;

const std::string windowsBin = WS_SOURCE_DIR "/build/windows/bin";
const std::string podFlagEntry = "CN=Common,OU=Global,OU=QRV,OU=Properties,DC=vdi,DC=talvex,DC=int";
const std::string layerUser = "Administrator@VDIGLOBAL.TALVEX.INT", password = "Passw0rd.Test",
                  serverSid = "S-1-5-21-1-2-3-1104";

fs::path drive() {
    return fs::path(environment("WINEPREFIX")) / "drive_c";
}
fs::path database() {
    return drive() / "ProgramData/Talvex/HDQ/ldap/data/TalvexHDQDSG/adamntds.dit";
}

// What a program of Wine's answers.
std::string answerOf(Words command) {
    command.insert(command.begin(), "wine");
    const Outcome outcome = run(command);
    EXPECT_EQ(outcome.status, 0) << testing::PrintToString(command) << outcome.errors;
    return outcome.output;
}

class FirstPod : public testing::Test {
  protected:
    // What an installed server has: programs, files, registry and services.
    static void SetUpTestSuite() {
        const fs::path sample = WS_SOURCE_DIR "/labs/sample", standIns = windowsBin + "/stand_ins";
        const auto copy = [](const fs::path& from, const std::string& to) {
            fs::create_directories(drive() / to);
            fs::copy(from, drive() / to, fs::copy_options::recursive | fs::copy_options::overwrite_existing);
        };
        copy(standIns / "adaminstall.exe", "windows/adam");
        copy(standIns / "ldifde.exe", "windows/system32");
        std::ofstream(drive() / "windows/system32/dsmgmt.exe");
        copy(sample / "adam", "windows/adam");
        copy(sample / "ldif", "HDQ/LDAP/ldif");
        answerOf({"reg", "add", R"(HKLM\Software\Talvex, Inc.\Talvex HDQ)", "/v", "ServerInstallPath", "/d",
                  R"(C:\HDQ\)", "/f"});
        for (const char* service : {"ADAM_TalvexHDQDS", "wsbroker"})
            answerOf({"sc", "create", service, "binPath=", R"(C:\none.exe)"});
        answerOf({"sc", "description", "ADAM_TalvexHDQDS", "The pod"});
        EXPECT_EQ(std::system(layerServer.c_str()), 0);  // it may take minutes
    }

    FirstPod() {
        const std::string name = answerOf({"cmd", "/c", "echo %COMPUTERNAME%"});
        server_ = name.substr(0, name.find_first_of("\r\n"));
        flagEntry_ = "CN=" + server_ + ",OU=Server,OU=QRV,OU=Properties,DC=vdi,DC=talvex,DC=int";
        const auto session = pod_.open();
        EXPECT_TRUE(session->add({flagEntry_,
                                  {{"objectClass", {"zre-HDQProperties"}},
                                   {"zre-SIDString", {serverSid}},
                                   {"zre-QuorinEnabled", {"0"}}}}));
        EXPECT_TRUE(session->modify("CN=VCS2,OU=Server,OU=Properties,DC=vdi,DC=talvex,DC=int",
                                    {{LdapModify::replace, "zre-VornVersionNumber", {"700"}}}, {}));
        // The addresses 127.77.1.* belong to whoever holds their neighbours.
        host_ = environment("WS_TEST_LDAP_HOST").replace(0, 9, "127.77.1.");
        const std::string servers = "administrator = true\n" +
                                    wstest::fileText(environment("WS_TEST_CONFIG")) + "\n[global]\nhost = '" +
                                    host_ + "'\nmethod = 'simple'\nuser = '" + layerUser + "'\npassword = '" +
                                    password + "'\n";
        folder_.write("windows.toml", servers);
        folder_.write("native.toml", "data-folder = \"" + (drive() / "ProgramData").string() + "\"\n" +
                                         servers + "[environment]\nWINDIR = \"" +
                                         (drive() / "windows").string() + "\"\n");
    }
    ~FirstPod() override { fs::remove(database()); }

    // `hanging` is the program that stops in its middle.
    Words surroundings(const std::string& hanging = {}) const {
        return {"env", "WINEPATH=Z:" + windowsBin,
                "WS_TEST_LAYER_SERVER=" + layerServer + " " + host_ + " $1 " + folder_.path().string() + " " +
                    std::to_string(getpid()),
                "WS_TEST_LAYER_FOLDER=Z:" + folder_.path().string(), "WS_TEST_HANGS=" + hanging};
    }
    Answer askWindows(const std::string& operation) const {
        return ask(Build::windows, {"--config", folder_.utf8("windows.toml"), operation}, surroundings());
    }
    // The source is on this machine, so that the password needs no TLS. Its name is the last argument.
    Answer join(Build build, const std::string& source, const std::string& user, const std::string& key,
                Words around = {}) const {
        const bool native = build == Build::native;
        for (const std::string& word : surroundings()) around.push_back(word);
        return ask(build,
                   {"--config", folder_.utf8(native ? "native.toml" : "windows.toml"), "qrvLdapJoin",
                    "sourceusername=" + user, "sourcepassword=@" + folder_.write("password", key),
                    "servername=" + source},
                   around);
    }
    // Of this server and of the pod.
    void expectFlags(const std::string& flag) const {
        pod_.expectStored({{{"dn", flagEntry_}, {"zre-QuorinEnabled", flag}},
                           {{"dn", podFlagEntry}, {"zre-QuorinEnabled", flag}}});
    }
    void clearFlags() const {
        for (const std::string& dn : {flagEntry_, podFlagEntry})
            EXPECT_TRUE(pod_.open()->modify(dn, {{LdapModify::replace, "zre-QuorinEnabled", {"0"}}}, {}));
    }

    static inline const std::string layerServer = WS_SOURCE_DIR "/tests/servers/layer-server";
    ServerState pod_;
    wstest::TempFolder folder_;  // once it is gone the layer's server ends
    std::string server_, flagEntry_, host_;
};

TEST_F(FirstPod, IsInstalledAndReadByBothTools) {
    const Answer made = askWindows("qrvLdapInit");
    ASSERT_EQ(made.status, 0) << made.json << made.errors;
    expectFlags("1");
    const Answer windows = askWindows("qrvLdapInfo");
    EXPECT_EQ(windows.status, 0) << windows.errors;
    const std::string tree = windows.json["result"].dump();
    for (const std::string& text : {std::string("Default First Site"), std::string("Cluster-POD1"),
                                    "\"display-name\",\"" + server_ + "\"", std::string(":8472/")})
        EXPECT_NE(tree.find(text), std::string::npos) << text << tree;
    const Answer native = ask(Build::native, {"--config", folder_.utf8("native.toml"), "qrvLdapInfo"});
    EXPECT_EQ(native.json, windows.json) << native.errors;
    EXPECT_EQ(askWindows("qrvLdapInit").json["error"]["text"], "Global LDAP layer already exists");
    EXPECT_EQ(askWindows("qrvLdapCheckEnablement").status, 0);
    const Outcome role =
        run({"ldapsearch", "-LLL", "-x", "-H", "ldap://" + host_ + ":22389", "-D", layerUser, "-w", password,
             "-b", "CN=Administrators,CN=Roles,CN=Configuration,DC=vdiglobal,DC=talvex,DC=int"});
    EXPECT_NE(role.output.find("member: CN=" + serverSid + ","), std::string::npos)
        << role.output << role.errors;
    for (const auto& [service, value, text] : {std::tuple{"ADAM_TalvexHDQDSG", "Description", "The pod"},
                                               {"wsbroker", "DependOnService", "ADAM_TalvexHDQDSG"}}) {
        const std::string key = std::string(R"(HKLM\System\CurrentControlSet\Services\)") + service;
        const std::string stored = answerOf({"reg", "query", key, "/v", value});
        EXPECT_NE(stored.find(text), std::string::npos) << service << stored;
    }
}

TEST_F(FirstPod, AfterAProcessThatWasKilledTheNextRunIsRefused) {
    for (const auto& [program, refusal] :
         {std::pair{"adaminstall", "Local flags for the global LDAP layer state are not explicitly disabled"},
          {"ldifde", "Global LDAP layer already exists"}}) {
        SCOPED_TRACE(program);
        // Waits until the program hangs, and kills the tool by its process id.
        auto command = surroundings(program);
        const std::string kills =
            "hangs=$1; shift; \"$@\" & while ! [ -e $hangs ] && kill -0 $!; do sleep 0.1; done; "
            "kill -KILL $!; wait $!";
        command.insert(command.end(),
                       {"sh", "-c", kills, "sh", folder_.utf8("hangs"), "wine", windowsBin + "/hdqadmin.exe",
                        "--config", folder_.utf8("windows.toml"), "qrvLdapInit"});
        const Outcome killed = run(command);
        EXPECT_EQ(killed.status, 137) << killed.output << killed.errors;
        EXPECT_TRUE(fs::remove(folder_.path() / "hangs"));
        expectFlags("-1");
        EXPECT_EQ(askWindows("qrvLdapInit").json["error"]["text"], refusal);
        clearFlags();
    }
}

// What a join asks its source before it installs anything; the installer, which makes no replicas, comes
// next.
TEST_F(FirstPod, AsksTheSourceOfAReplica) {
    const Outcome started =
        run({"sh", "-c", R"("$@" & until [ -e "$4/serves" ]; do sleep 0.1; done)", "sh", layerServer, host_,
             "22389", folder_.path().string(), std::to_string(getpid())});
    ASSERT_EQ(started.status, 0) << started.errors;
    const auto source = pod_.directories().client->open({.host = host_, .port = 22389}).value();
    ASSERT_TRUE(source->bind({.user = layerUser, .domain = {}, .password = CORE::secretstring(password)}));
    const std::string
        servers =
            "CN=Servers,CN=Default-First-Site-Name,CN=Sites,CN=Configuration,DC=vdiglobal,DC=talvex,DC=int",
        entry = "CN=" + server_ + "$TalvexHDQDSG," + servers;
    // No resolver knows the name that it has.
    EXPECT_TRUE(source->modify("CN=VGL1," + servers, {{LdapModify::replace, "dNSHostName", {host_}}}));
    const auto self = CORE::wstr::getComputerNameEx(CORE::ComputerNameFormat::dnsFullyQualified);
    const std::string administrator = R"(VDIGLOBAL\Administrator)", refused = "Invalid username or password.",
                      installs = "Global LDAP instance create command failed",
                      blocked =
                          "an existing replication entry is present with the same name, which must be "
                          "manually removed";
    for (const Build build : {Build::native, Build::windows})
        for (const auto& [user, key, registeredFor, sentence] :
             {std::tuple{administrator, std::string("wrong"), std::string(), refused},
              {R"(VDIGLOBAL\nobody)", password, "", refused},
              {administrator, password, "", installs},
              {administrator, password, "other.example", blocked},
              {administrator, password, CORE::toUtf8(self), installs}}) {
            SCOPED_TRACE(testing::PrintToString(build) + " " + user + " " + key + " " + registeredFor);
            const LdapEntry other{entry, {{"objectClass", {"server"}}, {"dNSHostName", {registeredFor}}}};
            EXPECT_TRUE(registeredFor.empty() || source->add(other));
            const Answer answer = join(build, host_, user, key);
            EXPECT_NE(answer.json.dump().find(sentence), std::string::npos) << answer.json << answer.errors;
            EXPECT_EQ(source->remove(entry).has_value(), sentence == blocked);
            expectFlags("0");
        }
}

TEST_F(FirstPod, TakesNoReplicaOfASourceWithAnotherTime) {
    const Words around = {WS_SOURCE_DIR "/tests/servers/with-slapd", "--clock", "20000101000000Z", "sh", "-c",
                          R"(exec "$@"$WS_TEST_LDAP_HOST)",          "sh"};
    for (const Build build : {Build::native, Build::windows}) {
        const Answer answer = join(build, "", "cn=admin,DC=vdi,DC=talvex,DC=int", password, around);
        EXPECT_NE(answer.json.dump().find("QRV_OP_NO_TIME_SYNC"), std::string::npos)
            << answer.json << answer.errors;
    }
}

}  // namespace
}  // namespace integration
