// What the contract suite needs of a directory: sessions, and a place to work in.
#pragma once

#include <optional>

#include "lab/directory_fixture.h"
#include "platform/ldap/ldap_text.h"
#include "platform/ldap_session.h"

namespace wsadmin::platform {

struct DirectoryUnderTest {
    LdapEndpoint endpoint;
    std::shared_ptr<LdapClient> client;
    LdapCredentials credentials;  // that may change everything below the suffix
    std::string suffix;           // a naming context with CN=ForeignSecurityPrincipals

    std::unique_ptr<LdapSession> open() const;  // not bound
};

// The directory answers at 127.0.0.1, with what is special about it.
std::shared_ptr<LdapClient> openLab(const lab::DirectorySettings& settings, const std::string& content,
                                    const std::vector<lab::Account>& accounts = {});
// The lab always, with a domain's directory on demand; a server when WS_TEST_LDAP_HOST, _PORT, _USER,
// _PASSWORD and _BASE (and perhaps _DOMAIN) name one.
DirectoryUnderTest openLabUnderTest(bool domain = false);
std::optional<DirectoryUnderTest> openServerUnderTest();  // nothing without the variables

// Of an instance of a suite.
inline std::string nameOf(const testing::TestParamInfo<std::string>& instance) {
    return instance.param;
}
// A variable of the process, empty where there is none.
std::string environment(const char* name);

// Every case works below an entry of its own, which goes again with everything below it.
class DirectoryContract : public testing::TestWithParam<std::string> {
  protected:
    void SetUp() override;
    void TearDown() override;

    void makePlace();  // in place of the one before
    std::string at(const std::string& relative) const { return relative + "," + place_; }
    const std::string& place() const { return place_; }
    std::string suffix() const { return directory_->suffix; }
    bool isLab() const { return !GetParam().ends_with("server"); }

    // Adds an entry of that class (zre-PropertyObject), which must work.
    void make(const std::string& relative, std::vector<LdapAttribute> attributes = {},
              const std::string& objectClass = "zre-PropertyObject");
    void makeUnit(const std::string& relative) { make(relative, {}, "organizationalUnit"); }
    // One entry with its attributes (none: all), by base search.
    Result<LdapEntry> read(const std::string& dn, std::vector<std::string> attributes = {});
    std::vector<std::string> values(const std::string& dn, const std::string& attribute);  // sorted

    std::optional<DirectoryUnderTest> directory_;
    std::unique_ptr<LdapSession> session_;

  private:
    std::string place_;
};

}  // namespace wsadmin::platform
