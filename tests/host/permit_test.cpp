#include "host/service/permit.h"

#include <gtest/gtest.h>

#include "framework/core/framework.h"
#include "framework/core/plugin_api.h"
#include "host/described.h"
#include "host/plugin.h"

namespace hdqadmin {
namespace {

using channel::Rights;
using CORE::PropertyBag;

TEST(Permit, IsWhatTheRowOfEachOperationSaysItChanges) {
    const auto plugin = Plugin::load();
    ASSERT_TRUE(plugin) << plugin.error();
    PropertyBag startup;
    startup.set(CORE::startupLabFolder, std::string_view(WS_SOURCE_DIR "/labs/sample"));
    startup.setBool(L"InitiateDomainChecks", false);
    ASSERT_TRUE((*plugin)->start(startup));
    const PropertyBag described = (*plugin)->describe();
    const auto permit = mfwhost::permitOf(described);
    const auto operations = bagsOf(described, L"operation");
    EXPECT_EQ(operations.size(), 63u);
    for (const PropertyBag* operation : operations) {
        const std::wstring name = operation->get(L"name").str();
        PropertyBag response;
        EXPECT_EQ(permit(Rights::read, L"WS_admin", name).has_value(), operation->getBool(L"changes"));
        EXPECT_FALSE(permit(Rights::all, L"WS_admin", name));
        CORE::MessageHandler::SendMsg(L"ws_admin", name, {}, response, {.fromChannel = true});
        EXPECT_EQ(response.getErrorText(), L"Worker ws_admin takes no messages of remote machines");
    }
}

}  // namespace
}  // namespace hdqadmin
