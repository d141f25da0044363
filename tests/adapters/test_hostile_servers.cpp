// Servers that are not there, stall, flood, lie or cut, and what a listener on the wire hears. A row that did
// not end would hang: the servers give up after some seconds, which is another code. What the client does
// with real servers is the contract's.
#include <gtest/gtest.h>
#if defined(__SANITIZE_ADDRESS__)
#include <sanitizer/lsan_interface.h>
#endif

#include <cstdio>

#include "adapters/real_platform.h"
#include "platform/ldap/ldap_pages.h"
#include "platform/ldap/ldap_text.h"
#include "support/hostile_ldap.h"
#include "support/log_capture.h"
#if defined(_WIN32)
#include "windows/stand_ins/start_tls.h"
#endif

namespace wsadmin::platform {
namespace {

using namespace wstest;
using std::chrono::milliseconds;
using Method = LdapCredentials::Method;
using Codes = std::vector<int>;

constexpr char password[] = "Tr0ub4dor";
// In the first message of TLS: the extension 43, TLS 1.3 and 1.2, and none that is older.
const std::string offeredVersions("\x00\x2b\x00\x05\x04\x03\x04\x03\x03", 9);
constexpr char startTlsOid[] = "1.3.6.1.4.1.1466.20037";
const LdapSearch anything{.base = "dc=a", .filter = "(objectClass=*)"};

// libldap itself loses three bytes of every answer to another request than the one it waits for.
#if defined(__SANITIZE_ADDRESS__)
using LeaksOfTheLibrary = __lsan::ScopedDisabler;
#else
struct LeaksOfTheLibrary {
    LeaksOfTheLibrary() {}
};
#endif

LdapEndpoint endpointOf(const HostileLdap& server, milliseconds timeout) {
    LdapEndpoint endpoint;
    endpoint.host = "127.0.0.1";
    endpoint.port = server.port();
    endpoint.connectTimeout = endpoint.operationTimeout = timeout;
    return endpoint;
}

LdapCredentials simple() {
    return {Method::simple, "cn=admin", "", CORE::secretstring(password)};
}

// --- scripts: what comes in answer to the first request, whose identifier it gets

using Then = std::function<void(HostileConnection& client, const std::string& id)>;

HostileLdap::Script answer(Then then) {
    return [then = std::move(then)](HostileConnection& client) { then(client, client.next().id); };
}
HostileLdap::Script flood(std::function<std::string(int)> operation, milliseconds pause = milliseconds(0)) {
    return answer([=](HostileConnection& client, const std::string& id) {
        client.flood([&](int number) { return ldapMessage(id, operation(number)); }, pause);
    });
}
HostileLdap::Script floodOf(const std::string& message) {
    return answer([=](HostileConnection& client, auto&) { client.flood([&](int) { return message; }); });
}
HostileLdap::Script send(const std::string& bytes) {
    return [=](HostileConnection& client) { client.send(bytes); };
}
const std::string photo(1500, 'x');
const std::string anotherId("\x02\x01\x7f", 3), noticeId("\x02\x01\x00", 3);
// The beginning of a long ServerHello, byte by byte.
void dribbleTls(HostileConnection& client) {
    client.read();
    client.dribble(std::string("\x16\x03\x03\x3f\x00\x02\x00\x3e\xfc\x03\x03", 11) + photo);
}
const auto startTls = [](auto then) {
    return answer([=](HostileConnection& client, const std::string& id) {
        client.send(ldapMessage(id, ldapResult(0x78, 0)));
        then(client);
    });
};
const auto numbered = [](int number) { return ldapEntry("cn=" + std::to_string(number)); };

// Two pages with a cookie; the second one does not end.
void endlessPage(HostileConnection& client) {
    const std::string control = berElement(
        0x30, berText(controls::pagedResults) + berText(encodePageControl({.size = 0, .cookie = "more"})));
    for (int page = 0;; ++page) {
        const std::string id = client.next().id;
        for (int number = 0; number < 300; ++number)
            client.send(ldapMessage(id, numbered(300 * page + number)));
        if (page > 0) client.stall();
        client.send(ldapMessage(id, ldapResult(0x65, 0) + berElement(0xa0, control)));
    }
}

enum Step { bind, bindByTls, bindByStartTls, search, pages };

struct HostileRow {
    Step step;
    const char* what;
    HostileLdap::Script script;
    Codes codes;
    bool onWindows = true;  // whose client ends neither inside a message nor inside a TLS handshake
    LdapLimits limits{};
    std::wstring sentence{};

    // Whether the server's silence is what it has to be ended for.
    bool stalls() const { return codes.front() == ldapTimeout && sentence.empty(); }
};

std::vector<HostileRow> hostileRows() {
    const Codes late = {ldapTimeout}, gone = {ldapServerDown, ldapDecodingError},
                tooMuch = {ldapResultsTooLarge};
    const LdapLimits usual, few{.entries = 500}, small{.bytes = 100'000}, brief{.time = milliseconds(100)};
    const std::wstring entries = L"The directory's answer has more than 500 entries (max-entries)",
                       bytes = L"The directory's answer has more than 100000 bytes (max-bytes)",
                       time = L"The directory's answer takes longer than 100 ms (search-timeout)",
                       more = L"The directory sends more bytes than are allowed";
    const auto slowly = [](const std::string& operation) {
        return answer([=](auto& client, const auto& id) { client.dribble(ldapMessage(id, operation)); });
    };
    const auto cut = answer([](auto& client, const auto& id) {
        client.send(ldapMessage(id, ldapEntry("cn=a", "photo", photo)).substr(0, 40));
    });
    const auto referrals = flood([](int) { return berElement(0x73, berText("ldap://x/")); });
    const auto large = flood([](int) { return ldapEntry("cn=a", "photo", photo); });
    std::vector<HostileRow> rows = {
        {bind, "silence", stall, {ldapTimeout, ldapServerDown}},
        {bind, "no word", [](auto&) {}, gone},
        {bind, "a cut answer", cut, gone},
        {bind, "no LDAP", send("220 mail.example ESMTP\r\n"), gone},
        {bind, "an answer byte by byte", slowly(ldapResult(0x61, 0) + photo), late, false},
        {bind, "answers to others", floodOf(ldapMessage(anotherId, numbered(1))), tooMuch, false, usual,
         more},
        {bind, "notices", floodOf(ldapMessage(noticeId, ldapResult(0x78, 0))), tooMuch, false, usual, more},
        {bindByTls, "silence", stall, late, false},
        {bindByTls, "a handshake byte by byte", dribbleTls, late, false},
        {bindByTls, "no TLS", send("HTTP/1.1 400 Bad Request\r\n\r\n"), {ldapConnectError}, false},
        {bindByStartTls, "silence", stall, late, false},
        {bindByStartTls, "a handshake byte by byte", startTls(dribbleTls), late, false},
        {search, "silence", stall, late},
        {search, "a cut entry", cut, gone},
        {search, "an entry byte by byte", slowly(ldapEntry("cn=a", "photo", photo)), late, false},
        {search, "a length that lies", send(std::string("\x30\x84\x7f\xff\xff\xff\x02\x01\x01", 9)), gone,
         false},
        {search, "entries", flood(numbered), tooMuch, true, few, entries},
        {search, "referrals", referrals, tooMuch, true, few, entries},
        {search, "large entries", large, tooMuch, true, small, bytes},
        {search, "an entry now and then", flood(numbered, milliseconds(10)), late, true, brief, time},
        {pages, "a second page without end", endlessPage, tooMuch, true, few, entries},
    };
    if (isWindows) std::erase_if(rows, [](const HostileRow& row) { return !row.onWindows; });
    return rows;
}

// What the row's step fails with.
Failure failureOf(const HostileRow& row, LdapClient& client, LdapEndpoint endpoint) {
    endpoint.tls = row.step == bindByTls;
    endpoint.startTls = row.step == bindByStartTls ? StartTls::required : StartTls::never;
    endpoint.limits = row.limits;
    const auto session = client.open(endpoint);
    if (!session) return session.error();
    if (row.step == search) return (*session)->search(anything).error();
    if (row.step == pages) {
        LdapPages all(**session, anything);
        std::vector<LdapEntry> page;
        auto more = all.next(page);
        while (more && *more) more = all.next(page);
        return more ? Failure() : more.error().cause;
    }
    const LeaksOfTheLibrary tolerated;
    return (*session)->bind(simple()).error();
}

TEST(HostileServers, EndNoLaterThanTheLimitsAndWhenTheServiceStops) {
    for (const HostileRow& row : hostileRows()) {
        SCOPED_TRACE(row.what + std::to_string(row.step));
        const HostileLdap server(row.script);
        const LdapEndpoint endpoint = endpointOf(server, milliseconds(row.stalls() ? 150 : 10'000));
        const Failure failure = failureOf(row, *realPlatform()->ldap, endpoint);
        EXPECT_NE(std::ranges::find(row.codes, failure.code), row.codes.end())
            << failure.code << " " << CORE::toUtf8(failure.text);
        EXPECT_TRUE(row.sentence.empty() || failure.text == row.sentence) << CORE::toUtf8(failure.text);
        if (row.step == bindByTls && row.stalls()) {
            server.awaitClient();
            EXPECT_NE(server.heard().find(offeredVersions), std::string::npos);
        }
        const bool withTls = row.step == bindByTls || row.step == bindByStartTls;
        EXPECT_TRUE(!withTls || server.heard().find(password) == std::string::npos);
        if (!row.stalls()) continue;

        const HostileLdap patient(row.script);
        const LdapEndpoint there = endpointOf(patient, milliseconds(10'000));
        const auto client = realPlatform()->ldap;
        std::chrono::steady_clock::time_point before;
        std::jthread stopping([&] {
            patient.awaitClient();
            before = std::chrono::steady_clock::now();
            client->stop();
        });
        const Failure stopped = failureOf(row, *client, there);
        stopping.join();
        const auto took = std::chrono::steady_clock::now() - before;
        std::printf("%d, %s: %d ms since the stop\n", row.step, row.what,
                    static_cast<int>(took / milliseconds(1)));
        EXPECT_EQ(stopped.code, ldapUserCancelled);
        EXPECT_EQ(stopped.text, L"The service is stopping");
        EXPECT_EQ(client->open(there).value()->bind(simple()).error().code, ldapUserCancelled);
    }
}

// A name of this machine that does not say so: a password to it counts as leaving the machine.
TEST(HostileServers, HearNoPasswordUnlessItIsAllowed) {
    constexpr const wchar_t* refused =
        L" refuses StartTLS (Protocol Error), and nothing is sent to it without TLS";
    const struct {
        const char* what;
        StartTls startTls;
        bool allowed;
        int refusal;          // of StartTLS
        const wchar_t* line;  // the end of what is logged
        int level = CORE::logError;
        unsigned long handshake = ldapOther;  // of the stand-in for the Windows client
    } rows[] = {
        {"refused", StartTls::leavingTheMachine, false, 2, refused},
        {"refused, required", StartTls::required, true, 2, refused},
        {"no TLS", StartTls::never, false, 2,
         L", because the connection has no TLS and allow-password-in-clear is not set"},
        {"offered, then no TLS", StartTls::leavingTheMachine, true, 0, L""},
        {"allowed", StartTls::never, true, 2, L" without TLS", CORE::logWarning},
        {"refused, allowed", StartTls::leavingTheMachine, true, 2, L" without TLS", CORE::logWarning},
#if defined(_WIN32)
        {"TLS of an unknown version", StartTls::leavingTheMachine, true, 0,
         L" failed: the TLS version cannot be read", CORE::logError, ldapSuccess},
#endif
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        const HostileLdap server(
            [&row](HostileConnection& client) {
                for (auto request = client.next();; request = client.next()) {
                    if (request.tag == extendedRequest)
                        client.send(ldapMessage(request.id, ldapResult(0x78, row.refusal)) +
                                    (row.refusal ? "" : "no TLS record"));
                    if (request.tag == bindRequest) client.send(ldapMessage(request.id, ldapResult(0x61, 0)));
                }
            },
            asio::ip::address_v4::any());
        LdapEndpoint endpoint = endpointOf(server, milliseconds(10'000));
        endpoint.host = asio::ip::host_name();
        endpoint.startTls = row.startTls;
        endpoint.passwordInClear = row.allowed;
#if defined(_WIN32)
        startTlsHandshake = row.handshake;
#endif
        const LogCapture log(CORE::logWarning);
        const auto bound = realPlatform()->ldap->open(endpoint).value()->bind(simple());
        const bool inClear = row.level == CORE::logWarning;
        EXPECT_EQ(bound.has_value(), inClear);
        EXPECT_EQ(server.heard().find(password) != std::string::npos, inClear);
        EXPECT_EQ(server.heard().find(startTlsOid) != std::string::npos, row.startTls != StartTls::never);
        ASSERT_EQ(log.lines().size(), 1U);
        const LogLine line = log.lines().front();
        EXPECT_EQ(line.level, row.level);
        EXPECT_TRUE(line.text.ends_with(row.line)) << CORE::toUtf8(line.text);
        EXPECT_TRUE(bound || bound.error().text == line.text);
    }
}

#if !defined(_WIN32)
// Wine's client knows no IPv6 literals.
TEST(HostileServers, AreReachedByIPv6Literals) {
    std::unique_ptr<HostileLdap> server;
    try {
        server = std::make_unique<HostileLdap>(stall, asio::ip::address_v6::loopback());
    } catch (const asio::system_error&) {
        GTEST_SKIP() << "this machine has no IPv6 loopback";
    }
    for (const char* host : {"::1", "0:0:0:0:0:0:0:1"}) {
        LdapEndpoint endpoint = endpointOf(*server, milliseconds(50));
        endpoint.host = host;
        // Silence, not a refusal: the connection stands.
        EXPECT_EQ(realPlatform()->ldap->open(endpoint).value()->bind(simple()).error().code, ldapTimeout);
    }
}
#endif

// The codes of binds and of all else that a server is asked.
Codes codesOfAll(const LdapEndpoint& endpoint) {
    const auto client = realPlatform()->ldap;
    Codes codes;
    for (const auto& who : {LdapCredentials{}, simple(), LdapCredentials{Method::anonymous, {}, {}, {}}})
        codes.push_back(client->open(endpoint).value()->bind(who).error().code);
    const auto session = client->open(endpoint).value();
    codes.push_back(session->search(anything).error().code);
    for (const auto& changed :
         {session->add({"cn=a", {{"cn", {"a"}}}}), session->modify("cn=a", {{LdapModify::add, "b", {"c"}}}),
          session->remove("cn=a"), session->rename("cn=a", "cn=b", "", true)})
        codes.push_back(changed.error().code);
    return codes;
}

TEST(HostileServers, ThatAreDeadOrSilentEndEveryCall) {
    auto server = std::make_unique<HostileLdap>(stall);
    LdapEndpoint endpoint = endpointOf(*server, milliseconds(50));
    auto silent = codesOfAll(endpoint);
    for (std::size_t bind = 0; bind < 3; ++bind)
        if (silent[bind] == ldapServerDown) silent[bind] = ldapTimeout;
    EXPECT_EQ(silent, Codes(8, ldapTimeout));
    server.reset();
    endpoint.connectTimeout = endpoint.operationTimeout = std::chrono::seconds(5);
    EXPECT_EQ(codesOfAll(endpoint), Codes(8, ldapServerDown));
    EXPECT_EQ(realPlatform()->ldap->open(endpoint).value()->bind(simple()).error().text, L"Server Down");
    endpoint.tls = true;
    for (const int code : codesOfAll(endpoint))  // the Windows client has one code for all that TLS lacks
        EXPECT_TRUE(code == ldapServerDown || (isWindows && code == ldapConnectError)) << code;
}

// Written to a connection that is gone: no signal ends the process, and nobody connects anew.
TEST(HostileServers, ThatHangUpAreSurvived) {
    const HostileLdap server([](HostileConnection&) {});
    const auto session = realPlatform()->ldap->open(endpointOf(server, milliseconds(30'000))).value();
    EXPECT_EQ(session->bind(simple()).error().code, ldapServerDown);
    for (int i = 0; i < 3; ++i) EXPECT_EQ(session->remove("cn=a").error().code, ldapServerDown);
}

TEST(HostileServers, PartOfAnAnswerIsTakenWhereTheServerSaysSo) {
    const std::pair<int, bool> rows[] = {
        {0, true}, {ldapPartialResults, true}, {ldapSizeLimitExceeded, false}, {ldapBusy, false}};
    for (const auto& [code, taken] : rows) {
        const HostileLdap server([code = code](HostileConnection& client) {
            client.send(ldapMessage(client.next().id, ldapResult(0x61, 0)));
            const std::string id = client.next().id;
            client.send(ldapMessage(id, ldapEntry("cn=a")) + ldapMessage(id, ldapResult(0x65, code)));
            client.stall();
        });
        const auto session = realPlatform()->ldap->open(endpointOf(server, milliseconds(10'000))).value();
        ASSERT_TRUE(session->bind(simple()));
        const auto found = session->search(anything);
        EXPECT_EQ(found ? found->entries.size() : 0, taken ? 1U : 0U) << code;
        EXPECT_EQ(found ? 0 : found.error().code, taken ? 0 : code);
    }
}

TEST(HostileServers, AreNotSentWhatCannotBeSent) {
    const HostileLdap server(stall);
    const auto client = realPlatform()->ldap;
    LdapEndpoint endpoint = endpointOf(server, milliseconds(50));
    EXPECT_EQ(client->open(endpoint).value()->startSearch({.filter = "(a=b"}).error().code, ldapFilterError);
    for (const char* host : {"a b", "a/b", "127.0.0.1 evil", "a?b", "[::1]", "a,b"}) {
        endpoint.host = host;
        EXPECT_EQ(client->open(endpoint).error().code, ldapParamError) << host;
    }
    endpoint = endpointOf(server, milliseconds(50));
    endpoint.tls = true;
    endpoint.caFile = "/nonexistent.pem";  // not readable, or not to be had at all
    const int code = client->open(endpoint).error().code;
    EXPECT_TRUE(code == ldapConnectError || code == ldapNotSupported) << code;
    if (isWindows) return;
    endpoint.caFile = WS_SOURCE_DIR;  // a folder
    EXPECT_EQ(client->open(endpoint).value()->bind(simple()).error().text,
              L"The TLS connection to 127.0.0.1 failed: the TLS library refuses its options");
}

}  // namespace
}  // namespace wsadmin::platform
