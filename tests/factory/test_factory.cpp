#include <gtest/gtest.h>

#include <asio.hpp>
#include <sstream>

#include "framework/core/corestring.h"
#include "platform/factory/paths.h"
#include "platform/platform.h"
#include "support/temp_folder.h"

namespace wsadmin::platform {
namespace {

CORE::PropertyBag startup(const wchar_t* key, const std::string& value) {
    CORE::PropertyBag bag;
    bag.set(key, value);
    return bag;
}

TEST(Factory, MakesTheRealMachineWithoutKeys) {
    const auto platform = createPlatform({});
    ASSERT_TRUE(platform);
    EXPECT_TRUE((*platform)->names->netBios());
    EXPECT_TRUE((*platform)->directoryServices);
    EXPECT_TRUE((*platform)->ldap && (*platform)->registry && (*platform)->processes && (*platform)->clock);
    EXPECT_TRUE((*platform)->save());
}

TEST(Factory, ReachesDirectoriesAsTheFileSays) {
    asio::io_context context;
    asio::ip::tcp::acceptor acceptor(context, {asio::ip::make_address("127.0.0.1"), 0});
    acceptor.non_blocking(true);
    const wstest::TempFolder folder;
    const auto file =
        folder.write("J\xc3\xb6rg.toml", "[directory]\nhost = \"127.0.0.1\"\nconnect-timeout = 50\nport = " +
                                             std::to_string(acceptor.local_endpoint().port()));
    const auto platform = createPlatform(startup(configurationKey, file));
    ASSERT_TRUE(platform) << CORE::toUtf8(platform.error().text);
    LdapCredentials nobody;
    nobody.method = LdapCredentials::Method::anonymous;
    EXPECT_FALSE(
        (*platform)->ldap->open({}).value()->bind(nobody));  // the port takes connections and says nothing
    asio::error_code error;
    acceptor.accept(error);
    EXPECT_FALSE(error) << error.message();
    EXPECT_TRUE((*platform)->names->netBios());
}

TEST(Factory, GivesALabDirectoryServices) {
    const auto lab = createPlatform(startup(labFolderKey, WS_SOURCE_DIR "/labs/sample"));
    ASSERT_TRUE(lab);
    DirectoryServices& services = *(*lab)->directoryServices;
    // The machine's name says which domain is the default one.
    const auto root = services.openObject("LDAP://rootDSE", {}, adsSecureAuthentication);
    ASSERT_TRUE(root) << CORE::toUtf8(root.error().text);
    EXPECT_EQ(directoryText((*root)->get("defaultNamingContext").value()), "dc=corp,dc=example");
    const auto people = services.openSearch("GC:", {}, adsSecureAuthentication);
    ASSERT_TRUE(people);
    const auto rows = (*people)->execute("(sAMAccountName=alice)", {"objectSid"});
    ASSERT_TRUE(rows);
    ASSERT_TRUE((*rows)->next().value_or(false));
    const auto sid = (*rows)->column("objectSid");
    ASSERT_TRUE(sid && *sid);
    EXPECT_EQ(adsTypeCode((*sid)->values.front()), 8);
}

TEST(Factory, ChoosesDirectoryServices) {
    const wstest::TempFolder folder;
    // A closed port tells whether a configuration is followed: only the portable services do.
    asio::io_context context;
    asio::ip::tcp::acceptor acceptor(context, {asio::ip::make_address("127.0.0.1"), 0});
    const std::string port = std::to_string(acceptor.local_endpoint().port());
    acceptor.close();
    for (const char* key : {"", "directory-services = \"portable\"\n"}) {
        const auto file =
            folder.write("c.toml", key + std::string("[directory]\nhost = \"127.0.0.1\"\nport = ") + port);
        const auto platform = createPlatform(startup(configurationKey, file));
        ASSERT_TRUE(platform) << CORE::toUtf8(platform.error().text);
        const auto opened =
            (*platform)->directoryServices->openSearch("LDAP://127.0.0.1/DC=x", {}, adsSecureAuthentication);
        ASSERT_FALSE(opened);
        EXPECT_EQ(opened.error().text, L"The server is not operational. Error=81 Info=Server Down") << key;
    }
}

// The machine's own go with its own directory services.
TEST(Factory, ChoosesAccounts) {
    const wstest::TempFolder folder;
    const auto own = createPlatform({}).value();
#if defined(_WIN32)
    EXPECT_TRUE(own->accounts);
#else
    EXPECT_FALSE(own->accounts);
#endif
    EXPECT_FALSE(createPlatform(startup(labFolderKey, WS_SOURCE_DIR "/labs/sample")).value()->accounts);
    const struct {
        const char* text;
        bool own;
    } rows[] = {
        {"", true},
        {"process-account = \"SYSTEM\"", true},
        {"directory-services = \"portable\"", false},
        {"[global]\nhost = \"127.0.0.1\"", false},
#if defined(_WIN32)
        {"directory-services = \"adsi\"\n[global]\nhost = \"127.0.0.1\"", true},
#endif
    };
    for (const auto& row : rows) {
        const auto file = folder.write("c.toml", row.text);
        const auto platform = createPlatform(startup(configurationKey, file));
        ASSERT_TRUE(platform) << row.text;
        EXPECT_EQ((*platform)->accounts != nullptr, row.own && own->accounts) << row.text;
    }
}

TEST(Factory, ReadsTheInstallationAndTheStartUpParameters) {
    const wstest::TempFolder folder;
    const struct {
        const char *machine, *tables, *installation, *parameters;
    } rows[] = {
        {"role = \"security-server\"\nos-level = 4\nadministrator = false\nipv6 = true\nfirst-guid = "
         "\"00000000-0000-4000-8000-00000000009f\"\n",
         "[environment]\nWS_Test_Place = \"here\"\n",
         "2 4 0 1 00000000-0000-4000-8000-00000000009f 00000000-0000-4000-8000-0000000000a0 here", ""},
        {"role = \"none\"\nos-level = 10\nadministrator = true\nfirst-guid = "
         "\"ffffffff-ffff-ffff-ffff-ffffffffffff\"\n",
         "[startup]\nInitiateDomainChecks = false\nIPsecRuleCheckInterval = -1\nincludeList = \"a b\"\n",
         "0 10 1 0 ffffffff-ffff-ffff-ffff-ffffffffffff 00000000-0000-0000-0000-000000000000 -",
         "InitiateDomainChecks=false;IPsecRuleCheckInterval=-1;includeList=a b"},
    };
    const auto shown = [](const Platform& platform) {
        const Installation& installation = platform.installation;
        std::ostringstream text;
        text << installation.role << " " << installation.osLevel << " " << installation.administrator << " "
             << installation.ipv6;
        for (int i = 0; i < 2; ++i) text << " " << CORE::toUtf8(platform.guids->next().value());
        const auto place = platform.environment->variable(L"WS_TEST_PLACE").value();
        text << " " << CORE::toUtf8(place.value_or(L"-"));
        return text.str();
    };
    for (const auto& row : rows) {
        folder.write("machine.toml", std::string("[machine]\n") + row.machine + row.tables);
        const auto file = folder.write("c.toml", std::string(row.machine) + row.tables);
        for (const auto& bag : {startup(labFolderKey, folder.utf8("")), startup(configurationKey, file)}) {
            const auto platform = createPlatform(bag);
            ASSERT_TRUE(platform) << CORE::toUtf8(platform.error().text);
            EXPECT_EQ(shown(**platform), row.installation);
            EXPECT_EQ(CORE::toUtf8((*platform)->startup.flattenForDisplay(L";")), row.parameters);
        }
    }
}

TEST(Factory, TakesTheRoleOfTheRealMachineFromTheHost) {
    CORE::MessageFrameWork::System().setInstRole(CORE::InstType::securityServer);
    EXPECT_EQ(createPlatform({}).value()->installation.role, CORE::InstType::securityServer);
    CORE::MessageFrameWork::System().setInstRole(CORE::InstType::connectionServer);
    EXPECT_EQ(createPlatform({}).value()->installation.role, CORE::InstType::connectionServer);
    EXPECT_EQ(createPlatform({}).value()->installation.osLevel, CORE::coreosver::level());
}

TEST(Factory, RefusesWhatItCannotMake) {
    const wstest::TempFolder folder;
    const auto wrong = folder.write("wrong.toml", "[directory]\nhots = 1\n");
    const auto configured = createPlatform(startup(configurationKey, wrong));
    ASSERT_FALSE(configured);
    EXPECT_TRUE(configured.error().text.ends_with(L"wrong.toml:2: there is no key \"directory.hots\""));

    EXPECT_FALSE(createPlatform(startup(labFolderKey, folder.utf8("absent"))));

    auto both = startup(labFolderKey, "a");
    both.set(configurationKey, L"b");
    EXPECT_EQ(createPlatform(both).error().text, L"A lab and a configuration file exclude each other");
}

TEST(Factory, SavesALabOnlyWhenAsked) {
    for (const bool save : {false, true}) {
        const wstest::TempFolder folder;
        std::filesystem::copy(pathOf(WS_SOURCE_DIR "/labs/sample"), folder.path() / "lab",
                              std::filesystem::copy_options::recursive);
        auto bag = startup(labFolderKey, folder.utf8("lab"));
        bag.setBool(labSaveKey, save);
        const auto change = [&](const RegistryData& data) {
            const auto platform = createPlatform(bag);
            ASSERT_TRUE(platform) << CORE::toUtf8(platform.error().text);
            ASSERT_TRUE((*platform)->registry->write(L"HKLM\\Software\\Test", L"kept", data));
            ASSERT_TRUE((*platform)->save());
        };
        change(std::uint32_t{7});
        const auto kept = createPlatform(bag).value()->registry->read(L"HKLM\\Software\\Test", L"kept");
        ASSERT_TRUE(kept);
        EXPECT_EQ(kept->has_value(), save);
    }
}

}  // namespace
}  // namespace wsadmin::platform
