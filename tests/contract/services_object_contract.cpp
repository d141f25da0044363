// What every implementation of directory services does with objects.
#include <algorithm>

#include "contract/services_under_test.h"

namespace wsadmin::platform {
namespace {

using ServicesObjectContract = ServicesContract;
using Texts = std::vector<std::string>;
constexpr char pairs[] = "zre-NameValuePair";

std::vector<DirectoryValue> valuesOf(const Texts& texts) {
    return {texts.begin(), texts.end()};
}

TEST_P(ServicesObjectContract, GetGivesTypedValues) {
    make("CN=one", {{"zre-QuorinEnabled", {"7"}}, {pairs, {"a=1", "b=2"}}});
    const auto one = objectAt(at("CN=one"));
    EXPECT_EQ(one->className(), "zre-PropertyObject");
    EXPECT_EQ(openCode(one->path()), adsSucceeded);
    EXPECT_EQ(one->get("cn"), DirectoryValue(std::string("one")));
    EXPECT_EQ(one->get("ZRE-QuorinEnabled"), DirectoryValue(std::int32_t{7}));
    EXPECT_EQ(std::get<DirectoryBytes>(one->get("objectGUID").value()).bytes.size(), 16U);
    EXPECT_GT(std::get<DirectoryTime>(one->get("whenCreated").value()).seconds, 1'577'836'800);  // 2020
    EXPECT_EQ(one->getEx(pairs).value().size(), 2U);
    EXPECT_EQ(one->getEx("cn").value().size(), 1U);
    EXPECT_EQ(hexCode(codeOf(one->get("zre-ClusterName"))), "8000500d");
    EXPECT_EQ(hexCode(codeOf(one->getEx("zre-ClusterName"))), "8000500d");
}

TEST_P(ServicesObjectContract, PutsReachTheDirectoryWithSetInfo) {
    make("CN=one", {{pairs, {"a=1", "b=2", "c=3"}}, {"zre-ClusterName", {"old"}}});
    const auto one = objectAt(at("CN=one"));
    const std::tuple<PutOperation, const char*, std::vector<DirectoryValue>, Texts> table[] = {
        {PutOperation::append, pairs, valuesOf({"d=4"}), {"a=1", "b=2", "c=3", "d=4"}},
        {PutOperation::remove, pairs, valuesOf({"a=1", "c=3"}), {"b=2", "d=4"}},
        {PutOperation::update, pairs, valuesOf({"x=1", "y=2"}), {"x=1", "y=2"}},
        {PutOperation::clear, "zre-ClusterName", {}, {}},
        {PutOperation::update, "zre-QuorinEnabled", {std::int32_t{-1}}, {"-1"}},
        {PutOperation::update, "zre-ConnectionServerDN", {DirectoryName{place()}}, {place()}},
    };
    for (const auto& [operation, attribute, put, after] : table) {
        SCOPED_TRACE(attribute + std::to_string(static_cast<int>(operation)));
        const Texts before = values(at("CN=one"), attribute);
        ASSERT_TRUE(one->putEx(operation, attribute, put));
        EXPECT_EQ(values(at("CN=one"), attribute), before);
        const auto written = one->setInfo();
        ASSERT_TRUE(written) << CORE::toUtf8(written.error().text);
        EXPECT_EQ(values(at("CN=one"), attribute), after);
    }
    // Several at once, the later put of an attribute instead of the earlier; and what was put is read.
    ASSERT_TRUE(one->put("zre-ClusterName", std::string("first")));
    ASSERT_TRUE(one->put("zre-ClusterName", std::string("second")));
    ASSERT_TRUE(one->putEx(PutOperation::clear, pairs, {}));
    EXPECT_EQ(one->get("zre-ClusterName"), DirectoryValue(std::string("second")));
    ASSERT_TRUE(one->setInfo());
    EXPECT_EQ(values(at("CN=one"), "zre-ClusterName"), Texts{"second"});
    EXPECT_EQ(values(at("CN=one"), pairs), Texts{});
    EXPECT_EQ(one->get("zre-ClusterName"), DirectoryValue(std::string("second")));
    EXPECT_TRUE(one->setInfo());  // with nothing to write
    EXPECT_FALSE(one->putEx(PutOperation::update, "zre-ClusterName", {}));
    // What is refused changes nothing.
    ASSERT_TRUE(one->put("zre-ClusterName", std::string("new")));
    ASSERT_TRUE(one->put("zre-QuorinEnabled", std::string("no number")));
    EXPECT_EQ(hexCode(codeOf(one->setInfo())), "8007200b");
    EXPECT_EQ(values(at("CN=one"), "zre-ClusterName"), Texts{"second"});
    // Mended, what was put before is written too.
    ASSERT_TRUE(one->put("zre-QuorinEnabled", std::int32_t{1}));
    EXPECT_TRUE(one->setInfo());
    EXPECT_EQ(values(at("CN=one"), "zre-ClusterName"), Texts{"new"});
}

TEST_P(ServicesObjectContract, CreatesChildren) {
    const auto parent = objectAt(place());
    const std::string odd = "CN=" + escapeDnValue("a, \"b\"+c=d;/#");
    const auto child = parent->create("zre-PropertyObject", odd).value();
    ASSERT_TRUE(child->put("zre-ClusterName", std::string("x")));
    ASSERT_TRUE(child->putEx(PutOperation::update, pairs, valuesOf({"a=1", "b=2"})));
    EXPECT_EQ(codeOf(read(at(odd))), ldapNoSuchObject);  // only setInfo writes
    const auto written = child->setInfo();
    ASSERT_TRUE(written) << CORE::toUtf8(written.error().text);
    EXPECT_EQ(values(at(odd), pairs), (Texts{"a=1", "b=2"}));
    EXPECT_EQ(child->className(), "zre-PropertyObject");
    EXPECT_EQ(child->get("cn"), DirectoryValue(std::string("a, \"b\"+c=d;/#")));
    EXPECT_EQ(openCode(child->path()), adsSucceeded);
    ASSERT_TRUE(child->put("zre-ClusterName", std::string("y")));  // it goes on as any other
    ASSERT_TRUE(child->setInfo());
    EXPECT_EQ(values(at(odd), "zre-ClusterName"), Texts{"y"});

    EXPECT_EQ(hexCode(codeOf(parent->create("zre-PropertyObject", odd).value()->setInfo())), "80071392");
    for (const char* rdn : {"", "no name", "CN=a,OU=b", "CN=a,", "CN=\"a"})
        EXPECT_FALSE(parent->create("zre-PropertyObject", rdn)) << rdn;
}

TEST_P(ServicesObjectContract, EnumeratesAndDeletesChildrenAndWholeTrees) {
    makeUnit("OU=a");
    makeUnit("OU=b,OU=a");
    for (const char* name : {"CN=x/y,OU=a", "CN=two,OU=a", "CN=deeper,OU=b,OU=a"}) make(name);
    const auto unit = objectAt(at("OU=a"));
    const auto children = unit->children().value();
    Texts names;
    for (const std::string& path : children) {
        const auto child = services_->openObject(path, credentials(), flags_).value();
        names.push_back(directoryText(child->get("name").value()));
    }
    std::ranges::sort(names);
    EXPECT_EQ(names, (Texts{"b", "two", "x/y"}));
    EXPECT_EQ(objectAt(at("CN=x/y,OU=a"))->children()->size(), 0U);

    const auto left = [this] { return namesOf(*searchAt(pathOf(place())), "(cn=*)"); };
    EXPECT_EQ(hexCode(codeOf(unit->removeChild("zre-PropertyObject", "CN=nobody"))), "80072030");
    EXPECT_FALSE(unit->removeChild("container", "CN=two"));
    EXPECT_EQ(left(), "deeper two x/y");
    EXPECT_TRUE(unit->removeChild("zre-PropertyObject", "CN=two"));
    EXPECT_EQ(left(), "deeper x/y");
    EXPECT_EQ(hexCode(codeOf(objectAt(place())->removeChild("organizationalUnit", "OU=a"))), "80072015");
    EXPECT_TRUE(unit->deleteObject());
    EXPECT_EQ(codeOf(read(at("OU=a"))), ldapNoSuchObject);
    EXPECT_EQ(hexCode(codeOf(unit->deleteObject())), "80072030");
}

TEST_P(ServicesObjectContract, MovesAndRenames) {
    makeUnit("OU=a");
    makeUnit("OU=b");
    make("CN=one,OU=a", {{"zre-ClusterName", {"x"}}});
    const auto b = objectAt(at("OU=b"));
    EXPECT_TRUE(b->moveHere(pathOf(at("CN=one,OU=a")), ""));
    EXPECT_EQ(values(at("CN=one,OU=b"), "zre-ClusterName"), Texts{"x"});
    EXPECT_EQ(codeOf(read(at("CN=one,OU=a"))), ldapNoSuchObject);
    EXPECT_TRUE(b->moveHere(pathOf(at("CN=one,OU=b")), "CN=two"));
    EXPECT_EQ(values(at("CN=two,OU=b"), "cn"), Texts{"two"});
    EXPECT_FALSE(b->moveHere(pathOf(at("CN=nobody")), ""));
    EXPECT_FALSE(b->moveHere("LDAP://elsewhere/CN=two", ""));
    for (const char* rdn : {"no name", "CN=x,OU=c"})
        EXPECT_FALSE(b->moveHere(pathOf(at("CN=two,OU=b")), rdn)) << rdn;
    EXPECT_EQ(namesOf(*searchAt(pathOf(place())), "(cn=*)"), "two");
}

TEST_P(ServicesObjectContract, SetsUpAccounts) {
#if defined(_WIN32)
    if (!isLab()) GTEST_SKIP() << "this machine does not trust the server's certificate";
#endif
    const auto created = objectAt(place())->create("user", "CN=device");
    DirectoryObject& user = **created;
    ASSERT_TRUE(user.put("sAMAccountName", rdnValue(place())));
    ASSERT_TRUE(user.put("userAccountControl", std::int32_t{546}));
    ASSERT_TRUE(user.setInfo());
    const CORE::secretstring password("Gr\u00fc\u00dfe.Pass1"), wrong("Other.Pass1");
    const auto set = user.setPassword(password);
    ASSERT_TRUE(set) << CORE::toUtf8(set.error().text);
    ASSERT_TRUE(user.put("userAccountControl", std::int32_t{66082}));
    ASSERT_TRUE(user.putAccountDisabled(false));
    EXPECT_EQ(values(at("CN=device"), "userAccountControl"), Texts{"546"});  // only setInfo writes
    ASSERT_TRUE(user.setInfo());
    EXPECT_EQ(values(at("CN=device"), "userAccountControl"), Texts{"66080"});

    make("CN=devices", {}, "group");
    const auto group = objectAt(at("CN=devices"));
    ASSERT_TRUE(group->addMember(user.path()));
    EXPECT_EQ(values(at("CN=devices"), "member"), Texts{at("CN=device")});
    EXPECT_FALSE(group->addMember(user.path()));
    EXPECT_FALSE(group->addMember("LDAP://a b"));
    for (const auto& [given, code] : {std::pair{password, ldapSuccess}, {wrong, ldapInvalidCredentials}}) {
        const LdapCredentials credentials{LdapCredentials::Method::simple, at("CN=device"), {}, given};
        EXPECT_EQ(codeOf(directory_->open()->bind(credentials)), code);
    }
}

INSTANTIATE_TEST_SUITE_P(Services, ServicesObjectContract, testing::Values("lab", "server"), nameOf);
#if defined(_WIN32)
INSTANTIATE_TEST_SUITE_P(Adsi, ServicesObjectContract, testing::Values("adsi"), nameOf);
#endif

}  // namespace
}  // namespace wsadmin::platform
