#include "federation/source_server.h"

#include <algorithm>
#include <chrono>
#include <optional>

#include "federation/entry_attributes.h"
#include "federation/local_layer.h"
#include "federation/names.h"
#include "ldap/directory_time.h"
#include "platform/module/module_log.h"

namespace wsadmin::qrv {

namespace {

using platform::ProbeOutcome;
using std::chrono::sys_seconds;

struct ConnectionFailure {
    ProbeOutcome outcome;
    const wchar_t* reason;  // %s: the server's name
};
constexpr ConnectionFailure connectionFailures[] = {
    {ProbeOutcome::hostUnreachable, L" (Host %s is unreachable)"},
    {ProbeOutcome::refused,
     L" (Connection refused). Verify that the Quorin Vorn LDAP instance is running on the destination server "
     L"on TCP port 22389."},
    {ProbeOutcome::timedOut,
     L" (Connection timed out). Verify that Quorin Vorn is set up on the destination server and that TCP "
     L"port 22389 is not being blocked by a firewall."},
    {ProbeOutcome::nameNotResolved,
     L" (Unable to resolve hostname \"%s\"). Check the name specified and check the name resolution "
     L"configuration for that hostname."},
    {ProbeOutcome::socketError, L" (Socket error)."},
    {ProbeOutcome::otherFailure, L" (General communication error)."},
};

// Generalised time; nothing for a text that is none.
std::optional<sys_seconds> timeOf(std::wstring_view text) {
    constexpr std::size_t digits = 14;
    const std::wstring_view beginning = text.substr(0, digits);
    if (beginning.size() < digits || beginning.find_first_not_of(L"0123456789") != beginning.npos)
        return std::nullopt;
    return sys_seconds(std::chrono::seconds(parseLdapTime(CORE::toUtf8(beginning))));
}

// "Thu Jan  1 00:00:00 2026", the C library's text of a time.
std::wstring dateText(sys_seconds time) {
    using namespace std::chrono;
    constexpr const char* weekdays[] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
    constexpr const char* months[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                      "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    const auto day = floor<days>(time);
    const year_month_day date{day};
    const hh_mm_ss clock{time - day};
    return CORE::formatText(L"%s %s%3d %02d:%02d:%02d %d", weekdays[weekday{day}.c_encoding()],
                            months[unsigned{date.month()} - 1], unsigned{date.day()}, clock.hours().count(),
                            clock.minutes().count(), clock.seconds().count(), int{date.year()});
}

}  // namespace

Result<void> testConnection(ServiceContext& service, const SourceServer& source) {
    constexpr std::uint16_t port = 22389;
    const std::wstring host = CORE::toWide(source.host);
    const auto outcome = service.platform().network->probe(host, port, &service.stopping());
    if (outcome == ProbeOutcome::connected) return {};
    const auto known = std::ranges::find(connectionFailures, outcome, &ConnectionFailure::outcome);
    const auto& failure = known == std::end(connectionFailures) ? *std::prev(known) : *known;
    return fail(L"Failed to connect to " + host + L":" + ldapPort + L"." +
                CORE::formatText(failure.reason, host));
}

Result<std::wstring> readEntry(platform::Platform& platform, const SourceServer& source, std::string_view dn,
                               const std::string& attribute) {
    const auto credentials = credentialsOf(source.account);
    if (!credentials) return fail(platform::adsLogonFailure, credentials.error().text);
    return readText(platform, instancePath(source.host, dn), attribute, *credentials);
}

Result<std::wstring> readRoot(platform::Platform& platform, const SourceServer& source,
                              const std::string& attribute) {
    return readEntry(platform, source, rootEntry, attribute);
}

Result<void> compareClocks(platform::Platform& platform, const SourceServer& source) {
    using namespace std::chrono;
    logDebug(L"Get remote currentTime via ldap lookup to %s:%s, username: %s", source.host, ldapPort,
             source.account.user);
    const auto text = readRoot(platform, source, "currentTime");
    const auto remote = text ? timeOf(*text) : std::nullopt;
    if (!remote) {
        logWarning(L"Time difference cannot be read");
        return fail(L"Time difference cannot be read");
    }
    const auto local = floor<seconds>(platform.clock->now());
    const auto difference = abs(local - *remote).count();
    if (difference <= mostClockDifference) {
        logInfo(L"Time sync check OK. Clocks are within %d seconds", mostClockDifference);
        return {};
    }
    const std::wstring sentence = CORE::formatText(
        L"Time difference of %d seconds is greater than the %d seconds maximum difference "
        L"allowed.",
        difference, mostClockDifference);
    logWarning(L"%s", sentence);
    logWarning(L"Time on this computer is %s", dateText(local));
    logWarning(L"Time on the remote computer is %s", dateText(*remote));
    return fail(sentence);
}

Result<Sites> openSites(platform::Platform& platform, const SourceServer& source) {
    const auto configuration = readRoot(platform, source, attribute::configurationContext);
    if (!configuration) {
        logError(L"Unable to read the configuration naming context");
        return fail(configuration.error());
    }
    const auto credentials = credentialsOf(source.account);
    if (!credentials) return fail(credentials.error());
    Sites sites{.dn = "cn=sites," + CORE::toUtf8(*configuration), .search = {}};
    const std::string path = instancePath(source.host, sites.dn);
    auto search =
        platform.directoryServices->openSearch(path, *credentials, platform::adsSecureAuthentication);
    if (!search) {
        logError(L"Failed to open base object for server search: %s (%d)", path, search.error().code);
        return fail(search.error());
    }
    sites.search = std::move(*search);
    return sites;
}

Result<void> testServersBind(platform::Platform& platform, const SourceServer& source) {
    logInfo(L"Testing server configuration bind to %s as user %s", source.host, source.account.user);
    const auto sites = openSites(platform, source);
    if (!sites) return fail(sites.error());
    return {};
}

}  // namespace wsadmin::qrv
