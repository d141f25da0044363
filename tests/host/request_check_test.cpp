#include "host/request_check.h"

#include <gtest/gtest.h>

#include "host/plugin.h"

namespace hdqadmin {
namespace {

TEST(RequestCheck, HoldsWhatWasTypedAgainstTheTable) {
    const auto plugin = Plugin::load();
    ASSERT_TRUE(plugin) << plugin.error();
    const struct {
        const char* operation;
        std::vector<std::string> pairs;
        const char* problem;  // the beginning of the sentence; empty: fine
    } rows[] = {
        {"SETVMOWNERSHIP", {"USERNAME=yes", "removeAssignment= True "}, ""},
        {"getEntitledDesktops", {"sid=1", "SID=2"}, ""},
        {"setVMOwnership", {"removeAssignment=0"}, ""},
        {"setServiceConfiguration", {"forestCheckInterval=-5"}, ""},
        {"setVMOwnersip", {}, "there is no operation \"setVMOwnersip\" (did you mean \"setVMOwnership\"?)"},
        {"makeCoffee", {}, "there is no operation \"makeCoffee\"; see hdqadmin --list"},
        {"", {}, "there is no operation \"\"; see hdqadmin --list"},
        {"Diag", {"x="}, "Diag has no key \"x\"; see hdqadmin Diag --help"},
        {"checkAdminPermission",
         {"sids=1"},
         "checkAdminPermission has no key \"sids\" (did you mean \"sid\"?)"},
        {"setMachineAgentInfo",
         {"ipAdress=1"},
         "setMachineAgentInfo has no key \"ipAdress\" (did you mean \"ipAddress\"?)"},
        {"setDefaultDesktop",
         {"desktop=x"},
         "setDefaultDesktop has no key \"desktop\" (did you mean \"desktopname\"?)"},
        {"setVMOwnership",
         {"removeAssignment=yes"},
         "the value of \"removeAssignment\" must be true or false"},
        {"setVMOwnership", {"removeAssignment="}, "the value of \"removeAssignment\" must be true or false"},
        {"setServiceConfiguration",
         {"forestCheckInterval=5x"},
         "the value of \"forestCheckInterval\" must be a whole number"},
        {"setServiceConfiguration",
         {"forestCheckInterval=99999999999"},
         "the value of \"forestCheckInterval\" must be a whole number"},
        {"setClusterName", {"clustername=x", "clusterName=x"}, "setClusterName takes \"clusterName\" once"},
        {"setClusterName", {"clustername=bag"}, "the value of \"clustername\" must be a text, not a bag"},
    };
    for (const auto& row : rows) {
        Options options;
        options.operation = row.operation;
        options.pairs = row.pairs;
        auto requests = buildRequests(options).value();
        if (row.pairs == std::vector<std::string>{"clustername=bag"})
            requests[0].bag.setBag(L"clustername", CORE::PropertyBag());
        const auto checked = checkRequests((*plugin)->describe(), requests);
        const std::string sentence = checked ? "" : checked.error();
        EXPECT_TRUE(*row.problem ? sentence.starts_with(row.problem) : sentence.empty()) << sentence;
    }
}

}  // namespace
}  // namespace hdqadmin
