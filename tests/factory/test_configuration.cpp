// Configuration files, and the platforms that are made as they say.
#include "platform/factory/configuration.h"

#include <asio.hpp>

#include "platform/factory/routed_ldap_client.h"
#include "platform/platform.h"
#include "support/rows.h"
#include "support/scripted_ldap.h"
#include "support/temp_folder.h"

namespace wsadmin::platform {
namespace {

using wstest::Json;
using wstest::orNull;

constexpr const char* startTls[] = {"never", "leavingTheMachine", "required"};
constexpr const char* methods[] = {"negotiate", "simple", "anonymous"};

Json allOf(const DirectoryRoute& route) {
    const auto time = [](const auto& limit) { return limit ? Json(limit->count()) : Json(); };
    const auto& [entries, bytes, waiting] = route.limits;
    Json shown;
    shown["asked"] = Json::array({route.askedHost, orNull(route.askedPort)});
    shown["reached"] = Json::array({route.host, orNull(route.port)});
    shown["timeouts"] = Json::array({time(route.connectTimeout), time(route.operationTimeout)});
    shown["tls"] = route.tls;
    shown["startTls"] = startTls[static_cast<int>(route.startTls)];
    shown["passwordInClear"] = route.passwordInClear;
    shown["verifyCertificate"] = route.verifyCertificate;
    shown["caFile"] = route.caFile;
    shown["limits"] = Json::array({entries, bytes, waiting.count()});
    if (const auto& who = route.credentials)
        shown["credentials"] = Json::array({methods[static_cast<int>(who->method)], who->user, who->domain,
                                            std::string(who->password.view())});
    return shown;
}

// What the file says, without what is as ever.
Json read(const Json& in) {
    const wstest::TempFolder folder;
    folder.write("pod.password",
                 "\xEF\xBB\xBF"
                 "from \"file\" \r\n");
    folder.write("empty", "\n");
    const std::string file = folder.write("c.toml", in.get<std::string>());
    const auto configuration = readConfiguration(file);
    if (!configuration) {
        const std::string sentence = CORE::toUtf8(configuration.error().text);
        EXPECT_TRUE(sentence.starts_with(file)) << sentence;
        return "! " + sentence.substr(std::min(file.size(), sentence.size()));
    }
    Json shown = Json::object();
    if (!configuration->defaultDomain.empty()) shown["domain"] = configuration->defaultDomain;
    if (!configuration->processAccount.empty()) shown["account"] = configuration->processAccount;
    const Json usual = allOf({});
    for (const DirectoryRoute& route : configuration->routes) {
        const Json all = allOf(route);
        Json& set = shown["routes"].emplace_back();
        for (const auto& [name, value] : all.items())
            if (!usual.contains(name) || usual[name] != value) set[name] = value;
    }
    return shown;
}

std::shared_ptr<Platform> machineOf(const wchar_t* key, const std::string& path) {
    CORE::PropertyBag bag;
    bag.set(key, path);
    return createPlatform(bag).value();
}

constexpr bool hasAccounts = std::filesystem::path::preferred_separator == '\\';  // under Windows

// The accounts of the process and of the directory, and whether those of the machine go with them, if it has
// any: with its own directory services they do.
Json accounts(const Json& in) {
    const wstest::TempFolder folder;
    const auto machine = machineOf(configurationKey, folder.write("c.toml", in[0].get<std::string>()));
    EXPECT_EQ(machine->accounts != nullptr, hasAccounts && in[1].get<bool>());
    return {CORE::toUtf8(machine->processAccount), CORE::toUtf8(machine->directoryAccount)};
}

// The installation, the next GUIDs, a variable and the start-up parameters, which a lab's machine has too.
Json installation(const Json& in) {
    const wstest::TempFolder folder;
    const std::string keys = in[0], tables = in[1];
    folder.write("machine.toml", "[machine]\n" + keys + tables);
    Json shown;
    for (const auto& machine : {machineOf(labFolderKey, folder.utf8("")),
                                machineOf(configurationKey, folder.write("c.toml", keys + tables))}) {
        const auto& [role, osLevel, administrator, ipv6] = machine->installation;
        Json own{static_cast<int>(role), osLevel, administrator, ipv6};
        for (int i = 0; i < 2; ++i) own.push_back(CORE::toUtf8(machine->guids->next().value()));
        own.push_back(CORE::toUtf8(machine->environment->variable(L"WS_TEST_PLACE").value().value_or(L"-")));
        own.push_back(CORE::toUtf8(machine->startup.flattenForDisplay(L";")));
        EXPECT_TRUE(shown.is_null() || shown == own);
        shown = own;
    }
    return shown;
}

// A client that routes what it is asked for as routes.toml says, in front of one that remembers it.
struct RoutedClient {
    std::shared_ptr<wstest::RememberingClient> below = std::make_shared<wstest::RememberingClient>();
    std::shared_ptr<LdapClient> client;

    RoutedClient() {
        Configuration configuration = readConfiguration(WS_SOURCE_DIR "/tests/factory/routes.toml").value();
        for (DirectoryRoute& one : configuration.routes)
            if (one.tls) one.caFile = "ca.pem";  // which a file may not say under Windows
        client = makeRoutedLdapClient(below, std::move(configuration));
    }

    std::unique_ptr<LdapSession> open(const Json& asked, StartTls startTls = StartTls::leavingTheMachine) {
        LdapEndpoint endpoint{.host = asked[0], .port = asked[1]};
        endpoint.connectTimeout = std::chrono::milliseconds(1234);
        endpoint.startTls = startTls;
        return client->open(endpoint).value();
    }
};

// Host, port, time-out and StartTLS of what is reached, also where that has to be protected, and what TLS
// adds.
Json route(const Json& in) {
    RoutedClient routed;
    routed.open(in);
    const auto [host, port, tls, start, clear, verify, ca, connect, operation, limits] =
        routed.below->endpoint;
    routed.open(in, StartTls::required);
    const StartTls required = routed.below->endpoint.startTls;
    Json shown{host, port, connect.count(), startTls[static_cast<int>(start)],
               startTls[static_cast<int>(required)]};
    EXPECT_EQ(tls, clear);
    if (tls) shown.push_back({CORE::toUtf8(CORE::toWide(ca).substr(ca.size() - 6)), limits.entries});
    return shown;
}

// As whom a request binds that brings this method, user and password to a host.
Json bound(const Json& in) {
    RoutedClient routed;
    const auto method = std::ranges::find(methods, in[1].get<std::string>()) - methods;
    EXPECT_TRUE(routed.open({in[0], 389})
                    ->bind({static_cast<LdapCredentials::Method>(method),
                            in[2],
                            {},
                            CORE::secretstring(in[3].get<std::string>())}));
    const LdapCredentials& who = routed.below->bound;
    return {methods[static_cast<int>(who.method)], who.user, std::string(who.password.view())};
}

TEST(Configuration, IsReadOrSaysWhatIsWrongAndWhere) {
    wstest::tryRows(WS_SOURCE_DIR "/tests/factory/rows.jsonl", {{"read", read},
                                                                {"accounts", accounts},
                                                                {"installation", installation},
                                                                {"route", route},
                                                                {"bound", bound}});
    EXPECT_TRUE(wstest::hasPart(read("\xff"), "! :1: "));
#if defined(_WIN32)
    EXPECT_EQ(accounts({"directory-services = \"adsi\"\n[global]\nhost = \"127.0.0.1\"", true}),
              Json({"", ""}));
    EXPECT_EQ(read("directory-services = \"adsi\"\n[directory]\nuser = \"u\"\npassword = \"p\""),
              "! :1: ADSI binds as the process and not as a configured user; use \"portable\"");
    EXPECT_EQ(read("[global]\ntls = true\nca-file = \"x\""),
              "! :3: under Windows the certificate's issuer has to be in the machine's own store");
#else
    EXPECT_EQ(read("directory-services = \"adsi\""), "! :1: there is no ADSI but under Windows");
    const std::string unread = read("[global]\ntls = true\nca-file = \"x\"");
    EXPECT_TRUE(unread.starts_with("! :3: the file ") && unread.ends_with("x cannot be read")) << unread;
#endif
    EXPECT_EQ(readConfiguration("absent.toml").error().text, L"absent.toml: the file cannot be read");
}

std::vector<std::wstring> warningsOf(const std::string& file) {
    return readConfiguration(file).value().warnings;
}

TEST(Configuration, WarnsOfCertificatesThatAreNotCheckedAndPasswordsThatOthersCanRead) {
    const wstest::TempFolder folder;
    EXPECT_EQ(warningsOf(folder.write("c.toml",
                                      "[directory]\nhost = \"a.example\"\ntls = true\n"
                                      "verify-certificate = false")),
              std::vector<std::wstring>{L"The certificate of a.example is not checked: "
                                        L"whoever answers in its place gets what is sent"});
#if !defined(_WIN32)
    const auto file = folder.write("p.toml", "[directory]\nuser = \"u\"\npassword = \"unspoken\"");
    using std::filesystem::perms;
    std::filesystem::permissions(file, perms::owner_read);
    EXPECT_TRUE(warningsOf(file).empty());
    std::filesystem::permissions(file, perms::owner_read | perms::others_read);
    EXPECT_EQ(warningsOf(file),
              std::vector{CORE::toWide(file) + L" holds a password and others than its owner can read it"});
#endif
}

TEST(Factory, MakesTheRealMachineWithoutKeysAndNoneOfALabBesideAConfigurationFile) {
    const auto platform = createPlatform({}).value();
    EXPECT_TRUE(platform->names->netBios() && platform->guids->next() && platform->directoryServices &&
                platform->ldap);
    EXPECT_TRUE(platform->registry && platform->processes && platform->clock && platform->save());
    EXPECT_EQ(platform->accounts != nullptr, hasAccounts);
    EXPECT_FALSE(machineOf(labFolderKey, WS_SOURCE_DIR "/labs/sample")->accounts);
    EXPECT_EQ(platform->installation.osLevel, CORE::coreosver::level());
    for (const auto role : {CORE::InstType::securityServer, CORE::InstType::connectionServer}) {
        CORE::MessageFrameWork::System().setInstRole(role);  // the host's
        EXPECT_EQ(createPlatform({}).value()->installation.role, role);
    }
    CORE::PropertyBag both;
    both.set(labFolderKey, L"a");
    both.set(configurationKey, L"b");
    EXPECT_EQ(createPlatform(both).error().text, L"A lab and a configuration file exclude each other");
}

// Only the portable directory services follow a file's routes.
TEST(Factory, ReachesDirectoriesAsTheFileSays) {
    asio::io_context context;
    asio::ip::tcp::acceptor acceptor(context, {asio::ip::make_address("127.0.0.1"), 0});
    acceptor.non_blocking(true);
    const wstest::TempFolder folder;
    const std::string port = std::to_string(acceptor.local_endpoint().port());
    for (const std::string key : {"", "directory-services = \"portable\"\n"}) {
        const std::string text = key + "[global]\nhost = \"127.0.0.1\"\nconnect-timeout = 50\nport = " + port;
        const auto platform = machineOf(configurationKey, folder.write("J\xc3\xb6rg.toml", text));
        // The port takes connections and says nothing.
        EXPECT_FALSE(platform->directoryServices->openSearch("LDAP://127.0.0.1:22389/DC=x", {}, 0));
        asio::error_code error;
        acceptor.accept(error);
        EXPECT_FALSE(error) << error.message();
    }
}

}  // namespace
}  // namespace wsadmin::platform
