#include "platform/text/network_address.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using wsadmin::platform::isNetworkAddress;

TEST(NetworkAddress, IsAnAddressOrANameAndNothingBesides) {
    const std::string label63(63, 'a');
    const struct {
        std::string text;
        bool isAddress;
    } rows[] = {
        {"10.0.0.1", true},
        {"::1", true},
        {"2001:DB8::10.0.0.1", true},
        {"vm-1.corp.example", true},
        {"host_1", true},
        {"1.example", true},
        {label63 + "." + label63 + "." + label63 + ".b", true},
        {"", false},
        {"10.0.0.256", false},
        {"10.1", false},
        {"10.0.0.1:80", false},
        {"[::1]", false},
        {"[::1]:80", false},
        {"::1/64", false},
        {"fe80::1%eth0", false},  // means something on one machine only
        {"fe80::1%whatever \"it\" says", false},
        {"10.0.0.1 ", false},
        {std::string("10.0.0.1\0.example", 17), false},
        {"-vm.example", false},
        {"vm-.example", false},
        {"vm..example", false},
        {"vm.example.", false},
        {"v\xC3\xA4.example", false},
        {label63 + "a.example", false},
        {label63 + "." + label63 + "." + label63 + "." + label63, false},
    };
    for (const auto& row : rows) EXPECT_EQ(isNetworkAddress(row.text), row.isAddress) << row.text;
}

TEST(NetworkAddress, OnlyLoopbackIsThisMachine) {
    for (const char* host :
         {"", "localhost", "LocalHost", "127.0.0.1", "127.77.0.9", "::1", "::ffff:127.0.0.1"})
        EXPECT_TRUE(wsadmin::platform::isThisMachine(host)) << host;
    for (const char* host : {"127.evil.example", "tls.example", "localhost.example", "127.1", "0.0.0.0",
                             "10.0.0.1", "::2", "::ffff:10.0.0.1", "fe80::1"})
        EXPECT_FALSE(wsadmin::platform::isThisMachine(host)) << host;
}

}  // namespace
