#include "machines/machine_filters.h"

#include <gtest/gtest.h>

namespace {

using namespace wsadmin;

TEST(MachineFilters, AreWrittenAsTheSystemWritesThem) {
    const auto sid = platform::Sid::parse("S-1-5-21-1-2-3-4");
    const std::string begin = "(&(|(objectclass=zre-VM)(objectclass=zre-PM))(";
    const std::string owner = "zre-SIDString=S-1-5-21-1-2-3-4";
    const std::string pool = "zre-MemberDNOf=CN=sales,OU=Server Groups,DC=vdi,DC=talvex,DC=int";
    EXPECT_EQ(machineFilter({}), "(|(objectclass=zre-VM)(objectclass=zre-PM))");
    EXPECT_EQ(machineFilter({.name = "VM 1"}), begin + "zre-DisplayName=VM 1))");
    EXPECT_EQ(machineFilter({.owner = sid}), begin + owner + "))");
    EXPECT_EQ(machineFilter({.pool = "sales"}), begin + pool + "))");
    EXPECT_EQ(machineFilter({.owner = sid, .pool = "sales"}), begin + "&(" + owner + ")(" + pool + ")))");
    EXPECT_EQ(poolMachineFilter({.owner = sid, .pool = "sales"}), begin + owner + ")(" + pool + "))");
    EXPECT_EQ(poolMachineFilter({.name = "VM 1", .pool = "sales"}),
              begin + "zre-DisplayName=VM 1)(" + pool + "))");
}

TEST(MachineFilters, WhatIsNamedStaysOneValue) {
    EXPECT_EQ(machineFilter({.name = "*)(cn=*"}),
              "(&(|(objectclass=zre-VM)(objectclass=zre-PM))(zre-DisplayName=\\2A\\29\\28cn=\\2A))");
    EXPECT_EQ(poolDn("a,OU=x"), "CN=a\\,OU\\=x,OU=Server Groups,DC=vdi,DC=talvex,DC=int");
    EXPECT_EQ(virtualMachineFilter("v", "a,b"),
              "(&(objectclass=zre-VM)(zre-DisplayName=v)(zre-MemberDNOf=CN=a\\5C,b,OU=Server "
              "Groups,DC=vdi,DC=talvex,DC=int))");
}

}  // namespace
