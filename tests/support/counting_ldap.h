// An LDAP client in front of another one that records what passes, and where a test says so, fails.
#pragma once

#include "support/port_calls.h"

namespace wstest {

struct CountingPending : CountingPort<LdapPendingSearch> {
    WS_CALL("ldap result of", wait, 0, 0);
};

struct CountingSession : CountingOpened<LdapSession> {
    using Modifications = std::vector<LdapModification>;
    using Controls = std::vector<LdapControl>;

    WS_CALL("ldap bind", bind, 1, 0);
    bool confidential() const override { return real_->confidential(); }
    LdapLimits limits() const override { return real_->limits(); }
    Result<std::unique_ptr<LdapPendingSearch>> startSearch(const LdapSearch& search) override {
        calls_->add(search);
        const std::string name = "search " + search.base + " " + search.filter;
        return counted<CountingPending>(call<&Real::startSearch>("ldap " + name, search), name);
    }
    Done add(const LdapEntry& entry) override {
        // Without the name of the entry, which may be a new identifier in each run.
        const auto parent = std::min(entry.dn.find(','), entry.dn.size());
        return change<&Real::add>("ldap add " + entry.dn.substr(parent), entry);
    }
    Done modify(const std::string& dn, const Modifications& changes, const Controls& controls) override {
        std::string name = "ldap modify " + dn;
        for (const auto& one : changes) {
            constexpr const char* operations[] = {" add ", " remove ", " replace "};
            name += operations[static_cast<int>(one.operation)] + one.attribute;
            for (const std::string& value : one.values) name += "=" + value;
        }
        return change<&Real::modify>(name, dn, changes, controls);
    }
    WS_CHANGE("ldap remove", remove, 2, 1);
    WS_CHANGE("ldap rename", rename, 4, 3);
};

struct CountingLdapClient : CountingPort<LdapClient> {
    using CountingPort::CountingPort;
    Result<std::unique_ptr<LdapSession>> open(const LdapEndpoint& endpoint) override {
        const std::string name = "ldap open " + endpoint.host + ":" + std::to_string(endpoint.port);
        return counted<CountingSession>(call<&Real::open>(name, endpoint));
    }
};

}  // namespace wstest
