#include "contract/directory_under_test.h"

#include <algorithm>
#include <cstdlib>
#include <random>

#include "support/temp_folder.h"
#ifdef _WIN32
#include "platform/windows/windows_platform.h"
namespace real = wsadmin::platform::windows;
#else
#include "platform/posix/posix_platform.h"
namespace real = wsadmin::platform::posix;
#endif

namespace wsadmin::platform {

namespace {

constexpr char labSuffix[] = "DC=vdi,DC=talvex,DC=int";
constexpr char labContent[] =
    "dn: CN=ForeignSecurityPrincipals,DC=vdi,DC=talvex,DC=int\n"
    "objectClass: container\n\n";

}  // namespace

std::string environment(const char* name) {
    const char* value = std::getenv(name);
    return value ? value : "";
}

std::shared_ptr<LdapClient> openLab(const lab::DirectorySettings& settings, const std::string& content,
                                    const std::vector<lab::Account>& accounts) {
    const auto lab = std::make_shared<lab::TestDirectory>(content, settings, lab::Faults(), accounts);
    EXPECT_TRUE(lab->loaded);
    return {lab, &lab->network};
}

DirectoryUnderTest openLabUnderTest(bool domain) {
    const CORE::secretstring password("Passw0rd.Lab");
    return {{.host = "127.0.0.1"},
            openLab({"LDAP", {labSuffix}, "LAB", "lab.example", domain},
                    std::string(labContent) +
                        (domain ? wstest::fileText(WS_SOURCE_DIR "/tests/contract/domain.ldif") : ""),
                    {{"Administrator", "VDI", "vdi.talvex.int", password}}),
            {LdapCredentials::Method::simple, "Administrator@vdi.talvex.int", {}, password},
            labSuffix};
}

std::optional<DirectoryUnderTest> openServerUnderTest() {
    for (const char* name : {"WS_TEST_LDAP_HOST", "WS_TEST_LDAP_PORT", "WS_TEST_LDAP_USER",
                             "WS_TEST_LDAP_PASSWORD", "WS_TEST_LDAP_BASE"})
        if (environment(name).empty()) return std::nullopt;
    const std::string domain = environment("WS_TEST_LDAP_DOMAIN");
    return DirectoryUnderTest{
        {.host = environment("WS_TEST_LDAP_HOST"),
         .port = static_cast<std::uint16_t>(std::stoi(environment("WS_TEST_LDAP_PORT")))},
        real::makeLdapClient(),
        {LdapCredentials::Method::simple,
         environment("WS_TEST_LDAP_USER") + (domain.empty() ? "" : "@" + domain),
         {},
         CORE::secretstring(environment("WS_TEST_LDAP_PASSWORD"))},
        environment("WS_TEST_LDAP_BASE")};
}

std::unique_ptr<LdapSession> DirectoryUnderTest::open() const {
    auto session = client->open(endpoint);
    EXPECT_TRUE(session);
    return session ? std::move(*session) : nullptr;
}

void DirectoryContract::SetUp() {
    directory_ = isLab() ? openLabUnderTest(GetParam() == "domain") : openServerUnderTest();
    if (!directory_) GTEST_SKIP() << "no server is named by WS_TEST_LDAP_HOST and the others";
    session_ = directory_->open();
    const auto bound = session_->bind(directory_->credentials);
    ASSERT_TRUE(bound) << codeOf(bound);
    makePlace();
}

void DirectoryContract::TearDown() {
    if (!session_ || place_.empty()) return;
    const auto gone = session_->remove(place_, {{controls::treeDelete, {}, true}});
    EXPECT_TRUE(gone) << codeOf(gone);
}

void DirectoryContract::makePlace() {
    DirectoryContract::TearDown();
    place_ = "OU=contract-" + std::to_string(std::random_device()() % 1000000000) + "," + suffix();
    const auto made = session_->add({place_, {{"objectClass", {"organizationalUnit"}}}});
    ASSERT_TRUE(made) << codeOf(made);
}

void DirectoryContract::make(const std::string& relative, std::vector<LdapAttribute> attributes,
                             const std::string& objectClass) {
    attributes.push_back({"objectClass", {objectClass}});
    const auto made = session_->add({at(relative), std::move(attributes)});
    ASSERT_TRUE(made) << relative << ": " << codeOf(made);
}

Result<LdapEntry> DirectoryContract::read(const std::string& dn, std::vector<std::string> attributes) {
    auto result = session_->search({dn, LdapScope::base, "(objectClass=*)", std::move(attributes), {}, 0});
    if (!result) return fail(result.error());
    if (result->entries.size() != 1) return fail(ldapNoResultsReturned, L"not one entry");
    return std::move(result->entries.front());
}

std::vector<std::string> DirectoryContract::values(const std::string& dn, const std::string& attribute) {
    const auto entry = read(dn, {attribute});
    EXPECT_TRUE(entry) << dn << ": " << codeOf(entry);
    auto values = entry ? entry->all(attribute) : std::vector<std::string>{};
    std::sort(values.begin(), values.end());
    return values;
}

}  // namespace wsadmin::platform
