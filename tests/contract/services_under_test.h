// What the contract of directory services needs beside a directory.
#pragma once

#include <functional>
#include <map>

#include "contract/directory_under_test.h"
#include "platform/directory_services.h"
#if defined(_WIN32)
#include "windows/stand_ins/ads_provider.h"
#endif

namespace wsadmin::platform {

// Counts who is contacted, and changes whom.
class RedirectedClient final : public LdapClient {
  public:
    using Redirect = std::function<void(LdapEndpoint&)>;
    RedirectedClient(std::shared_ptr<LdapClient> client, Redirect redirect)
        : client_(std::move(client)), redirect_(std::move(redirect)) {}
    Result<std::unique_ptr<LdapSession>> open(const LdapEndpoint& endpoint) override {
        ++opened;
        last = endpoint;
        redirect_(last);
        return client_->open(last);
    }
    int opened = 0;
    LdapEndpoint last;

  private:
    std::shared_ptr<LdapClient> client_;
    Redirect redirect_;
};

// Cases write to the directory by LDAP and look at it through the services, or the other way round.
class ServicesContract : public DirectoryContract {
  protected:
    void SetUp() override;
    void TearDown() override;

    // By the real ADSI: through a provider of the tests on the lab, or the platform's own on a server.
    bool isAdsi() const { return GetParam().starts_with("adsi"); }
    // Wine's provider, which falls short of the platform's in what the cases name.
    bool isWines() const { return isAdsi() && !isLab(); }
    std::string server() const;  // "host:port"
    std::string pathOf(const std::string& dn) const { return "LDAP://" + server() + "/" + dn; }
    DirectoryCredentials credentials() const;
    std::shared_ptr<DirectorySearch> searchAt(const std::string& path);  // which must open
    std::unique_ptr<DirectoryObject> objectAt(const std::string& dn);
    int openCode(const std::string& path) {
        return codeOf(services_->openObject(path, credentials(), flags_));
    }

    using Row = std::map<std::string, std::vector<DirectoryValue>>;
    // All rows with these columns; a failure ends in a row named by its code.
    std::vector<Row> rowsOf(DirectorySearch& search, const std::string& filter,
                            const std::vector<std::string>& attributes);
    // The "cn" of all rows, sorted; "!CODE" when it fails.
    std::string namesOf(DirectorySearch& search, const std::string& filter);

#if defined(_WIN32)
    std::unique_ptr<wstest::AdsProvider> provider_;
#endif
    std::shared_ptr<RedirectedClient> client_;
    std::shared_ptr<DirectoryServices> services_;
#if defined(_WIN32)
    std::uint32_t flags_ = adsServerBind;  // Wine negotiates with no user of a name such as user@domain
#else
    std::uint32_t flags_ = adsSecureAuthentication;
#endif
};

inline std::string hexCode(int code) {
    return CORE::toUtf8(CORE::formatText(L"%08x", code));
}

}  // namespace wsadmin::platform
