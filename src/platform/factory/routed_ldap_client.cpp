#include "platform/factory/routed_ldap_client.h"

#include <algorithm>

#include "platform/ldap/forwarded_session.h"

namespace wsadmin::platform {

namespace {

using Method = LdapCredentials::Method;

bool isThisServer(std::string_view host) {
    static constexpr std::string_view names[] = {"", "localhost", "127.0.0.1", "::1"};
    return std::ranges::any_of(names, [&](auto name) { return CORE::equalFolded(host, name); });
}

// The specificity of a route for an endpoint, 0 where it does not match: an exact host counts more than an
// exact port.
int fitOf(const DirectoryRoute& route, const LdapEndpoint& asked) {
    const bool sameHost = CORE::equalFolded(route.askedHost, asked.host);
    const bool host = sameHost || (route.askedHost.empty() && isThisServer(asked.host));
    if (!host || (route.askedPort && *route.askedPort != asked.port)) return 0;
    return 1 + (sameHost ? 2 : 0) + (route.askedPort ? 1 : 0);
}

LdapEndpoint endpointOf(const DirectoryRoute& route, const LdapEndpoint& asked) {
    LdapEndpoint endpoint = asked;
    endpoint.host = route.host;
    endpoint.port = route.port.value_or(asked.port);
    endpoint.connectTimeout = route.connectTimeout.value_or(asked.connectTimeout);
    endpoint.operationTimeout = route.operationTimeout.value_or(asked.operationTimeout);
    endpoint.tls = asked.tls || route.tls;
    // What has to be protected stays so, unless the configuration rules TLS out.
    if (asked.startTls != StartTls::required || route.startTls == StartTls::never)
        endpoint.startTls = route.startTls;
    endpoint.passwordInClear = route.passwordInClear;
    endpoint.verifyCertificate = route.verifyCertificate;
    endpoint.caFile = route.caFile;
    endpoint.limits = route.limits;
    return endpoint;
}

class RoutedSession final : public ForwardedSession {
  public:
    RoutedSession(std::unique_ptr<LdapSession> session, LdapCredentials configured)
        : ForwardedSession(std::move(session)), configured_(std::move(configured)) {}

    Result<void> bind(const LdapCredentials& asked) override {
        if (asked.method != Method::negotiate) return session_->bind(asked);
        if (asked.user.empty()) return session_->bind(configured_);
        LdapCredentials credentials = asked;
        if (configured_.method == Method::simple) credentials.method = Method::simple;
        return session_->bind(credentials);
    }

  private:
    LdapCredentials configured_;
};

class RoutedClient final : public LdapClient {
  public:
    RoutedClient(std::shared_ptr<LdapClient> client, Configuration configuration)
        : client_(std::move(client)), configuration_(std::move(configuration)) {}

    Result<std::unique_ptr<LdapSession>> open(const LdapEndpoint& asked) override {
        const DirectoryRoute* route = routeFor(asked);
        if (!route) return client_->open(asked);
        auto session = client_->open(endpointOf(*route, asked));
        if (!session || !route->credentials) return session;
        return std::make_unique<RoutedSession>(std::move(*session), *route->credentials);
    }
    void stop() override { client_->stop(); }

  private:
    const DirectoryRoute* routeFor(const LdapEndpoint& asked) const {
        const DirectoryRoute* found = nullptr;
        int best = 0;
        for (const DirectoryRoute& route : configuration_.routes) {
            const int fit = fitOf(route, asked);
            if (fit > best) {
                best = fit;
                found = &route;
            }
        }
        return found;
    }

    std::shared_ptr<LdapClient> client_;
    Configuration configuration_;
};

}  // namespace

std::shared_ptr<LdapClient> makeRoutedLdapClient(std::shared_ptr<LdapClient> client,
                                                 Configuration configuration) {
    return std::make_shared<RoutedClient>(std::move(client), std::move(configuration));
}

}  // namespace wsadmin::platform
