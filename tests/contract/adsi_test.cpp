// What the adapter of ADSI hands to the platform's library, as the tests' provider sees it.
#if defined(_WIN32)
#include <algorithm>
#include <functional>
#include <thread>

#include "contract/services_under_test.h"
#include "platform/portable/portable_directory.h"
#include "platform/windows/windows_platform.h"

namespace wsadmin::platform {
namespace {

class Adsi : public testing::Test {
  protected:
    Adsi() {
        session_ = directory_.open();
        EXPECT_TRUE(session_->bind(directory_.credentials));
        EXPECT_TRUE(
            session_->add({user(), {{"objectClass", {"user"}}, {"pwdLastSet", {"133000000000000000"}}}}));
    }
    std::string user() const { return "CN=alice," + directory_.suffix; }
    std::string path() const { return "LDAP://127.0.0.1/" + user(); }
    bool called(const std::string& call) const {
        const auto calls = provider_.calls();
        return std::ranges::find(calls, call) != calls.end();
    }

    DirectoryUnderTest directory_ = openLabUnderTest();
    std::unique_ptr<LdapSession> session_;
    wstest::AdsProvider provider_{makePortableDirectoryServices(directory_.client, "127.0.0.1")};
    std::shared_ptr<DirectoryServices> services_ = windows::makeDirectoryServices();
};

TEST_F(Adsi, PassesPathCredentialsAndFlags) {
    const DirectoryCredentials alice{"Administrator@vdi.talvex.int", CORE::secretstring("Passw0rd.Lab")};
    EXPECT_TRUE(services_->openObject(path(), alice, adsSecureAuthentication | adsServerBind));
    EXPECT_TRUE(called("open " + path() + " Administrator@vdi.talvex.int Passw0rd.Lab 513"));
    EXPECT_TRUE(services_->openObject("ldap://127.0.0.1/cn=alice , " + directory_.suffix, {},
                                      adsSecureAuthentication));
    EXPECT_TRUE(called("open LDAP://127.0.0.1/cn=alice , " + directory_.suffix + "   1"));
    EXPECT_EQ(hexCode(codeOf(services_->openObject(path(), {std::string("a\0b", 3), {}}, 1))), "80005008");
    EXPECT_EQ(provider_.calls().size(), 2U);
}

TEST_F(Adsi, ConvertsEveryTypeOfValue) {
    const auto object = services_->openObject(path(), {}, adsSecureAuthentication);
    ASSERT_TRUE(object);
    EXPECT_EQ((*object)->get("pwdLastSet"), DirectoryValue(std::int64_t{133000000000000000}));
    const std::pair<const char*, DirectoryValue> puts[] = {
        {"logonHours", DirectoryBytes{std::string("\0\xff\x7f", 3)}},
        {"isCriticalSystemObject", true},
        {"userAccountControl", std::int32_t{-512}}};
    for (const auto& [name, value] : puts) ASSERT_TRUE((*object)->put(name, value));
    ASSERT_TRUE((*object)->put("msDS-UserAccountDisabled", false));
    ASSERT_TRUE((*object)->setInfo());
    for (const auto& [name, value] : puts) EXPECT_EQ((*object)->get(name), value) << name;
    EXPECT_EQ((*object)->get("msDS-UserAccountDisabled"), DirectoryValue(false));
    EXPECT_TRUE(called("GetInfo"));
    EXPECT_FALSE((*object)->get("description"));
    EXPECT_TRUE(called("GetInfoEx description"));

    const auto search = services_->openSearch(path(), {}, adsSecureAuthentication);
    ASSERT_TRUE(search);
    const auto rows = (*search)->execute("objectClass=user", {});
    ASSERT_TRUE(rows);
    EXPECT_TRUE(called("search (objectClass=user)"));
    ASSERT_TRUE((*rows)->next().value());
    const auto columns = (*rows)->columns();
    ASSERT_TRUE(columns);
    const auto valueOf = [&](std::string_view name) {
        const auto found = std::ranges::find(*columns, name, &DirectoryColumn::name);
        return found == columns->end() ? DirectoryValue(std::string("absent")) : found->values.at(0);
    };
    EXPECT_EQ(valueOf("pwdLastSet"), DirectoryValue(std::int64_t{133000000000000000}));
    for (const auto& [name, value] : puts) EXPECT_EQ(valueOf(name), value) << name;
    EXPECT_EQ(valueOf("distinguishedName"), DirectoryValue(DirectoryName{user()}));
}

TEST_F(Adsi, SearchesAskForPagesAndShowDeletedOnes) {
    const auto search = services_->openSearch(path(), {}, adsSecureAuthentication);
    ASSERT_TRUE(search);
    ASSERT_TRUE((*search)->setPreference(SearchPreference::tombstone, 1));
    ASSERT_TRUE((*search)->setPreference(SearchPreference::scope, 2));
    EXPECT_TRUE(called("preference 7 250"));
    EXPECT_TRUE(called("preference 13 1"));
    EXPECT_TRUE(called("preference 5 2"));
}

TEST_F(Adsi, ARefusalOfItsOwnDoesNotRepeatWhatTheProviderSaidEarlier) {
    const auto gone =
        services_->openObject("LDAP://127.0.0.1/CN=nobody," + directory_.suffix, {}, adsSecureAuthentication);
    ASSERT_FALSE(gone);
    EXPECT_NE(gone.error().text.find(L"as the directory says"), std::wstring::npos);
    const auto malformed = services_->openObject("LDAP://a b/c", {}, adsSecureAuthentication);
    ASSERT_FALSE(malformed);
    EXPECT_EQ(malformed.error().text, adsCodeText(adsBadPathName));
}

TEST_F(Adsi, AFailureWithoutATextShowsNoneOfAnEarlierCall) {
    const auto object = services_->openObject(path(), {}, adsSecureAuthentication).value();
    const auto parent =
        services_->openObject("LDAP://127.0.0.1/" + directory_.suffix, {}, adsSecureAuthentication).value();
    const auto search = services_->openSearch(path(), {}, adsSecureAuthentication).value();
    EXPECT_TRUE(object->put("description", std::string("x")));
    EXPECT_TRUE(session_->remove(user()));
    provider_.failWithoutTexts();
    const auto outcome = [](const auto& result) -> Result<void> {
        if (!result) return fail(result.error());
        return {};
    };
    const std::pair<const char*, std::function<Result<void>()>> rows[] = {
        {"get", [&] { return outcome(object->get("info")); }},
        {"setInfo", [&] { return object->setInfo(); }},
        {"delete", [&] { return object->deleteObject(); }},
        {"children", [&] { return outcome(object->children()); }},
        {"create", [&] { return object->create("user", "CN=x").value()->setInfo(); }},
        {"remove", [&] { return parent->removeChild("user", "CN=alice"); }},
        {"move", [&] { return parent->moveHere(path(), "CN=bob"); }},
        {"password", [&] { return object->setPassword(CORE::secretstring("Passw0rd.New")); }},
        {"search",
         [&]() -> Result<void> {
             auto found = search->execute("(cn=*)", {});
             if (!found) return fail(found.error());
             return outcome((*found)->next());
         }},
    };
    for (const auto& [what, call] : rows) {
        wstest::AdsProvider::say(L"of an earlier call");
        const auto done = call();
        ASSERT_FALSE(done) << what;
        EXPECT_EQ(done.error().text.find(L"earlier"), std::wstring::npos)
            << what << ": " << CORE::toUtf8(done.error().text);
    }
}

TEST_F(Adsi, ChildrenWithoutEndAreAFailure) {
    const auto parent =
        services_->openObject("LDAP://127.0.0.1/" + directory_.suffix, {}, adsSecureAuthentication).value();
    provider_.bringNothings(3);
    EXPECT_EQ(parent->children()->size(), 2U);
    provider_.bringNothings(2'000'000);
    const auto endless = parent->children();
    ASSERT_FALSE(endless);
    EXPECT_EQ(hexCode(endless.error().code), "80072038");
    EXPECT_NE(endless.error().text.find(L"1000000 entries (max-entries)"), std::wstring::npos);
}

TEST_F(Adsi, WhatOneThreadOpensAnotherUses) {
    std::shared_ptr<DirectorySearch> search;
    std::thread([&] {
        const DirectoryThread thread(*services_);
        EXPECT_TRUE(thread.initialised());
        search = services_->openSearch(path(), {}, adsSecureAuthentication).value();
    }).join();
    std::thread([&] {
        const auto rows = search->execute("(objectClass=*)", {"cn"});
        ASSERT_TRUE(rows);
        ASSERT_TRUE((*rows)->next().value());
        EXPECT_EQ((*rows)->column("cn").value()->values.at(0), DirectoryValue(std::string("alice")));
    }).join();
    EXPECT_GT(provider_.liveObjects(), 0);
    search.reset();
    EXPECT_EQ(provider_.liveObjects(), 0);
}

}  // namespace
}  // namespace wsadmin::platform
#endif
