// Paths, values and failures of directory services.
#include <gtest/gtest.h>

#include "platform/directory_services.h"

namespace wsadmin::platform {
namespace {

std::string shown(const std::optional<DirectoryPath>& path) {
    if (!path) return "malformed";
    std::string text = path->globalCatalog ? "gc" : "ldap";
    text += " server=" + path->server;
    if (path->port) text += " port=" + std::to_string(*path->port);
    return text + (path->rootDse ? " rootDSE" : " dn=" + path->dn);
}

TEST(DirectoryPath, IsTakenApartAndPutTogether) {
    const struct {
        const char* text;
        const char* parts;
        const char* again;  // null: the same text
    } table[] = {
        {"LDAP://dc1/dc=a,dc=b", "ldap server=dc1 dn=dc=a,dc=b", nullptr},
        {"LDAP://127.0.0.1:22389/DC=vdi", "ldap server=127.0.0.1 port=22389 dn=DC=vdi", nullptr},
        {"ldap://dc1.corp.example", "ldap server=dc1.corp.example dn=", "LDAP://dc1.corp.example"},
        {"LDAP://dc1:389/", "ldap server=dc1 port=389 dn=", "LDAP://dc1:389"},
        {"LDAP://[::1]/cn=x", "ldap server=::1 dn=cn=x", nullptr},
        {"LDAP://[fe80::1%eth0]:3890/cn=x", "ldap server=fe80::1%eth0 port=3890 dn=cn=x", nullptr},
        {"LDAP://[::1]", "ldap server=::1 dn=", nullptr},
        {"LDAP://cn=x,dc=a", "ldap server= dn=cn=x,dc=a", nullptr},
        {"LDAP://rootdse", "ldap server= rootDSE", "LDAP://rootDSE"},
        {"LDAP://dc1/RootDSE", "ldap server=dc1 rootDSE", "LDAP://dc1/rootDSE"},
        {"LDAP:", "ldap server= dn=", nullptr},
        {"GC:", "gc server= dn=", nullptr},
        {"gc://corp.example/dc=x", "gc server=corp.example dn=dc=x", "GC://corp.example/dc=x"},
        {"LDAP://dc1/<SID=S-1-5-21-1>", "ldap server=dc1 dn=<SID=S-1-5-21-1>", nullptr},
        // Names with slashes, escaped or not, and with an escaped backslash before one.
        {"LDAP://dc1/cn=a\\/b,dc=x", "ldap server=dc1 dn=cn=a/b,dc=x", nullptr},
        {"LDAP://dc1/cn=a/b,dc=x", "ldap server=dc1 dn=cn=a/b,dc=x", "LDAP://dc1/cn=a\\/b,dc=x"},
        {"LDAP://cn=a/b", "ldap server= dn=cn=a/b", "LDAP://cn=a\\/b"},
        {"LDAP://dc1/cn=a\\\\\\/b", "ldap server=dc1 dn=cn=a\\\\/b", nullptr},
        {"LDAP://dc1/cn=a\\,b,dc=x", "ldap server=dc1 dn=cn=a\\,b,dc=x", nullptr},
        {"LDAP://CN=Jos\xC3\xA9,DC=x", "ldap server= dn=CN=Jos\xC3\xA9,DC=x", nullptr},
    };
    for (const auto& row : table) {
        const auto path = parseDirectoryPath(row.text);
        EXPECT_EQ(shown(path), row.parts) << row.text;
        ASSERT_TRUE(path) << row.text;
        const std::string again = directoryPathText(*path);
        EXPECT_EQ(again, row.again ? row.again : row.text);
        EXPECT_EQ(shown(parseDirectoryPath(again)), row.parts) << again;
    }
}

TEST(DirectoryPath, MalformedOnesAreNone) {
    for (const char* text : {"",
                             "dc=x",
                             "WinNT://dc1",
                             "LDAPS://dc1",
                             "LDAP",
                             "LDAP:/dc1",
                             "LDAP://",
                             "LDAP:///dc=x",
                             "LDAP://:389/dc=x",
                             "LDAP://dc1:/dc=x",
                             "LDAP://dc1:0/dc=x",
                             "LDAP://dc1:65536/dc=x",
                             "LDAP://dc1:38 9/dc=x",
                             "LDAP://dc1:-1/dc=x",
                             "LDAP://::1/dc=x",
                             "LDAP://[::1/dc=x",
                             "LDAP://[]/dc=x",
                             "LDAP://[dc1]/dc=x",
                             "LDAP://[::1]389/dc=x",
                             "LDAP://dc 1/dc=x",
                             "LDAP://dc1?x/dc=x",
                             "LDAP://user@dc1/dc=x",
                             "LDAP://dc1/no name",
                             "LDAP://dc1/dc=x,",
                             "LDAP://cn=a,rubbish",
                             "LDAP://rootDSE/dc=x",
                             "GC:dc1"})
        EXPECT_EQ(shown(parseDirectoryPath(text)), "malformed") << text;
    EXPECT_FALSE(parseDirectoryPath(std::string_view("LDAP://dc1\0x/dc=x", 17)));
    EXPECT_FALSE(parseDirectoryPath(std::string_view("LDAP://dc1/dc=x\0y", 17)));
}

TEST(DirectoryValue, HasItsCodesAndItsText) {
    const struct {
        DirectoryValue value;
        int adsType, variantType;
        const char* text;
    } table[] = {
        {std::string("x"), 3, 8, "x"},
        {std::int32_t{-7}, 7, 3, "-7"},
        {std::int64_t{9223372036854775807}, 10, 9, "9223372036854775807"},
        {true, 6, 11, "TRUE"},
        {false, 6, 11, "FALSE"},
        {DirectoryTime{1425213045}, 9, 7, "20150301123045.0Z"},
        {DirectoryTime{-1}, 9, 7, "19691231235959.0Z"},
        {DirectoryBytes{"\x01\xff"}, 8, 8209, "\x01\xff"},
        {DirectoryName{"cn=x"}, 1, 8, "cn=x"},
    };
    for (const auto& row : table) {
        EXPECT_EQ(adsTypeCode(row.value), row.adsType) << row.text;
        EXPECT_EQ(variantTypeCode(row.value), row.variantType) << row.text;
        EXPECT_EQ(directoryText(row.value), row.text);
    }
}

TEST(DirectoryFailure, TellsTheProvidersTextToo) {
    EXPECT_EQ(directoryErrorText(adsServerDown, L"No server.", 0, L""), L"No server.");
    EXPECT_EQ(directoryErrorText(adsServerDown, L"No server.", 81, L"Server Down"),
              L"No server. Error=81 Info=Server Down");
    EXPECT_EQ(directoryErrorText(adsServerDown, L"", 81, L""), L"Error=81 Info=");
    EXPECT_EQ(directoryErrorText(adsSucceeded, L"x", 0, L""), L"SUCCEEDED");
}

}  // namespace
}  // namespace wsadmin::platform
