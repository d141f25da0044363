#include <gtest/gtest.h>

#include <asio.hpp>

#include "framework/core/corestring.h"
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
    const auto platform = createPlatform({}).value();
    EXPECT_TRUE(platform->names->netBios() && platform->directoryServices && platform->ldap);
    EXPECT_TRUE(platform->registry && platform->processes && platform->clock && platform->save());
#if defined(_WIN32)
    EXPECT_TRUE(platform->accounts);
#else
    EXPECT_FALSE(platform->accounts);
#endif
    EXPECT_FALSE(createPlatform(startup(labFolderKey, WS_SOURCE_DIR "/labs/sample")).value()->accounts);
    EXPECT_EQ(platform->installation.osLevel, CORE::coreosver::level());
    for (const auto role : {CORE::InstType::securityServer, CORE::InstType::connectionServer}) {
        CORE::MessageFrameWork::System().setInstRole(role);  // the host's
        EXPECT_EQ(createPlatform({}).value()->installation.role, role);
    }
}

// Only the portable directory services follow a file's routes.
TEST(Factory, ReachesDirectoriesAsTheFileSays) {
    asio::io_context context;
    asio::ip::tcp::acceptor acceptor(context, {asio::ip::make_address("127.0.0.1"), 0});
    acceptor.non_blocking(true);
    const wstest::TempFolder folder;
    const std::string port = std::to_string(acceptor.local_endpoint().port());
    for (const std::string key : {"", "directory-services = \"portable\"\n"}) {
        const auto file = folder.write("J\xc3\xb6rg.toml", key +
                                                               "[global]\nhost = \"127.0.0.1\"\n"
                                                               "connect-timeout = 50\nport = " +
                                                               port);
        const auto platform = createPlatform(startup(configurationKey, file));
        ASSERT_TRUE(platform) << CORE::toUtf8(platform.error().text);
        // The port takes connections and says nothing.
        EXPECT_FALSE((*platform)->directoryServices->openSearch("LDAP://127.0.0.1:22389/DC=x", {}, 0));
        asio::error_code error;
        acceptor.accept(error);
        EXPECT_FALSE(error) << error.message();
    }
}

TEST(Factory, RefusesALabBesideAConfigurationFile) {
    auto both = startup(labFolderKey, "a");
    both.set(configurationKey, L"b");
    EXPECT_EQ(createPlatform(both).error().text, L"A lab and a configuration file exclude each other");
}

}  // namespace
}  // namespace wsadmin::platform
