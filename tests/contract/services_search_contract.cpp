// What every implementation of directory services does with paths and searches.
#include "contract/services_under_test.h"
#include "support/relay.h"

namespace wsadmin::platform {
namespace {

using ServicesSearchContract = ServicesContract;

TEST_P(ServicesSearchContract, RowsHaveTypedColumns) {
    const std::string greetings = "Gr\u00fc\u00dfe";
    // Wine's ADSI reads a number beyond its end, into whatever digits stand there; the least one stays what
    // it is.
    make("CN=one", {{"zre-QuorinEnabled", {"-2147483648"}},
                    {"zre-DisplayName", {greetings}},
                    {"zre-NameValuePair", {"a=1", "b=2"}}});
    const auto search = searchAt(pathOf(place()));
    const auto rows =
        rowsOf(*search, "(cn=one)",
               {"cn", "zre-quorinenabled", "zre-DisplayName", "zre-NameValuePair", "distinguishedName",
                "objectGUID", "whenCreated", "zre-ClusterName", "ADsPath"});
    ASSERT_EQ(rows.size(), 1U);
    Row row = rows.front();
    EXPECT_EQ(row["cn"], std::vector<DirectoryValue>{std::string("one")});
    EXPECT_EQ(row["zre-quorinenabled"],
              std::vector<DirectoryValue>{std::numeric_limits<std::int32_t>::min()});
    EXPECT_EQ(row["zre-DisplayName"], std::vector<DirectoryValue>{greetings});
    EXPECT_EQ(row["zre-NameValuePair"].size(), 2U);
    for (const char* name : {"distinguishedName", "objectGUID", "whenCreated"})
        ASSERT_EQ(row[name].size(), 1U);
    EXPECT_EQ(adsTypeCode(row["distinguishedName"][0]), 1);
    EXPECT_TRUE(sameDn(directoryText(row["distinguishedName"][0]), at("CN=one")));
    EXPECT_EQ(std::get<DirectoryBytes>(row["objectGUID"][0]).bytes.size(), 16U);
    EXPECT_GT(std::get<DirectoryTime>(row["whenCreated"][0]).seconds, 1'577'836'800);  // 2020
    EXPECT_FALSE(row.contains("zre-ClusterName"));
    EXPECT_TRUE(directoryText(row["ADsPath"].at(0)).starts_with("LDAP://"));
}

TEST_P(ServicesSearchContract, PreferencesShapeTheSearch) {
    makeUnit("OU=a");
    for (const char* name : {"CN=1,OU=a", "CN=2,OU=a", "CN=3,OU=a", "CN=4,OU=a", "CN=5,OU=a"}) make(name);
    const auto search = searchAt(pathOf(at("OU=a")));
    EXPECT_EQ(namesOf(*search, "(objectClass=*)"), "1 2 3 4 5 a");  // the whole subtree, unless told
    const std::tuple<SearchPreference, int, const char*> table[] = {
        {SearchPreference::scope, 0, "a"},
        {SearchPreference::scope, 1, "1 2 3 4 5"},
        {SearchPreference::pageSize, 2, "1 2 3 4 5"},
        {SearchPreference::timeLimit, 60, "1 2 3 4 5"},
        {SearchPreference::scope, 2, "1 2 3 4 5 a"},
        {SearchPreference::pageSize, 1000, "1 2 3 4 5 a"},
    };
    for (const auto& [preference, value, names] : table) {
        ASSERT_TRUE(search->setPreference(preference, value));
        EXPECT_EQ(namesOf(*search, "(objectClass=*)"), names) << static_cast<int>(preference);
    }
    ASSERT_TRUE(search->setPreference(SearchPreference::sizeLimit, 3));
    EXPECT_EQ(rowsOf(*search, "(objectClass=*)", {"name"}).size(), isWines() ? 6U : 3U);
    EXPECT_FALSE(search->setPreference(SearchPreference::scope, 3));
    EXPECT_TRUE(search->usable());
}

TEST_P(ServicesSearchContract, FiltersTakeAnyValueAndRefuseBrokenOnes) {
    for (const char* name : {"CN=a*(b)", "CN=c\\\\d", "CN=other"}) make(name);
    const auto search = searchAt(pathOf(place()));
    const std::pair<const char*, const char*> table[] = {
        {"(cn=a\\2a\\28b\\29)", "a*(b)"},
        {"(cn=c\\5cd)", "c\\d"},
        {"cn=other", "other"},
        {"(cn=*)", "a*(b) c\\d other"},
        {"(&(objectClass=zre-PropertyObject)(!cn=other))", "a*(b) c\\d"},
        {"(cn=nobody)", ""},
        {"(cn=a*(b))", "!8007203e"},
        {"(cn=", "!8007203e"}};
    for (const auto& [filter, names] : table) EXPECT_EQ(namesOf(*search, filter), names) << filter;
    EXPECT_TRUE(search->usable());
}

TEST_P(ServicesSearchContract, OpensByEveryKindOfPath) {
    make("CN=a/b\\,c");
    const std::string host = directory_->endpoint.host;
    const std::string dn = at("CN=a/b\\,c");
    for (const std::string& path : {pathOf(dn), pathOf(at("CN=a\\/b\\,c")), "LDAP://" + host + "/" + dn,
                                    "LDAP://" + dn, "ldap://" + dn}) {
        if (isWines() && path.find(host) == std::string::npos) continue;  // it knows no default domain
        const auto search = searchAt(path);
        ASSERT_TRUE(search->setPreference(SearchPreference::scope, 0));
        const auto rows = rowsOf(*search, "(objectClass=*)", {"name", "ADsPath"});
        ASSERT_EQ(rows.size(), 1U) << path;
        EXPECT_EQ(directoryText(rows[0].at("name").at(0)), "a/b,c") << path;
        // The path of what was found opens it again.
        EXPECT_EQ(openCode(directoryText(rows[0].at("ADsPath").at(0))), adsSucceeded);
    }
    if (isWines()) return;
    for (const std::string& path : {"LDAP://" + server(), std::string("LDAP:")}) {
        const auto search = searchAt(path);  // its own naming context
        EXPECT_EQ(namesOf(*search, "(distinguishedName=" + escapeFilterValue(dn) + ")"), "a/b,c") << path;
    }
}

TEST_P(ServicesSearchContract, RootEntryAndCatalogueAnswer) {
    make("CN=one");
    for (const std::string& path : {"LDAP://" + server() + "/rootDSE", std::string("LDAP://RootDSE")}) {
        if (isWines() && path.find(server()) == std::string::npos) continue;
        const auto root = services_->openObject(path, credentials(), flags_).value();
        for (const char* name : {"defaultNamingContext", "RootDomainNamingContext"})
            EXPECT_TRUE(sameDn(std::get<std::string>(root->get(name).value()), suffix())) << path << name;
        EXPECT_EQ(codeOf(root->get("no-such-attribute")), adsPropertyNotFound);
    }
    if (isWines()) GTEST_SKIP() << "Wine has no provider of \"GC:\"";
    const auto forests = services_->openObject("GC:", credentials(), flags_).value()->children().value();
    ASSERT_EQ(forests.size(), 1U);
    EXPECT_EQ(forests.front(), "GC://" + directory_->endpoint.host);  // what follows asks the same server
    EXPECT_EQ(client_->last.port, 3268);
    const auto search = searchAt(forests.front());
    EXPECT_EQ(namesOf(*search, "(distinguishedName=" + at("CN=one") + ")"), "one");
}

TEST_P(ServicesSearchContract, FailuresHaveThePlatformsCodes) {
    const DirectoryCredentials wrong{credentials().user, CORE::secretstring("wrong")};
    EXPECT_EQ(hexCode(codeOf(services_->openObject(pathOf(place()), wrong, flags_))),
              isWines() ? "800720a2" : "8007052e");
    for (const std::string& dn : {at("CN=nobody"), std::string("CN=x,DC=elsewhere")}) {
        if (isWines()) continue;  // it opens what is not there
        EXPECT_EQ(hexCode(openCode(pathOf(dn))), "80072030");
        const auto absent = services_->openSearch(pathOf(dn), credentials(), flags_);
        ASSERT_FALSE(absent);
        EXPECT_EQ(hexCode(absent.error().code), "80072030");
        EXPECT_EQ(absent.error().text, L"There is no such object on the server. " +
                                           std::wstring(isAdsi() ? L"Error=8240 Info=as the directory says"
                                                                 : L"Error=32 Info=No Such Object"));
    }

    const int before = client_->opened;
    for (const char* path : {"", "LDAP://", "WinNT://x", "LDAP://a b/dc=x", "LDAP://x:0/dc=y", "LDAP://x/y",
                             "LDAP://[::1/dc=x", "GC:x"}) {
        EXPECT_EQ(hexCode(openCode(path)), "80005000") << path;
        const auto refused = services_->openSearch(path, credentials(), flags_);
        EXPECT_EQ(hexCode(codeOf(refused)), "80005000") << path;
        EXPECT_EQ(refused.error().text, adsCodeText(adsBadPathName)) << path;
    }
    EXPECT_EQ(client_->opened, before);  // nobody was contacted
}

TEST_P(ServicesSearchContract, TellsThatTheServerIsGone) {
    if (isLab()) GTEST_SKIP() << "a lab has no wire to cut; how it goes away is tried with its faults";
    for (int i = 0; i < 30; ++i) make("CN=" + std::to_string(i));
    std::shared_ptr<DirectorySearch> search;
    {
        wstest::Relay wire(directory_->endpoint.host, directory_->endpoint.port);
        search = searchAt("LDAP://127.0.0.1:" + std::to_string(wire.port()) + "/" + place());
        for (int again = 0; again < 3; ++again) EXPECT_EQ(namesOf(*search, "(cn=7)"), "7");
        EXPECT_TRUE(isAdsi() || wire.accepted() == 1) << "one connection serves all searches";
        ASSERT_TRUE(search->setPreference(SearchPreference::pageSize, 5));
        const auto rows = search->execute("(cn=*)", {"cn"}).value();
        ASSERT_TRUE(rows->next().value());
        EXPECT_TRUE(search->usable());
        wire.cut();
        auto more = rows->next();
        for (int row = 1; more && row < 30; ++row) more = rows->next();
        EXPECT_EQ(hexCode(codeOf(more)), "8007203a");
        EXPECT_FALSE(search->usable());
    }
    EXPECT_EQ(namesOf(*search, "(cn=*)"), "!8007203a");
    EXPECT_EQ(namesOf(*searchAt(pathOf(place())), "(cn=7)"), "7");  // a new one works
}

INSTANTIATE_TEST_SUITE_P(Services, ServicesSearchContract, testing::Values("lab", "server"), nameOf);
#if defined(_WIN32)
INSTANTIATE_TEST_SUITE_P(Adsi, ServicesSearchContract, testing::Values("adsi", "adsi_server"), nameOf);
#endif

}  // namespace
}  // namespace wsadmin::platform
