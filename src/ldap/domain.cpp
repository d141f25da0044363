#include "ldap/domain.h"

#include <optional>
#include <thread>
#include <utility>

#include "framework/core/message.h"
#include "ldap/authentication_client.h"
#include "ldap/concurrently.h"
#include "platform/module/module_log.h"

namespace wsadmin {

using CORE::PropertyBag;
using CORE::toUtf8;
using platform::DirectoryThread;

namespace {

bool names(const PropertyBag& dnsBag, std::wstring_view domain) {
    for (std::size_t i = 0; i < dnsBag.size(); ++i)
        if (dnsBag.get(i).comparei(domain) == 0) return true;
    return false;
}

}  // namespace

Domain::Domain(DirectoryAccess access, CORE::ThreadGroup& threads, bool initiateChecks)
    : coretimer(&threads),
      access_(std::move(access)),
      threads_(threads),
      creatorThread_(access_.services),
      lock_(L"Domain") {
    logDebug(L"Created a domain instance at 0x%x", this);
    if (initiateChecks) StartTimer(firstCheckMs);
}

Domain::~Domain() {
    logDebug(L"Destroyed a domain instance at 0x%x", this);
}

void Domain::stop() {
    std::set<std::uint64_t> questions;
    {
        const CORE::coresync hold(lock_);
        stopping_ = true;
        questions = questions_;
    }
    StopTimer();
    for (const std::uint64_t question : questions) CORE::MessageHandler::CancelMsg(question);
}

void Domain::setMinimumCheckInterval(int seconds) {
    const CORE::coresync hold(lock_);
    minimumInterval_ = seconds;
}

int Domain::minimumCheckInterval() const {
    const CORE::coresync hold(lock_);
    return minimumInterval_;
}

// Gives the filter lists to the authentication service, once per process. Of the bag only its error counts.
PropertyBag Domain::pushConfiguration() {
    {
        const CORE::coresync hold(lock_);
        if (configurationPushed_) return {};
    }
    PropertyBag configuration = ws_adminaccess::loadDomainConfig();
    if (configuration.getError()) return configuration;
    PropertyBag answer = askWinauth([&](std::function<void(PropertyBag)> answered) {
        return ws_winauth::setDomainConfig(threads_, configuration, std::move(answered));
    });
    if (answer.getError()) return answer;
    const CORE::coresync hold(lock_);
    configurationPushed_ = true;
    return {};
}

PropertyBag Domain::trustedDomains(std::wstring_view initialDomain) {
    PropertyBag answer = pushConfiguration();
    if (answer.getError()) return answer;
    return askWinauth([&](std::function<void(PropertyBag)> answered) {
        return ws_winauth::getTrustedDomains(threads_, initialDomain, std::move(answered));
    });
}

PropertyBag Domain::askWinauth(
    const std::function<std::uint64_t(std::function<void(PropertyBag)> answered)>& send) {
    PropertyBag answer;
    const bool asked = ask([&](const std::function<void()>& answered) {
        return send([&answer, answered](PropertyBag response) {
            answer = std::move(response);
            answered();
        });
    });
    if (asked && !stopping_) return answer;
    PropertyBag failed;
    failed.setError(L"The service is stopping");
    return failed;
}

std::string Domain::rootNamingContext(std::wstring_view domain) const {
    if (domain.empty() || stopping_) return {};
    const std::string path = "LDAP://" + toUtf8(domain) + "/rootDSE";
    const auto root = access_.services->openObject(path, {}, platform::adsSecureAuthentication);
    if (!root) {
        if (!stopping_) logWarning(L"OpenObject could not bind to %s (%s)", path, root.error().text);
        return {};
    }
    const auto context = (*root)->get("RootDomainNamingContext");
    if (!context) {
        logWarning(L"Cannot fetch RootDomainNamingContext from %s (%s)", path, context.error().text);
        return {};
    }
    return platform::directoryText(*context);
}

// Asks one domain for its forest and, where the authentication service gives no trust type, for the domains
// that it trusts itself.
void Domain::contact(DomainFacts& domain, const DomainSurvey& survey) {
    domain.rootNamingContext = rootNamingContext(domain.dns);
    const bool primary = CORE::equalFolded(domain.dns, survey.primaryDns);
    if (primary || !domain.statedTrust.empty() || domain.rootNamingContext.empty()) return;
    domain.listsPrimary = names(trustedDomains(domain.dns).getBag(L"dnsBag"), survey.primaryDns);
}

// The primary domain and all others side by side: one that does not answer must not hold up the rest.
void Domain::contactAll(DomainSurvey& survey) {
    const auto caller = std::this_thread::get_id();  // is initialised already
    concurrently(survey.domains.size() + 1, contactsAtOnce, threads_, L"DomainContactThread",
                 [&](std::size_t index) {
                     std::optional<DirectoryThread> thread;
                     if (std::this_thread::get_id() != caller) thread.emplace(*access_.services);
                     if (index > 0) return contact(survey.domains[index - 1], survey);
                     survey.primaryRoot = rootNamingContext(survey.primaryDns);
                 });
}

PropertyBag Domain::buildDomainMap() {
    const PropertyBag trusted = trustedDomains({});
    if (trusted.getError()) {
        PropertyBag failed;
        failed.setError(trusted.getError(), trusted.getErrorText());
        return failed;
    }
    DomainSurvey survey;
    survey.primaryDns = trusted.get(L"primaryDomain").str();
    survey.dnsBag = trusted.getBag(L"dnsBag");
    const PropertyBag& stated = trusted.getBag(L"trustInformationBag");
    for (std::size_t i = 0; i < survey.dnsBag.size(); ++i) {
        DomainFacts domain;
        domain.netBios = survey.dnsBag.getName(i).str();
        domain.dns = survey.dnsBag.get(i).str();
        domain.statedTrust = stated.get(domain.netBios).str();
        survey.domains.push_back(std::move(domain));
    }
    contactAll(survey);
    if (!stopping_) return renderDomainMap(survey);
    PropertyBag failed;
    failed.setError(L"The service is stopping");
    return failed;
}

PropertyBag Domain::getDomainMap(bool force) {
    bool build = force;
    {
        const CORE::coresync hold(lock_);
        build = build || !built_;
    }
    PropertyBag fresh;
    if (build) fresh = buildDomainMap();
    const int error = fresh.getError();
    const CORE::coresync hold(lock_);
    PropertyBag copy;
    if (error) {
        copy = map_;
        copy.setError(error, fresh.getErrorText());
        return copy;
    }
    if (build) {
        map_ &= std::move(fresh);
        built_ = true;
        builtAt_ = access_.clock->monotonic();
    }
    copy = map_;
    return copy;
}

Result<std::unique_ptr<platform::DirectoryObject>> Domain::openObject(const std::string& path) const {
    auto object = access_.services->openObject(path, {}, platform::adsSecureAuthentication);
    if (object || stopping_) return object;  // that a stop ends the wait is no failure
    logError(L"Failed to bind to %s", path);
    logError(L"OpenObject failed on %s (%s)", path, object.error().text);
    logDebug(L"OpenObject could not open %s", path);
    return object;
}

std::string Domain::defaultNamingContext() const {
    const char path[] = "LDAP://rootDSE";
    if (const auto root = openObject(path)) {
        const auto context = (*root)->get("defaultNamingContext");
        if (context) return platform::directoryText(*context);
        logError(L"Cannot fetch defaultNamingContext from %s (%s)", path, context.error().text);
    }
    if (!stopping_) logError(L"Failed to determined default naming context, will assume mixed mode");
    return {};
}

bool Domain::isMixedMode() const {
    const std::string context = defaultNamingContext();
    if (context.empty()) return true;
    const std::string path = "LDAP://" + context;
    const auto domain = openObject(path);
    if (!domain) return true;
    const auto mode = (*domain)->get("ntMixedDomain");
    if (!mode) {
        logError(L"Cannot fetch ntMixedDomain from %s (%s)", path, mode.error().text);
        return true;
    }
    const auto* value = std::get_if<std::int32_t>(&*mode);
    if (!value) {
        constexpr int expectedType = 3;
        logError(L"Unexpected return type when decoding domain type (value=%d, expected=%d)",
                 platform::variantTypeCode(*mode), expectedType);
        return true;
    }
    if (*value == 0)
        logDebug(L"Detected native mode");
    else if (*value == 1)
        logDebug(L"Detected mixed mode");
    else
        logError(L"Could not decode domain type, value=%d", *value);
    return *value != 0;
}

bool Domain::ask(const std::function<std::uint64_t(std::function<void()>)>& send) {
    CORE::coreevent answered;
    std::uint64_t question = 0;
    {
        const CORE::coresync hold(lock_);
        if (!stopping_) question = send([&answered] { answered.set(); });
        if (!question) return false;
        questions_.insert(question);
    }
    answered.wait();
    const CORE::coresync hold(lock_);
    questions_.erase(question);
    return true;
}

// Whether the authentication service is there, which the host may still be starting. Ends when the map stops.
bool Domain::awaitAuthentication() {
    bool installed = false;
    return ask([&](const std::function<void()>& answered) {
               return ws_winauth::askAvailable(threads_, [&installed, answered](bool there) {
                   installed = there;
                   answered();
               });
           }) &&
           installed;
}

void Domain::check() {
    if (stopping_) return;
    const DirectoryThread thread(*access_.services);
    static_cast<void>(isMixedMode());  // for the log
    bool rebuild = false;
    {
        const CORE::coresync hold(lock_);
        // In whole seconds a map of the timer's own interval would never be older than that when the timer
        // fires.
        rebuild = !built_ || access_.clock->monotonic() - builtAt_ > std::chrono::seconds(minimumInterval_);
    }
    if (!rebuild || stopping_) return;
    if (!awaitAuthentication()) {
        if (!stopping_)
            logError(L"The domain map could not be built: the authentication service is not installed");
        return;
    }
    const PropertyBag map = getDomainMap(true);
    if (map.getError() && !stopping_) logError(L"The domain map could not be built: %s", map.getErrorText());
}

void Domain::OnTimer() {
    const bool started =
        threads_.start(L"StodeikDomainTimerThread", [self = CORE::refptr<Domain>::share(this)] {
            try {
                self->check();
            } catch (...) {
                self->StartTimer(checkMs);  // one failure does not end the checks
                throw;
            }
            if (!self->stopping_) self->StartTimer(checkMs);
        });
    if (started) return;
    logWarning(L"The thread that checks the domains could not be started");
    StartTimer(checkMs);
}

}  // namespace wsadmin
