#include "platform/portable/portable_directory.h"

#include <map>
#include <mutex>
#include <tuple>
#include <utility>

#include "platform/ldap/ldap_text.h"
#include "platform/portable/portable_object.h"
#include "platform/portable/portable_search.h"

namespace wsadmin::platform {

namespace {

std::uint16_t usualPort(bool globalCatalog, bool tls) {
    if (globalCatalog) return tls ? 3269 : 3268;
    return tls ? 636 : 389;
}

LdapCredentials ldapCredentials(const DirectoryCredentials& credentials, std::uint32_t flags) {
    using Method = LdapCredentials::Method;
    Method method = Method::negotiate;
    if ((flags & adsSecureAuthentication) == 0)
        method = credentials.empty() ? Method::anonymous : Method::simple;
    return {.method = method, .user = credentials.user, .domain = {}, .password = credentials.password};
}

class PortableDirectoryServices final : public DirectoryServices {
  public:
    PortableDirectoryServices(std::shared_ptr<LdapClient> client, std::string defaultDomain)
        : client_(std::move(client)), defaultDomain_(std::move(defaultDomain)) {}

    Result<std::shared_ptr<DirectorySearch>> openSearch(const std::string& path,
                                                        const DirectoryCredentials& credentials,
                                                        std::uint32_t flags) override {
        auto opened = open(path, credentials, flags);
        if (!opened) return fail(opened.error());
        if ((flags & adsFastBind) == 0)
            if (auto there = checkEntry(*opened); !there) return fail(there.error());
        return std::make_shared<PortableSearch>(std::move(*opened));
    }

    Result<std::unique_ptr<DirectoryObject>> openObject(const std::string& path,
                                                        const DirectoryCredentials& credentials,
                                                        std::uint32_t flags) override {
        auto opened = open(path, credentials, flags);
        if (!opened) return fail(opened.error());
        return PortableObject::read(std::move(*opened));
    }

  private:
    Result<PortableBinding> open(const std::string& text, const DirectoryCredentials& credentials,
                                 std::uint32_t flags) {
        const auto path = parseDirectoryPath(text);
        if (!path) return fail(adsFailure(adsBadPathName));
        const bool tls = (flags & adsUseSsl) != 0;
        const LdapEndpoint endpoint{.host = path->server.empty() ? domainOf(*path) : path->server,
                                    .port = path->port.value_or(usualPort(path->globalCatalog, tls)),
                                    .tls = tls};
        if (endpoint.host.empty()) return fail(adsFailure(adsNoSuchDomain));
        auto session = client_->open(endpoint);
        if (!session) return fail(adsFailure(session.error()));
        LdapCredentials bindsAs = ldapCredentials(credentials, flags);
        if (auto bound = (*session)->bind(bindsAs); !bound) return fail(adsFailure(bound.error()));
        PortableBinding binding{.path = *path,
                                .endpoint = endpoint,
                                .client = client_,
                                .credentials = std::move(bindsAs),
                                .session = std::move(*session),
                                .types = typesOf(endpoint),
                                .lost = std::make_shared<std::atomic<bool>>(false)};
        return named(std::move(binding));
    }

    // A server of the domain that the entry's name says: where a referral would lead.
    std::string domainOf(const DirectoryPath& path) const {
        std::string domain = dnsDomainOf(path.dn);
        return domain.empty() ? defaultDomain_ : domain;
    }

    // Opening a path looks whether its entry is there; who is sure of that asks for a fast bind.
    static Result<void> checkEntry(const PortableBinding& binding) {
        if (binding.path.dn.empty()) return {};
        const auto found = binding.session->search({.base = binding.path.dn,
                                                    .scope = LdapScope::base,
                                                    .filter = "(objectClass=*)",
                                                    .attributes = {"1.1"}});
        if (!found) return fail(adsFailure(found.error()));
        if (found->entries.empty()) return fail(adsFailure(adsNoSuchObject));
        return {};
    }

    // A path that names no entry means the server's own naming context; a catalogue has everything below its
    // root.
    static Result<PortableBinding> named(PortableBinding binding) {
        if (!binding.path.dn.empty() || binding.path.rootDse || binding.path.globalCatalog) return binding;
        auto root = binding.session->search({.base = "",
                                             .scope = LdapScope::base,
                                             .filter = "(objectClass=*)",
                                             .attributes = {"defaultNamingContext"}});
        if (!root) return fail(adsFailure(root.error()));
        if (!root->entries.empty()) binding.path.dn = root->entries.front().first("defaultNamingContext");
        if (binding.path.dn.empty()) return fail(adsFailure(adsNoSuchObject));
        return binding;
    }

    std::shared_ptr<AttributeTypes> typesOf(const LdapEndpoint& endpoint) {
        CORE::mstr host(endpoint.host);
        host.toLower();
        const std::lock_guard hold(mutex_);
        auto& types = types_[{host.str(), endpoint.port, endpoint.tls}];
        if (!types) types = std::make_shared<AttributeTypes>();
        return types;
    }

    std::shared_ptr<LdapClient> client_;
    std::string defaultDomain_;
    std::mutex mutex_;
    std::map<std::tuple<std::string, std::uint16_t, bool>, std::shared_ptr<AttributeTypes>> types_;
};

}  // namespace

std::shared_ptr<DirectoryServices> makePortableDirectoryServices(std::shared_ptr<LdapClient> client,
                                                                 std::string defaultDomain) {
    return std::make_shared<PortableDirectoryServices>(std::move(client), std::move(defaultDomain));
}

}  // namespace wsadmin::platform
