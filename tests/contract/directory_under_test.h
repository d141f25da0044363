// What the contract suite needs of a directory: sessions, and a place to work in.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "platform/ldap/ldap_text.h"
#include "platform/ldap_session.h"

namespace wsadmin::platform {

class DirectoryUnderTest {
  public:
    virtual ~DirectoryUnderTest() = default;
    virtual LdapEndpoint endpoint() const = 0;
    virtual std::shared_ptr<LdapClient> client() = 0;
    virtual LdapCredentials credentials() const = 0;  // that may change everything below the suffix
    virtual std::string suffix() const = 0;           // a naming context with CN=ForeignSecurityPrincipals
    std::unique_ptr<LdapSession> open();              // not bound
};

// The lab always, with a domain's directory on demand; a server when WS_TEST_LDAP_HOST, _PORT, _USER,
// _PASSWORD and _BASE (and perhaps _DOMAIN) name one.
std::shared_ptr<DirectoryUnderTest> openLabUnderTest(bool domain = false);
std::shared_ptr<DirectoryUnderTest> openServerUnderTest();  // null without the variables

// Where Samba answers otherwise than AD does, and the lab keeps to AD, an expectation names both codes.
struct Codes {
    int directory;
    int samba;
    // NOLINTNEXTLINE(google-explicit-constructor)
    Codes(int everywhere) : directory(everywhere), samba(everywhere) {}
    Codes(int ad, int sambaToo) : directory(ad), samba(sambaToo) {}
};

// Every case works below an entry of its own, which goes again with everything below it.
class DirectoryContract : public testing::TestWithParam<std::string> {
  protected:
    void SetUp() override;
    void TearDown() override;

    std::unique_ptr<LdapSession> boundSession();
    std::string at(const std::string& relative) const { return relative + "," + place_; }
    const std::string& place() const { return place_; }
    std::string suffix() const { return directory_->suffix(); }
    bool isLab() const { return !GetParam().ends_with("server"); }
    int expected(const Codes& codes) const { return isLab() ? codes.directory : codes.samba; }

    // Adds an entry of that class (zre-PropertyObject), which must work.
    void make(const std::string& relative, std::vector<LdapAttribute> attributes = {},
              const std::string& objectClass = "zre-PropertyObject");
    void makeUnit(const std::string& relative) { make(relative, {}, "organizationalUnit"); }
    // The names (values of the RDN) of what a subtree search below the place finds, sorted; "!CODE" when it
    // fails.
    std::string found(const std::string& filter, LdapScope scope = LdapScope::subtree,
                      const std::string& base = {});
    // One entry with its attributes (none: all), by base search.
    Result<LdapEntry> read(const std::string& dn, std::vector<std::string> attributes = {});
    std::vector<std::string> values(const std::string& dn, const std::string& attribute);  // sorted
    int modify(const std::string& dn, std::vector<LdapModification> changes);
    // A SID that no other case uses.
    std::string freshSid();
    std::string principalDn(const std::string& sid) const;
    static std::string binarySid(const std::string& sid);

    std::shared_ptr<DirectoryUnderTest> directory_;
    std::unique_ptr<LdapSession> session_;

  private:
    std::string place_;
    unsigned run_ = 0;
    unsigned sids_ = 0;
};

template <class T>
int codeOf(const Result<T>& result) {
    return result ? static_cast<int>(ldapSuccess) : result.error().code;
}

}  // namespace wsadmin::platform
